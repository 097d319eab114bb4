#include "pixels/img_border.h"

#include "frames/format_table.h"
#include "pixels/colour.h"
#include "pixels/fill_inside.h"

#include <algorithm>
#include <array>
#include <optional>

namespace qdvm {

namespace {

constexpr std::uint32_t kOpaqueColour = 0xFF000000u;

std::optional<PackedColour> BorderColour(std::int32_t fccType, std::uint32_t colour) {
    if (fccType == kFccRGB8) return PackedColour{{static_cast<BYTE>(colour), 0, 0, 0}, 1};
    return PackColour(fccType, colour | kOpaqueColour);
}

// Limited to what the rect has room for; the limit of a YUV rect can be odd.
std::int32_t BorderWidth(std::int32_t width, const ImgRect& rect, bool inPairs) {
    const std::int64_t half = std::min(rect.Width(), rect.Height()) / 2;
    const std::int64_t wanted =
        inPairs ? (std::int64_t{width} + 1) & ~std::int64_t{1} : std::int64_t{width};
    return static_cast<std::int32_t>(std::min(wanted, half));
}

// Top, bottom, left, right: no pixel lies in two of them. Pixels of a pair share their chroma, so
// the bars at the sides take whole pairs, and where both reach for the one in the middle the left
// one has it.
std::array<ImgRect, 4> Bars(const ImgRect& rect, std::int32_t width, bool inPairs) {
    const std::int32_t side = inPairs ? (width + 1) & ~1 : width;
    const std::int32_t top = rect.top + width;
    const std::int32_t bottom = rect.bottom - width;
    const std::int32_t left = rect.left + side;
    const std::int32_t right = std::max(rect.right - side, left);
    return {ImgRect{rect.left, rect.top, rect.right, top},
            ImgRect{rect.left, bottom, rect.right, rect.bottom},
            ImgRect{rect.left, top, left, bottom}, ImgRect{right, top, rect.right, bottom}};
}

}  // namespace

HRESULT Img_Border(BYTE* frame, const PIC_PROPS* D, std::uint32_t colour, std::int32_t width,
                   const ImgRect* rect, std::int32_t alpha) {
    if (!frame || !D) return E_INVALIDARG;
    if (!FormatInfo(*D)) return E_INVALIDARG;
    if (width <= 0) return S_FALSE;
    ImgRect unused{};
    ImgRect dest{};
    const HRESULT clipped = Img_ClipRects(*D, *D, rect, rect, false, &unused, &dest);
    if (clipped != S_OK) return clipped;
    if (dest.IsEmpty()) return S_FALSE;
    const std::optional<PackedColour> packed = BorderColour(D->fccType, colour);
    if (!packed) return E_NOTIMPL;

    const bool inPairs = !IsRGBFormat(D->fccType);
    width = BorderWidth(width, dest, inPairs);
    if (width == 0) return S_FALSE;
    const auto opacity = static_cast<BYTE>(std::clamp(alpha, 0, 255));
    for (const ImgRect& bar : Bars(dest, width, inPairs))
        if (!bar.IsEmpty() && !FillInside(frame, *D, *packed, bar, opacity)) return E_FAIL;
    return S_OK;
}

}  // namespace qdvm
