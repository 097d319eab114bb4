#include "pixels/img_fill.h"

#include "frames/format_table.h"
#include "pixels/colour.h"
#include "pixels/fill_inside.h"

#include <algorithm>

namespace qdvm {

namespace {

constexpr std::int32_t kOpaque = 255;

}  // namespace

HRESULT Img_FillRect(BYTE* frame, const PIC_PROPS* D, std::uint32_t colour, const ImgRect* rect,
                     std::int32_t alpha) {
    if (!frame || !D) return E_INVALIDARG;
    if (!FormatInfo(*D)) return E_INVALIDARG;
    ImgRect unused{};
    ImgRect dest{};
    const HRESULT clipped = Img_ClipRects(*D, *D, rect, rect, false, &unused, &dest);
    if (clipped != S_OK) return clipped;
    if (dest.IsEmpty()) return S_FALSE;
    const std::optional<PackedColour> packed = PackColour(D->fccType, colour);
    if (!packed) return E_NOTIMPL;
    const auto opacity = static_cast<BYTE>(std::clamp(alpha, 0, kOpaque));
    return FillInside(frame, *D, *packed, dest, opacity) ? S_OK : E_FAIL;
}

}  // namespace qdvm
