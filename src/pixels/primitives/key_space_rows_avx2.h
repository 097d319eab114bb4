#pragma once

// AVX2 forms of the rows of key colour spaces. Included behind vector_avx2.h. In single precision
// the operations are those of the plain form in its order, so that the bytes are the same.

#include "pixels/primitives/any_width.h"
#include "pixels/primitives/forms.h"

namespace qdvm {
namespace {

constexpr int kKeyPixels = kVectorBytes / 4;

inline __m256 AllF(float value) { return _mm256_set1_ps(value); }

// Channel kChannel of eight pixels, as numbers.
template <int kChannel>
inline __m256i ChannelOf(__m256i pixels) {
    return And(_mm256_srli_epi32(pixels, 8 * kChannel), All32(0xff));
}

template <int kChannel>
inline __m256 UnitOf(__m256i pixels) {
    return _mm256_div_ps(_mm256_cvtepi32_ps(ChannelOf<kChannel>(pixels)), AllF(255.0f));
}

inline __m256 Chosen(__m256 condition, __m256 yes, __m256 no) {
    return _mm256_blendv_ps(no, yes, condition);
}

// Three numbers of 0 to 255 and the pixels' own fourth byte.
inline __m256i PixelsOf(__m256i c0, __m256i c1, __m256i c2, __m256i pixels) {
    const __m256i low = Or(c0, _mm256_slli_epi32(c1, 8));
    const __m256i high =
        Or(_mm256_slli_epi32(c2, 16), And(pixels, All32(static_cast<int>(0xff000000u))));
    return Or(low, high);
}

inline __m256i ByteOfUnit(__m256 value) {
    const __m256 scaled = _mm256_add_ps(_mm256_mul_ps(value, AllF(255.0f)), AllF(0.499999f));
    return _mm256_cvttps_epi32(_mm256_min_ps(scaled, AllF(255.0f)));
}

inline __m256 HueOf(__m256 r, __m256 g, __m256 b, __m256 largest, __m256 spread) {
    const __m256 isRed = _mm256_cmp_ps(r, largest, _CMP_EQ_OQ);
    const __m256 isGreen = _mm256_cmp_ps(g, largest, _CMP_EQ_OQ);
    const __m256 difference = Chosen(isRed, _mm256_sub_ps(g, b),
                                     Chosen(isGreen, _mm256_sub_ps(b, r), _mm256_sub_ps(r, g)));
    const __m256 start =
        Chosen(isRed, _mm256_setzero_ps(), Chosen(isGreen, AllF(120.0f), AllF(240.0f)));
    const __m256 hue =
        _mm256_add_ps(start, _mm256_div_ps(_mm256_mul_ps(AllF(60.0f), difference), spread));
    const __m256 isNegative = _mm256_cmp_ps(hue, _mm256_setzero_ps(), _CMP_LT_OQ);
    return Chosen(isNegative, _mm256_add_ps(hue, AllF(360.0f)), hue);
}

inline __m256i HlsOf(__m256i pixels) {
    const __m256 b = UnitOf<0>(pixels);
    const __m256 g = UnitOf<1>(pixels);
    const __m256 r = UnitOf<2>(pixels);
    const __m256 largest = _mm256_max_ps(_mm256_max_ps(r, g), b);
    const __m256 smallest = _mm256_min_ps(_mm256_min_ps(r, g), b);
    const __m256 spread = _mm256_sub_ps(largest, smallest);
    const __m256 sum = _mm256_add_ps(largest, smallest);
    const __m256 lightness = _mm256_mul_ps(sum, AllF(0.5f));
    const __m256 isDark = _mm256_cmp_ps(lightness, AllF(0.5f), _CMP_LE_OQ);
    // Without spread both are quotients by 0, and masked away.
    const __m256 hasColour = _mm256_cmp_ps(spread, _mm256_setzero_ps(), _CMP_NEQ_OQ);
    const __m256 saturation = _mm256_and_ps(
        hasColour, _mm256_div_ps(spread, Chosen(isDark, sum, _mm256_sub_ps(AllF(2.0f), sum))));
    const __m256 hue = _mm256_and_ps(hasColour, HueOf(r, g, b, largest, spread));
    const __m256 hueByte = _mm256_add_ps(
        _mm256_div_ps(_mm256_mul_ps(hue, AllF(255.0f)), AllF(360.0f)), AllF(0.499999f));
    return PixelsOf(_mm256_cvttps_epi32(hueByte), ByteOfUnit(lightness), ByteOfUnit(saturation),
                    pixels);
}

inline __m256i YuvOf(__m256i pixels) {
    const __m256i b0 = ChannelOf<0>(pixels);
    const __m256i b1 = ChannelOf<1>(pixels);
    const __m256i b2 = ChannelOf<2>(pixels);
    const auto times = [](__m256i a, int factor) { return _mm256_mullo_epi32(a, All32(factor)); };
    const __m256i y32 = Add32(Add32(times(b0, 19595), times(b1, 38470)), times(b2, 7471));
    const auto chroma = [&](__m256i colour, int factor) {
        const __m256i exact =
            Add32(_mm256_sub_epi32(_mm256_slli_epi32(colour, 16), y32), All32(32767));
        const __m256i scaled = times(RightSigned32<16>(exact), factor);
        return Add32(RightSigned32<16>(scaled), All32(128));
    };
    const __m256i u = And(chroma(b2, 32244), All32(0xff));
    const __m256i v = _mm256_min_epi32(_mm256_max_epi32(chroma(b0, 57475), Zero()), All32(255));
    return PixelsOf(_mm256_srli_epi32(y32, 16), u, v, pixels);
}

template <__m256i (*kOperation)(__m256i)>
inline void EachEightPixels(const Sample* src, Sample* dst, std::int32_t n) {
    AnyWidth<kKeyPixels>(
        n, [](const Sample* from, Sample* to) { Store(to, kOperation(Load(from))); }, In<4>{src},
        Out<4>{dst});
}

inline void UseKeySpaceRows(KeySpaceRows* rows) {
    *rows = {EachEightPixels<HlsOf>, EachEightPixels<YuvOf>};
}

}  // namespace
}  // namespace qdvm
