#include "pixels/img_perspective.h"

#include "support/test_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace qdvm {
namespace {

using test::kKernelFormats;
using test::TestPicture;

void ExpectCorners(const PointD* corners, const double (&expected)[8]) {
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(corners[i].x, expected[2 * i], 0.0006) << i;
        EXPECT_NEAR(corners[i].y, expected[2 * i + 1], 0.0006) << i;
    }
}

TEST(ProjectCorners, FollowsTheAngles) {
    PointD corners[4];
    const ImgRect wide{0, 0, 1920, 1080};
    ASSERT_EQ(Img_ProjectCorners(&wide, 1920, 0, 0, corners, 40, 30, 0), S_OK);
    ExpectCorners(corners,
                  {197.956, 45.038, 1874.607, -54.055, 1874.607, 1134.055, 197.956, 1034.962});
    const ImgRect narrow{0, 0, 720, 576};
    ASSERT_EQ(Img_ProjectCorners(&narrow, 720, 0, 0, corners, 30, 0, 20), S_OK);
    ExpectCorners(corners, {12.730, 26.938, 707.270, 26.938, 733.699, 568.930, -13.699, 568.930});
    EXPECT_EQ(Img_ProjectCorners(nullptr, 720, 0, 0, corners, 30, 0, 20), E_POINTER);
    EXPECT_EQ(Img_ProjectCorners(&narrow, 720, 0, 0, nullptr, 30, 0, 20), E_POINTER);
}

TEST(ProjectCorners, FacesTheEyeWithoutAngles) {
    const ImgRect rect{100, 60, 420, 300};
    PointD corners[4];
    ASSERT_EQ(Img_ProjectCorners(&rect, 720, 0, 0, corners, 0, 0, 0), S_OK);
    ExpectCorners(corners, {100, 60, 420, 60, 420, 300, 100, 300});
}

// The eye right across from a corner, or all but: the lines of sight run along an axis.
TEST(ProjectCorners, KeepsItsCornersWhereverTheEyeStands) {
    const ImgRect rect{100, 60, 420, 300};
    PointD corners[4];
    for (const double horz : {1.0, -1.0, 1.0 + 1e-15, 1.0 - 1e-13})
        for (const double vert : {0.0, 0.75}) {
            ASSERT_EQ(Img_ProjectCorners(&rect, 720, horz, vert, corners, 40, 0, 0), S_OK);
            ExpectCorners(corners, {100, 60, 420, 60, 420, 300, 100, 300});
        }
    PointD before[4];
    ASSERT_EQ(Img_ProjectCorners(&rect, 720, 1.0 - 1e-9, 0, before, 40, 0, 20), S_OK);
    ASSERT_EQ(Img_ProjectCorners(&rect, 720, 1.0, 0, corners, 40, 0, 20), S_OK);
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(corners[i].x, before[i].x, 0.001) << i;
        EXPECT_NEAR(corners[i].y, before[i].y, 0.001) << i;
    }
}

// One quarter of the source to a rectangle twice its size: a warp whose result is known.
TEST(Perspective, PutsTheSourcesCornersOnTheQuadrangles) {
    for (const std::int32_t fccType : kKernelFormats) {
        const bool isRgb = IsRGBFormat(fccType);
        if (fccType == kFccRGB565 || fccType == kFccRGB555) continue;
        for (const std::int32_t sourceHeight : {32, -32})
            for (const std::int32_t destHeight : {64, -64}) {
                if (!isRgb && (sourceHeight < 0 || destHeight < 0)) continue;
                TestPicture from({fccType, 32, sourceHeight, 36}, 1);
                TestPicture to({fccType, 64, destHeight, 0}, 2);
                const TestPicture before = to;
                for (std::int32_t y = 0; y < 32; ++y)
                    for (std::int32_t x = 0; x < 32; ++x)
                        for (const std::size_t at : from.Samples(x, y))
                            from.Frame()[at] =
                                static_cast<BYTE>((x < 16 ? 40 : 90) + (y < 16 ? 0 : 100));
                const PointD corners[] = {{12, 16}, {44, 16}, {44, 48}, {12, 48}};
                ImgRect bound{};
                const ImgRect s{8, 8, 24, 24};
                ASSERT_EQ(Img_Perspective(from.Frame(), to.Frame(), &from.props, &to.props, corners,
                                          &s, &bound, true, 2, nullptr),
                          S_OK);
                EXPECT_LE(bound.left, 12);
                EXPECT_GE(bound.right, 44);
                EXPECT_EQ(bound.left % 4 + bound.right % 4 + bound.top % 2 + bound.bottom % 2, 0);
                for (std::int32_t y = 0; y < 64; ++y)
                    for (std::int32_t x = 0; x < 64; ++x) {
                        const bool isInside = x >= 12 && x < 44 && y >= 16 && y < 48;
                        const bool isEdge = std::abs(x - 27) < 4 || std::abs(y - 31) < 4;
                        if (isInside && isEdge) continue;
                        const int shown = (x < 28 ? 40 : 90) + (y < 32 ? 0 : 100);
                        for (const std::size_t at : to.Samples(x, y))
                            ASSERT_EQ(to.Frame()[at], isInside ? shown : before.Frame()[at])
                                << fccType << " " << x << "," << y;
                    }
            }
    }
}

