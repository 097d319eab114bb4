#include "pixels/img_convert.h"

#include "frames/format_table.h"
#include "pixels/chroma_rows.h"
#include "pixels/convert_routes.h"
#include "pixels/primitives/channels.h"

namespace qdvm {

namespace {

ImageStatus MirrorRows(BYTE* frame, std::ptrdiff_t stride, ImageSize size, std::int32_t fccType) {
    switch (BitsPerPixel(fccType)) {
        case 16:
            return MirrorInPlace_16u_C1(frame, stride, size, kMirrorRows);
        case 24:
            return MirrorInPlace_8u_C3(frame, stride, size, kMirrorRows);
        case 32:
            return MirrorInPlace_8u_C4(frame, stride, size, kMirrorRows);
        default:
            return kImageNotSupported;
    }
}

// The pointers and strides of one side.
template <class Byte>
ConvertSide<Byte> SideOf(Byte* frame, const PIC_PROPS& props, const ImgRect& rect,
                         const RectWalk& walk) {
    ConvertSide<Byte> side{};
    for (int plane = 0; plane < walk.planes; ++plane)
        side.plane[plane] = frame + walk.firstRow[plane];
    side.stride = walk.stride;
    side.top = rect.top;
    side.chromaRows = ChromaRows(props);
    return side;
}

}  // namespace

HRESULT Img_Convert(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                    const ImgRect* s, const ImgRect* d, bool bCopyMirror) {
    if (!src || !dst || !S || !D) return E_INVALIDARG;
    if (!FormatInfo(*S) || !FormatInfo(*D)) return E_INVALIDARG;
    ImgRect source{};
    ImgRect dest{};
    const HRESULT clipped = Img_ClipRects(*S, *D, s, d, false, &source, &dest);
    if (clipped != S_OK) return clipped;
    if (dest.IsEmpty()) return S_FALSE;
    const ConvertRoute route = FindConvertRoute(S->fccType, D->fccType);
    if (!route) return E_NOTIMPL;

    PIC_PROPS from = *S;
    RectWalk walkFrom;
    RectWalk walkTo;
    if (!WalkRect(from, source, false, &walkFrom) || !WalkRect(*D, dest, false, &walkTo))
        return E_FAIL;
    if (!bCopyMirror && walkFrom.bBottomUp && !walkTo.bBottomUp) {
        const ImageStatus status = MirrorRows(const_cast<BYTE*>(src), walkFrom.stride[0],
                                              {from.nWidth, AbsHeight(from)}, from.fccType);
        if (status != kImageOk) return status;
        from.nHeight = -AbsHeight(from);
        if (!WalkRect(from, source, false, &walkFrom)) return E_FAIL;
    }
    // Both sides in the order of the destination, or from the top if one of them is YUV, since that
    // is never bottom-up: nothing needs to be turned before or after.
    const std::int64_t rows = dest.Height();
    if (walkFrom.bBottomUp && !walkTo.bBottomUp) ReverseWalk(&walkFrom, rows);
    if (walkTo.bBottomUp && !walkFrom.bBottomUp) ReverseWalk(&walkTo, rows);
    return route({SideOf(src, from, source, walkFrom),
                  SideOf(dst, *D, dest, walkTo),
                  {static_cast<std::int32_t>(dest.Width()), static_cast<std::int32_t>(rows)},
                  S->fccType != kFccARGB32 && D->fccType == kFccARGB32});
}

}  // namespace qdvm
