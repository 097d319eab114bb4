#pragma once

// Regions of one repeated group of bytes.

#include "pixels/primitives/region.h"

namespace qdvm {

// Repeats the 1 to 4 bytes of `group` along each row. size.width counts groups. Nothing is written
// beyond the width. kImageNullPointer, kImageSizeError for an empty region or another group length,
// kImageStrideError for rows that would overlap.
ImageStatus FillRows(const Sample* group, std::size_t groupBytes, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size);

// The same, blended: each byte becomes (old * (255 - alpha) + group's * alpha) >> 8. Not quite a
// mix of the two, as 255 / 256 of it is left.
ImageStatus BlendFillRows(const Sample* group, std::size_t groupBytes, Sample alpha, Sample* dst,
                          std::ptrdiff_t dstStride, ImageSize size);

// Fills a plane.
inline ImageStatus Set_8u_C1R(Sample value, Sample* dst, std::ptrdiff_t dstStride, ImageSize size) {
    return FillRows(&value, 1, dst, dstStride, size);
}

// One row: `count` copies of a pattern, stored as the processor stores a number of its size.
ImageStatus SetPattern32(std::uint32_t value, void* dst, std::int32_t count);
ImageStatus SetPattern64(std::uint64_t value, void* dst, std::int32_t count);

}  // namespace qdvm
