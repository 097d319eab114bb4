#include "pixels/primitives/warp.h"

#include "pixels/primitives/checks.h"
#include "pixels/primitives/forms.h"
#include "pixels/primitives/warp_line.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace qdvm {

namespace {

// a x + b y + c over the target's coordinates.
struct Plane {
    double a;
    double b;
    double c;

    double At(double x, double y) const { return a * x + b * y + c; }
    Plane Minus(const Plane& other, double times) const {
        return {a - times * other.a, b - times * other.b, c - times * other.c};
    }
    Plane Times(double factor) const { return {a * factor, b * factor, c * factor}; }
};

// The inverse map: source place = (x, y) / depth, with depth above 0 where the picture is seen.
struct InverseMap {
    Plane x;
    Plane y;
    Plane depth;
};

double DepthAt(const PerspectiveCoeffs& coeffs, double x, double y) {
    return coeffs.c[6] * x + coeffs.c[7] * y + coeffs.c[8];
}

// All corners of the region are on the side of the eye that its first corner is on.
bool IsInFront(const PerspectiveCoeffs& coeffs, ImageRect roi) {
    const double right = static_cast<double>(roi.x) + roi.width;
    const double bottom = static_cast<double>(roi.y) + roi.height;
    const double first = DepthAt(coeffs, roi.x, roi.y);
    return first * DepthAt(coeffs, right, roi.y) > 0 &&
           first * DepthAt(coeffs, right, bottom) > 0 && first * DepthAt(coeffs, roi.x, bottom) > 0;
}

// False if the map has no inverse.
bool Invert(const PerspectiveCoeffs& coeffs, ImageRect roi, InverseMap* inverse) {
    const double* c = coeffs.c;
    const InverseMap adjugate{
        {c[4] * c[8] - c[5] * c[7], c[2] * c[7] - c[1] * c[8], c[1] * c[5] - c[2] * c[4]},
        {c[5] * c[6] - c[3] * c[8], c[0] * c[8] - c[2] * c[6], c[2] * c[3] - c[0] * c[5]},
        {c[3] * c[7] - c[4] * c[6], c[1] * c[6] - c[0] * c[7], c[0] * c[4] - c[1] * c[3]},
    };
    const double det = c[0] * adjugate.x.a + c[1] * adjugate.y.a + c[2] * adjugate.depth.a;
    if (!std::isfinite(det) || det == 0.0) return false;
    const double scale = (DepthAt(coeffs, roi.x, roi.y) < 0 ? -1.0 : 1.0) / det;
    if (!std::isfinite(scale)) return false;
    *inverse = {adjugate.x.Times(scale), adjugate.y.Times(scale), adjugate.depth.Times(scale)};
    return true;
}

// Distance from one side of the quadrangle in pixels along the axes; above 0 inside.
Plane SideDistance(const Plane& side) {
    const double slope = std::abs(side.a) + std::abs(side.b);
    if (slope > 0) return side.Times(1.0 / slope);
    return {0.0, 0.0, side.c > 0 ? 1.0 : -1.0};
}

enum Sides { kLeft, kRight, kTop, kBottom, kSides };

std::array<Plane, kSides> SideDistances(const InverseMap& map, ImageRect roi) {
    const double right = static_cast<double>(roi.x) + roi.width;
    const double bottom = static_cast<double>(roi.y) + roi.height;
    return {
        SideDistance(map.x.Minus(map.depth, roi.x)),
        SideDistance(map.x.Minus(map.depth, right).Times(-1.0)),
        SideDistance(map.y.Minus(map.depth, roi.y)),
        SideDistance(map.y.Minus(map.depth, bottom).Times(-1.0)),
    };
}

// The pixels that the mapped region can touch: those under the box around its corners.
ImageRect BoxOf(const PerspectiveCoeffs& coeffs, ImageRect roi, ImageRect within) {
    const double* c = coeffs.c;
    double left = within.x + static_cast<double>(within.width);
    double top = within.y + static_cast<double>(within.height);
    double right = within.x;
    double bottom = within.y;
    for (int corner = 0; corner < 4; ++corner) {
        const double x = roi.x + (corner % 2 ? static_cast<double>(roi.width) : 0.0);
        const double y = roi.y + (corner / 2 ? static_cast<double>(roi.height) : 0.0);
        const double depth = DepthAt(coeffs, x, y);
        const double column = (c[0] * x + c[1] * y + c[2]) / depth;
        const double row = (c[3] * x + c[4] * y + c[5]) / depth;
        if (!std::isfinite(column) || !std::isfinite(row)) return within;
        left = std::min(left, std::floor(column));
        top = std::min(top, std::floor(row));
        right = std::max(right, std::ceil(column));
        bottom = std::max(bottom, std::ceil(row));
    }
    left = std::max(left, static_cast<double>(within.x));
    top = std::max(top, static_cast<double>(within.y));
    right = std::min(right, within.x + static_cast<double>(within.width));
    bottom = std::min(bottom, within.y + static_cast<double>(within.height));
    if (!(left < right && top < bottom)) return {within.x, within.y, 0, 0};
    return {static_cast<std::int32_t>(left), static_cast<std::int32_t>(top),
            static_cast<std::int32_t>(right - left), static_cast<std::int32_t>(bottom - top)};
}

struct Span {
    std::int32_t begin;
    std::int32_t end;

