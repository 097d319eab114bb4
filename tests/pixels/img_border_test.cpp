#include "pixels/img_border.h"

#include "pixels/colour.h"
#include "pixels/img_fill.h"
#include "support/test_picture.h"

#include <gtest/gtest.h>

#include <random>

namespace qdvm {
namespace {

using test::kKernelFormats;
using test::TestPicture;

constexpr std::uint32_t kColour = 0x00C08020;  // its alpha byte stands for opaque
constexpr std::uint32_t kDrawnColour = 0xFFC08020;

void FillBars(TestPicture& picture, std::initializer_list<ImgRect> bars, std::int32_t alpha) {
    for (const ImgRect& bar : bars)
        ASSERT_EQ(Img_FillRect(picture.Frame(), &picture.props, kDrawnColour, &bar, alpha), S_OK);
}

TEST(Border, LiesInsideTheRectInEveryFormat) {
    const ImgRect rect{4, 2, 24, 14};
    for (const std::int32_t fccType : kKernelFormats)
        for (const std::int32_t alpha : {255, 100})
            for (const std::int32_t height : {20, -20}) {
                if (height < 0 && !IsRGBFormat(fccType)) continue;
                TestPicture picture({fccType, 30, height, 32}, 1);
                TestPicture expected = picture;
                FillBars(expected, {{4, 2, 24, 4}, {4, 12, 24, 14}, {4, 4, 6, 12}, {22, 4, 24, 12}},
                         alpha);
                ASSERT_EQ(Img_Border(picture.Frame(), &picture.props, kColour, 2, &rect, alpha),
                          S_OK);
                EXPECT_EQ(picture.memory, expected.memory) << std::hex << fccType;
            }
}

TEST(Border, IsAtMostHalfOfTheSmallerSide) {
    const ImgRect narrow{10, 0, 22, 100};
    TestPicture picture({kFccRGB24, 40, 100, 0}, 1);
    TestPicture expected = picture;
    FillBars(expected, {narrow}, 90);
    EXPECT_EQ(Img_Border(picture.Frame(), &picture.props, kColour, 10, &narrow, 90), S_OK);
    EXPECT_EQ(picture.memory, expected.memory);

    const ImgRect odd{10, 0, 23, 100};
    FillBars(expected, {{10, 0, 23, 6}, {10, 94, 23, 100}, {10, 6, 16, 94}, {17, 6, 23, 94}}, 90);
    EXPECT_EQ(Img_Border(picture.Frame(), &picture.props, kColour, 10, &odd, 90), S_OK);
    EXPECT_EQ(picture.memory, expected.memory);
}

TEST(Border, OfYuvIsEvenAndTakesSharedChromaOnce) {
    const ImgRect rect{4, 0, 44, 40};
    TestPicture picture({kFccYUY2, 60, 40, 0}, 1);
    TestPicture expected = picture;
    FillBars(expected, {{4, 0, 44, 8}, {4, 32, 44, 40}, {4, 8, 12, 32}, {36, 8, 44, 32}}, 50);
    EXPECT_EQ(Img_Border(picture.Frame(), &picture.props, kColour, 7, &rect, 50), S_OK);
    EXPECT_EQ(picture.memory, expected.memory);
    // Half of these is odd: the bars meet inside a pair of columns or lines.
    for (const std::int32_t fccType : {kFccYUY2, kFccI420})
        for (const ImgRect& tight : {ImgRect{2, 3, 12, 30}, ImgRect{2, 3, 12, 13},
                                     ImgRect{2, 1, 14, 12}, ImgRect{2, 0, 4, 7}}) {
            TestPicture covered({fccType, 40, 40, 0}, 2);
            TestPicture filled = covered;
            FillBars(filled, {tight}, 50);
            EXPECT_EQ(Img_Border(covered.Frame(), &covered.props, kColour, 100, &tight, 50), S_OK);
            EXPECT_EQ(covered.memory, filled.memory)
                << std::hex << fccType << ' ' << tight.right << ' ' << tight.bottom;
        }
}

TEST(Border, OfAPlaneIsItsLowByte) {
    TestPicture plane({kFccRGB8, 9, -6, 0}, 1);
    TestPicture expected = plane;
    for (std::int32_t y = 0; y < 6; ++y)
        for (std::int32_t x = 0; x < 9; ++x)
            if (y < 1 || y > 4 || x < 1 || x > 7) expected.Frame()[y * 9 + x] = 0x77;
    EXPECT_EQ(Img_Border(plane.Frame(), &plane.props, 0x12345677, 1, nullptr, 255), S_OK);
    EXPECT_EQ(plane.memory, expected.memory);
}

TEST(Border, ChangesNothingWhenItRefuses) {
    TestPicture picture({kFccRGB32, 32, 8, 0}, 1);
    const std::vector<BYTE> before = picture.memory;
    const PIC_PROPS v210{kFccV210, 48, 8, 0};
    const ImgRect outside{32, 0, 40, 8};
    const ImgRect point{5, 5, 6, 6};
    const auto border = [&picture](const PIC_PROPS* D, std::int32_t width, const ImgRect* rect) {
        return Img_Border(picture.Frame(), D, kColour, width, rect, 255);
    };
    EXPECT_EQ(border(&picture.props, 0, nullptr), S_FALSE);
    EXPECT_EQ(border(&picture.props, -5, nullptr), S_FALSE);
    EXPECT_EQ(border(&picture.props, 3, &outside), S_FALSE);
    EXPECT_EQ(border(&picture.props, 3, &point), S_FALSE);
    EXPECT_EQ(border(&v210, 3, nullptr), E_INVALIDARG);
    EXPECT_EQ(border(nullptr, 3, nullptr), E_INVALIDARG);
    EXPECT_EQ(picture.memory, before);
}

}  // namespace
}  // namespace qdvm
