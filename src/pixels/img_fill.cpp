#include "pixels/img_fill.h"

#include "frames/format_table.h"
#include "pixels/colour.h"
#include "pixels/primitives/fill.h"

#include <algorithm>

namespace qdvm {

namespace {

constexpr std::int32_t kOpaque = 255;

void FillGroups(const BYTE* group, std::size_t groupBytes, std::int32_t alpha, BYTE* dst,
                std::ptrdiff_t stride, ImageSize size) {
    // The region lies inside the frame, and an empty one is nothing to fill.
    if (alpha == kOpaque) {
        (void)FillRows(group, groupBytes, dst, stride, size);
    } else {
        (void)BlendFillRows(group, groupBytes, static_cast<BYTE>(alpha), dst, stride, size);
    }
}

void FillPlanes(BYTE* frame, const RectWalk& walk, const PackedColour& packed, std::int32_t alpha,
                ImageSize size) {
    for (int plane = 0; plane < walk.planes; ++plane) {
        if (plane == 1) size = {size.width / 2, size.height / 2};
        FillGroups(&packed.bytes[plane], 1, alpha, frame + walk.firstRow[plane], walk.stride[plane],
                   size);
    }
}

}  // namespace

HRESULT Img_FillRect(BYTE* frame, const PIC_PROPS* D, std::uint32_t colour, const ImgRect* rect,
                     std::int32_t alpha) {
    if (!frame || !D) return E_INVALIDARG;
    const std::optional<PictureFormat> format = FormatInfo(*D);
    if (!format) return E_INVALIDARG;
    ImgRect unused{};
    ImgRect dest{};
    const HRESULT clipped = Img_ClipRects(*D, *D, rect, rect, false, &unused, &dest);
    if (clipped != S_OK) return clipped;
    if (dest.IsEmpty()) return S_FALSE;
    const std::optional<PackedColour> packed = PackColour(D->fccType, colour);
    if (!packed) return E_NOTIMPL;
    RectWalk walk;
    if (!WalkRect(*D, dest, false, &walk)) return E_FAIL;

    alpha = std::clamp(alpha, 0, kOpaque);
    ImageSize size{static_cast<std::int32_t>(dest.Width()),
                   static_cast<std::int32_t>(dest.Height())};
    if (format->bPlanar) {
        FillPlanes(frame, walk, *packed, alpha, size);
        return S_OK;
    }
    // A group of packed 4:2:2 is a pair of pixels.
    if (format->bYUV) size.width /= 2;
    FillGroups(packed->bytes.data(), packed->length, alpha, frame + walk.firstRow[0],
               walk.stride[0], size);
    return S_OK;
}

}  // namespace qdvm
