#pragma once

// Conversions between RGB with blue first in memory and studio-range YCbCr, and of 4:2:2 and 4:2:0
// among themselves. Sizes in pixels of the picture.
//
// Between RGB and YCbCr: the matrix of Rec. 601 in 16.16 fixed point, each result limited to 0 to
// 255.
//   R = (76284 Y + 104595 Cr - 14608761) >> 16
//   G = (76284 Y - 25690 Cb - 53281 Cr + 8887730) >> 16
//   B = (76284 Y + 132186 Cb - 18140365) >> 16
//   Y = (16843 R + 33030 G + 6423 B + 0x108000) >> 16
//   Cb = ((28770 B - 19071 G - 9699 R + 0x4000) >> 17) + 128 over the sums of a pair of pixels
//   Cr = ((28770 R - 24117 G - 4653 B + 0x4000) >> 17) + 128
// and over the sums of a block of 2 x 2 pixels the same with >> 18 and 0x8000.
//
// A pair or block of pixels shares its chroma. From 4:2:2 to 4:2:0 the chroma of each line pair's
// upper line is taken; from 4:2:0 each chroma line serves two lines.
//
// Widths count down to even; below 2 they give kImageSizeError. Where 4:2:0 takes part the same
// holds for heights; otherwise a height of 1 will do.

#include "pixels/primitives/region.h"

namespace qdvm {

ImageStatus BGRAToYUY2(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size);
ImageStatus BGRAToUYVY(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size);
ImageStatus BGRToYUY2(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size);
ImageStatus YUY2ToBGR(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size);
// The top bits of each colour in a little-endian word, red highest.
ImageStatus YUY2ToRGB565(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size);
ImageStatus YUY2ToRGB555(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size);
// The two chroma bytes exchanged. dst may be src.
ImageStatus YUY2ToYVYU(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size);
// Bytes exchanged in pairs: YUY2 to UYVY and back. dst may be src.
ImageStatus SwapYUYV(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size);

// `fourth` is the value of every fourth byte.
ImageStatus YUY2ToBGRA(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size, Sample fourth);
ImageStatus UYVYToBGRA(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size, Sample fourth);

// From 4:2:0 planes.
ImageStatus I420ToBGRA(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size, Sample fourth);
ImageStatus I420ToBGR(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size);
ImageStatus I420ToRGB565(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size);
ImageStatus I420ToRGB555(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size);

// From 4:2:0 planes to Y, third plane, Y, second plane; and to third plane, Y, second plane, Y.
ImageStatus I420ToYUYV(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size);
ImageStatus I420ToUYVY(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size);

// From 4:2:2 planes to Y, second plane, Y, third plane.
ImageStatus PackYUY2(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size);

// To 4:2:0 planes.
ImageStatus BGRAToI420(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                       PlaneStrides dstStrides, ImageSize size);
ImageStatus BGRToI420(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                      PlaneStrides dstStrides, ImageSize size);
ImageStatus YUY2ToI420(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                       PlaneStrides dstStrides, ImageSize size);
ImageStatus UYVYToI420(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                       PlaneStrides dstStrides, ImageSize size);
ImageStatus YVYUToI420(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                       PlaneStrides dstStrides, ImageSize size);

// To 4:2:2 planes: luma, the first and the second chroma byte of each group of four.
ImageStatus SplitYUY2(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                      PlaneStrides dstStrides, ImageSize size);
ImageStatus SplitUYVY(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                      PlaneStrides dstStrides, ImageSize size);

}  // namespace qdvm
