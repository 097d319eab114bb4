#include "pixels/primitives/colour_space.h"

#include "pixels/primitives/checks.h"
#include "pixels/primitives/forms.h"

#include <algorithm>

namespace qdvm {

namespace {

// Three channels of a pixel, in the order of memory.
struct Pixel {
    Sample c[3];
};

Sample Limit(int value) { return static_cast<Sample>(std::clamp(value, 0, 255)); }

Sample ByteOf(float value) {
    return static_cast<Sample>(std::clamp(value * 255.0f + 0.499999f, 0.0f, 255.0f));
}

// One colour at `hue` degrees of a ramp up, a plateau, a ramp down and a floor.
float ColourAt(float hue, float low, float high) {
    if (hue < 0.0f) hue += 360.0f;
    if (hue >= 360.0f) hue -= 360.0f;
    if (hue < 60.0f) return low + (high - low) * hue / 60.0f;
    if (hue < 180.0f) return high;
    if (hue < 240.0f) return low + (high - low) * (240.0f - hue) / 60.0f;
    return low;
}

Pixel BgrOfHls(Pixel pixel) {
    const float hue = static_cast<float>(pixel.c[0]) * 360.0f / 255.0f;
    const float lightness = static_cast<float>(pixel.c[1]) / 255.0f;
    const float saturation = static_cast<float>(pixel.c[2]) / 255.0f;
    const float high = lightness <= 0.5f ? lightness * (1.0f + saturation)
                                         : lightness + saturation - lightness * saturation;
    const float low = 2.0f * lightness - high;
    return {{ByteOf(ColourAt(hue - 120.0f, low, high)), ByteOf(ColourAt(hue, low, high)),
             ByteOf(ColourAt(hue + 120.0f, low, high))}};
}

Pixel RgbOfYuv(Pixel pixel) {
    const int y = pixel.c[0];
    const int u = pixel.c[1] - 128;
    const int v = pixel.c[2] - 128;
    return {{Limit(y + ((74711 * v) >> 16)), Limit(y - ((25821 * u + 38076 * v) >> 16)),
             Limit(y + ((133169 * u) >> 16))}};
}

using RowOperation = void (*)(const Sample* src, Sample* dst, std::int32_t n);

ImageStatus EachRow(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                    std::ptrdiff_t dstStride, ImageSize size, RowOperation operation) {
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{size.width} * 4;
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{src, srcStride, rowBytes, size.height},
                   Side{dst, dstStride, rowBytes, size.height});
    if (status != kImageOk) return status;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        operation(src + row * srcStride, dst + row * dstStride, size.width);
    return kImageOk;
}

// The way back is asked for single colours only.
template <Pixel (*kOperation)(Pixel)>
void EachPixel(const Sample* src, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < 4 * std::ptrdiff_t{n}; i += 4) {
        const Sample fourth = src[i + 3];
        const Pixel pixel = kOperation({{src[i], src[i + 1], src[i + 2]}});
        std::copy_n(pixel.c, 3, dst + i);
        dst[i + 3] = fourth;
    }
}

}  // namespace

ImageStatus BGRAToHLS(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size) {
    return EachRow(src, srcStride, dst, dstStride, size, Forms().keySpaces.bgraToHls);
}

ImageStatus HLSToBGRA(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size) {
    return EachRow(src, srcStride, dst, dstStride, size, EachPixel<BgrOfHls>);
}

ImageStatus RGBToYUV(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size) {
    return EachRow(src, srcStride, dst, dstStride, size, Forms().keySpaces.rgbToYuv);
}

ImageStatus YUVToRGB(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size) {
    return EachRow(src, srcStride, dst, dstStride, size, EachPixel<RgbOfYuv>);
}

}  // namespace qdvm
