#include "pixels/img_mix.h"

#include "frames/format_table.h"
#include "pixels/chroma_rows.h"
#include "pixels/primitives/blend.h"

#include <limits>

namespace qdvm {

namespace {

constexpr std::int32_t kWeights = 256;  // what a pair of weights sums to

// The clipped rects and where they lie. Both walks run in the memory order of the destination.
struct Places {
    ImgRect source;
    ImgRect dest;
    RectWalk from;
    RectWalk to;
    ImageSize size;    // in pixels
    ImageSize chroma;  // in samples of a chroma plane of 4:2:0
};

HRESULT FindPlaces(const PIC_PROPS* S, const PIC_PROPS* D, const ImgRect* s, const ImgRect* d,
                   Places* places) {
    if (!S || !D) return E_INVALIDARG;
    if (S->fccType != D->fccType) return E_NOTIMPL;
    if (!FormatInfo(*S) || !FormatInfo(*D)) return E_INVALIDARG;
    const HRESULT clipped = Img_ClipRects(*S, *D, s, d, false, &places->source, &places->dest);
    if (clipped != S_OK) return clipped;
    if (places->dest.IsEmpty()) return S_FALSE;
    if (!WalkRect(*S, places->source, false, &places->from) ||
        !WalkRect(*D, places->dest, false, &places->to))
        return E_FAIL;
    places->size = {static_cast<std::int32_t>(places->dest.Width()),
                    static_cast<std::int32_t>(places->dest.Height())};
    places->chroma = {places->size.width / 2, ChromaRowsOf(places->dest, places->source, *S)};
    // One of the two is turned, never both: two turns would leave the picture upside down.
    if (places->from.bBottomUp != places->to.bBottomUp)
        ReverseWalk(&places->from, places->size.height);
    return S_OK;
}

// The rows of a plane in the geometry of S that go with the source rect. They run in the memory
// order of the destination like the source's own, so a plane is turned by how it lies to the
// destination, whichever way the source lies.
bool FindPlane(const PIC_PROPS& S, bool bBottomUpPlane, const Places& places, RectWalk* walk) {
    const std::int32_t height = AbsHeight(S);
    const PIC_PROPS plane{kFccRGB8, S.nWidth, bBottomUpPlane ? height : -height, S.nRowWidth};
    if (!WalkRect(plane, places.source, false, walk)) return false;
    if (bBottomUpPlane != places.to.bBottomUp) ReverseWalk(walk, places.size.height);
    return true;
}

struct Weights {
    int a;
    int b;
};

// Seven bits, so that chroma around grey stays within 16 bits.
Weights Halved(Weights weights) {
    return {(weights.a >> 1) + (weights.a & weights.b & 1), weights.b >> 1};
}

struct Frames {
    const BYTE* src;
    BYTE* dst;
    const Places& places;

