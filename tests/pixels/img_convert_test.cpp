#include "pixels/img_convert.h"

#include "support/test_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>
#include <set>

namespace qdvm {
namespace {

using test::IsPlanar;
using test::kKernelFormats;
using test::TestPicture;

bool Is16BitRgb(std::int32_t fccType) { return fccType == kFccRGB565 || fccType == kFccRGB555; }
bool IsRgb(std::int32_t fccType) { return IsRGBFormat(fccType); }

enum class Outcome { kConverts, kNothing, kNone };

Outcome OutcomeOf(std::int32_t from, std::int32_t to) {
    if (from == to) return Outcome::kConverts;
    if (Is16BitRgb(from)) return Outcome::kNone;
    const bool hasAllPlaces = from == kFccYUY2 || IsPlanar(from);
    if (Is16BitRgb(to)) return hasAllPlaces ? Outcome::kConverts : Outcome::kNothing;
    if (to == kFccYVYU) return hasAllPlaces ? Outcome::kConverts : Outcome::kNone;
    if (from == kFccYVYU) return IsPlanar(to) ? Outcome::kConverts : Outcome::kNone;
    return Outcome::kConverts;
}

int Clamp(int value) { return std::clamp(value, 0, 255); }

struct Rgb {
    int r;
    int g;
    int b;

    Rgb operator+(const Rgb& other) const { return {r + other.r, g + other.g, b + other.b}; }
};

using Yuv = std::array<int, 3>;

Rgb ToRgb(const Yuv& yuv) {
    const int y = 76284 * yuv[0];
    return {Clamp((y + 104595 * yuv[2] - 14608761) >> 16),
            Clamp((y - 25690 * yuv[1] - 53281 * yuv[2] + 8887730) >> 16),
            Clamp((y + 132186 * yuv[1] - 18140365) >> 16)};
}

int Luma(const Rgb& c) { return Clamp((16843 * c.r + 33030 * c.g + 6423 * c.b + 0x108000) >> 16); }

// Of the sum of 2 or 4 pixels.
int Chroma(const Rgb& sum, int pixels, bool isCr) {
    const int value = isCr ? 28770 * sum.r - 24117 * sum.g - 4653 * sum.b
                           : 28770 * sum.b - 19071 * sum.g - 9699 * sum.r;
    return Clamp(((value + pixels * 0x2000) >> (pixels == 4 ? 18 : 17)) + 128);
}

// The converter as it is told, pixel by pixel, for rects whose first lines suit 4:2:0.
class ByPixel {
public:
    ByPixel(const TestPicture& from, const ImgRect& rect) : src(from), s(rect) {}

    // The sample of number i in TestPicture::Samples that pixel (x, y) of the rect has in a format;
    // `old` is what the destination holds there.
    BYTE Sample(std::int32_t toFcc, std::int32_t x, std::int32_t y, std::size_t i, BYTE old) const {
        const std::int32_t fromFcc = src.props.fccType;
        if (fromFcc == toFcc) return Bytes(x, y, i);
        if (IsRgb(toFcc)) {
            if (i < 3 || Is16BitRgb(toFcc)) return Colour(toFcc, x, y, i);
            if (fromFcc == kFccRGB24) return toFcc == kFccARGB32 ? 255 : old;
            return fromFcc == kFccARGB32 ? Bytes(x, y, 3) : BYTE{255};
        }
        return static_cast<BYTE>(IsRgb(fromFcc) ? FromRgb(toFcc, x, y, i) : Bytes(x, y, i));
    }

private:
    BYTE Bytes(std::int32_t x, std::int32_t y, std::size_t i) const {
        return src.Frame()[src.Samples(s.left + x, s.top + y)[i]];
    }
    Rgb Pixel(std::int32_t x, std::int32_t y) const {
        if (IsRgb(src.props.fccType)) return {Bytes(x, y, 2), Bytes(x, y, 1), Bytes(x, y, 0)};
        return ToRgb({Bytes(x, y, 0), Bytes(x, y, 1), Bytes(x, y, 2)});
    }
    BYTE Colour(std::int32_t toFcc, std::int32_t x, std::int32_t y, std::size_t i) const {
        const Rgb c = Pixel(x, y);
        if (!Is16BitRgb(toFcc)) return static_cast<BYTE>(i == 0 ? c.b : i == 1 ? c.g : c.r);
        const int word = toFcc == kFccRGB565 ? (c.r >> 3) << 11 | (c.g >> 2) << 5 | c.b >> 3
                                             : (c.r >> 3) << 10 | (c.g >> 3) << 5 | c.b >> 3;
        return static_cast<BYTE>(word >> (8 * i));
    }
    int FromRgb(std::int32_t toFcc, std::int32_t x, std::int32_t y, std::size_t i) const {
        if (i == 0) return Luma(Pixel(x, y));
        const Rgb upper = Pixel(x, y) + Pixel(x + 1, y);
        if (!IsPlanar(toFcc)) return Chroma(upper, 2, i == 2);
        return Chroma(upper + Pixel(x, y + 1) + Pixel(x + 1, y + 1), 4, i == 2);
    }

