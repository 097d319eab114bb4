#pragma once

// Studio-range YCbCr with the matrix of Rec. 709 in 8.8 fixed point, packed 4:2:2 in the order Cb,
// Y, Cr, Y, from and to pixels of four bytes with blue first. Sizes in pixels; widths count down to
// even, and below 2 they give kImageSizeError.

#include "pixels/primitives/region.h"

namespace qdvm {

// With y = Y - 16, c = Cb - 128, r = Cr - 128, each limited to 0 to 65535 before the shift:
//   R = (298 y + 459 r) >> 8
//   G = (298 y - 55 c - 137 r) >> 8
//   B = (298 y + 542 c) >> 8
// The fourth byte becomes 255.
ImageStatus CbYCr422ToBGR_709CSC_8u_C2C4R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                                          std::ptrdiff_t dstStride, ImageSize size);

// Y = (16 B + 157 G + 49 R + 16 * 255) >> 8 for each pixel, and over the sums of a pair
//   Cb = (112 B - 87 G - 26 R + 2 * 129 * 255) >> 9
//   Cr = (-10 B - 102 G + 112 R + 2 * 129 * 255) >> 9
// limited to 0 to 255. The fourth byte counts as 255 whatever it holds.
ImageStatus BGRToCbYCr422_709CSC_8u_C4C2R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                                          std::ptrdiff_t dstStride, ImageSize size);

}  // namespace qdvm
