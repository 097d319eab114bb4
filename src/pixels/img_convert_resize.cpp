#include "pixels/img_convert_resize.h"

#include "frames/blob_holder.h"
#include "frames/format_table.h"
#include "pixels/img_convert.h"
#include "pixels/img_resize.h"

namespace qdvm {

namespace {

constexpr std::uint32_t kScratchAlignment = 32;  // little enough for the smallest pictures

// The source's size in the destination's format and row order. YUV has no odd widths.
PIC_PROPS ConvertedProps(const PIC_PROPS& S, const PIC_PROPS& D) {
    const std::int32_t height = AbsHeight(S);
    if (!IsRGBFormat(D.fccType)) return {D.fccType, S.nWidth & ~1, height, 0};
    return {D.fccType, S.nWidth, D.nHeight < 0 ? -height : height, 0};
}

// 0 and whether the sizes differ; else what Img_ClipRects answers.
HRESULT SizesDiffer(const PIC_PROPS& S, const PIC_PROPS& D, const ImgRect* s, const ImgRect* d,
                    bool* differ) {
    *differ = S.nWidth != D.nWidth || AbsHeight(S) != AbsHeight(D);
    if (*differ) return S_OK;
    ImgRect source{};
    ImgRect dest{};
    const HRESULT clipped = Img_ClipRects(S, D, s, d, true, &source, &dest);
    *differ = source.Width() != dest.Width() || source.Height() != dest.Height();
    return clipped;
}

}  // namespace

HRESULT Img_ConvertResize(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                          const ImgRect* s, const ImgRect* d, bool bFields, std::int32_t mode,
                          BYTE* scratch) {
    if (!src || !dst || !S || !D || !FormatInfo(*S) || !FormatInfo(*D)) return E_INVALIDARG;
    bool bResize = false;
    const HRESULT clipped = SizesDiffer(*S, *D, s, d, &bResize);
    if (clipped != S_OK) return clipped;
    if (!bResize) return Img_Convert(src, dst, S, D, s, d, true);

    const auto resize = bFields ? Img_ResizeFields : Img_Resize;
    if (S->fccType == D->fccType) return resize(src, dst, S, D, s, d, mode, scratch);
    CBLOBHolder<CHeapAlloc> own;
    if (!scratch) {
        const HRESULT grown = own.Resize(ResizeScratchBytes16(*S, *D), false, 0, -1);
        if (Failed(grown)) return grown;
        scratch = own.At(0);
    }
    const PIC_PROPS X = ConvertedProps(*S, *D);
    const HRESULT converted = Img_Convert(src, scratch, S, &X, nullptr, nullptr, true);
    if (converted != S_OK) return converted;
    const std::uint32_t used =
        (FrameBytes(X) + kScratchAlignment - 1) / kScratchAlignment * kScratchAlignment;
    return resize(scratch, dst, &X, D, s, d, mode, scratch + used);
}

}  // namespace qdvm
