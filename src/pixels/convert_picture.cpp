#include "pixels/convert_picture.h"

#include "frames/blob_holder.h"
#include "frames/format_table.h"
#include "pixels/convert_any.h"
#include "pixels/img_copy.h"
#include "pixels/img_resize.h"

namespace qdvm {
namespace {

using Scratch = CBLOBHolder<CNewAlloc>;

// Between pictures of one size.
HRESULT Convert(const BYTE* src, BYTE* dst, const PIC_PROPS& S, const PIC_PROPS& D) {
    if (S.fccType == D.fccType) return Img_CopyRect(src, dst, &S, &D, nullptr, nullptr);
    // Conversion to these does nothing and reports no failure.
    if (Is16BitRGB(D.fccType)) return E_NOTIMPL;
    Scratch swapped;
    if (S.fccType == kFccYVYU) {
        const HRESULT result = swapped.Resize(FrameBytes(S));
        if (Failed(result)) return result;
    }
    return ConvertAny(src, dst, S, D, {0, 0, S.nWidth, AbsHeight(S)}, swapped.At(0));
}

HRESULT Scale(const BYTE* src, BYTE* dst, const PIC_PROPS& S, const PIC_PROPS& D, bool bFields) {
    const auto scale = bFields ? Img_ResizeFields : Img_Resize;
    return scale(src, dst, &S, &D, nullptr, nullptr, kResizeMaskLinear, nullptr);
}

}  // namespace

HRESULT ConvertPicture(const BYTE* src, BYTE* dst, const PIC_PROPS& S, const PIC_PROPS& D,
                       bool bFields) {
    const bool isSameSize = S.nWidth == D.nWidth && AbsHeight(S) == AbsHeight(D);
    HRESULT result = S_OK;
    if (isSameSize) {
        result = Convert(src, dst, S, D);
    } else if (S.fccType == D.fccType) {
        if (Is16BitRGB(D.fccType)) return E_NOTIMPL;
        result = Scale(src, dst, S, D, bFields);
    } else {
        // Bottom up where both are, so that nothing is turned twice.
        PIC_PROPS between = {D.fccType, S.nWidth, AbsHeight(S), S.nWidth};
        if (IsRGBFormat(D.fccType) && D.nHeight < 0) between.nHeight = -between.nHeight;
        Scratch converted;
        result = converted.Resize(FrameBytes(between));
        if (Failed(result)) return result;
        result = Convert(src, converted.At(0), S, between);
        if (result == S_OK) result = Scale(converted.At(0), dst, between, D, bFields);
    }
    return result == S_FALSE ? E_FAIL : result;
}

}  // namespace qdvm
