#include "pixels/img_resize.h"

#include "pixels/img_flip.h"
#include "support/test_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

namespace qdvm {
namespace {

using test::IsPlanar;
using test::kKernelFormats;
using test::TestPicture;

bool Is16Bit(std::int32_t fccType) { return fccType == kFccRGB565 || fccType == kFccRGB555; }

// All samples of each pixel from its place; chroma gets what the upper left pixel of its group got.
void Paint(TestPicture& picture, const std::function<double(std::int32_t, std::int32_t)>& value) {
    for (std::int32_t y = AbsHeight(picture.props) - 1; y >= 0; --y)
        for (std::int32_t x = picture.props.nWidth - 1; x >= 0; --x)
            for (const std::size_t at : picture.Samples(x, y))
                picture.Frame()[at] = static_cast<BYTE>(value(x, y));
}

int LumaAt(const TestPicture& picture, std::int32_t x, std::int32_t y) {
    return picture.Frame()[picture.Samples(x, y)[0]];
}

struct Formats : testing::TestWithParam<std::int32_t> {
    PIC_PROPS Props(std::int32_t width, std::int32_t height, std::int32_t extra = 0) const {
        return {GetParam(), width, height, extra ? width + extra : 0};
    }
    bool IsRgb() const { return IsRGBFormat(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(All, Formats, testing::ValuesIn(kKernelFormats));

TEST_P(Formats, AConstantStaysConstantAndNothingAroundTheRectIsTouched) {
    if (Is16Bit(GetParam())) return;
    for (const std::int32_t mode : {2, 4, 32, 33, 34})
        for (const auto& [width, height] : {std::pair{22, 10}, {50, 40}, {14, 31}}) {
            TestPicture from(Props(32, 18, 4), 1);
            Paint(from, [](auto, auto) { return 77; });
            TestPicture to(Props(64, 48, 2), 2);
            const TestPicture before = to;
            const ImgRect d{6, 4, 6 + width, 4 + height};
            ASSERT_EQ(Img_Resize(from.Frame(), to.Frame(), &from.props, &to.props, nullptr, &d,
                                 mode, nullptr),
                      S_OK);
            for (std::int32_t y = 0; y < 48; ++y)
                for (std::int32_t x = 0; x < 64; ++x) {
                    const bool isInside = x >= d.left && x < d.right && y >= d.top && y < d.bottom;
                    // Half of the last pair of lines of an odd height is outside.
                    if (IsPlanar(GetParam()) && y / 2 == d.bottom / 2) continue;
                    for (const std::size_t at : to.Samples(x, y))
                        ASSERT_EQ(to.Frame()[at], isInside ? 77 : before.Frame()[at])
                            << x << "," << y << " mode " << mode;
                }
        }
}

TEST_P(Formats, ARampStaysARampWithoutAShift) {
    if (Is16Bit(GetParam())) return;
    for (const std::int32_t target : {40, 120}) {
        TestPicture from(Props(80, 80), 1);
        Paint(from, [](auto x, auto y) { return 2 * x + y / 2; });
        TestPicture to(Props(target, target), 2);
        ASSERT_EQ(Img_Resize(from.Frame(), to.Frame(), &from.props, &to.props, nullptr, nullptr,
                             kResizeLinear, nullptr),
                  S_OK);
        const double scale = 80.0 / target;
        for (std::int32_t y = 4; y < target - 4; ++y)
            for (std::int32_t x = 4; x < target - 4; ++x) {
                const double sourceX = (x + 0.5) * scale - 0.5;
                const double sourceY = (y + 0.5) * scale - 0.5;
                ASSERT_NEAR(LumaAt(to, x, y), 2 * sourceX + sourceY / 2, 1.6) << x << "," << y;
            }
    }
}

TEST_P(Formats, TheMirroredPictureGivesTheMirroredResult) {
    if (Is16Bit(GetParam()) || GetParam() == kFccHDYC) return;
    for (const bool vertical : {false, true}) {
        TestPicture from(Props(44, 32), 3);
        TestPicture mirrored(from.props, 4);
        TestPicture straight(Props(70, 20), 5);
        TestPicture turned(straight.props, 6);
        TestPicture back(straight.props, 7);
        ASSERT_EQ(Img_Flip(from.Frame(), mirrored.Frame(), &from.props, &from.props, vertical,
                           !vertical, nullptr, nullptr),
                  S_OK);
        for (const auto& [source, dest] :
             {std::pair{&from, &straight}, std::pair{&mirrored, &turned}})
            ASSERT_EQ(Img_Resize(source->Frame(), dest->Frame(), &source->props, &dest->props,
                                 nullptr, nullptr, kResizeLinear, nullptr),
                      S_OK);
        ASSERT_EQ(Img_Flip(turned.Frame(), back.Frame(), &turned.props, &turned.props, vertical,
                           !vertical, nullptr, nullptr),
                  S_OK);
        for (std::int32_t y = 0; y < 20; ++y)
            for (std::int32_t x = 0; x < 70; ++x)
                for (const std::size_t at : straight.Samples(x, y))
                    ASSERT_EQ(back.Frame()[at], straight.Frame()[at]) << x << "," << y;
    }
}

TEST_P(Formats, FieldsKeepToTheirLines) {
    if (Is16Bit(GetParam())) return;
    // Odd row widths pad the rows of RGB24.
    for (const std::int32_t height : {16, -16}) {
        if (!IsRgb() && height < 0) continue;
        const std::int32_t extra = IsRgb() ? 3 : 4;
        TestPicture from(Props(20, height, extra), 1);
        Paint(from, [](auto, auto y) { return y % 2 ? 200 : 50; });
        for (const std::int32_t target : {24, -24, 16, -16}) {
            if (!IsRgb() && target < 0) continue;
            TestPicture to(Props(30, target, extra), 2);
            if (std::abs(target) == 16) to = TestPicture(Props(20, target, extra), 2);
            ASSERT_EQ(Img_ResizeFields(from.Frame(), to.Frame(), &from.props, &to.props, nullptr,
                                       nullptr, kResizeLinear, nullptr),
                      S_OK);
            for (std::int32_t y = 0; y < AbsHeight(to.props); ++y)
                for (std::int32_t x = 0; x < to.props.nWidth; ++x)
                    ASSERT_EQ(LumaAt(to, x, y), y % 2 ? 200 : 50) << x << "," << y;
            // One field fills every line.
            const int lower = IsRgb() && height > 0 ? 0 : 1;
            ASSERT_EQ(Img_ResizeOneField(from.Frame(), to.Frame(), &from.props, &to.props, nullptr,
                                         nullptr, lower, kResizeLinear, nullptr),
                      S_OK);
            for (std::int32_t y = 0; y < AbsHeight(to.props); ++y)
                ASSERT_EQ(LumaAt(to, 5, y), 200) << y;
        }
    }
}

// Rects that begin or end between the lines of a pair leave no line of either field out.
TEST_P(Formats, FieldsFillTheWholeRect) {
    if (Is16Bit(GetParam())) return;
    for (const std::int32_t height : {22, -22})
        for (const std::int32_t top : {0, 2, 3})
            for (const std::int32_t bottom : {4, 10, 13, 14, 22}) {
                if (!IsRgb() && height < 0) continue;
                TestPicture from(Props(20, 16), 1);
                Paint(from, [](auto, auto y) { return y % 2 ? 200 : 50; });
                TestPicture to(Props(20, height), 2);
                const TestPicture before = to;
                const ImgRect d{4, top, 16, bottom};
                const ImgRect alike{4, 2, 16, 2 + bottom - top};
                const bool isCopy = bottom - top < 14 && top != 0;
                ASSERT_EQ(Img_ResizeFields(from.Frame(), to.Frame(), &from.props, &to.props,
                                           isCopy ? &alike : nullptr, &d, kResizeLinear, nullptr),
                          S_OK);
                for (std::int32_t y = 0; y < 22; ++y)
                    for (std::int32_t x = 0; x < 20; ++x) {
                        const bool isInside = x >= 4 && x < 16 && y >= top && y < bottom;
                        const std::vector<std::size_t> at = to.Samples(x, y);
                        ASSERT_EQ(to.Frame()[at[0]], !isInside ? before.Frame()[at[0]]
                                                     : y % 2   ? 200
                                                               : 50)
                            << x << "," << y << " of " << top << " to " << bottom;
                        // A pair's chroma goes with the half that begins in the rect.
                        const bool hasChroma = isInside && y / 2 >= top / 2 && y / 2 < bottom / 2;
                        for (std::size_t i = 1; IsPlanar(GetParam()) && hasChroma && i < 3; ++i)
                            ASSERT_EQ(to.Frame()[at[i]], 50) << x << "," << y;
                    }
            }
}

TEST_P(Formats, RowOrdersAreTurnedUpright) {
    if (!IsRgb() || Is16Bit(GetParam())) return;
    TestPicture from(Props(20, 16), 1);
    Paint(from, [](auto, auto y) { return y * 10; });
    TestPicture to(Props(30, -32), 2);
    ASSERT_EQ(Img_Resize(from.Frame(), to.Frame(), &from.props, &to.props, nullptr, nullptr,
                         kResizeNearest, nullptr),
              S_OK);
    for (std::int32_t y = 0; y < 32; ++y) ASSERT_EQ(LumaAt(to, 9, y), y / 2 * 10);
}

TEST(Resize, OnlyKeepsEnergyWithTheFinestModeWhereItShrinks) {
    const PIC_PROPS S{kFccRGB8, 64, -64, 0};
    const PIC_PROPS D{kFccRGB8, 16, -16, 0};
    TestPicture from(S, 1);
    TestPicture to(D, 2);
    ASSERT_EQ(
        Img_Resize(from.Frame(), to.Frame(), &S, &D, nullptr, nullptr, kResizeFinest, nullptr),
        S_OK);
    double before = 0;
    double after = 0;
    for (int i = 0; i < 64 * 64; ++i) before += from.Frame()[i] / 4096.0;
    for (int i = 0; i < 16 * 16; ++i) after += to.Frame()[i] / 256.0;
    EXPECT_NEAR(before, after, 0.5);
}

TEST(Resize, EqualSizesAreCopiedWhateverTheMode) {
    const PIC_PROPS props{kFccRGB32, 20, -20, 0};
    TestPicture from(props, 1);
    TestPicture to(props, 2);
    const ImgRect s{-3, 2, 15, 12};  // clipped on the left
    const ImgRect d{2, 5, 20, 15};
    ASSERT_EQ(Img_Resize(from.Frame(), to.Frame(), &props, &props, &s, &d, kResizeCubic, nullptr),
              S_OK);
    for (std::int32_t x = 0; x < 15; ++x) EXPECT_EQ(LumaAt(to, x + 5, 8), LumaAt(from, x, 5)) << x;
}

TEST(Resize, SaysWhatItCanNotDo) {
    const PIC_PROPS S{kFccRGB32, 20, -20, 0};
    PIC_PROPS other{kFccRGB24, 20, -20, 0};
    TestPicture from(S, 1);
    TestPicture to(S, 2);
    const ImgRect far{100, 100, 120, 120};
    const ImgRect inverted{9, 9, 3, 12};
    EXPECT_EQ(Img_Resize(nullptr, to.Frame(), &S, &S, nullptr, nullptr, 2, nullptr), E_INVALIDARG);
    EXPECT_EQ(Img_Resize(from.Frame(), to.Frame(), &S, &other, nullptr, nullptr, 2, nullptr),
              E_INVALIDARG);
    EXPECT_EQ(Img_Resize(from.Frame(), to.Frame(), &S, &S, &inverted, nullptr, 2, nullptr),
              E_INVALIDARG);
    EXPECT_EQ(Img_Resize(from.Frame(), to.Frame(), &S, &S, nullptr, &far, 2, nullptr), S_FALSE);
    EXPECT_EQ(ResizeScratchBytes({kFccYUY2, 20, 10, 0}, {kFccYUY2, 30, -12, 36}), 12u * 40 * 8);
    EXPECT_EQ(ResizeScratchBytes16({kFccYUY2, 20, 10, 0}, {kFccYUY2, 30, -12, 36}), 12u * 40 * 16);
}

TEST(Flip, MovesPixelsAndKeepsTheirColours) {
    for (const std::int32_t fccType : kKernelFormats)
        for (const std::int32_t target : {10, -10})
            for (const auto& [vertical, horizontal] :
                 {std::pair{true, false}, {false, true}, {true, true}}) {
                const PIC_PROPS S{fccType, 24, 10, 26};
                const PIC_PROPS D{fccType, 24, target, 0};
                TestPicture from(S, 1);
                TestPicture to(D, 2);
                const HRESULT result = Img_Flip(from.Frame(), to.Frame(), &S, &D, vertical,
                                                horizontal, nullptr, nullptr);
                if (Is16Bit(fccType) || fccType == kFccHDYC) {
                    EXPECT_EQ(result, E_NOTIMPL);
                    continue;
                }
                ASSERT_EQ(result, S_OK);
                TestPicture inPlace = from;
                ASSERT_EQ(Img_FlipInPlace(inPlace.Frame(), &S, vertical, horizontal, nullptr),
                          S_OK);
                for (std::int32_t y = 0; y < 10; ++y)
                    for (std::int32_t x = 0; x < 24; ++x) {
                        const auto there =
                            from.Samples(horizontal ? 23 - x : x, vertical ? 9 - y : y);
                        const auto here = to.Samples(x, y);
                        const auto same = inPlace.Samples(x, y);
                        for (std::size_t i = 0; i < here.size(); ++i) {
                            ASSERT_EQ(to.Frame()[here[i]], from.Frame()[there[i]]);
                            ASSERT_EQ(inPlace.Frame()[same[i]], from.Frame()[there[i]]);
                        }
                    }
            }
    const PIC_PROPS props{kFccRGB32, 8, 8, 0};
    TestPicture picture(props, 1);
    EXPECT_EQ(Img_FlipInPlace(picture.Frame(), &props, false, false, nullptr), S_FALSE);
}

}  // namespace
}  // namespace qdvm
