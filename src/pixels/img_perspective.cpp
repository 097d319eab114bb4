#include "pixels/img_perspective.h"

#include "frames/blob_holder.h"
#include "frames/format_table.h"
#include "pixels/primitives/convert.h"
#include "pixels/primitives/linear_algebra.h"
#include "pixels/primitives/warp.h"
#include "platform/trace.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

namespace qdvm {

namespace {

constexpr double kPi = 3.141592653589793;
constexpr double kNarrowestView = 1e-9;  // radians, in place of a view without width

using Vector = std::array<double, 3>;

std::size_t LongestAxis(const Vector& v) {
    const auto longest = std::max_element(
        v.begin(), v.end(), [](double a, double b) { return std::abs(a) < std::abs(b); });
    return static_cast<std::size_t>(longest - v.begin());
}

// Where the line from the eye through a point of the plane z = 0 meets the plane through the origin
// with this normal.
Vector Cut(const Vector& normal, const Vector& eye, const Vector& point) {
    const Vector D = {eye[0] - point[0], eye[1] - point[1], eye[2] - point[2]};
    // Two of the line's equations, by the axis along which it runs furthest: it can stand still
    // along any other, where the eye is straight across from the point.
    const std::size_t p = LongestAxis(D);
    const std::size_t q = p == 0 ? 1 : 0;
    const std::size_t r = p == 2 ? 1 : 2;
    double matrix[9] = {normal[0], normal[1], normal[2]};
    matrix[3 + p] = D[q];
    matrix[3 + q] = -D[p];
    matrix[6 + p] = D[r];
    matrix[6 + r] = -D[p];
    const Vector rhs = {0, eye[p] * D[q] - eye[q] * D[p], eye[p] * D[r] - eye[r] * D[p]};
    std::array<std::int32_t, 3> permutation{};
    Vector x{};
    if (LUDecomp_64f(matrix, matrix, permutation.data()) != kImageOk ||
        LUBackSubst_64f(matrix, permutation.data(), rhs.data(), x.data()) != kImageOk)
        x.fill(std::numeric_limits<double>::quiet_NaN());
    return x;
}

using Quad = std::array<QuadPoint, 4>;

// The corners that the corners of the source region in memory go to, in memory rows of D.
Quad QuadInMemory(const PointD* corners, bool sourceIsBottomUp, bool destIsBottomUp,
                  std::int32_t destHeight) {
    Quad quad{};
    for (std::size_t i = 0; i < 4; ++i) {
        const PointD& corner = corners[sourceIsBottomUp ? 3 - i : i];
        quad[i] = {corner.x, destIsBottomUp ? destHeight - corner.y : corner.y};
    }
    return quad;
}

std::int32_t Truncated(double value, std::int32_t limit) {
    if (!(value > 0)) return 0;
    return value >= limit ? limit : static_cast<std::int32_t>(value);
}

// Grown to multiples of 4 and 2.
ImgRect BoundOf(const PerspectiveBound& box, const PIC_PROPS& D, bool bBottomUp) {
    const std::int32_t width = D.nWidth;
    const std::int32_t height = AbsHeight(D);
    const double y0 = bBottomUp ? height - box.y1 : box.y0;
    const double y1 = bBottomUp ? height - box.y0 : box.y1;
    const auto end = [](double value, std::int32_t limit) {
        return Truncated(std::trunc(value) + 1, limit);
    };
    return {Truncated(box.x0, width) & ~3, Truncated(y0, height) & ~1,
            (end(box.x1, width) + 3) & ~3, (end(y1, height) + 1) & ~1};
}

struct Warp {
    const BYTE* src;
    BYTE* dst;
    const PIC_PROPS& S;
    const PIC_PROPS& D;
    ImageRect roi;
    Quad quad;
    PerspectiveCoeffs coeffs;
    ImgRect bound;  // within D, rows counted in memory
    std::uint32_t interpolation;
};

ImageSize SizeOf(const PIC_PROPS& props) { return {props.nWidth, AbsHeight(props)}; }

ImageRect WholeOf(ImageSize size) { return {0, 0, size.width, size.height}; }

using WarpPlane = decltype(&WarpPerspective_8u_C1R);

HRESULT ResultOf(ImageStatus status) { return status == kImageOk ? S_OK : E_INVALIDARG; }

HRESULT WarpPixels(const Warp& warp, WarpPlane plane) {
    const PictureLayout from = PlaneLayout(warp.S, false);
    const PictureLayout to = PlaneLayout(warp.D, false);
    return ResultOf(plane(warp.src + from.offset[0], SizeOf(warp.S), from.stride[0], warp.roi,
                          warp.dst + to.offset[0], to.stride[0], WholeOf(SizeOf(warp.D)),
                          warp.coeffs, warp.interpolation | kSmoothEdge));
}

// The transform between planes that are smaller by these shifts.
struct ChromaWarp {
    ImageSize source;
    ImageSize dest;
    ImageRect roi;
    PerspectiveCoeffs coeffs;
};

ImageStatus ChromaOf(const Warp& warp, int rowShift, ChromaWarp* chroma) {
    const ImageRect& roi = warp.roi;
    chroma->source = {warp.S.nWidth >> 1, AbsHeight(warp.S) >> rowShift};
    chroma->dest = {warp.D.nWidth >> 1, AbsHeight(warp.D) >> rowShift};
    // A region of one line shows the chroma of its line pair.
    chroma->roi = {roi.x >> 1, std::min(roi.y >> rowShift, chroma->source.height - 1),
                   roi.width >> 1, std::max(roi.height >> rowShift, 1)};
    Quad quad = warp.quad;
    for (QuadPoint& point : quad) point = {point.x / 2.0, rowShift == 0 ? point.y : point.y / 2.0};
    return GetPerspectiveTransform(chroma->roi, quad.data(), &chroma->coeffs);
}

HRESULT Warp420(const Warp& warp) {
    const HRESULT luma = WarpPixels(warp, WarpPerspective_8u_C1R);
    if (Failed(luma)) return luma;
    ChromaWarp chroma{};
    ImageStatus status = ChromaOf(warp, 1, &chroma);
    const PictureLayout from = PlaneLayout(warp.S, false);
    const PictureLayout to = PlaneLayout(warp.D, false);
    for (std::size_t i = 1; i < 3 && status == kImageOk; ++i)
        status = WarpPerspective_8u_C1R(warp.src + from.offset[i], chroma.source, from.stride[i],
                                        chroma.roi, warp.dst + to.offset[i], to.stride[i],
                                        WholeOf(chroma.dest), chroma.coeffs, kNearest);
    return ResultOf(status);
}

// A packed picture as three planes of 4:2:2 in scratch. Which chroma plane is Cb plays no part as
// long as both go back where they came from.
struct SplitPicture {
    PictureLayout layout;
    BYTE* memory;
    BYTE* packed;
    std::ptrdiff_t packedStride;
    bool isLumaFirst;

