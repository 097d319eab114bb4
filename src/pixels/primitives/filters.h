#pragma once

// Filters over planes. The 3 x 3 filters read a frame of one pixel around the region, which the
// caller's plane has, and nothing beyond; the frame is not written.

#include "pixels/primitives/region.h"

namespace qdvm {

// The mask size that the filters know: 3 x 3.
inline constexpr std::int32_t kMask3x3 = 33;

// (sum of the nine + 5) * 455 >> 12. Source and destination do not overlap. kImageNotSupported for
// another mask size.
ImageStatus Box3x3(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                   std::ptrdiff_t dstStride, ImageSize size, std::int32_t mask);

// With v the sum of 1 2 1 / 2 4 2 / 1 2 1 over the neighbourhood: (v + ((v >> 4) & 1) + 7) >> 4.
ImageStatus Gauss3x3(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size, std::int32_t mask);

// In place: the minimum or maximum of the neighbourhood as it stood before the call.
ImageStatus Erode3x3(Sample* plane, std::ptrdiff_t stride, ImageSize size);
ImageStatus Dilate3x3(Sample* plane, std::ptrdiff_t stride, ImageSize size);

// In place: each sample above or below the threshold becomes `value`.
ImageStatus ThresholdGT_8u_C1IR(Sample* plane, std::ptrdiff_t stride, ImageSize size,
                                Sample threshold, Sample value);
ImageStatus ThresholdLT_8u_C1IR(Sample* plane, std::ptrdiff_t stride, ImageSize size,
                                Sample threshold, Sample value);

}  // namespace qdvm
