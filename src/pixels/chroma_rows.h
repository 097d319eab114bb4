#pragma once

// The chroma rows of a rect of 4:2:0.

#include "frames/format_table.h"
#include "pixels/img_rect.h"

#include <algorithm>
#include <cstdint>

namespace qdvm {

// Rows of each chroma plane. The last line of an odd height has no row of its own.
constexpr std::int32_t ChromaRows(const PIC_PROPS& props) { return AbsHeight(props) / 2; }

// How many chroma rows a clipped rect owns, from row top / 2 on. The edges are halved, not the
// height: a row that lies wholly inside always belongs to the rect, and rects that meet at any line
// share the rows out with none left over and none taken twice.
constexpr std::int32_t ChromaRowsOf(const ImgRect& rect) { return rect.bottom / 2 - rect.top / 2; }

// The same for a rect that is filled from another picture's rect of equal size. Where one starts at
// an odd line and the other at an even one, the source can be a row short.
constexpr std::int32_t ChromaRowsOf(const ImgRect& dest, const ImgRect& source,
                                    const PIC_PROPS& S) {
    return std::clamp(ChromaRowsOf(dest), 0, std::max(ChromaRows(S) - source.top / 2, 0));
}

}  // namespace qdvm
