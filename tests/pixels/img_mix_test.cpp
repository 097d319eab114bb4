#include "pixels/img_mix.h"

#include "support/test_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <random>
#include <set>

namespace qdvm {
namespace {

using test::IsPlanar;
using test::kKernelFormats;
using test::TestPicture;

bool IsBlended(std::int32_t fccType) { return fccType != kFccRGB565 && fccType != kFccRGB555; }

bool IsPacked422(std::int32_t fccType) { return !IsRGBFormat(fccType) && !IsPlanar(fccType); }

// A random picture, at times with padded rows and of either row order.
PIC_PROPS SomePicture(std::int32_t fccType, std::mt19937& random) {
    const bool isRgb = IsRGBFormat(fccType);
    const std::int32_t step = isRgb ? 1 : 2;
    const auto width = static_cast<std::int32_t>(40 + random() % 30) * step;
    const auto height = static_cast<std::int32_t>(5 + random() % 4) * 2;
    const auto extra = static_cast<std::int32_t>(random() % 3) * step;
    return {fccType, width, isRgb && random() % 2 ? -height : height, extra ? width + extra : 0};
}

struct RectPair {
    ImgRect s;
    ImgRect d;
};

// Rects that lie inside every picture of SomePicture and fit the format.
RectPair SomeRects(std::int32_t fccType, std::mt19937& random) {
    const std::int32_t step = IsRGBFormat(fccType) ? 1 : 2;
    const std::int32_t lines = IsPlanar(fccType) ? 2 : 1;
    const auto upTo = [&random](std::int32_t end, std::int32_t unit) {
        return static_cast<std::int32_t>(random() % (end / unit)) * unit;
    };
    const std::int32_t width = upTo(36, step) + step;
    const std::int32_t height = upTo(6, lines) + lines;
    const auto at = [&] {
        const std::int32_t left = upTo(4, step);
        const std::int32_t top = upTo(4, lines);
        return ImgRect{left, top, left + width, top + height};
    };
    return {at(), at()};
}

// One sample of a pixel: its old value, the source's, which of the pixel's samples it is, and where
// the pixel lies in the rects.
struct Blended {
    int old;
    int source;
    std::size_t sample;
    std::int32_t x;
    std::int32_t y;
};

// Replaces every sample of the rect once, at the first pixel that shows it.
void BlendByPixel(const TestPicture& src, TestPicture& dst, const RectPair& rects,
                  const std::function<int(const Blended&)>& blend) {
    std::set<std::size_t> done;
    for (std::int32_t y = 0; y < rects.d.Height(); ++y)
        for (std::int32_t x = 0; x < rects.d.Width(); ++x) {
            const auto from = src.Samples(rects.s.left + x, rects.s.top + y);
            const auto to = dst.Samples(rects.d.left + x, rects.d.top + y);
            for (std::size_t i = 0; i < to.size(); ++i)
                if (done.insert(to[i]).second)
                    dst.Frame()[to[i]] = static_cast<BYTE>(
                        blend({dst.Frame()[to[i]], src.Frame()[from[i]], i, x, y}));
        }
}

int Clamp(int value) { return std::clamp(value, 0, 255); }

int ConstBlend(std::int32_t fccType, int a, int b, const Blended& sample) {
    const bool isChroma = !IsRGBFormat(fccType) && sample.sample > 0;
    const int zero = isChroma ? 128 : 0;
    int shift = 8;
    if (IsPacked422(fccType)) {
        a = (a >> 1) + (a & b & 1);
        b = b >> 1;
        shift = 7;
    }
    return Clamp((((sample.source - zero) * a + (sample.old - zero) * b) >> shift) + zero);
}

TEST(MixConst, BlendsExactlyTheRectInEveryFormatAndRowOrder) {
    std::mt19937 random(3);
    for (const std::int32_t fccType : kKernelFormats)
        for (int round = 0; round < 60; ++round) {
            const TestPicture src(SomePicture(fccType, random), random());
            TestPicture dst(SomePicture(fccType, random), random());
            const RectPair rects = SomeRects(fccType, random);
            const int a = round < 3 ? round * 128 : static_cast<int>(random() % 256);
            TestPicture expected = dst;
            if (IsBlended(fccType))
                BlendByPixel(src, expected, rects, [=](const Blended& sample) {
                    return ConstBlend(fccType, a, 256 - a, sample);
                });
            ASSERT_EQ(Img_MixConst(src.Frame(), dst.Frame(), a, 256 - a, &src.props, &dst.props,
                                   &rects.s, &rects.d),
                      S_OK);
            ASSERT_EQ(dst.memory, expected.memory) << std::hex << fccType << " a " << a;
        }
}

TEST(MixConst, NeverQuiteReachesTheSource) {
    const PIC_PROPS props{kFccRGB24, 10, 2, 0};
    TestPicture src(props, 1);
    TestPicture dst(props, 2);
    std::fill_n(src.Frame(), FrameBytes(props), BYTE{255});
    std::fill_n(dst.Frame(), FrameBytes(props), BYTE{0});
    ASSERT_EQ(Img_MixConst(src.Frame(), dst.Frame(), 255, 1, &props, &props, nullptr, nullptr),
              S_OK);
    EXPECT_EQ(*dst.Frame(), 254);
}

// A plane in the geometry of a picture.
struct AlphaPlane {
    AlphaPlane(const PIC_PROPS& S, bool isBottomUp, std::uint_fast32_t seed)
        : picture({kFccRGB8, S.nWidth, isBottomUp ? AbsHeight(S) : -AbsHeight(S), S.nRowWidth},
                  seed),
          bBottomUp(isBottomUp) {
        for (BYTE& alpha : picture.memory)
            if (alpha < 64) alpha = alpha & 1 ? 255 : 0;
    }

