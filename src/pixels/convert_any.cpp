#include "pixels/convert_any.h"

#include "frames/format_table.h"
#include "pixels/img_convert.h"
#include "pixels/primitives/convert.h"

#include <algorithm>

namespace qdvm {

namespace {

bool Is420(std::int32_t fccType) { return fccType == kFccI420 || fccType == kFccYV12; }

PIC_PROPS AsYUY2(PIC_PROPS props) {
    props.fccType = kFccYUY2;
    return props;
}

// YUY2 and YVYU differ in the order of the two chroma bytes, so one step goes both ways. dst may be
// src.
HRESULT SwapChroma(const BYTE* src, BYTE* dst, const PIC_PROPS& props, ImgRect rect) {
    rect.left &= ~1;
    rect.right = std::min((rect.right + 1) & ~1, props.nWidth);
    RectWalk walk;
    if (!WalkRect(props, rect, false, &walk)) return E_FAIL;
    const ImageStatus status = YUY2ToYVYU(
        src + walk.firstRow[0], walk.stride[0], dst + walk.firstRow[0], walk.stride[0],
        {static_cast<std::int32_t>(rect.Width()), static_cast<std::int32_t>(rect.Height())});
    return status == kImageOk ? S_OK : E_FAIL;
}

}  // namespace

HRESULT ConvertAny(const BYTE* src, BYTE* dst, const PIC_PROPS& S, const PIC_PROPS& D,
                   const ImgRect& rect, BYTE* scratch) {
    if (S.fccType == kFccYVYU && D.fccType != kFccYVYU && !Is420(D.fccType)) {
        const PIC_PROPS X = AsYUY2(S);
        const HRESULT swapped = SwapChroma(src, scratch, X, rect);
        return Failed(swapped) ? swapped : Img_Convert(scratch, dst, &X, &D, &rect, &rect, true);
    }
    if (D.fccType == kFccYVYU && S.fccType != kFccYVYU && S.fccType != kFccYUY2 &&
        !Is420(S.fccType)) {
        const PIC_PROPS X = AsYUY2(D);
        const HRESULT converted = Img_Convert(src, dst, &S, &X, &rect, &rect, true);
        return converted == S_OK ? SwapChroma(dst, dst, D, rect) : converted;
    }
    if (Is16BitRGB(D.fccType) && S.fccType != kFccYUY2 && !Is420(S.fccType)) return E_NOTIMPL;
    return Img_Convert(src, dst, &S, &D, &rect, &rect, true);
}

}  // namespace qdvm
