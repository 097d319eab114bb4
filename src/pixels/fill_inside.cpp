#include "pixels/fill_inside.h"

#include "frames/format_table.h"
#include "pixels/chroma_rows.h"
#include "pixels/primitives/fill.h"

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
