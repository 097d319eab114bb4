#include "pixels/img_copy.h"

#include "frames/blob_holder.h"
#include "support/test_picture.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <random>

namespace qdvm {
namespace {

using test::IsPlanar;
using test::kKernelFormats;
using test::TestPicture;

// The same, pixel by pixel, for rects that lie inside and fit the format.
void CopyByPixel(const TestPicture& src, TestPicture& dst, const ImgRect& s, const ImgRect& d) {
    for (std::int32_t y = 0; y < d.Height(); ++y)
        for (std::int32_t x = 0; x < d.Width(); ++x) {
            const auto from = src.Samples(s.left + x, s.top + y);
            const auto to = dst.Samples(d.left + x, d.top + y);
            for (std::size_t i = 0; i < to.size(); ++i) dst.Frame()[to[i]] = src.Frame()[from[i]];
        }
}

TEST(CopyRect, CopiesExactlyTheRectInEveryFormatAndRowOrder) {
    std::mt19937 random(5);
    std::vector<std::int32_t> formats(std::begin(kKernelFormats), std::end(kKernelFormats));
    formats.push_back(kFccRGB8);
    for (const std::int32_t fccType : formats)
        for (int round = 0; round < 40; ++round) {
            const bool isRgb = IsRGBFormat(fccType);
            const std::int32_t step = isRgb ? 1 : 2;
            const std::int32_t lines = IsPlanar(fccType) ? 2 : 1;
            const auto picture = [&] {
                const auto width = static_cast<std::int32_t>(20 + random() % 9) * step;
                const auto height = static_cast<std::int32_t>(10 + random() % 5) * lines;
                const auto extra = static_cast<std::int32_t>(random() % 3) * step;
                const bool topDown = isRgb && random() % 2;
                return PIC_PROPS{fccType, width, topDown ? -height : height,
                                 extra ? width + extra : 0};
            };
            const TestPicture src(picture(), random());
            TestPicture dst(picture(), random());
            const auto upTo = [&random](std::int32_t end, std::int32_t unit) {
                return static_cast<std::int32_t>(random() % (end / unit)) * unit;
            };
            const std::int32_t width = upTo(10, step) + step;
            const std::int32_t height = upTo(8, lines) + lines;
            const ImgRect s{upTo(8, step), upTo(2, lines), 0, 0};
            const ImgRect d{upTo(8, step), upTo(2, lines), 0, 0};
            const ImgRect sourceRect{s.left, s.top, s.left + width, s.top + height};
            const ImgRect destRect{d.left, d.top, d.left + width, d.top + height};
            TestPicture expected = dst;
            CopyByPixel(src, expected, sourceRect, destRect);
            ASSERT_EQ(Img_CopyRect(src.Frame(), dst.Frame(), &src.props, &dst.props, &sourceRect,
                                   &destRect),
                      S_OK);
            ASSERT_EQ(dst.memory, expected.memory) << std::hex << fccType << " round " << round;
        }
}

TEST(CopyRect, WholePicturesOfOneShapeAreEqualAfterwards) {
    for (const std::int32_t fccType : kKernelFormats) {
        const PIC_PROPS props{fccType, 36, 8, 0};
        const TestPicture src(props, 1);
        TestPicture dst(props, 2);
        TestPicture expected = dst;
        std::copy_n(src.Frame(), FrameBytes(props), expected.Frame());
        ASSERT_EQ(Img_CopyRect(src.Frame(), dst.Frame(), &props, &props, nullptr, nullptr), S_OK);
        EXPECT_EQ(dst.memory, expected.memory) << std::hex << fccType;
    }
}

TEST(CopyRect, RectsOverTheEdgeLoseTheSamePart) {
    const PIC_PROPS props{kFccRGB24, 30, 20, 0};
    const TestPicture src(props, 1);
    TestPicture dst(props, 2);
    TestPicture expected = dst;
    CopyByPixel(src, expected, {7, 0, 17, 5}, {0, 15, 10, 20});
    const ImgRect s{0, 0, 17, 20};
    const ImgRect d{-7, 15, 10, 35};
    EXPECT_EQ(Img_CopyRect(src.Frame(), dst.Frame(), &props, &props, &s, &d), S_OK);
    EXPECT_EQ(dst.memory, expected.memory);
}

TEST(CopyRect, ChangesNothingWhenItRefuses) {
    const PIC_PROPS props{kFccYUY2, 32, 8, 0};
    const PIC_PROPS other{kFccUYVY, 32, 8, 0};
    const PIC_PROPS odd{kFccYUY2, 31, 8, 0};
    TestPicture src(props, 1);
    TestPicture dst(props, 2);
    const std::vector<BYTE> before = dst.memory;
    const ImgRect outside{40, 0, 50, 8};
    const ImgRect touching{-10, 0, 0, 8};
    const ImgRect empty{4, 0, 4, 8};
    const auto copy = [&](const PIC_PROPS* S, const PIC_PROPS* D, const ImgRect* d) {
        return Img_CopyRect(src.Frame(), dst.Frame(), S, D, nullptr, d);
    };
    EXPECT_EQ(copy(&props, &other, nullptr), E_NOTIMPL);
    EXPECT_EQ(copy(&props, &odd, nullptr), E_INVALIDARG);
    EXPECT_EQ(copy(nullptr, &props, nullptr), E_INVALIDARG);
    EXPECT_EQ(copy(&props, &props, &empty), E_INVALIDARG);
    EXPECT_EQ(copy(&props, &props, &outside), S_FALSE);
    EXPECT_EQ(copy(&props, &props, &touching), S_FALSE);
    EXPECT_EQ(Img_CopyRect(nullptr, dst.Frame(), &props, &props, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(dst.memory, before);
}

TEST(CopyRect, CopiesStoredGroupsWhole) {
    const PIC_PROPS v210{kFccV210, 48, 4, 0};
    const TestPicture src(v210, 1);
    TestPicture dst(v210, 2);
    TestPicture expected = dst;
    // Columns 12 to 19 lie in the third and fourth group of six.
    const ImgRect rect{12, 1, 20, 3};
    for (const std::size_t row : {128, 256})
        std::copy_n(src.Frame() + row + 32, 32, expected.Frame() + row + 32);
    ASSERT_EQ(Img_CopyRect(src.Frame(), dst.Frame(), &v210, &v210, &rect, &rect), S_OK);
    EXPECT_EQ(dst.memory, expected.memory);
    // A source that begins inside a group must not push the last group over the row's end.
    const ImgRect s{4, 3, 10, 4};
    const ImgRect d{42, 3, 48, 4};
    std::copy_n(src.Frame() + 384, 16, expected.Frame() + 384 + 112);
    ASSERT_EQ(Img_CopyRect(src.Frame(), dst.Frame(), &v210, &v210, &s, &d), S_OK);
    EXPECT_EQ(dst.memory, expected.memory);

    const PIC_PROPS up{kFccR210, 65, 3, 0};
    const PIC_PROPS down{kFccR210, 65, -3, 0};
    const TestPicture from(up, 3);
    TestPicture to(down, 4);
    TestPicture upright = to;
    for (std::size_t row = 0; row < 3; ++row)
        std::copy_n(from.Frame() + (2 - row) * 512, 65 * 4, upright.Frame() + row * 512);
    ASSERT_EQ(Img_CopyRect(from.Frame(), to.Frame(), &up, &down, nullptr, nullptr), S_OK);
    EXPECT_EQ(to.memory, upright.memory);
}

TEST(CopyRect, ReportsMemoryThatIsNotThere) {
    const PIC_PROPS props{kFccV210, 48, 64, 0};
    const std::size_t bytes = FrameBytes(props);
    void* const hidden = mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(hidden, MAP_FAILED);
    TestPicture picture(props, 1);
    auto* const frame = static_cast<BYTE*>(hidden);
    EXPECT_EQ(Img_CopyRect(frame, picture.Frame(), &props, &props, nullptr, nullptr),
              E_ACCESSDENIED);
    EXPECT_EQ(Img_CopyRect(picture.Frame(), frame, &props, &props, nullptr, nullptr),
              E_ACCESSDENIED);
    munmap(hidden, bytes);
}

}  // namespace
}  // namespace qdvm
