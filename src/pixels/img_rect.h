#pragma once

// Rects of pictures: clipping and the walk through memory that every kernel rests on.

#include "frames/picture_layout.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace qdvm {

// Pixels and lines of a picture, top line 0; right and bottom lie outside.
struct ImgRect {
    std::int32_t left;
    std::int32_t top;
    std::int32_t right;
    std::int32_t bottom;

    constexpr std::int64_t Width() const { return std::int64_t{right} - left; }
    constexpr std::int64_t Height() const { return std::int64_t{bottom} - top; }
    constexpr bool IsEmpty() const { return right <= left || bottom <= top; }
    bool operator==(const ImgRect&) const = default;
};

// The parts of two rects that lie inside their pictures S and D. Null rects stand for the whole
// picture. What one rect loses at an edge the other loses too, by the ratio of their sizes with
// bScaled, by equal amounts without; without it both first take the smaller width and height.
// Unless both formats are RGB, left edges go down and right edges up to even.
// 0: done. 1: nothing is visible. E_INVALIDARG: a rect without area. A result of 0 can leave empty
// rects, where just nothing of a rect is left; otherwise they lie inside their pictures.
HRESULT Img_ClipRects(const PIC_PROPS& S, const PIC_PROPS& D, const ImgRect* s, const ImgRect* d,
                      bool bScaled, ImgRect* sourceRect, ImgRect* destRect);

// Where the rows of a rect lie in the memory of its picture, walked in memory order. Offsets and
// strides in bytes; planes in the order Y, U, V.
struct RectWalk {
    int planes;
    bool bBottomUp;                          // row 0 of the walk is the lowest row of the rect
    std::array<std::ptrdiff_t, 3> firstRow;  // left edge of the first row, from the buffer's start
    std::array<std::ptrdiff_t, 3> stride;    // from one row of the walk to the next
};

// The walk over a clipped rect. False if the rect does not lie inside the picture or its format has
// no addressable pixels. bSplit as for PlaneLayout.
bool WalkRect(const PIC_PROPS& props, const ImgRect& rect, bool bSplit, RectWalk* walk);

// Walks the same `rows` rows of the first plane from the other end.
void ReverseWalk(RectWalk* walk, std::int64_t rows);

}  // namespace qdvm
