#pragma once

// Regions of one repeated group of bytes.

#include "pixels/primitives/region.h"

#include <qdvideomixer/object.h>

namespace qdvm {

// Repeats the 1 to 4 bytes of `group` along each row. size.width counts groups. Nothing is written
// beyond the width. kImageNullPointer, kImageSizeError for an empty region.
ImageStatus FillRows(const BYTE* group, std::size_t groupBytes, BYTE* dst, std::ptrdiff_t dstStride,
                     ImageSize size);

// The same, blended: each byte becomes (old * (255 - alpha) + group's * alpha) >> 8. Not quite a
// mix of the two, as 255 / 256 of it is left.
ImageStatus BlendFillRows(const BYTE* group, std::size_t groupBytes, BYTE alpha, BYTE* dst,
                          std::ptrdiff_t dstStride, ImageSize size);

// Fills a plane.
inline ImageStatus Set_8u_C1R(BYTE value, BYTE* dst, std::ptrdiff_t dstStride, ImageSize size) {
    return FillRows(&value, 1, dst, dstStride, size);
}

}  // namespace qdvm
