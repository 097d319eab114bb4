#include "pixels/primitives/forms.h"

#include <cmath>

namespace qdvm {

namespace {

Sample Limit(int value) { return static_cast<Sample>(value < 0 ? 0 : value > 255 ? 255 : value); }

// x * y / 256, halves to even.
Sample Product256(unsigned x, unsigned y) {
    const unsigned t = x * y;
    return static_cast<Sample>((t + 127 + ((t >> 8) & 1)) >> 8);
}

// x * y / 255.
unsigned Product255(unsigned x, unsigned y) {
    const unsigned t = x * y;
    return (t + 1 + (t >> 8)) >> 8;
}

void Mul8(const Sample* a, Sample* b, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) b[i] = Product256(a[i], b[i]);
}

void MulC8(Sample value, Sample* b, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) b[i] = Product256(value, b[i]);
}

void AddC(Sample value, Sample* row, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) row[i] = Limit(row[i] + value);
}

void AlphaOver(const Sample* top, const Sample* under, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const Sample* t = top + 4 * i;
        const Sample* u = under + 4 * i;
        const unsigned topAlpha = t[3];
        const unsigned underAlpha = u[3];
        Sample pixel[4];
        for (int c = 0; c < 3; ++c)
            pixel[c] =
                Limit(static_cast<int>(Product255(t[c], topAlpha) +
                                       Product255(Product255(u[c], underAlpha), 255 - topAlpha)));
        pixel[3] = Limit(static_cast<int>(topAlpha + Product255(underAlpha, 255 - topAlpha)));
        for (int c = 0; c < 4; ++c) dst[4 * i + c] = pixel[c];
    }
}

void Unpremultiply(const Sample* src, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const Sample alpha = src[4 * i + 3];
        unsigned factor = 0;
        if (alpha) {
            const float exact = std::nearbyint(65280.0f / static_cast<float>(alpha));
            factor = exact > 32767.0f ? 32767u : static_cast<unsigned>(exact);
        }
        for (int c = 0; c < 3; ++c) {
            const unsigned product = src[4 * i + c] * factor;
            dst[4 * i + c] = static_cast<Sample>((product > 65535 ? 65535 : product) >> 8);
        }
        dst[4 * i + 3] = alpha;
    }
}

void Composite(const Sample* src, Sample* dst, std::int32_t n, int opacity) {
    for (std::ptrdiff_t i = 0; i < 4 * std::ptrdiff_t{n}; i += 4) {
        const Sample top[4] = {src[i], src[i + 1], src[i + 2],
                               Product256(static_cast<unsigned>(opacity), src[i + 3])};
        AlphaOver(top, dst + i, dst + i, 1);
        Unpremultiply(dst + i, dst + i, 1);
    }
}

void InsertFourth(const Sample* src, const Sample* plane, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        for (int c = 0; c < 3; ++c) dst[4 * i + c] = src[4 * i + c];
        dst[4 * i + 3] = plane[i];
    }
}

void MixConst(const Sample* src, Sample* dst, std::int32_t n, int a, int b) {
    for (std::ptrdiff_t i = 0; i < n; ++i) dst[i] = Limit((src[i] * a + dst[i] * b) >> 8);
}

Sample MixAroundGrey(int s, int d, int a, int b, int shift) {
    return Limit((((s - 128) * a + (d - 128) * b) >> shift) + 128);
}

void MixConstChroma(const Sample* src, Sample* dst, std::int32_t n, int a, int b) {
    for (std::ptrdiff_t i = 0; i < n; ++i) dst[i] = MixAroundGrey(src[i], dst[i], a, b, 8);
}

template <LumaPlace kPlace>
void MixConstPacked(const Sample* src, Sample* dst, std::int32_t pairs, int a2, int b2) {
    for (std::ptrdiff_t i = 0; i < 4 * std::ptrdiff_t{pairs}; i += 2) {
        const std::ptrdiff_t luma = i + kPlace;
        const std::ptrdiff_t chroma = i + 1 - kPlace;
        dst[luma] = Limit((src[luma] * a2 + dst[luma] * b2) >> 7);
        dst[chroma] = MixAroundGrey(src[chroma], dst[chroma], a2, b2, 7);
    }
}

// No change for alpha 0, exactly the source for 255.
Sample MixAlpha(int s, int d, int alpha) {
    return Limit((s * alpha + d * (255 - alpha) + 255) >> 8);
}

int PairMean(const Sample* plane, std::ptrdiff_t pair) {
    return (plane[2 * pair] + plane[2 * pair + 1]) >> 1;
}

template <int kBytes>
void MixPlane(const Sample* src, const Sample* plane, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i)
        for (std::ptrdiff_t at = kBytes * i; at < kBytes * (i + 1); ++at)
            dst[at] = MixAlpha(src[at], dst[at], plane[i]);
}

void MixPlaneHalf(const Sample* src, const Sample* plane, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) dst[i] = MixAlpha(src[i], dst[i], PairMean(plane, i));
}

template <LumaPlace kPlace>
void MixPlanePacked(const Sample* src, const Sample* plane, Sample* dst, std::int32_t pairs) {
    for (std::ptrdiff_t i = 0; i < pairs; ++i) {
        const int mean = PairMean(plane, i);
        for (std::ptrdiff_t x = 2 * i; x < 2 * i + 2; ++x) {
            const std::ptrdiff_t luma = 2 * x + kPlace;
            const std::ptrdiff_t chroma = 2 * x + 1 - kPlace;
            dst[luma] = MixAlpha(src[luma], dst[luma], plane[x]);
            dst[chroma] = MixAlpha(src[chroma], dst[chroma], mean);
        }
    }
}

void BlendPattern(const std::uint16_t* even, const std::uint16_t* odd, Sample* row, std::int32_t n,
                  int weight) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const std::uint16_t* const pattern = i % 2 ? odd : even;
        row[i] = static_cast<Sample>((row[i] * weight + pattern[i / 2]) >> 8);
    }
}

}  // namespace

const BlendRows kBlendRowsPlain = {
    Mul8,
    MulC8,
    AddC,
    AlphaOver,
    Unpremultiply,
    Composite,
    InsertFourth,
    MixConst,
    MixConstChroma,
    {MixConstPacked<kLumaFirst>, MixConstPacked<kLumaSecond>},
    MixPlane<1>,
    MixPlane<3>,
    MixPlane<4>,
    MixPlaneHalf,
    {MixPlanePacked<kLumaFirst>, MixPlanePacked<kLumaSecond>},
    BlendPattern,
};

}  // namespace qdvm