    bool IsEmpty() const { return begin >= end; }
};

class Warper {
public:
    Warper(const Sample* source, std::ptrdiff_t sourceStride, ImageRect sourceRoi, Sample* target,
           std::ptrdiff_t targetStride, ImageRect targetRoi, int pixelSize,
           const InverseMap& inverse)
        : src(source),
          srcStride(sourceStride),
          srcRoi(sourceRoi),
          dst(target),
          dstStride(targetStride),
          dstRoi(targetRoi),
          pixelBytes(pixelSize),
          map(inverse),
          sides(SideDistances(inverse, sourceRoi)) {}

    template <class RowOperation>
    void Run(RowOperation sample, bool isSmooth) const {
        for (std::int32_t row = dstRoi.y; row < dstRoi.y + dstRoi.height; ++row) {
            const WarpLine line = LineAt(row);
            const auto draw = [&](Span span) {
                if (!span.IsEmpty())
                    sample(line, span.begin, span.end - span.begin, Pixel(span.begin, row));
            };
            if (isSmooth)
                DrawSmooth(row, draw, [&](std::int32_t x, std::int32_t n, Sample* pixels) {
                    sample(line, x, n, pixels);
                });
            else
                draw(SpanAt(row, 0.0));
        }
    }

private:
    // Within this much of a whole pixel, a pixel counts as covered or not covered at all.
    static constexpr double kCoverageStep = 1.0 / 512;
    static constexpr std::int32_t kBlendPixels = 64;

    Sample* Pixel(std::int32_t x, std::int32_t y) const {
        return dst + y * dstStride + std::ptrdiff_t{x} * pixelBytes;
    }

    WarpLine LineAt(std::int32_t row) const {
        // From the middle of the source region's first pixel, at the middle of column 0.
        const Plane x = map.x.Minus(map.depth, srcRoi.x + 0.5).Times(kPlaceOne);
        const Plane y = map.y.Minus(map.depth, srcRoi.y + 0.5).Times(kPlaceOne);
        const double middle = row + 0.5;
        return {src + srcRoi.y * srcStride + std::ptrdiff_t{srcRoi.x} * pixelBytes,
                srcStride,
                srcRoi.width,
                srcRoi.height,
                x.At(0.5, middle),
                y.At(0.5, middle),
                map.depth.At(0.5, middle),
                x.a,
                y.a,
                map.depth.a};
    }

    // The columns of a row at least `distance` inside all sides.
    Span SpanAt(std::int32_t row, double distance) const {
        double begin = dstRoi.x;
        double end = static_cast<double>(dstRoi.x) + dstRoi.width;
        for (int side = 0; side < kSides; ++side) {
            // A middle right on a side belongs to the pixel right of or below it.
            const bool isClosed = side == kLeft || side == kTop;
            const double slope = sides[side].a;
            const double start = sides[side].At(0.5, row + 0.5);
            const double edge = (distance - start) / slope;
            if (slope > 0) {
                begin = std::max(begin, isClosed ? std::ceil(edge) : std::floor(edge) + 1);
            } else if (slope < 0) {
                end = std::min(end, isClosed ? std::floor(edge) + 1 : std::ceil(edge));
            } else if (isClosed ? !(start >= distance) : !(start > distance)) {
                return {0, 0};
            }
        }
        if (!(begin < end)) return {0, 0};
        return {static_cast<std::int32_t>(begin), static_cast<std::int32_t>(end)};
    }

    // 0 to 256: how much of a pixel the quadrangle covers.
    int CoverageAt(std::int32_t x, std::int32_t y) const {
        const auto inside = [&](Sides side) {
            return std::clamp(sides[side].At(x + 0.5, y + 0.5) + 0.5, 0.0, 1.0);
        };
        const double across = std::max(inside(kLeft) + inside(kRight) - 1.0, 0.0);
        const double down = std::max(inside(kTop) + inside(kBottom) - 1.0, 0.0);
        return static_cast<int>(across * down * 256.0 + 0.5);
    }

