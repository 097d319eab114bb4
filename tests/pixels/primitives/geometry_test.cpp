// What resampling and warping must do to a picture, whatever their arithmetic.

#include "pixels/primitives/channels.h"
#include "pixels/primitives/convert.h"
#include "pixels/primitives/linear_algebra.h"
#include "pixels/primitives/resize.h"
#include "pixels/primitives/warp.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

namespace qdvm::test {

namespace {

struct Picture {
    Picture(std::int32_t w, std::int32_t h, int channels = 1)
        : size{w, h},
          bytes(channels),
          samples(static_cast<std::size_t>(w) * static_cast<std::size_t>(h * channels)) {}

    std::ptrdiff_t Stride() const { return std::ptrdiff_t{size.width} * bytes; }
    Sample& At(std::int32_t x, std::int32_t y, int c = 0) {
        return samples[static_cast<std::size_t>(y * Stride() + x * bytes + c)];
    }
    ImageRect Whole() const { return {0, 0, size.width, size.height}; }

    void Randomise(unsigned seed) {
        std::mt19937 random(seed);
        for (Sample& sample : samples) sample = static_cast<Sample>(random());
    }

    Picture Mirrored() const {
        Picture result(size.width, size.height, bytes);
        const auto mirror = bytes == 1 ? Mirror_8u_C1 : bytes == 3 ? Mirror_8u_C3 : Mirror_8u_C4;
        EXPECT_EQ(
            mirror(samples.data(), Stride(), result.samples.data(), Stride(), size, kMirrorBoth),
            kImageOk);
        return result;
    }

