#pragma once

// Argument checks that the entry points of the primitives share.

#include "pixels/primitives/region.h"

namespace qdvm {

// Smallest regions: of whole pixels, of pixel pairs.
inline constexpr ImageSize kOnePixel{1, 1};
inline constexpr ImageSize kPixelPair{2, 1};

// One side of a primitive: where it starts, its stride and the bytes touched in each of its rows.
struct Side {
    const void* data;
    std::ptrdiff_t stride;
    std::ptrdiff_t rowBytes;
    std::int32_t rows;
};

inline bool IsAtLeast(ImageSize size, ImageSize smallest) {
    return size.width >= smallest.width && size.height >= smallest.height;
}

inline bool RowsOverlap(const Side& side) {
    const std::ptrdiff_t distance = side.stride < 0 ? -side.stride : side.stride;
    return side.rows > 1 && distance < side.rowBytes;
}

// Null pointers first, then the size, then the strides.
template <class... Sides>
ImageStatus CheckSides(ImageSize size, ImageSize smallest, const Sides&... sides) {
    if ((!sides.data || ...)) return kImageNullPointer;
    if (!IsAtLeast(size, smallest)) return kImageSizeError;
    if ((RowsOverlap(sides) || ...)) return kImageStrideError;
    return kImageOk;
}

}  // namespace qdvm
