#pragma once

// A checked resampling, between the entry points and the walks over the rows.

#include "pixels/primitives/resize_axis.h"

namespace qdvm {

struct ResizeJob {
    const Sample* src;  // first pixel of the source region
    std::ptrdiff_t srcStride;
    Sample* dst;  // first pixel of the target
    std::ptrdiff_t dstStride;
    ResizeAxis x;
    ResizeAxis y;
    int pixelBytes;
    int pixelKind;  // index of the row operations: 0, 1, 2 for 1, 3, 4 bytes

    const Sample* SrcRow(std::int32_t row) const { return src + row * srcStride; }
    Sample* DstRow(std::int32_t row) const { return dst + row * dstStride; }
};

void ResizeNearest(const ResizeJob& job);
void ResizeLinear(const ResizeJob& job);
void ResizeCubic(const ResizeJob& job);
void ResizeArea(const ResizeJob& job);

}  // namespace qdvm