    SplitPicture(const PIC_PROPS& props, BYTE* scratch, BYTE* picture)
        : layout(PlaneLayout(props, true)),
          memory(scratch),
          packed(picture),
          packedStride(PlaneLayout(props, false).stride[0]),
          isLumaFirst(props.fccType == kFccYUY2 || props.fccType == kFccYVYU) {}

    std::array<BYTE*, 3> PlanesAt(std::int32_t x, std::int32_t y) const {
        std::array<BYTE*, 3> planes{};
        for (std::size_t i = 0; i < 3; ++i)
            planes[i] = memory + layout.offset[i] + y * layout.stride[i] + (i == 0 ? x : x / 2);
        return planes;
    }
    BYTE* PackedAt(std::int32_t x, std::int32_t y) const {
        return packed + y * packedStride + x * 2;
    }

    ImageStatus Split(const ImageRect& rect) const {
        const std::array<BYTE*, 3> planes = PlanesAt(rect.x, rect.y);
        return (isLumaFirst ? SplitYUY2 : SplitUYVY)(PackedAt(rect.x, rect.y), packedStride,
                                                     planes.data(), layout.stride.data(),
                                                     {rect.width, rect.height});
    }

    ImageStatus Pack(const ImageRect& rect) const {
        const std::array<BYTE*, 3> planes = PlanesAt(rect.x, rect.y);
        const std::array<const BYTE*, 3> from{planes[0], planes[1], planes[2]};
        BYTE* const to = PackedAt(rect.x, rect.y);
        const ImageSize size{rect.width, rect.height};
        const ImageStatus status =
            PackYUY2(from.data(), layout.stride.data(), to, packedStride, size);
        if (status != kImageOk || isLumaFirst) return status;
        return SwapYUYV(to, packedStride, to, packedStride, size);
    }
};

HRESULT Warp422(const Warp& warp, bool bBlendEdges, BYTE* scratch) {
    const ImgRect& b = warp.bound;
    const ImageRect bound{b.left, b.top, static_cast<std::int32_t>(b.Width()),
                          static_cast<std::int32_t>(b.Height())};
    // Its packed side is only read.
    const SplitPicture source(warp.S, scratch, const_cast<BYTE*>(warp.src));
    const SplitPicture dest(warp.D, scratch + FrameBytes(warp.S), warp.dst);
    if (source.Split(warp.roi) != kImageOk) return S_OK;
    if (bBlendEdges && dest.Split(bound) != kImageOk) return S_OK;
    const std::array<BYTE*, 3> from = source.PlanesAt(0, 0);
    const std::array<BYTE*, 3> to = dest.PlanesAt(0, 0);
    ImageStatus status = WarpPerspective_8u_C1R(
        from[0], SizeOf(warp.S), source.layout.stride[0], warp.roi, to[0], dest.layout.stride[0],
        WholeOf(SizeOf(warp.D)), warp.coeffs, warp.interpolation | kSmoothEdge);
    ChromaWarp chroma{};
    if (status == kImageOk) status = ChromaOf(warp, 0, &chroma);
    for (std::size_t i = 1; i < 3 && status == kImageOk; ++i)
        status = WarpPerspective_8u_C1R(from[i], chroma.source, source.layout.stride[i], chroma.roi,
                                        to[i], dest.layout.stride[i], WholeOf(chroma.dest),
                                        chroma.coeffs, warp.interpolation);
    if (status != kImageOk) return E_INVALIDARG;
    (void)dest.Pack(bound);
    return S_OK;
}

bool IsPacked422(std::int32_t fccType) {
    return fccType == kFccYUY2 || fccType == kFccYVYU || fccType == kFccUYVY || fccType == kFccHDYC;
}

HRESULT WarpPacked(const Warp& warp, bool bBlendEdges, BYTE* scratch) {
    CBLOBHolder<CHeapAlloc> own;
    if (!scratch) {
        const std::uint64_t bytes = std::uint64_t{FrameBytes(warp.S)} + FrameBytes(warp.D);
        if (bytes > kMaxBlockBytes) return E_OUTOFMEMORY;
        const HRESULT taken = own.Resize(static_cast<std::uint32_t>(bytes));
        if (Failed(taken)) return taken;
        scratch = own.At(0);
    }
    return Warp422(warp, bBlendEdges, scratch);
}

HRESULT WarpAs(const Warp& warp, bool bBlendEdges, BYTE* scratch) {
    switch (warp.S.fccType) {
        case kFccRGB8:
            return WarpPixels(warp, WarpPerspective_8u_C1R);
        case kFccRGB24:
            return WarpPixels(warp, WarpPerspective_8u_C3R);
        case kFccRGB32:
        case kFccARGB32:
            return WarpPixels(warp, WarpPerspective_8u_C4R);
        case kFccI420:
        case kFccYV12:
            return Warp420(warp);
        default:
            return IsPacked422(warp.S.fccType) ? WarpPacked(warp, bBlendEdges, scratch) : S_OK;
    }
}

}  // namespace

HRESULT Img_ProjectCorners(const ImgRect* rect, double outWidth, double dblHorzOffset,
                           double dblVertOffset, PointD* corners, double dblViewAngle,
                           double dblHorzAngle, double dblVertAngle) {
    if (!rect || !corners) return E_POINTER;
    double a = kPi * (dblViewAngle / 2.0) / 180.0;
    if (a == 0) a = kNarrowestView;
    const double b = kPi * dblHorzAngle / 180.0;
    const double c = kPi * dblVertAngle / 180.0;
    const std::int64_t W = rect->Width();
    const std::int64_t H = rect->Height();
    const auto cx = static_cast<double>(rect->left + W / 2);
    const auto cy = static_cast<double>(rect->top + H / 2);
    const auto halfW = static_cast<double>(W / 2);
    const auto halfH = static_cast<double>(H / 2);
    const auto width = static_cast<double>(W);

    const double dist = outWidth / (1.0 * std::tan(a));
    const Vector N = {std::sin(b), std::sin(c), -std::cos(b) * std::cos(c)};
    const Vector V = {dist * N[0] + dblHorzOffset * width / 2.0,
                      dist * N[1] + dblVertOffset * width / 2.0, dist * N[2]};
    const std::array<Vector, 4> P = {Vector{-halfW, -halfH, 0}, Vector{halfW, -halfH, 0},
                                     Vector{halfW, halfH, 0}, Vector{-halfW, halfH, 0}};
    for (std::size_t k = 0; k < 4; ++k) {
        const Vector x = Cut(N, V, P[k]);
        corners[k] = {x[0] / std::cos(b) + cx, x[1] / std::cos(c) + cy};
    }
    return S_OK;
}

HRESULT Img_Perspective(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                        const PointD* corners, const ImgRect* s, ImgRect* bound, bool bBlendEdges,
                        std::int32_t mode, BYTE* scratch) {
    const TraceTimer timer("[Img_Perspective (Avg)]");
    if (!src || !dst || !S || !D || !corners) return E_INVALIDARG;
    if (S->fccType != D->fccType) return E_NOTIMPL;
    if (!FormatInfo(*S) || !FormatInfo(*D)) return E_INVALIDARG;
    ImgRect source{};
    ImgRect unused{};
    const HRESULT clipped = Img_ClipRects(*S, *D, s, nullptr, true, &source, &unused);
    if (clipped != S_OK) return clipped;
    if (source.IsEmpty()) return S_FALSE;

    const bool fromBelow = PlaneLayout(*S, false).bBottomUp;
    const bool toBelow = PlaneLayout(*D, false).bBottomUp;
    Warp warp{
        src,
        dst,
        *S,
        *D,
        {source.left, fromBelow ? AbsHeight(*S) - source.bottom : source.top,
         static_cast<std::int32_t>(source.Width()), static_cast<std::int32_t>(source.Height())},
        QuadInMemory(corners, fromBelow, toBelow, AbsHeight(*D)),
        {},
        {},
        static_cast<std::uint32_t>(mode)};
    PerspectiveBound box{};
    if (GetPerspectiveTransform(warp.roi, warp.quad.data(), &warp.coeffs) != kImageOk ||
        GetPerspectiveBound(warp.roi, &box, warp.coeffs) != kImageOk)
        return E_INVALIDARG;
    const ImgRect touched = BoundOf(box, *D, toBelow);
    if (bound) *bound = touched;
    warp.bound = {touched.left, touched.top, std::min(touched.right, D->nWidth),
                  std::min(touched.bottom, AbsHeight(*D))};
    if (warp.bound.IsEmpty()) return S_FALSE;
    return WarpAs(warp, bBlendEdges, scratch);
}

}  // namespace qdvm