    template <class Draw, class SampleInto>
    void DrawSmooth(std::int32_t row, Draw draw, SampleInto sample) const {
        const Span touched = SpanAt(row, kCoverageStep - 0.5);
        Span covered = SpanAt(row, 0.5 - kCoverageStep);
        if (covered.IsEmpty()) covered = {touched.end, touched.end};
        draw(covered);
        Blend(row, {touched.begin, covered.begin}, sample);
        Blend(row, {covered.end, touched.end}, sample);
    }

    template <class SampleInto>
    void Blend(std::int32_t row, Span span, SampleInto sample) const {
        Sample pixels[kBlendPixels * 4];
        for (std::int32_t x = span.begin; x < span.end; x += kBlendPixels) {
            const std::int32_t count = std::min(kBlendPixels, span.end - x);
            sample(x, count, pixels);
            for (std::int32_t i = 0; i < count; ++i)
                BlendPixel(pixels + i * pixelBytes, Pixel(x + i, row), CoverageAt(x + i, row));
        }
    }

    void BlendPixel(const Sample* pixel, Sample* under, int coverage) const {
        for (int c = 0; c < pixelBytes; ++c)
            under[c] =
                static_cast<Sample>((pixel[c] * coverage + under[c] * (256 - coverage) + 128) >> 8);
    }

    const Sample* src;
    std::ptrdiff_t srcStride;
    ImageRect srcRoi;
    Sample* dst;
    std::ptrdiff_t dstStride;
    ImageRect dstRoi;
    int pixelBytes;
    InverseMap map;
    std::array<Plane, kSides> sides;
};

bool IsInside(ImageRect rect, ImageSize size) {
    return rect.x >= 0 && rect.y >= 0 && rect.width >= 1 && rect.height >= 1 &&
           rect.width <= size.width - rect.x && rect.height <= size.height - rect.y;
}

ImageStatus Warp(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride, ImageRect srcRoi,
                 Sample* dst, std::ptrdiff_t dstStride, ImageRect dstRoi,
                 const PerspectiveCoeffs& coeffs, std::uint32_t interpolation, int pixelBytes) {
    const ImageStatus status =
        CheckSides({dstRoi.width, dstRoi.height}, kOnePixel,
                   Side{src, srcStride, std::ptrdiff_t{srcRoi.width} * pixelBytes, srcRoi.height},
                   Side{dst, dstStride, std::ptrdiff_t{dstRoi.width} * pixelBytes, dstRoi.height});
    if (status == kImageNullPointer) return status;
    if (!IsInside(srcRoi, srcSize) || dstRoi.x < 0 || dstRoi.y < 0) return kImageSizeError;
    if (status != kImageOk) return status;
    const WarpRows& forms = Forms().warp;
    const int kind = pixelBytes == 1 ? 0 : pixelBytes - 2;
    decltype(&forms.linear[0]) byInterpolation = nullptr;
    switch (interpolation & ~kSmoothEdge) {
        case kNearest:
            byInterpolation = forms.nearest;
            break;
        case kLinear:
            byInterpolation = forms.linear;
            break;
        case kCubic:
            byInterpolation = forms.cubic;
            break;
        default:
            return kImageNotSupported;
    }
    InverseMap inverse{};
    if (!Invert(coeffs, srcRoi, &inverse)) return kImageSizeError;
    if (!IsInFront(coeffs, srcRoi)) return kImageOk;
    const bool isSmooth = (interpolation & kSmoothEdge) != 0;
    // Beyond a sharp corner both sides' edges would go on side by side.
    if (isSmooth) dstRoi = BoxOf(coeffs, srcRoi, dstRoi);
    const Warper warper(src, srcStride, srcRoi, dst, dstStride, dstRoi, pixelBytes, inverse);
    warper.Run(byInterpolation[kind], isSmooth);
    return kImageOk;
}

}  // namespace

ImageStatus WarpPerspective_8u_C1R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                                   ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                                   ImageRect dstRoi, const PerspectiveCoeffs& coeffs,
                                   std::uint32_t interpolation) {
    return Warp(src, srcSize, srcStride, srcRoi, dst, dstStride, dstRoi, coeffs, interpolation, 1);
}

ImageStatus WarpPerspective_8u_C3R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                                   ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                                   ImageRect dstRoi, const PerspectiveCoeffs& coeffs,
                                   std::uint32_t interpolation) {
    return Warp(src, srcSize, srcStride, srcRoi, dst, dstStride, dstRoi, coeffs, interpolation, 3);
}

ImageStatus WarpPerspective_8u_C4R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                                   ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                                   ImageRect dstRoi, const PerspectiveCoeffs& coeffs,
                                   std::uint32_t interpolation) {
    return Warp(src, srcSize, srcStride, srcRoi, dst, dstStride, dstRoi, coeffs, interpolation, 4);
}

}  // namespace qdvm