    ImageSize size;
    int bytes;
    std::vector<Sample> samples;
};

Picture Resized(const Picture& source, ImageRect roi, ImageSize size, std::int32_t interpolation) {
    Picture target(size.width, size.height, source.bytes);
    const auto resize = source.bytes == 1   ? Resize_8u_C1R
                        : source.bytes == 3 ? Resize_8u_C3R
                                            : Resize_8u_C4R;
    EXPECT_EQ(
        resize(source.samples.data(), source.size, source.Stride(), roi, target.samples.data(),
               target.Stride(), size, static_cast<double>(size.width) / roi.width,
               static_cast<double>(size.height) / roi.height, interpolation),
        kImageOk);
    return target;
}

constexpr std::int32_t kAll[] = {kNearest, kLinear, kCubic, kSuperSampling};
constexpr ImageSize kSizes[] = {{1, 1},   {2, 2},   {3, 5},    {7, 4},   {16, 16}, {17, 33},
                                {40, 30}, {80, 60}, {100, 75}, {241, 7}, {13, 201}};

TEST(Resizing, AConstantPictureStaysConstant) {
    for (const std::int32_t interpolation : kAll)
        for (const int value : {0, 1, 127, 254, 255})
            for (const ImageSize size : kSizes) {
                Picture source(40, 30, 3);
                std::fill(source.samples.begin(), source.samples.end(), static_cast<Sample>(value));
                const Picture target = Resized(source, source.Whole(), size, interpolation);
                for (const Sample sample : target.samples)
                    ASSERT_EQ(sample, value) << interpolation << ' ' << size.width;
            }
}

TEST(Resizing, ARampStaysARampWithItsEndsInPlace) {
    constexpr std::int32_t kWidth = 64;
    Picture source(kWidth, 8);
    for (std::int32_t y = 0; y < 8; ++y)
        for (std::int32_t x = 0; x < kWidth; ++x) source.At(x, y) = static_cast<Sample>(4 * x);
    for (const std::int32_t interpolation : {kLinear, kCubic, kSuperSampling})
        for (const std::int32_t width : {16, 21, 32, 48, 64, 100, 128, 192}) {
            if (interpolation == kSuperSampling && width > kWidth) continue;
            Picture target = Resized(source, source.Whole(), {width, 8}, interpolation);
            for (std::int32_t x = 0; x < width; ++x) {
                // The place of the pixel's middle, as far as the region's samples go.
                const double place = (x + 0.5) * kWidth / width - 0.5;
                const double inside = std::clamp(place, 0.0, kWidth - 1.0);
                const double tolerance = place < 1 || place > kWidth - 2 ? 1.5 : 0.6;
                ASSERT_NEAR(target.At(x, 4), 4 * inside, tolerance)
                    << interpolation << ' ' << width << ' ' << x;
            }
        }
}

TEST(Resizing, OneAxisAloneIsBlendedFromTwoNeighbours) {
    Picture source(37, 30, 3);
    source.Randomise(3);
    for (const std::int32_t height : {7, 15, 29, 30, 45, 60, 91}) {
        Picture target = Resized(source, source.Whole(), {37, height}, kLinear);
        for (std::int32_t y = 0; y < height; ++y) {
            const double place = std::clamp((y + 0.5) * 30 / height - 0.5, 0.0, 29.0);
            const std::int32_t above = std::min(static_cast<std::int32_t>(place), 28);
            for (std::int32_t x = 0; x < 37; ++x)
                ASSERT_NEAR(target.At(x, y, 1),
                            source.At(x, above, 1) * (above + 1 - place) +
                                source.At(x, above + 1, 1) * (place - above),
                            1.6)
                    << height << ' ' << x << ' ' << y;
        }
    }
}

// Packed 4:2:2 taken apart, each plane scaled by itself, and put together again.
std::vector<Sample> ResizedByPlanes(Picture& packed, ImageSize size) {
    const ImageSize from{packed.size.width * 2, packed.size.height};
    const double x = static_cast<double>(size.width) / from.width;
    const double y = static_cast<double>(size.height) / from.height;
    Picture parts[3] = {
        {from.width, from.height}, {from.width / 2, from.height}, {from.width / 2, from.height}};
    std::vector<Picture> scaled = {
        {size.width, size.height}, {size.width / 2, size.height}, {size.width / 2, size.height}};
    Sample* planes[3];
    const Sample* scaledPlanes[3];
    std::ptrdiff_t strides[3];
    std::ptrdiff_t scaledStrides[3];
    for (std::size_t i = 0; i < 3; ++i) {
        planes[i] = parts[i].samples.data();
        strides[i] = parts[i].Stride();
        scaledPlanes[i] = scaled[i].samples.data();
        scaledStrides[i] = scaled[i].Stride();
    }
    EXPECT_EQ(SplitYUY2(packed.samples.data(), packed.Stride(), planes, strides, from), kImageOk);
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(Resize_8u_C1R(planes[i], parts[i].size, strides[i], parts[i].Whole(),
                                scaled[i].samples.data(), scaledStrides[i], scaled[i].size, x, y,
                                kLinear),
                  kImageOk);
    Picture result(size.width / 2, size.height, 4);
    EXPECT_EQ(PackYUY2(scaledPlanes, scaledStrides, result.samples.data(), result.Stride(), size),
              kImageOk);
    return result.samples;
}

TEST(Resizing, PackedPicturesGiveWhatTheirPlanesGive) {
    const ImageSize sources[] = {{4, 3}, {48, 30}, {1930, 6}, {6000, 2}};
    const ImageSize targets[] = {{2, 1},   {24, 15}, {96, 60},   {32, 7},   {48, 11},
                                 {62, 30}, {70, 44}, {2050, 12}, {3860, 12}};
    for (const ImageSize from : sources)
        for (const ImageSize to : targets) {
            Picture source(from.width / 2, from.height, 4);
            source.Randomise(9);
            Picture target(to.width / 2, to.height, 4);
            const ImageStatus status = ResizeLinearPacked(
                source.samples.data(), source.Stride(), from, target.samples.data(),
                target.Stride(), to, static_cast<double>(to.width) / from.width,
                static_cast<double>(to.height) / from.height, PackedOrder::kLumaFirst);
            // A target of less than 64 columns for each span of the source goes by planes.
            if (status == kImageNotSupported) {
                EXPECT_GT(from.width, 60 * to.width);
                continue;
            }
            ASSERT_EQ(status, kImageOk);
            ASSERT_EQ(target.samples, ResizedByPlanes(source, to))
                << from.width << 'x' << from.height << " to " << to.width << 'x' << to.height;
        }
    const Picture odd(3, 1, 4);
    Picture target(3, 1, 4);
    EXPECT_EQ(ResizeLinearPacked(odd.samples.data(), 12, {5, 1}, target.samples.data(), 12, {6, 1},
                                 1.2, 1, PackedOrder::kLumaFirst),
              kImageSizeError);
}

TEST(Resizing, AMirroredPictureGivesTheMirroredResult) {
    for (const int channels : {1, 3, 4})
        for (const std::int32_t interpolation : kAll)
            for (const ImageSize size : kSizes) {
                // An odd number of nearest samples out of an even one has no middle to mirror at.
                if (interpolation == kNearest && (size.width % 2 || size.height % 2)) continue;
                Picture source(40, 30, channels);
                source.Randomise(7);
                const Picture direct = Resized(source, source.Whole(), size, interpolation);
                const Picture turned =
                    Resized(source.Mirrored(), source.Whole(), size, interpolation);
                ASSERT_EQ(turned.samples, direct.Mirrored().samples)
                    << channels << ' ' << interpolation << ' ' << size.width;
            }
}

TEST(Resizing, ShrinkingBySuperSamplingKeepsTheEnergy) {
    Picture source(97, 61);
    source.Randomise(3);
    const auto mean = [](const Picture& picture) {
        return std::accumulate(picture.samples.begin(), picture.samples.end(), 0.0) /
               static_cast<double>(picture.samples.size());
    };
    for (const ImageSize size :
         {ImageSize{50, 30}, ImageSize{33, 20}, ImageSize{7, 5}, ImageSize{1, 1}})
        EXPECT_NEAR(mean(Resized(source, source.Whole(), size, kSuperSampling)), mean(source), 0.5)
            << size.width;
}

TEST(Resizing, OnlyTheRegionCounts) {
    const ImageRect roi{5, 4, 19, 13};
    for (const int channels : {1, 3, 4})
        for (const std::int32_t interpolation : kAll)
            for (const ImageSize size : kSizes) {
                Picture first(40, 30, channels);
                first.Randomise(1);
                Picture second(40, 30, channels);
                second.Randomise(2);
                for (std::int32_t y = roi.y; y < roi.y + roi.height; ++y)
                    for (std::int32_t x = roi.x; x < roi.x + roi.width; ++x)
                        for (int c = 0; c < channels; ++c) second.At(x, y, c) = first.At(x, y, c);
                ASSERT_EQ(Resized(first, roi, size, interpolation).samples,
                          Resized(second, roi, size, interpolation).samples)
                    << channels << ' ' << interpolation << ' ' << size.width;
            }
}

TEST(Resizing, CubicOvershootsAStepNoMoreThanItsKernel) {
    Picture source(16, 4);
    for (std::int32_t y = 0; y < 4; ++y)
        for (std::int32_t x = 0; x < 16; ++x) source.At(x, y) = x < 8 ? 50 : 200;
    const Picture target = Resized(source, source.Whole(), {160, 4}, kCubic);
    const auto [least, most] = std::minmax_element(target.samples.begin(), target.samples.end());
    EXPECT_GE(*least, 50 - 12);
    EXPECT_LE(*most, 200 + 12);
    EXPECT_LT(*least, 50);
}

TEST(Resizing, HalvingTakesTheMeansOfBlocks) {
    Picture source(4, 2);
    source.samples = {0, 1, 10, 20, 2, 3, 30, 41};
    EXPECT_EQ(Resized(source, source.Whole(), {2, 1}, kLinear).samples,
              (std::vector<Sample>{2, 25}));
}

TEST(Resizing, FactorsPlaceTheSamplesOfTruncatedPlanes) {
    // Five samples of a ramp doubled into nine: the factor rules, not the sizes.
    Picture source(5, 1);
    source.samples = {0, 40, 80, 120, 160};
    Picture target(9, 1);
    ASSERT_EQ(Resize_8u_C1R(source.samples.data(), source.size, 5, source.Whole(),
                            target.samples.data(), 9, {9, 1}, 2.0, 1.0, kLinear),
              kImageOk);
    EXPECT_EQ(target.samples, (std::vector<Sample>{0, 10, 30, 50, 70, 90, 110, 130, 150}));
}

TEST(Resizing, BadGeometryIsRefused) {
    Picture source(8, 8);
    Picture target(4, 4);
    const auto resize = [&](ImageRect roi, double factor, std::int32_t interpolation) {
        return Resize_8u_C1R(source.samples.data(), source.size, 8, roi, target.samples.data(), 4,
                             {4, 4}, factor, 0.5, interpolation);
    };
    EXPECT_EQ(resize({0, 0, 9, 8}, 0.5, kLinear), kImageSizeError);
    EXPECT_EQ(resize({-1, 0, 8, 8}, 0.5, kLinear), kImageSizeError);
    EXPECT_EQ(resize({1, 1, 2147483647, 2147483647}, 0.5, kLinear), kImageSizeError);
    EXPECT_EQ(resize({0, 0, 0, 8}, 0.5, kLinear), kImageSizeError);
    for (const double factor : {0.0, -1.0, std::nan(""), HUGE_VAL})
        EXPECT_EQ(resize({0, 0, 8, 8}, factor, kLinear), kImageSizeError) << factor;
    EXPECT_EQ(resize({0, 0, 8, 8}, 0.5, 3), kImageNotSupported);
    EXPECT_EQ(resize({0, 0, 8, 8}, 1e-300, kLinear), kImageOk);
    EXPECT_EQ(resize({0, 0, 8, 8}, 1e300, kSuperSampling), kImageOk);
}

TEST(Resizing, TheShiftedFormDoesTheSameInPartsOfATarget) {
    Picture source(31, 9);
    source.Randomise(5);
    const Picture whole = [&] {
        Picture target(15, 9);
        EXPECT_EQ(Resize_8u_C1R(source.samples.data(), source.size, 31, source.Whole(),
                                target.samples.data(), 15, {15, 9}, 0.5, 1.0, kLinear),
                  kImageOk);
        return target;
    }();
    std::int32_t bytes = 0;
    ASSERT_EQ(ResizeSqrPixelBufferSize(source.Whole(), {0, 0, 15, 9}, 1, kLinear, &bytes),
              kImageOk);
    std::vector<Sample> buffer(static_cast<std::size_t>(bytes));
    Picture parts(15, 9);
    for (const ImageRect part :
         {ImageRect{0, 0, 6, 9}, ImageRect{6, 0, 9, 4}, ImageRect{6, 4, 9, 5}})
        ASSERT_EQ(ResizeSqrPixel_8u_C1R(source.samples.data(), source.size, 31, source.Whole(),
                                        parts.samples.data(), 15, part, 0.5, 1.0, 0.0, 0.0, kLinear,
                                        buffer.data()),
                  kImageOk);
    EXPECT_EQ(parts.samples, whole.samples);
}

// --- warps

Picture Warped(const Picture& source, ImageRect roi, const Picture& background,
               const std::vector<QuadPoint>& quad, std::uint32_t interpolation) {
    Picture target = background;
    PerspectiveCoeffs coeffs{};
    EXPECT_EQ(GetPerspectiveTransform(roi, quad.data(), &coeffs), kImageOk);
    const auto warp = source.bytes == 1   ? WarpPerspective_8u_C1R
                      : source.bytes == 3 ? WarpPerspective_8u_C3R
                                          : WarpPerspective_8u_C4R;
    EXPECT_EQ(warp(source.samples.data(), source.size, source.Stride(), roi, target.samples.data(),
                   target.Stride(), target.Whole(), coeffs, interpolation),
              kImageOk);
    return target;
}

std::vector<QuadPoint> Box(double left, double top, double right, double bottom) {
    return {{left, top}, {right, top}, {right, bottom}, {left, bottom}};
}

TEST(Warping, TheSameCornersGiveTheSamePicture) {
    for (const int channels : {1, 3, 4})
        for (const std::uint32_t interpolation : {std::uint32_t{kNearest}, std::uint32_t{kLinear},
                                                  std::uint32_t{kCubic}, kLinear | kSmoothEdge}) {
            Picture source(37, 23, channels);
            source.Randomise(11);
            const Picture blank(37, 23, channels);
            EXPECT_EQ(
                Warped(source, source.Whole(), blank, Box(0, 0, 37, 23), interpolation).samples,
                source.samples)
                << channels << ' ' << interpolation;
        }
}

TEST(Warping, ABoxIsAResizing) {
    Picture source(40, 30);
    source.Randomise(4);
    const Picture resized = Resized(source, source.Whole(), {60, 20}, kLinear);
    const Picture warped =
        Warped(source, source.Whole(), Picture(60, 20), Box(0, 0, 60, 20), kLinear);
    for (std::size_t i = 0; i < warped.samples.size(); ++i)
        ASSERT_NEAR(warped.samples[i], resized.samples[i], 1) << i;
}

TEST(Warping, NothingOutsideTheQuadrangleIsTouched) {
    Picture source(20, 20);
    std::fill(source.samples.begin(), source.samples.end(), Sample{255});
    const std::vector<QuadPoint> diamond{{50, 10}, {90, 50}, {50, 90}, {10, 50}};
    for (const std::uint32_t smooth : {0u, kSmoothEdge}) {
        Picture target =
            Warped(source, source.Whole(), Picture(100, 100), diamond, kLinear | smooth);
        for (std::int32_t y = 0; y < 100; ++y)
            for (std::int32_t x = 0; x < 100; ++x) {
                const double distance = std::abs(x + 0.5 - 50) + std::abs(y + 0.5 - 50) - 40;
                if (distance > 1.01) {
                    ASSERT_EQ(target.At(x, y), 0) << x << ' ' << y;
                }
                if (distance < -1.01) {
                    ASSERT_EQ(target.At(x, y), 255) << x << ' ' << y;
                }
            }
    }
}

TEST(Warping, SmoothEdgesCoverWhatTheQuadrangleCovers) {
    Picture source(8, 8);
    std::fill(source.samples.begin(), source.samples.end(), Sample{200});
    // A quarter of a pixel on the left, three quarters on the right, half above and below.
    Picture box = Warped(source, source.Whole(), Picture(12, 12), Box(2.75, 2.5, 9.75, 9.5),
                         kLinear | kSmoothEdge);
    EXPECT_EQ(box.At(1, 5), 0);
    EXPECT_EQ(box.At(2, 5), 50);
    EXPECT_EQ(box.At(3, 5), 200);
    EXPECT_EQ(box.At(9, 5), 150);
    EXPECT_EQ(box.At(10, 5), 0);
    EXPECT_EQ(box.At(5, 2), 100);
    EXPECT_EQ(box.At(5, 9), 100);
    EXPECT_EQ(box.At(2, 2), 25);
    // Thinner than a pixel.
    Picture line = Warped(source, source.Whole(), Picture(12, 12), Box(4.25, 0, 4.75, 12),
                          kLinear | kSmoothEdge);
    EXPECT_EQ(line.At(4, 5), 100);
    // The area of a turned box.
    Picture turned = Warped(source, source.Whole(), Picture(100, 100),
                            {{30, 12}, {85, 31}, {66, 86}, {11, 67}}, kLinear | kSmoothEdge);
    const double area = std::accumulate(turned.samples.begin(), turned.samples.end(), 0.0) / 200.0;
    EXPECT_NEAR(area, 58.19 * 58.19, 12);
}

TEST(Warping, OnlyTheRegionCounts) {
    const ImageRect roi{6, 3, 17, 21};
    Picture first(40, 30, 3);
    first.Randomise(1);
    Picture second(40, 30, 3);
    second.Randomise(2);
    for (std::int32_t y = roi.y; y < roi.y + roi.height; ++y)
        for (std::int32_t x = roi.x; x < roi.x + roi.width; ++x)
            for (int c = 0; c < 3; ++c) second.At(x, y, c) = first.At(x, y, c);
    for (const std::uint32_t interpolation : {kNearest, kLinear, kCubic}) {
        const std::vector<QuadPoint> quad{{3, 5}, {60, 1}, {55, 44}, {9, 49}};
        const Picture blank(64, 50, 3);
        EXPECT_EQ(Warped(first, roi, blank, quad, interpolation | kSmoothEdge).samples,
                  Warped(second, roi, blank, quad, interpolation | kSmoothEdge).samples);
    }
}

TEST(Warping, WildMapsStayInTheTarget) {
    Picture source(32, 32, 4);
    source.Randomise(9);
    std::mt19937 random(1);
    std::uniform_real_distribution<double> wild(-1.0, 1.0);
    for (int i = 0; i < 2000; ++i) {
        const double reach = std::pow(10.0, i % 14);
        std::vector<QuadPoint> quad(4);
        for (QuadPoint& corner : quad) corner = {wild(random) * reach, wild(random) * reach};
        PerspectiveCoeffs coeffs{};
        if (GetPerspectiveTransform(source.Whole(), quad.data(), &coeffs) != kImageOk) continue;
        Picture target(48, 40, 4);
        const ImageStatus status = WarpPerspective_8u_C4R(
            source.samples.data(), source.size, source.Stride(), source.Whole(),
            target.samples.data(), target.Stride(), target.Whole(), coeffs, kLinear | kSmoothEdge);
        ASSERT_TRUE(status == kImageOk || status == kImageSizeError);
    }
    for (const double bad : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e300, 0.0}) {
        const PerspectiveCoeffs coeffs{{bad, 1, bad, 0, bad, 1, 1, bad, 1}};
        Picture target(48, 40, 4);
        (void)WarpPerspective_8u_C4R(source.samples.data(), source.size, source.Stride(),
                                     source.Whole(), target.samples.data(), target.Stride(),
                                     target.Whole(), coeffs, kLinear | kSmoothEdge);
    }
}

TEST(Perspective, CornersLandOnCorners) {
    const ImageRect roi{10, 20, 300, 200};
    const QuadPoint quad[4] = {{12.5, -7}, {410, 33}, {380.25, 260}, {-20, 199}};
    PerspectiveCoeffs coeffs{};
    ASSERT_EQ(GetPerspectiveTransform(roi, quad, &coeffs), kImageOk);
    EXPECT_EQ(coeffs.c[8], 1.0);
    const double corners[4][2] = {{10, 20}, {310, 20}, {310, 220}, {10, 220}};
    for (int i = 0; i < 4; ++i) {
        const auto row = [&](int k) {
            return coeffs.c[k] * corners[i][0] + coeffs.c[k + 1] * corners[i][1] + coeffs.c[k + 2];
        };
        EXPECT_NEAR(row(0) / row(6), quad[i].x, 1e-9);
        EXPECT_NEAR(row(3) / row(6), quad[i].y, 1e-9);
    }
    PerspectiveBound bound{};
    ASSERT_EQ(GetPerspectiveBound(roi, &bound, coeffs), kImageOk);
    EXPECT_NEAR(bound.x0, -20, 1e-9);
    EXPECT_NEAR(bound.y0, -7, 1e-9);
    EXPECT_NEAR(bound.x1, 410, 1e-9);
    EXPECT_NEAR(bound.y1, 260, 1e-9);
}

TEST(Perspective, CornersThatMakeNoMapAreRefused) {
    const ImageRect roi{0, 0, 10, 10};
    PerspectiveCoeffs coeffs{};
    const auto status = [&](std::vector<QuadPoint> quad) {
        return GetPerspectiveTransform(roi, quad.data(), &coeffs);
    };
    EXPECT_NE(status({{0, 0}, {5, 5}, {10, 10}, {0, 10}}), kImageOk);
    EXPECT_NE(status({{3, 3}, {3, 3}, {3, 3}, {3, 3}}), kImageOk);
    EXPECT_NE(status({{0, 0}, {10, 0}, {10, 10}, {std::nan(""), 10}}), kImageOk);
    EXPECT_NE(status({{0, 0}, {HUGE_VAL, 0}, {10, 10}, {0, 10}}), kImageOk);
    EXPECT_EQ(GetPerspectiveTransform(roi, nullptr, &coeffs), kImageNullPointer);
}

TEST(LinearAlgebra, SystemsAreSolved) {
    const double matrix[9] = {0, 2, 1, 4, 0, -3, 1, 1, 1};
    const double rhs[3] = {7, -5, 6};
    double lu[9];
    std::int32_t permutation[3];
    double x[3];
    ASSERT_EQ(LUDecomp_64f(matrix, lu, permutation), kImageOk);
    ASSERT_EQ(LUBackSubst_64f(lu, permutation, rhs, x), kImageOk);
    EXPECT_NEAR(2 * x[1] + x[2], 7, 1e-12);
    EXPECT_NEAR(4 * x[0] - 3 * x[2], -5, 1e-12);
    EXPECT_NEAR(x[0] + x[1] + x[2], 6, 1e-12);
    const double flat[9] = {1, 2, 3, 2, 4, 6, 0, 0, 1};
    EXPECT_EQ(LUDecomp_64f(flat, lu, permutation), kImageSizeError);
}

}  // namespace

}  // namespace qdvm::test