    int At(std::int32_t x, std::int32_t y) const {
        return picture.Frame()[picture.Samples(x, y)[0]];
    }

    TestPicture picture;
    bool bBottomUp;
};

int PlaneBlend(std::int32_t fccType, const AlphaPlane& plane, const ImgRect& s,
               const Blended& sample) {
    const std::int32_t x = s.left + sample.x;
    const std::int32_t y = s.top + sample.y;
    const bool isChroma = !IsRGBFormat(fccType) && sample.sample > 0;
    const int alpha = isChroma ? (plane.At(x, y) + plane.At(x + 1, y)) >> 1 : plane.At(x, y);
    return Clamp((sample.source * alpha + sample.old * (255 - alpha) + 255) >> 8);
}

TEST(MixPlane, BlendsByThePixelsOwnAlphaWhateverWayThePicturesAndThePlaneLie) {
    std::mt19937 random(4);
    for (const std::int32_t fccType : kKernelFormats) {
        if (fccType == kFccARGB32) continue;
        for (int round = 0; round < 80; ++round) {
            const TestPicture src(SomePicture(fccType, random), random());
            TestPicture dst(SomePicture(fccType, random), random());
            const AlphaPlane plane(src.props, random() % 2, random());
            const RectPair rects = SomeRects(fccType, random);
            TestPicture expected = dst;
            if (IsBlended(fccType))
                BlendByPixel(src, expected, rects, [&](const Blended& sample) {
                    return PlaneBlend(fccType, plane, rects.s, sample);
                });
            ASSERT_EQ(Img_MixPlane(src.Frame(), plane.picture.Frame(), dst.Frame(), &src.props,
                                   &dst.props, plane.bBottomUp, &rects.s, &rects.d),
                      S_OK);
            ASSERT_EQ(dst.memory, expected.memory)
                << std::hex << fccType << " heights " << src.props.nHeight << ' '
                << dst.props.nHeight << " plane bottom-up " << plane.bBottomUp;
        }
    }
}

// x * y / 255.
int Product255(int x, int y) { return (x * y + 1 + ((x * y) >> 8)) >> 8; }

using Pixel = std::array<BYTE, 4>;

Pixel Over(const Pixel& top, const Pixel& under) {
    Pixel result{};
    const int rest = 255 - top[3];
    const int alpha = Clamp(top[3] + Product255(under[3], rest));
    const int factor =
        alpha == 0
            ? 0
            : std::min(static_cast<int>(std::nearbyint(65280.0f / static_cast<float>(alpha))),
                       32767);
    for (std::size_t i = 0; i < 3; ++i) {
        const int premultiplied =
            Clamp(Product255(top[i], top[3]) + Product255(Product255(under[i], under[3]), rest));
        result[i] = static_cast<BYTE>(std::min(premultiplied * factor, 65535) >> 8);
    }
    result[3] = static_cast<BYTE>(alpha);
    return result;
}

TEST(MixPlane, CompositesARGB32ByItsOwnAlphaWithoutAPlane) {
    std::mt19937 random(6);
    for (int round = 0; round < 60; ++round) {
        TestPicture src(SomePicture(kFccARGB32, random), random());
        TestPicture dst(SomePicture(kFccARGB32, random), random());
        const RectPair rects = SomeRects(kFccARGB32, random);
        const auto pixel = [](const TestPicture& picture, std::int32_t x, std::int32_t y) {
            Pixel bytes{};
            std::copy_n(picture.Frame() + picture.Samples(x, y)[0], 4, bytes.begin());
            return bytes;
        };
        src.Frame()[src.Samples(rects.s.left, rects.s.top)[3]] = 0;
        dst.Frame()[dst.Samples(rects.d.left, rects.d.top)[3]] = round % 2 ? 255 : 0;
        TestPicture expected = dst;
        for (std::int32_t y = 0; y < rects.d.Height(); ++y)
            for (std::int32_t x = 0; x < rects.d.Width(); ++x) {
                const Pixel result = Over(pixel(src, rects.s.left + x, rects.s.top + y),
                                          pixel(dst, rects.d.left + x, rects.d.top + y));
                std::copy_n(result.begin(), 4,
                            expected.Frame() + dst.Samples(rects.d.left + x, rects.d.top + y)[0]);
            }
        ASSERT_EQ(Img_MixPlane(src.Frame(), nullptr, dst.Frame(), &src.props, &dst.props, false,
                               &rects.s, &rects.d),
                  S_OK);
        ASSERT_EQ(dst.memory, expected.memory);
    }
}

TEST(Mix, RectsThatMeetAtAnOddLineBlendAsOne) {
    const PIC_PROPS props{kFccI420, 32, 12, 0};
    const TestPicture src(props, 1);
    const TestPicture before(props, 2);
    AlphaPlane plane(props, false, 3);
    for (std::size_t i = 32; i < 32 * 12; ++i)
        plane.picture.Frame()[i] = plane.picture.Frame()[i - 32];  // all rows alike
    const auto mixed = [&](std::initializer_list<ImgRect> rects, bool throughPlane) {
        TestPicture dst = before;
        for (const ImgRect& rect : rects)
            EXPECT_EQ(throughPlane ? Img_MixPlane(src.Frame(), plane.picture.Frame(), dst.Frame(),
                                                  &props, &props, false, &rect, &rect)
                                   : Img_MixConst(src.Frame(), dst.Frame(), 100, 156, &props,
                                                  &props, &rect, &rect),
                      S_OK);
        return dst.memory;
    };
    for (const bool throughPlane : {false, true}) {
        const auto whole = mixed({{4, 0, 20, 12}}, throughPlane);
        EXPECT_EQ(
            mixed({{4, 0, 20, 3}, {4, 3, 20, 6}, {4, 6, 20, 7}, {4, 7, 20, 12}}, throughPlane),
            whole);
    }
}

TEST(Mix, ChangesNothingWhenItRefuses) {
    const PIC_PROPS props{kFccRGB24, 30, 20, 0};
    const PIC_PROPS other{kFccRGB32, 30, 20, 0};
    const PIC_PROPS narrow{kFccRGB24, 30, 20, 29};
    const TestPicture src(props, 1);
    TestPicture dst(props, 2);
    const std::vector<BYTE> before = dst.memory;
    const ImgRect outside{30, 0, 40, 20};
    const ImgRect touching{-10, 0, 0, 20};
    const ImgRect empty{4, 4, 4, 8};
    const auto constant = [&](int a, const PIC_PROPS* D, const ImgRect* d) {
        return Img_MixConst(src.Frame(), dst.Frame(), a, 256 - a, &props, D, nullptr, d);
    };
    const auto plane = [&](const BYTE* alpha, const PIC_PROPS* D, const ImgRect* d) {
        return Img_MixPlane(src.Frame(), alpha, dst.Frame(), &props, D, false, nullptr, d);
    };
    EXPECT_EQ(constant(257, &props, nullptr), E_INVALIDARG);
    EXPECT_EQ(constant(99, &other, nullptr), E_NOTIMPL);
    EXPECT_EQ(constant(99, &narrow, nullptr), E_INVALIDARG);
    EXPECT_EQ(constant(99, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(constant(99, &props, &empty), E_INVALIDARG);
    EXPECT_EQ(constant(99, &props, &outside), S_FALSE);
    EXPECT_EQ(constant(99, &props, &touching), S_FALSE);
    EXPECT_EQ(plane(nullptr, &props, nullptr), E_INVALIDARG);
    EXPECT_EQ(plane(src.Frame(), &other, nullptr), E_NOTIMPL);
    EXPECT_EQ(plane(src.Frame(), &props, &touching), S_FALSE);
    EXPECT_EQ(dst.memory, before);
}

}  // namespace
}  // namespace qdvm