    const BYTE* Source(int plane) const { return src + places.from.firstRow[plane]; }
    BYTE* Dest(int plane) const { return dst + places.to.firstRow[plane]; }
};

ImageStatus MixConstBytes(const Frames& frames, int pixelBytes, Weights weights) {
    const Places& at = frames.places;
    if (at.size.width > std::numeric_limits<std::int32_t>::max() / pixelBytes)
        return kImageSizeError;
    return MixConst(frames.Source(0), at.from.stride[0], frames.Dest(0), at.to.stride[0],
                    {at.size.width * pixelBytes, at.size.height}, weights.a, weights.b);
}

ImageStatus MixConst422(const Frames& frames, PackedOrder order, Weights weights) {
    const Places& at = frames.places;
    const Weights halved = Halved(weights);
    return MixConstPacked(frames.Source(0), at.from.stride[0], frames.Dest(0), at.to.stride[0],
                          at.size, order, halved.a, halved.b);
}

ImageStatus MixConst420(const Frames& frames, Weights weights) {
    const Places& at = frames.places;
    ImageStatus status = MixConstBytes(frames, 1, weights);
    if (at.chroma.height == 0) return status;
    for (int plane = 1; plane < at.to.planes && status == kImageOk; ++plane)
        status = MixConstChroma(frames.Source(plane), at.from.stride[plane], frames.Dest(plane),
                                at.to.stride[plane], at.chroma, weights.a, weights.b);
    return status;
}

ImageStatus MixConstAs(std::int32_t fccType, const Frames& frames, Weights weights) {
    switch (fccType) {
        case kFccRGB24:
            return MixConstBytes(frames, 3, weights);
        case kFccRGB32:
        case kFccARGB32:
            return MixConstBytes(frames, 4, weights);
        case kFccI420:
        case kFccYV12:
            return MixConst420(frames, weights);
        case kFccYUY2:
        case kFccYVYU:
            return MixConst422(frames, PackedOrder::kLumaFirst, weights);
        case kFccUYVY:
        case kFccHDYC:
            return MixConst422(frames, PackedOrder::kLumaSecond, weights);
        default:
            return kImageOk;
    }
}

struct Plane {
    const BYTE* first;
    std::ptrdiff_t stride;
};

ImageStatus MixPlanePixels(const Frames& frames, Plane plane, int pixelBytes) {
    const Places& at = frames.places;
    return MixPlane(frames.Source(0), at.from.stride[0], plane.first, plane.stride, frames.Dest(0),
                    at.to.stride[0], at.size, pixelBytes);
}

ImageStatus MixPlane422(const Frames& frames, Plane plane, PackedOrder order) {
    const Places& at = frames.places;
    return MixPlanePacked(frames.Source(0), at.from.stride[0], plane.first, plane.stride,
                          frames.Dest(0), at.to.stride[0], at.size, order);
}

ImageStatus MixPlane420(const Frames& frames, Plane plane) {
    const Places& at = frames.places;
    ImageStatus status = MixPlanePixels(frames, plane, 1);
    if (at.chroma.height == 0) return status;
    for (int p = 1; p < at.to.planes && status == kImageOk; ++p)
        status = MixPlaneHalf(frames.Source(p), at.from.stride[p], plane.first, 2 * plane.stride,
                              frames.Dest(p), at.to.stride[p], at.chroma);
    return status;
}

ImageStatus MixPlaneAs(std::int32_t fccType, const Frames& frames, Plane plane) {
    switch (fccType) {
        case kFccRGB24:
            return MixPlanePixels(frames, plane, 3);
        case kFccRGB32:
            return MixPlanePixels(frames, plane, 4);
        case kFccI420:
        case kFccYV12:
            return MixPlane420(frames, plane);
        case kFccYUY2:
        case kFccYVYU:
            return MixPlane422(frames, plane, PackedOrder::kLumaFirst);
        case kFccUYVY:
        case kFccHDYC:
            return MixPlane422(frames, plane, PackedOrder::kLumaSecond);
        default:
            return kImageOk;
    }
}

// Source over destination. Frames hold straight alpha.
ImageStatus CompositeFrames(const Frames& frames, std::int32_t opacity) {
    const Places& at = frames.places;
    return Composite(frames.Source(0), at.from.stride[0], frames.Dest(0), at.to.stride[0], at.size,
                     opacity);
}

HRESULT Result(ImageStatus status) { return status == kImageOk ? S_OK : E_FAIL; }

}  // namespace

HRESULT Img_MixConst(const BYTE* src, BYTE* dst, std::int32_t a, std::int32_t b, const PIC_PROPS* S,
                     const PIC_PROPS* D, const ImgRect* s, const ImgRect* d) {
    if (!src || !dst) return E_INVALIDARG;
    if (a < 0 || a > kWeights || b != kWeights - a) return E_INVALIDARG;
    Places places{};
    const HRESULT placed = FindPlaces(S, D, s, d, &places);
    if (placed != S_OK) return placed;
    return Result(MixConstAs(D->fccType, {src, dst, places}, {a, b}));
}

HRESULT Img_MixPlane(const BYTE* src, const BYTE* plane, BYTE* dst, const PIC_PROPS* S,
                     const PIC_PROPS* D, bool bBottomUpPlane, const ImgRect* s, const ImgRect* d) {
    if (!src || !dst) return E_INVALIDARG;
    if (!plane && S && S->fccType != kFccARGB32) return E_INVALIDARG;
    Places places{};
    const HRESULT placed = FindPlaces(S, D, s, d, &places);
    if (placed != S_OK) return placed;
    const Frames frames{src, dst, places};
    if (D->fccType == kFccARGB32) return Result(CompositeFrames(frames, kWeights));
    RectWalk walk;
    if (!FindPlane(*S, bBottomUpPlane, places, &walk)) return E_FAIL;
    return Result(MixPlaneAs(D->fccType, frames, {plane + walk.firstRow[0], walk.stride[0]}));
}

HRESULT Img_Composite(const BYTE* src, BYTE* dst, std::int32_t opacity, const PIC_PROPS* S,
                      const PIC_PROPS* D, const ImgRect* s, const ImgRect* d) {
    if (!src || !dst || opacity < 0 || opacity > kWeights) return E_INVALIDARG;
    if (S && S->fccType != kFccARGB32) return E_NOTIMPL;
    Places places{};
    const HRESULT placed = FindPlaces(S, D, s, d, &places);
    if (placed != S_OK) return placed;
    return Result(CompositeFrames({src, dst, places}, opacity));
}

}  // namespace qdvm
