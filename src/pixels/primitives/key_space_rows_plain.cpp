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

float HueOf(float r, float g, float b, float largest, float spread) {
    float hue = 0.0f;
    if (r == largest)
        hue = 60.0f * (g - b) / spread;
    else if (g == largest)
        hue = 120.0f + 60.0f * (b - r) / spread;
    else
        hue = 240.0f + 60.0f * (r - g) / spread;
    return hue < 0.0f ? hue + 360.0f : hue;
}

Pixel HlsOfBgr(Pixel pixel) {
    const float b = static_cast<float>(pixel.c[0]) / 255.0f;
    const float g = static_cast<float>(pixel.c[1]) / 255.0f;
    const float r = static_cast<float>(pixel.c[2]) / 255.0f;
    const float largest = std::max({r, g, b});
    const float smallest = std::min({r, g, b});
    const float spread = largest - smallest;
    const float sum = largest + smallest;
    const float lightness = sum / 2.0f;
    float hue = 0.0f;
    float saturation = 0.0f;
    if (spread != 0.0f) {
        saturation = spread / (lightness <= 0.5f ? sum : 2.0f - sum);
        hue = HueOf(r, g, b, largest, spread);
    }
    return {{static_cast<Sample>(hue * 255.0f / 360.0f + 0.499999f), ByteOf(lightness),
             ByteOf(saturation)}};
}

Pixel YuvOfRgb(Pixel pixel) {
    const int b0 = pixel.c[0];
    const int b1 = pixel.c[1];
    const int b2 = pixel.c[2];
    const int y32 = 19595 * b0 + 38470 * b1 + 7471 * b2;
    const auto difference = [&](int colour) { return ((colour << 16) - y32 + 32767) >> 16; };
    return {{static_cast<Sample>(y32 >> 16),
             static_cast<Sample>((difference(b2) * 32244 >> 16) + 128),
             Limit((difference(b0) * 57475 >> 16) + 128)}};
}

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

const KeySpaceRows kKeySpaceRowsPlain = {EachPixel<HlsOfBgr>, EachPixel<YuvOfRgb>};

}  // namespace qdvm