    const TestPicture& src;
    ImgRect s;
};

void ConvertByPixel(const TestPicture& src, TestPicture& dst, const ImgRect& s, const ImgRect& d) {
    const ByPixel converter(src, s);
    std::set<std::size_t> done;  // a chroma sample is written for its first pixel
    for (std::int32_t y = 0; y < d.Height(); ++y)
        for (std::int32_t x = 0; x < d.Width(); ++x) {
            const auto to = dst.Samples(d.left + x, d.top + y);
            for (std::size_t i = 0; i < to.size(); ++i) {
                BYTE& byte = dst.Frame()[to[i]];
                if (done.insert(to[i]).second)
                    byte = converter.Sample(dst.props.fccType, x, y, i, byte);
            }
        }
}

// Every pair of formats, row orders and padding by `random`.
TEST(Convert, ConvertsExactlyTheRectBetweenAllFormats) {
    std::mt19937 random(7);
    for (const std::int32_t fromFcc : kKernelFormats)
        for (const std::int32_t toFcc : kKernelFormats)
            for (int round = 0; round < 8; ++round) {
                const auto picture = [&random](std::int32_t fccType) {
                    const auto width = static_cast<std::int32_t>(40 + random() % 20) * 2;
                    const std::int32_t height = static_cast<std::int32_t>(4 + random() % 3) * 2;
                    return PIC_PROPS{fccType, width,
                                     IsRgb(fccType) && random() % 2 ? -height : height,
                                     random() % 2 ? width + 2 : 0};
                };
                const TestPicture src(picture(fromFcc), random());
                TestPicture dst(picture(toFcc), random());
                const auto even = [&random](unsigned below) {
                    return static_cast<std::int32_t>(random() % below) * 2;
                };
                const std::int32_t width = even(36) + 2;
                const std::int32_t height = even(3) + 2;
                const auto at = [&] {
                    const std::int32_t left = even(4);
                    const std::int32_t top = even(2);
                    return ImgRect{left, top, left + width, top + height};
                };
                const ImgRect s = at();
                const ImgRect d = at();
                TestPicture expected = dst;
                const Outcome outcome = OutcomeOf(fromFcc, toFcc);
                if (outcome == Outcome::kConverts) ConvertByPixel(src, expected, s, d);
                ASSERT_EQ(
                    Img_Convert(src.Frame(), dst.Frame(), &src.props, &dst.props, &s, &d, true),
                    outcome == Outcome::kNone ? E_NOTIMPL : S_OK);
                ASSERT_EQ(dst.memory, expected.memory)
                    << std::hex << fromFcc << " to " << toFcc << std::dec << " heights "
                    << src.props.nHeight << ' ' << dst.props.nHeight;
            }
}

TEST(Convert, OfRgbKeepsOddColumns) {
    const TestPicture src({kFccRGB24, 31, 5, 0}, 1);
    TestPicture dst({kFccARGB32, 31, -5, 33}, 2);
    TestPicture expected = dst;
    const ImgRect rect{3, 1, 20, 4};
    ConvertByPixel(src, expected, rect, rect);
    ASSERT_EQ(Img_Convert(src.Frame(), dst.Frame(), &src.props, &dst.props, &rect, &rect, true),
              S_OK);
    EXPECT_EQ(dst.memory, expected.memory);
}

TEST(Convert, From420TakesEachLinesOwnChromaWhereverTheRectBegins) {
    for (const std::int32_t height : {16, 15})  // the last line of 15 has no chroma row
        for (const std::int32_t toFcc : {kFccRGB32, kFccRGB24, kFccRGB565, kFccYUY2, kFccUYVY}) {
            const TestPicture src({kFccYV12, 20, height, 0}, 1);
            TestPicture whole({toFcc, 20, IsRgb(toFcc) ? -height : height, 0}, 2);
            ASSERT_EQ(Img_Convert(src.Frame(), whole.Frame(), &src.props, &whole.props, nullptr,
                                  nullptr, true),
                      S_OK);
            const TestPicture before(whole.props, 3);
            for (std::int32_t top = 0; top < height; ++top)
                for (std::int32_t bottom = top + 1; bottom <= height; ++bottom) {
                    const ImgRect rect{4, top, 16, bottom};
                    TestPicture expected = before;
                    for (std::int32_t y = top; y < bottom; ++y)
                        for (std::int32_t x = 4; x < 16; ++x)
                            for (const std::size_t at : expected.Samples(x, y))
                                expected.Frame()[at] = whole.Frame()[at];
                    TestPicture dst = before;
                    ASSERT_EQ(Img_Convert(src.Frame(), dst.Frame(), &src.props, &dst.props, &rect,
                                          &rect, true),
                              S_OK);
                    ASSERT_EQ(dst.memory, expected.memory)
                        << std::hex << toFcc << std::dec << ' ' << top << ' ' << bottom;
                }
        }
    // Without a chroma row there is nothing to take.
    const TestPicture line({kFccI420, 20, 1, 0}, 1);
    TestPicture dst({kFccRGB32, 20, 1, 0}, 2);
    const std::vector<BYTE> before = dst.memory;
    EXPECT_LT(
        Img_Convert(line.Frame(), dst.Frame(), &line.props, &dst.props, nullptr, nullptr, true), 0);
    EXPECT_EQ(dst.memory, before);
}

TEST(Convert, To420FillsEveryChromaRowOfTheRect) {
    // All lines alike, so that chroma does not depend on which lines it is taken from.
    for (const std::int32_t fromFcc : {kFccRGB32, kFccRGB24, kFccYUY2, kFccYVYU, kFccI420}) {
        TestPicture src({fromFcc, 20, IsRgb(fromFcc) ? -15 : 15, 0}, 1);
        for (std::int32_t y = 1; y < 15; ++y)
            for (std::int32_t x = 0; x < 20; ++x) {
                const auto first = src.Samples(x, 0);
                const auto here = src.Samples(x, y);
                const bool hasChroma = !IsPlanar(fromFcc) || y < 14;
                for (std::size_t i = 0; i < (hasChroma ? here.size() : 1); ++i)
                    src.Frame()[here[i]] = src.Frame()[first[i]];
            }
        const PIC_PROPS to{kFccYV12, 20, 15, 22};
        TestPicture whole(to, 2);
        ASSERT_EQ(Img_Convert(src.Frame(), whole.Frame(), &src.props, &to, nullptr, nullptr, true),
                  S_OK);
        const TestPicture before(to, 3);
        for (std::int32_t top = 0; top < 15; ++top)
            for (std::int32_t bottom = top + 1; bottom <= 15; ++bottom) {
                const ImgRect rect{4, top, 16, bottom};
                TestPicture expected = before;
                for (std::int32_t y = top; y < bottom; ++y)
                    for (std::int32_t x = 4; x < 16; ++x) {
                        const auto at = expected.Samples(x, y);
                        for (std::size_t i = 0; i < (y < 14 ? 3u : 1u); ++i)
                            expected.Frame()[at[i]] = whole.Frame()[at[i]];
                    }
                TestPicture dst = before;
                ASSERT_EQ(
                    Img_Convert(src.Frame(), dst.Frame(), &src.props, &to, &rect, &rect, true),
                    S_OK);
                ASSERT_EQ(dst.memory, expected.memory)
                    << std::hex << fromFcc << std::dec << ' ' << top << ' ' << bottom;
            }
    }
}

TEST(Convert, LeavesTheSourceAloneUnlessItMayTurnIt) {
    const ImgRect rect{2, 1, 12, 6};
    for (const std::int32_t fromFcc : {kFccRGB24, kFccRGB32, kFccARGB32}) {
        TestPicture src({fromFcc, 16, 9, 18}, 1);
        const TestPicture before = src;
        TestPicture expected({kFccYUY2, 16, 9, 0}, 2);
        TestPicture dst = expected;
        const auto convert = [&](bool bCopyMirror) {
            return Img_Convert(src.Frame(), dst.Frame(), &src.props, &dst.props, &rect, &rect,
                               bCopyMirror);
        };
        ConvertByPixel(src, expected, rect, rect);
        ASSERT_EQ(convert(true), S_OK);
        EXPECT_EQ(dst.memory, expected.memory);
        EXPECT_EQ(src.memory, before.memory);

        dst = TestPicture(dst.props, 2);
        ASSERT_EQ(convert(false), S_OK);
        EXPECT_EQ(dst.memory, expected.memory);
        // The same picture the other way up, what pads its rows in place.
        TestPicture turned = before;
        turned.props.nHeight = -9;
        for (std::int32_t y = 0; y < 9; ++y)
            for (std::int32_t x = 0; x < 16; ++x) {
                const auto from = before.Samples(x, y);
                const auto to = turned.Samples(x, y);
                for (std::size_t i = 0; i < to.size(); ++i)
                    turned.Frame()[to[i]] = before.Frame()[from[i]];
            }
        EXPECT_EQ(src.memory, turned.memory);
    }
}

TEST(Convert, ChangesNothingWhenItRefuses) {
    const PIC_PROPS rgb{kFccRGB32, 32, 8, 0};
    const PIC_PROPS yuv{kFccYUY2, 32, 8, 0};
    const PIC_PROPS odd{kFccYUY2, 31, 8, 0};
    const PIC_PROPS plane{kFccRGB8, 32, 8, 0};
    const TestPicture src(rgb, 1);
    TestPicture dst(yuv, 2);
    const std::vector<BYTE> before = dst.memory;
    const ImgRect outside{32, 0, 40, 8};
    const ImgRect touching{-10, 0, 0, 8};
    const ImgRect empty{4, 4, 4, 8};
    const auto convert = [&](const PIC_PROPS* D, const ImgRect* d) {
        return Img_Convert(src.Frame(), dst.Frame(), &rgb, D, nullptr, d, true);
    };
    EXPECT_EQ(convert(&odd, nullptr), E_INVALIDARG);
    EXPECT_EQ(convert(nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(convert(&plane, nullptr), E_NOTIMPL);
    EXPECT_EQ(convert(&yuv, &empty), E_INVALIDARG);
    EXPECT_EQ(convert(&yuv, &outside), S_FALSE);
    EXPECT_EQ(convert(&yuv, &touching), S_FALSE);
    EXPECT_EQ(dst.memory, before);
}

}  // namespace
}  // namespace qdvm
