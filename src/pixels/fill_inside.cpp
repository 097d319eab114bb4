#include "pixels/fill_inside.h"

#include "frames/format_table.h"
#include "pixels/chroma_rows.h"
#include "pixels/primitives/fill.h"

#include <array>
#include <cstring>

namespace qdvm {

namespace {

constexpr BYTE kOpaque = 255;

void FillGroups(const BYTE* group, std::size_t groupBytes, BYTE alpha, BYTE* dst,
                std::ptrdiff_t stride, ImageSize size) {
    // The region lies inside the frame, and an empty one is nothing to fill.
    if (alpha == kOpaque) {
        (void)FillRows(group, groupBytes, dst, stride, size);
    } else {
        (void)BlendFillRows(group, groupBytes, alpha, dst, stride, size);
    }
}

// Each colour of the word by itself: blended as bytes, the green of one half would spill into the
// other.
void BlendWords(const BYTE* group, std::int32_t fccType, BYTE alpha, BYTE* dst,
                std::ptrdiff_t stride, ImageSize size) {
    const bool is565 = fccType == kFccRGB565;
    const std::array<std::uint32_t, 3> masks{0x1Fu, is565 ? 0x7E0u : 0x3E0u,
                                             is565 ? 0xF800u : 0x7C00u};
    std::uint16_t colour = 0;
    std::memcpy(&colour, group, sizeof(colour));
    for (std::int32_t row = 0; row < size.height; ++row)
        for (std::int32_t x = 0; x < size.width; ++x) {
            BYTE* const at = dst + row * stride + std::ptrdiff_t{x} * 2;
            std::uint16_t word = 0;
            std::memcpy(&word, at, sizeof(word));
            std::uint32_t blended = 0;
            for (const std::uint32_t mask : masks)
                blended |=
                    (((word & mask) * (kOpaque - alpha) + (colour & mask) * alpha) >> 8) & mask;
            word = static_cast<std::uint16_t>(blended);
            std::memcpy(at, &word, sizeof(word));
        }
}

}  // namespace

bool FillInside(BYTE* frame, const PIC_PROPS& D, const PackedColour& colour, const ImgRect& rect,
                BYTE alpha) {
    RectWalk walk;
    if (!WalkRect(D, rect, false, &walk)) return false;
    ImageSize size{static_cast<std::int32_t>(rect.Width()),
                   static_cast<std::int32_t>(rect.Height())};
    if (walk.planes == 1) {
        // A group of packed 4:2:2 is a pair of pixels.
        if (!IsRGBFormat(D.fccType)) size.width /= 2;
        if (Is16BitRGB(D.fccType) && alpha != kOpaque) {
            BlendWords(colour.bytes.data(), D.fccType, alpha, frame + walk.firstRow[0],
                       walk.stride[0], size);
            return true;
        }
        FillGroups(colour.bytes.data(), colour.length, alpha, frame + walk.firstRow[0],
                   walk.stride[0], size);
        return true;
    }
    for (int plane = 0; plane < walk.planes; ++plane) {
        if (plane == 1) size = {size.width / 2, ChromaRowsOf(rect)};
        FillGroups(&colour.bytes[plane], 1, alpha, frame + walk.firstRow[plane], walk.stride[plane],
                   size);
    }
    return true;
}

}  // namespace qdvm
