#pragma once

// Key colour spaces, on pixels of four bytes whose fourth byte passes unchanged. dst may be src.

#include "pixels/primitives/region.h"

namespace qdvm {

// Blue, green, red to hue, lightness, saturation, in single precision over 0 to 1: hue as 255 / 360
// of its degrees, each plus 0.499999 and cut.
ImageStatus BGRAToHLS(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size);
ImageStatus HLSToBGRA(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size);

// Full-range YUV of the bytes b0, b1, b2 of a pixel, which take the parts of red, green and blue
// in this order. With Y = (19595 b0 + 38470 b1 + 7471 b2) / 65536:
// U = (((b2 - Y), to the nearest) * 32244 >> 16) + 128, modulo 256,
// V = (((b0 - Y), to the nearest) * 57475 >> 16) + 128, limited.
ImageStatus RGBToYUV(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size);
// b0 = Y + (74711 (V - 128) >> 16), b1 = Y - ((25821 (U - 128) + 38076 (V - 128)) >> 16),
// b2 = Y + (133169 (U - 128) >> 16), each limited.
ImageStatus YUVToRGB(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size);

}  // namespace qdvm