// The edges of a sharp corner end where it ends.
TEST(Perspective, OneLineOf420HasItsColour) {
    constexpr BYTE kChroma = 77;
    for (const std::int32_t line : {0, 7, 31}) {
        TestPicture from({kFccI420, 32, 32, 0}, 1);
        TestPicture to({kFccI420, 64, 64, 0}, 2);
        for (std::int32_t y = 0; y < 32; ++y)
            for (const std::size_t at : from.Samples(8, y))
                from.Frame()[at] = y / 2 == line / 2 ? kChroma : BYTE{0};
        const ImgRect source{8, line, 10, line + 1};
        const PointD corners[4] = {{10, 10}, {50, 10}, {50, 50}, {10, 50}};
        ASSERT_EQ(Img_Perspective(from.Frame(), to.Frame(), &from.props, &to.props, corners,
                                  &source, nullptr, true, 2, nullptr),
                  S_OK);
        const std::vector<std::size_t> middle = to.Samples(30, 30);
        EXPECT_EQ(to.Frame()[middle[1]], kChroma) << line;
        EXPECT_EQ(to.Frame()[middle[2]], kChroma) << line;
    }
}

TEST(Perspective, TouchesNothingBesideItsBound) {
    for (const auto& [view, horz, vert] :
         {std::array{60.0, 60.0, 60.0}, {40.0, 75.0, 60.0}, {40.0, -60.0, 40.0}}) {
        TestPicture from({kFccRGB8, 300, -200, 0}, 1);
        TestPicture to({kFccRGB8, 960, -540, 0}, 2);
        std::fill_n(from.Frame(), FrameBytes(from.props), BYTE{255});
        std::fill_n(to.Frame(), FrameBytes(to.props), BYTE{0});
        const ImgRect rect{330, 170, 630, 370};
        std::array<PointD, 4> corners{};
        ASSERT_EQ(Img_ProjectCorners(&rect, 960, 0, 0, corners.data(), view, horz, vert), S_OK);
        ImgRect bound{};
        ASSERT_EQ(Img_Perspective(from.Frame(), to.Frame(), &from.props, &to.props, corners.data(),
                                  nullptr, &bound, true, 2, nullptr),
                  S_OK);
        for (std::int32_t y = 0; y < 540; ++y)
            for (std::int32_t x = 0; x < 960; ++x) {
                if (x >= bound.left && x < bound.right && y >= bound.top && y < bound.bottom)
                    continue;
                ASSERT_EQ(to.Frame()[to.Samples(x, y)[0]], 0) << x << "," << y;
            }
    }
}

TEST(Perspective, SaysWhatItCanNotDo) {
    const PIC_PROPS S{kFccRGB32, 20, -20, 0};
    const PIC_PROPS other{kFccYUY2, 20, 20, 0};
    TestPicture from(S, 1);
    TestPicture to(S, 2);
    const TestPicture before = to;
    const PointD good[] = {{0, 0}, {10, 0}, {10, 10}, {0, 10}};
    const PointD line[] = {{0, 0}, {5, 0}, {10, 0}, {15, 0}};
    const PointD outside[] = {{100, 100}, {110, 100}, {110, 110}, {100, 110}};
    ImgRect bound{};
    const auto warp = [&](const PIC_PROPS* D, const PointD* corners) {
        return Img_Perspective(from.Frame(), to.Frame(), &S, D, corners, nullptr, &bound, false, 2,
                               nullptr);
    };
    EXPECT_EQ(warp(nullptr, good), E_INVALIDARG);
    EXPECT_EQ(warp(&S, nullptr), E_INVALIDARG);
    EXPECT_EQ(warp(&other, good), E_NOTIMPL);
    EXPECT_EQ(warp(&S, line), E_INVALIDARG);
    EXPECT_EQ(warp(&S, outside), S_FALSE);
    EXPECT_EQ(to.memory, before.memory);
}

}  // namespace
}  // namespace qdvm
