#pragma once

// Products and sums of samples, and alpha compositing.

#include "pixels/primitives/region.h"

namespace qdvm {

// One row, in place on b: b = a * b / 256, halves to even, so that 255 * 255 gives 254. `shift` is
// the 8 of that division; kImageNotSupported for another.
ImageStatus Mul8Rows(const Sample* a, Sample* b, std::int32_t count, std::int32_t shift);
ImageStatus MulC8Rows(Sample value, Sample* b, std::int32_t count, std::int32_t shift);

// In place: each sample plus value, limited to 255. `shift` is 0; kImageNotSupported for another.
ImageStatus AddC_8u_C1IR(Sample value, Sample* plane, std::ptrdiff_t stride, ImageSize size,
                         std::int32_t shift);

// How AlphaComp_8u_AC4R composes. Over is all there is.
inline constexpr std::int32_t kAlphaOver = 0;

// src1 over src2, both with straight alpha in the fourth byte, into dst with premultiplied colours.
// With M(x, y) = (x y + 1 + (x y >> 8)) >> 8, which is x y / 255, and the alphas a1 and a2:
// colours M(c1, a1) + M(M(c2, a2), 255 - a1), alpha a1 + M(a2, 255 - a1), limited to 255.
// dst may be src1 or src2. kImageNotSupported for another type.
ImageStatus AlphaComp_8u_AC4R(const Sample* src1, std::ptrdiff_t stride1, const Sample* src2,
                              std::ptrdiff_t stride2, Sample* dst, std::ptrdiff_t dstStride,
                              ImageSize size, std::int32_t type);

// One row of premultiplied pixels to straight ones: m = 65280 / alpha in single precision, to the
// nearest, at most 32767, and 0 for alpha 0; each colour becomes min(c * m, 65535) >> 8. dst may be
// src.
ImageStatus UnpremultiplyRow(Sample* dst, const Sample* src, std::int32_t pixels);

// One row: the fourth byte of each pixel from the plane, the others from src. dst may be src.
ImageStatus InsertAlphaRow(Sample* dst, const Sample* src, const Sample* plane,
                           std::int32_t pixels);

}  // namespace qdvm
