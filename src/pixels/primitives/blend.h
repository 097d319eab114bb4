#pragma once

// Blends of one region into another, in place on dst. Regions do not overlap.

#include "pixels/primitives/region.h"

namespace qdvm {

// With constant weights a and b, a + b = 256, each byte d = (s a + d b) >> 8. size.width in bytes.
ImageStatus MixConst(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size, int a, int b);

// The same around grey, for planes of chroma: d = (((s - 128) a + (d - 128) b) >> 8) + 128,
// limited.
ImageStatus MixConstChroma(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                           std::ptrdiff_t dstStride, ImageSize size, int a, int b);

// Packed 4:2:2 with weights a2 + b2 = 128: luma (s a2 + d b2) >> 7, chroma the same around grey.
// size in pixels; the width counts down to even, and below 2 gives kImageSizeError.
ImageStatus MixConstPacked(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                           std::ptrdiff_t dstStride, ImageSize size, PackedOrder order, int a2,
                           int b2);

// Pixels of four bytes with straight alpha in the fourth, over those of dst: what AlphaComp_8u_AC4R
// followed by UnpremultiplyRow gives. The alphas of src count times opacity / 256, as MulC8Rows
// multiplies; opacity is from 0 to 256.
ImageStatus Composite(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size, int opacity);

// Through a plane of alpha, one sample a pixel: each byte d = (s a + d (255 - a) + 255) >> 8.
// kImageNotSupported unless a pixel has 1, 3 or 4 bytes.
ImageStatus MixPlane(const Sample* src, std::ptrdiff_t srcStride, const Sample* plane,
                     std::ptrdiff_t planeStride, Sample* dst, std::ptrdiff_t dstStride,
                     ImageSize size, int pixelBytes);

// The same for samples that stand for two pixels each: the alpha is half the sum of the plane's
// two, rounded down. size.width in samples of dst; the plane has twice as many.
ImageStatus MixPlaneHalf(const Sample* src, std::ptrdiff_t srcStride, const Sample* plane,
                         std::ptrdiff_t planeStride, Sample* dst, std::ptrdiff_t dstStride,
                         ImageSize size);

// Packed 4:2:2: luma by its pixel's alpha, chroma by half the sum of the pair's. size as above.
ImageStatus MixPlanePacked(const Sample* src, std::ptrdiff_t srcStride, const Sample* plane,
                           std::ptrdiff_t planeStride, Sample* dst, std::ptrdiff_t dstStride,
                           ImageSize size, PackedOrder order);

}  // namespace qdvm
