#include "pixels/img_flip.h"

#include "frames/format_table.h"
#include "pixels/chroma_rows.h"
#include "pixels/primitives/channels.h"

#include <cstdint>

namespace qdvm {

namespace {

struct Flip {
    const PIC_PROPS& props;
    const BYTE* src;
    BYTE* dst;  // may be src
    RectWalk from;
    RectWalk to;
    ImageSize size;
    std::int32_t chromaRows;
    MirrorAxis axis;
};

using Mirror = decltype(&Mirror_8u_C1);
using MirrorInPlace = decltype(&MirrorInPlace_8u_C1);

ImageStatus FlipPlane(const Flip& flip, std::size_t plane, ImageSize size, Mirror mirror,
                      MirrorInPlace inPlace) {
    BYTE* const to = flip.dst + flip.to.firstRow[plane];
    if (flip.src == flip.dst) return inPlace(to, flip.to.stride[plane], size, flip.axis);
    return mirror(flip.src + flip.from.firstRow[plane], flip.from.stride[plane], to,
                  flip.to.stride[plane], size, flip.axis);
}

ImageStatus Flip420(const Flip& flip) {
    ImageStatus status = FlipPlane(flip, 0, flip.size, Mirror_8u_C1, MirrorInPlace_8u_C1);
    const ImageSize chroma{flip.size.width / 2, flip.chromaRows};
    if (chroma.height <= 0) return status;
    for (std::size_t plane = 1; plane < 3 && status == kImageOk; ++plane)
        status = FlipPlane(flip, plane, chroma, Mirror_8u_C1, MirrorInPlace_8u_C1);
    return status;
}

ImageStatus Flip422(const Flip& flip, PackedOrder order) {
    BYTE* const to = flip.dst + flip.to.firstRow[0];
    if (flip.src == flip.dst)
        return MirrorPackedInPlace(to, flip.to.stride[0], flip.size, flip.axis, order);
    return MirrorPacked(flip.src + flip.from.firstRow[0], flip.from.stride[0], to,
                        flip.to.stride[0], flip.size, flip.axis, order);
}

HRESULT Run(const Flip& flip) {
    ImageStatus status = kImageOk;
    switch (flip.props.fccType) {
        case kFccRGB8:
            status = FlipPlane(flip, 0, flip.size, Mirror_8u_C1, MirrorInPlace_8u_C1);
            break;
        case kFccRGB24:
            status = FlipPlane(flip, 0, flip.size, Mirror_8u_C3, MirrorInPlace_8u_C3);
            break;
        case kFccRGB32:
        case kFccARGB32:
            status = FlipPlane(flip, 0, flip.size, Mirror_8u_C4, MirrorInPlace_8u_C4);
            break;
        case kFccI420:
        case kFccYV12:
            status = Flip420(flip);
            break;
        case kFccYUY2:
        case kFccYVYU:
            status = Flip422(flip, PackedOrder::kLumaFirst);
            break;
        case kFccUYVY:
            status = Flip422(flip, PackedOrder::kLumaSecond);
            break;
        default:
            return E_NOTIMPL;
    }
    return status == kImageOk ? S_OK : E_FAIL;
}

MirrorAxis AxisOf(bool vertical, bool horizontal) {
    if (vertical && horizontal) return kMirrorBoth;
    return vertical ? kMirrorRows : kMirrorColumns;
}

HRESULT FlipRects(const BYTE* src, BYTE* dst, const PIC_PROPS& S, const PIC_PROPS& D,
                  MirrorAxis axis, const ImgRect* s, const ImgRect* d) {
    ImgRect source{};
    ImgRect dest{};
    const HRESULT clipped = Img_ClipRects(S, D, s, d, false, &source, &dest);
    if (clipped != S_OK) return clipped;
    if (dest.IsEmpty()) return S_FALSE;
    Flip flip{D,
              src,
              dst,
              {},
              {},
              {static_cast<std::int32_t>(dest.Width()), static_cast<std::int32_t>(dest.Height())},
              src == dst ? ChromaRowsOf(dest) : ChromaRowsOf(dest, source, S),
              axis};
    if (!WalkRect(S, source, false, &flip.from) || !WalkRect(D, dest, false, &flip.to))
        return E_FAIL;
    if (flip.from.bBottomUp != flip.to.bBottomUp) ReverseWalk(&flip.from, flip.size.height);
    return Run(flip);
}

}  // namespace

HRESULT Img_Flip(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D, bool vertical,
                 bool horizontal, const ImgRect* s, const ImgRect* d) {
    if (!src || !dst || !S || !D) return E_INVALIDARG;
    if (!vertical && !horizontal) return S_FALSE;
    if (S->fccType != D->fccType) return E_NOTIMPL;
    if (!FormatInfo(*S) || !FormatInfo(*D)) return E_INVALIDARG;
    return FlipRects(src, dst, *S, *D, AxisOf(vertical, horizontal), s, d);
}

HRESULT Img_FlipInPlace(BYTE* buffer, const PIC_PROPS* props, bool vertical, bool horizontal,
                        const ImgRect* rect) {
    if (!buffer || !props || !FormatInfo(*props)) return E_INVALIDARG;
    if (!vertical && !horizontal) return S_FALSE;
    return FlipRects(buffer, buffer, *props, *props, AxisOf(vertical, horizontal), rect, rect);
}

}  // namespace qdvm
