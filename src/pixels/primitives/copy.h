#pragma once

// Plain copies of regions.

#include "pixels/primitives/region.h"

namespace qdvm {

// Source and destination must not overlap; nothing is written beyond the width. kImageNullPointer,
// kImageSizeError for an empty region, kImageStrideError for rows that would overlap.
ImageStatus CopyRows(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size, std::size_t pixelBytes);

inline ImageStatus Copy_8u_C1R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                               std::ptrdiff_t dstStride, ImageSize size) {
    return CopyRows(src, srcStride, dst, dstStride, size, 1);
}

inline ImageStatus Copy_16u_C1R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                                std::ptrdiff_t dstStride, ImageSize size) {
    return CopyRows(src, srcStride, dst, dstStride, size, 2);
}

inline ImageStatus Copy_8u_C3R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                               std::ptrdiff_t dstStride, ImageSize size) {
    return CopyRows(src, srcStride, dst, dstStride, size, 3);
}

inline ImageStatus Copy_8u_C4R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                               std::ptrdiff_t dstStride, ImageSize size) {
    return CopyRows(src, srcStride, dst, dstStride, size, 4);
}

}  // namespace qdvm
