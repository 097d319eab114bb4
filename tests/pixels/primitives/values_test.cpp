// Numbers that primitives must give, and what they refuse.

#include "pixels/primitives/arithmetic.h"
#include "pixels/primitives/blend.h"
#include "pixels/primitives/channels.h"
#include "pixels/primitives/colour_space.h"
#include "pixels/primitives/convert.h"
#include "pixels/primitives/copy.h"
#include "pixels/primitives/cpu_level.h"
#include "pixels/primitives/fill.h"
#include "pixels/primitives/filters.h"
#include "support/primitive_cases.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace qdvm::test {

namespace {

using Row = std::vector<Sample>;

TEST(Status, NullAndEmptyAreRefusedBeforeAnythingIsWritten) {
    for (const PrimitiveCase& primitive : PrimitiveCases()) {
        // Warps make their map first, which has its own answers.
        if (primitive.name.starts_with("Warp")) continue;
        std::vector<Row> rows(primitive.operands.size(), Row(4096, 99));
        std::vector<View> views;
        for (Row& row : rows) views.push_back({row.data() + 1024, 256});
        const std::vector<Row> before = rows;
        for (std::size_t i = 0; i < views.size(); ++i) {
            std::vector<View> missing = views;
            missing[i].data = nullptr;
            EXPECT_EQ(primitive.call(missing, {8, 4}), kImageNullPointer) << primitive.name;
        }
        EXPECT_EQ(primitive.call(views, {0, 4}), kImageSizeError) << primitive.name;
        EXPECT_EQ(primitive.call(views, {-3, 4}), kImageSizeError) << primitive.name;
        EXPECT_EQ(primitive.call(views, {primitive.smallest.width - 1, 4}), kImageSizeError)
            << primitive.name;
        EXPECT_EQ(rows, before) << primitive.name;
    }
}

TEST(Status, RowsThatOverlapAreRefused) {
    Row bytes(64);
    EXPECT_EQ(Copy_8u_C4R(bytes.data(), 15, bytes.data() + 32, 16, {4, 2}), kImageStrideError);
    EXPECT_EQ(Copy_8u_C4R(bytes.data(), 0, bytes.data() + 32, 0, {4, 1}), kImageOk);
    EXPECT_EQ(Set_8u_C1R(0, bytes.data() + 16, -7, {8, 2}), kImageStrideError);
}

TEST(Status, OptionsThatDoNotExistAreNotSupported) {
    Row bytes(64);
    Sample* p = bytes.data();
    const std::uint8_t order[4] = {0, 1, 2, 4};
    EXPECT_EQ(Mul8Rows(p, p + 32, 8, 7), kImageNotSupported);
    EXPECT_EQ(AddC_8u_C1IR(1, p, 8, {8, 1}, 1), kImageNotSupported);
    EXPECT_EQ(AlphaComp_8u_AC4R(p, 16, p, 16, p, 16, {4, 1}, 1), kImageNotSupported);
    EXPECT_EQ(Mirror_8u_C1(p, 8, p + 32, 8, {8, 1}, 3), kImageNotSupported);
    EXPECT_EQ(ChannelOrder_8u_C4(p, 16, {4, 1}, order), kImageNotSupported);
    EXPECT_EQ(Box3x3(p + 20, 8, p + 50, 8, {1, 1}, 55), kImageNotSupported);
    EXPECT_EQ(bytes, Row(64));
}

Sample Product(Sample a, Sample b) {
    EXPECT_EQ(Mul8Rows(&a, &b, 1, 8), kImageOk);
    return b;
}

TEST(Arithmetic, ProductsDivideBy256AndRoundHalvesToEven) {
    EXPECT_EQ(Product(255, 255), 254);
    EXPECT_EQ(Product(128, 1), 0);
    EXPECT_EQ(Product(128, 3), 2);
    EXPECT_EQ(Product(0, 255), 0);
    Sample value = 128;
    EXPECT_EQ(MulC8Rows(255, &value, 1, 8), kImageOk);
    EXPECT_EQ(value, 128);
}

TEST(Arithmetic, SumsAndThresholdsStopAtTheirLimits) {
    Row row{0, 99, 100, 101, 255};
    ASSERT_EQ(AddC_8u_C1IR(155, row.data(), 5, {5, 1}, 0), kImageOk);
    EXPECT_EQ(row, (Row{155, 254, 255, 255, 255}));
    row = {0, 99, 100, 101, 255};
    ASSERT_EQ(ThresholdGT_8u_C1IR(row.data(), 5, {5, 1}, 100, 7), kImageOk);
    EXPECT_EQ(row, (Row{0, 99, 100, 7, 7}));
    row = {0, 99, 100, 101, 255};
    ASSERT_EQ(ThresholdLT_8u_C1IR(row.data(), 5, {5, 1}, 100, 7), kImageOk);
    EXPECT_EQ(row, (Row{7, 7, 100, 101, 255}));
}

Row Over(Row top, const Row& under) {
    EXPECT_EQ(AlphaComp_8u_AC4R(top.data(), 4, under.data(), 4, top.data(), 4, {1, 1}, kAlphaOver),
              kImageOk);
    return top;
}

TEST(Arithmetic, CompositesKeepWhatIsOpaque) {
    const Row top{10, 200, 255, 255};
    const Row under{77, 3, 254, 255};
    EXPECT_EQ(Over(top, under), top);
    EXPECT_EQ(Over({10, 200, 255, 0}, under), under);
    EXPECT_EQ(Over({10, 200, 255, 0}, {77, 3, 254, 0}), Row(4, 0));
    EXPECT_EQ(Over({255, 255, 255, 128}, {0, 0, 0, 255}), (Row{128, 128, 128, 255}));
}

TEST(Arithmetic, UnpremultipliedColoursGrowByTheirAlpha) {
    Row pixels{9, 8, 7, 0, 9, 8, 7, 255, 64, 32, 255, 128, 1, 200, 0, 1};
    ASSERT_EQ(UnpremultiplyRow(pixels.data(), pixels.data(), 4), kImageOk);
    EXPECT_EQ(pixels, (Row{0, 0, 0, 0, 9, 8, 7, 255, 127, 63, 255, 128, 127, 255, 0, 1}));
}

// Runs of opaque, clear and other pixels, long and short, on both sides.
TEST(Blends, CompositesAreOverAndThenStraight) {
    constexpr std::int32_t kPixels = 600;
    constexpr Sample kAlphas[] = {255, 0, 254, 255, 128, 1};
    Row top(kPixels * 4);
    Row under(kPixels * 4);
    for (std::size_t i = 0; i < kPixels * 4; ++i) {
        const bool isAlpha = i % 4 == 3;
        top[i] = isAlpha ? kAlphas[i / 90 % 6] : static_cast<Sample>(i * 37);
        under[i] = isAlpha ? kAlphas[i / 208 % 4] : static_cast<Sample>(i * 91);
    }
    for (const int opacity : {256, 255, 100, 0}) {
        Row faint = top;
        for (std::size_t i = 3; opacity < 256 && i < faint.size(); i += 4)
            (void)MulC8Rows(static_cast<Sample>(opacity), &faint[i], 1, 8);
        Row wanted = under;
        ASSERT_EQ(AlphaComp_8u_AC4R(faint.data(), 4 * kPixels, wanted.data(), 4 * kPixels,
                                    wanted.data(), 4 * kPixels, {kPixels, 1}, kAlphaOver),
                  kImageOk);
        ASSERT_EQ(UnpremultiplyRow(wanted.data(), wanted.data(), kPixels), kImageOk);
        for (int level = 0; level < kCpuLevels; ++level) {
            if (!FormsOfLevel(level)) continue;
            UseForms(FormsOfLevel(level));
            Row seen = under;
            const ImageStatus status =
                Composite(top.data(), 4 * kPixels, seen.data(), 4 * kPixels, {kPixels, 1}, opacity);
            UseForms(nullptr);
            ASSERT_EQ(status, kImageOk);
            EXPECT_EQ(seen, wanted) << "level " << level << ", opacity " << opacity;
        }
    }
}

TEST(Blends, EndsOfTheScales) {
    for (int s = 0; s < 256; s += 5)
        for (int d = 0; d < 256; d += 3) {
            const Sample source = static_cast<Sample>(s);
            const Sample none = 0;
            const Sample all = 255;
            Sample target = static_cast<Sample>(d);
            ASSERT_EQ(MixPlane(&source, 1, &none, 1, &target, 1, {1, 1}, 1), kImageOk);
            ASSERT_EQ(target, d);
            ASSERT_EQ(MixPlane(&source, 1, &all, 1, &target, 1, {1, 1}, 1), kImageOk);
            ASSERT_EQ(target, s);
        }
    Sample white = 255;
    Sample target = 0;
    ASSERT_EQ(MixConst(&white, 1, &target, 1, {1, 1}, 255, 1), kImageOk);
    EXPECT_EQ(target, 254);
}

// Runs in which a plane is empty, full or something between, of lengths around those that are told
// apart, come to the same as each sample alone.
TEST(Values, PlanesInRunsAreWeighedAsTheirSamples) {
    constexpr std::int32_t kWidth = 622;
    std::vector<Sample> plane(kWidth);
    const int lengths[] = {1, 31, 64, 33, 2, 32, 95, 30, 65, 40};
    const Sample levels[] = {0, 255, 128, 255, 0, 0, 255, 1, 0, 255, 254};
    for (std::size_t x = 0, run = 0; x < plane.size(); ++run)
        for (int i = 0; i < lengths[run % 10] && x < plane.size(); ++i)
            plane[x++] = levels[run % 11];
    std::vector<Sample> src(kWidth * 4), before(kWidth * 4);
    for (std::size_t i = 0; i < src.size(); ++i) {
        src[i] = static_cast<Sample>(i * 37 + 11);
        before[i] = static_cast<Sample>(i * 101 + 5);
    }
    const auto weigh = [&](std::size_t i, int a) {
        return (src[i] * a + before[i] * (255 - a) + 255) >> 8;
    };
    const auto pairAlpha = [&](std::size_t pair) {
        return (plane[2 * pair] + plane[2 * pair + 1]) >> 1;
    };
    for (const std::int32_t width : {kWidth, 33, 31}) {
        for (const int bytes : {1, 3, 4}) {
            std::vector<Sample> dst = before;
            ASSERT_EQ(MixPlane(src.data(), 0, plane.data(), 0, dst.data(), 0, {width, 1}, bytes),
                      kImageOk);
            for (std::size_t i = 0; i < dst.size(); ++i) {
                const bool isInside = i < static_cast<std::size_t>(width * bytes);
                ASSERT_EQ(dst[i], isInside ? weigh(i, plane[i / static_cast<std::size_t>(bytes)])
                                           : before[i])
                    << bytes << " bytes, " << i;
            }
        }
        std::vector<Sample> half = before;
        ASSERT_EQ(MixPlaneHalf(src.data(), 0, plane.data(), 0, half.data(), 0, {width / 2, 1}),
                  kImageOk);
        std::vector<Sample> packed = before;
        ASSERT_EQ(MixPlanePacked(src.data(), 0, plane.data(), 0, packed.data(), 0, {width, 1},
                                 PackedOrder::kLumaFirst),
                  kImageOk);
        for (std::size_t i = 0; i < static_cast<std::size_t>(width / 2); ++i) {
            ASSERT_EQ(half[i], weigh(i, pairAlpha(i))) << i;
            for (std::size_t j = 0; j < 4; ++j)
                ASSERT_EQ(packed[4 * i + j],
                          weigh(4 * i + j, j % 2 ? pairAlpha(i) : plane[2 * i + j / 2]))
                    << i;
        }
    }
}

TEST(Blends, GreyChromaStaysGrey) {
    for (int a = 0; a < 256; ++a) {
        const Row source{200, 128, 20, 128};
        Row target{40, 128, 50, 128};
        const int a2 = (a >> 1) + (a & 1);
        ASSERT_EQ(MixConstPacked(source.data(), 4, target.data(), 4, {2, 1},
                                 PackedOrder::kLumaFirst, a2, 128 - a2),
                  kImageOk);
        ASSERT_EQ(target[1], 128);
        ASSERT_EQ(target[3], 128);
        Sample grey = 128;
        ASSERT_EQ(MixConstChroma(&source[1], 1, &grey, 1, {1, 1}, a, 256 - a), kImageOk);
        ASSERT_EQ(grey, 128);
    }
}

TEST(Colour, StudioRangeEndsAndPrimaries) {
    // Black, white, and red as pairs of pixels.
    const Row packed{16, 128, 16, 128, 235, 128, 235, 128, 81, 90, 81, 240};
    Row bgra(24);
    ASSERT_EQ(YUY2ToBGRA(packed.data(), 12, bgra.data(), 24, {6, 1}, 255), kImageOk);
    EXPECT_EQ(Row(bgra.begin(), bgra.begin() + 4), (Row{0, 0, 0, 255}));
    EXPECT_EQ(Row(bgra.begin() + 8, bgra.begin() + 12), (Row{254, 254, 254, 255}));
    EXPECT_GE(bgra[18], 253);
    EXPECT_LE(bgra[16], 1);
    EXPECT_LE(bgra[17], 1);

    const Row colours{0,   0,   0,   0, 0, 0, 0,   0, 255, 255, 255, 0,
                      255, 255, 255, 0, 0, 0, 255, 0, 0,   0,   255, 0};
    Row back(12);
    ASSERT_EQ(BGRAToUYVY(colours.data(), 24, back.data(), 12, {6, 1}), kImageOk);
    EXPECT_EQ(back, (Row{128, 16, 128, 16, 128, 235, 128, 235, 90, 82, 240, 82}));
}

TEST(Colour, SixteenBitPixelsHoldTheTopBits) {
    const Row packed{235, 128, 16, 128};
    Row words(4);
    ASSERT_EQ(YUY2ToRGB565(packed.data(), 4, words.data(), 4, {2, 1}), kImageOk);
    EXPECT_EQ(words, (Row{0xff, 0xff, 0, 0}));
    ASSERT_EQ(YUY2ToRGB555(packed.data(), 4, words.data(), 4, {2, 1}), kImageOk);
    EXPECT_EQ(words, (Row{0xff, 0x7f, 0, 0}));
}

TEST(Packed, PlanesKeepTheirOrder) {
    // Two lines; YVYU has the third plane's chroma first.
    const Row packed{1, 2, 3, 4, 5, 6, 7, 8};
    Row y(4);
    Row u(1);
    Row v(1);
    Sample* const planes[3] = {y.data(), u.data(), v.data()};
    const std::ptrdiff_t strides[3] = {2, 1, 1};
    ASSERT_EQ(YUY2ToI420(packed.data(), 4, planes, strides, {2, 2}), kImageOk);
    EXPECT_EQ(y, (Row{1, 3, 5, 7}));
    EXPECT_EQ(u[0], 2);
    EXPECT_EQ(v[0], 4);
    ASSERT_EQ(YVYUToI420(packed.data(), 4, planes, strides, {2, 2}), kImageOk);
    EXPECT_EQ(u[0], 4);
    EXPECT_EQ(v[0], 2);
    ASSERT_EQ(UYVYToI420(packed.data(), 4, planes, strides, {3, 3}), kImageOk);
    EXPECT_EQ(y, (Row{2, 4, 6, 8}));
    EXPECT_EQ(u[0], 1);
    EXPECT_EQ(v[0], 3);

    const Sample* const sources[3] = {y.data(), u.data(), v.data()};
    Row back(8);
    ASSERT_EQ(I420ToYUYV(sources, strides, back.data(), 4, {2, 2}), kImageOk);
    EXPECT_EQ(back, (Row{2, 3, 4, 1, 6, 3, 8, 1}));
    ASSERT_EQ(I420ToUYVY(sources, strides, back.data(), 4, {2, 2}), kImageOk);
    EXPECT_EQ(back, (Row{3, 2, 1, 4, 3, 6, 1, 8}));
    EXPECT_EQ(I420ToUYVY(sources, strides, back.data(), 4, {2, 1}), kImageSizeError);
}

TEST(Filters, FlatPlanesAndPoints) {
    Row plane(25, 0);
    plane[12] = 160;
    Row out(9);
    ASSERT_EQ(Gauss3x3(plane.data() + 6, 5, out.data(), 3, {3, 3}, kMask3x3), kImageOk);
    EXPECT_EQ(out, (Row{10, 20, 10, 20, 40, 20, 10, 20, 10}));
    ASSERT_EQ(Box3x3(plane.data() + 6, 5, out.data(), 3, {3, 3}, kMask3x3), kImageOk);
    EXPECT_EQ(out, Row(9, 18));
    ASSERT_EQ(Dilate3x3(plane.data() + 6, 5, {3, 3}), kImageOk);
    EXPECT_EQ(plane[6], 160);
    EXPECT_EQ(plane[18], 160);
    EXPECT_EQ(plane[5], 0);
    // The frame of zeros eats all but the middle.
    ASSERT_EQ(Erode3x3(plane.data() + 6, 5, {3, 3}), kImageOk);
    Row expected(25, 0);
    expected[12] = 160;
    EXPECT_EQ(plane, expected);
}

TEST(KeySpaces, HueLightnessSaturation) {
    // Blue, green, red, white, grey.
    const Row bgra{255, 0, 0, 1, 0, 255, 0, 2, 0, 0, 255, 3, 255, 255, 255, 4, 128, 128, 128, 5};
    Row hls(20);
    ASSERT_EQ(BGRAToHLS(bgra.data(), 20, hls.data(), 20, {5, 1}), kImageOk);
    EXPECT_EQ(hls,
              (Row{170, 128, 255, 1, 85, 128, 255, 2, 0, 128, 255, 3, 0, 255, 0, 4, 0, 128, 0, 5}));
    Row back(20);
    ASSERT_EQ(HLSToBGRA(hls.data(), 20, back.data(), 20, {5, 1}), kImageOk);
    for (std::size_t i = 0; i < back.size(); ++i) EXPECT_NEAR(back[i], bgra[i], 2) << i;
}

TEST(KeySpaces, YuvAndBack) {
    for (int b = 0; b < 256; b += 51)
        for (int g = 0; g < 256; g += 51)
            for (int r = 0; r < 256; r += 51) {
                const std::array<Sample, 4> pixel{static_cast<Sample>(b), static_cast<Sample>(g),
                                                  static_cast<Sample>(r), 9};
                std::array<Sample, 4> yuv{};
                std::array<Sample, 4> back{};
                ASSERT_EQ(RGBToYUV(pixel.data(), 4, yuv.data(), 4, {1, 1}), kImageOk);
                ASSERT_EQ(YUVToRGB(yuv.data(), 4, back.data(), 4, {1, 1}), kImageOk);
                // The third colour leaves the range of V at its ends.
                ASSERT_NEAR(back[1], pixel[1], 45);
                ASSERT_NEAR(back[2], pixel[2], 6);
                ASSERT_EQ(back[3], 9);
            }
}

}  // namespace

}  // namespace qdvm::test
