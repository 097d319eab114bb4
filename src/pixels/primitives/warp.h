#pragma once

// Perspective warps by inverse mapping.

#include "pixels/primitives/perspective.h"
#include "pixels/primitives/resize.h"

namespace qdvm {

// Added to an interpolation: smooth edges.
inline constexpr std::uint32_t kSmoothEdge = 0x80000000u;

// `src` is the first pixel of the whole source picture, `dst` of the whole target picture; srcRoi
// is the area shown, dstRoi the area of the target that may be written. coeffs takes source
// coordinates to target coordinates.
//
// Each pixel of dstRoi whose middle lies inside the mapped quadrangle gets the sample at the place
// in the source that its middle comes from; places are rounded to 1/128 pixel, and the region is
// continued by its own outermost pixels. All others stay as they were. With kSmoothEdge the pixels
// on the quadrangle's border, including those whose middle lies just outside, are a blend of the
// sample and what was there, by the part of the pixel that the quadrangle covers (measured along
// the axes, so that borders on pixel edges are hard). A map that puts part of srcRoi behind the
// eye, as a crossed or dented quadrangle would ask for, draws nothing.
//
// Interpolation: kNearest, kLinear or kCubic, else kImageNotSupported. kImageSizeError for an empty
// size, a srcRoi that is not inside its picture, or coefficients without inverse.
ImageStatus WarpPerspective_8u_C1R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                                   ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                                   ImageRect dstRoi, const PerspectiveCoeffs& coeffs,
                                   std::uint32_t interpolation);
ImageStatus WarpPerspective_8u_C3R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                                   ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                                   ImageRect dstRoi, const PerspectiveCoeffs& coeffs,
                                   std::uint32_t interpolation);
ImageStatus WarpPerspective_8u_C4R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                                   ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                                   ImageRect dstRoi, const PerspectiveCoeffs& coeffs,
                                   std::uint32_t interpolation);

}  // namespace qdvm
