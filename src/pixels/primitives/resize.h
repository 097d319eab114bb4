#pragma once

// Resampling of a region onto a target of another size. Where samples lie and how edges are
// continued is told in resize_axis.h.

#include "pixels/primitives/region.h"

namespace qdvm {

enum Interpolation : std::int32_t {
    kNearest = 1,        // the source pixel under the target pixel's middle
    kLinear = 2,         // two neighbours on each axis, at any factor
    kCubic = 4,          // four neighbours on each axis, at any factor; cubic_kernel.h
    kSuperSampling = 8,  // the mean of the source area under the target pixel
};

// `src` is the first pixel of the whole picture; `roi`, an area of it, is scaled onto the target,
// of which every pixel is written. Nothing of the picture outside roi is read. Factors are target
// size over source size; they, not the sizes, place the samples, so that the halved planes of a
// picture with odd sizes stay in register with its full plane.
//
// Results: kImageSizeError for an empty size, a roi that is not inside the picture, or a factor
// that is not above 0 and finite; kImageNotSupported for another interpolation.
ImageStatus Resize_8u_C1R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                          ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                          ImageSize dstSize, double xFactor, double yFactor,
                          std::int32_t interpolation);
ImageStatus Resize_8u_C3R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                          ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                          ImageSize dstSize, double xFactor, double yFactor,
                          std::int32_t interpolation);
ImageStatus Resize_8u_C4R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                          ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                          ImageSize dstSize, double xFactor, double yFactor,
                          std::int32_t interpolation);

// The same for packed 4:2:2, linear: what its three planes would give each by itself, without
// taking the picture apart. src is the first pixel of the region. Widths are even, else
// kImageSizeError. kImageNotSupported, with nothing written, where a region is so narrow or shrinks
// so much that it has to go by planes.
ImageStatus ResizeLinearPacked(const Sample* src, std::ptrdiff_t srcStride, ImageSize srcSize,
                               Sample* dst, std::ptrdiff_t dstStride, ImageSize dstSize,
                               double xFactor, double yFactor, PackedOrder order);

// Resize_8u_C1R with the mapping moved: the region's first corner lands on (xShift, yShift) of the
// target picture that `dst` begins, and the pixels of dstRoi are written. Pixels that nothing lands
// on continue the region's edge. The buffer has the size that ResizeSqrPixelBufferSize says.
ImageStatus ResizeSqrPixel_8u_C1R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                                  ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                                  ImageRect dstRoi, double xFactor, double yFactor, double xShift,
                                  double yShift, std::int32_t interpolation, Sample* buffer);

// Bytes of working memory that ResizeSqrPixel_8u_C1R may use.
ImageStatus ResizeSqrPixelBufferSize(ImageRect srcRoi, ImageRect dstRoi, std::int32_t channels,
                                     std::int32_t interpolation, std::int32_t* size);

}  // namespace qdvm
