#pragma once

// Vectors of 32 bytes: two lanes of 16. See vector_ssse3.h, which has the same operations.

#include "pixels/primitives/region.h"

#include <immintrin.h>

#include <cstring>

namespace qdvm {
namespace {

using V = __m256i;

constexpr int kVectorBytes = 32;

inline __m128i Load128(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void Store128(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

inline V Load(const void* p) { return _mm256_loadu_si256(static_cast<const __m256i*>(p)); }
inline void Store(void* p, V v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
inline V LoadLanes(const void* p) { return _mm256_broadcastsi128_si256(Load128(p)); }
inline V Zero() { return _mm256_setzero_si256(); }
inline V All8(int value) { return _mm256_set1_epi8(static_cast<char>(value)); }
inline V All16(int value) { return _mm256_set1_epi16(static_cast<short>(value)); }
inline V All32(int value) { return _mm256_set1_epi32(value); }

inline V And(V a, V b) { return _mm256_and_si256(a, b); }
inline V AndNot(V a, V b) { return _mm256_andnot_si256(a, b); }
inline V Or(V a, V b) { return _mm256_or_si256(a, b); }
inline V Xor(V a, V b) { return _mm256_xor_si256(a, b); }
inline V Equal8(V a, V b) { return _mm256_cmpeq_epi8(a, b); }
inline V Min8(V a, V b) { return _mm256_min_epu8(a, b); }
inline V Max8(V a, V b) { return _mm256_max_epu8(a, b); }
inline V Average8(V a, V b) { return _mm256_avg_epu8(a, b); }
inline V AddLimited8(V a, V b) { return _mm256_adds_epu8(a, b); }
inline V Add16(V a, V b) { return _mm256_add_epi16(a, b); }
inline V Sub16(V a, V b) { return _mm256_sub_epi16(a, b); }
inline V Mul16(V a, V b) { return _mm256_mullo_epi16(a, b); }
inline V MulHigh16(V a, V b) { return _mm256_mulhi_epu16(a, b); }
inline V MulHighSigned16(V a, V b) { return _mm256_mulhi_epi16(a, b); }
inline V MinSigned16(V a, V b) { return _mm256_min_epi16(a, b); }
inline V MaxSigned16(V a, V b) { return _mm256_max_epi16(a, b); }
inline V MulRounded16(V a, V b) { return _mm256_mulhrs_epi16(a, b); }
inline V Add32(V a, V b) { return _mm256_add_epi32(a, b); }
inline V Sub32(V a, V b) { return _mm256_sub_epi32(a, b); }
inline V Greater32(V a, V b) { return _mm256_cmpgt_epi32(a, b); }
inline V AddPairs32(V a, V b) { return _mm256_hadd_epi32(a, b); }
inline V SumProducts16(V a, V b) { return _mm256_madd_epi16(a, b); }
inline V SumProducts8(V bytes, V signedBytes) { return _mm256_maddubs_epi16(bytes, signedBytes); }
template <int kBits>
inline V Left16(V v) {
    return _mm256_slli_epi16(v, kBits);
}
template <int kBits>
inline V Right16(V v) {
    return _mm256_srli_epi16(v, kBits);
}
template <int kBits>
inline V RightSigned16(V v) {
    return _mm256_srai_epi16(v, kBits);
}
template <int kBits>
inline V Right32(V v) {
    return _mm256_srli_epi32(v, kBits);
}
template <int kBits>
inline V RightSigned32(V v) {
    return _mm256_srai_epi32(v, kBits);
}

inline V Low8(V a, V b) { return _mm256_unpacklo_epi8(a, b); }
inline V High8(V a, V b) { return _mm256_unpackhi_epi8(a, b); }
inline V Low16(V a, V b) { return _mm256_unpacklo_epi16(a, b); }
inline V High16(V a, V b) { return _mm256_unpackhi_epi16(a, b); }
inline V Narrow16(V a, V b) { return _mm256_packus_epi16(a, b); }
inline V NarrowSigned16(V a, V b) { return _mm256_packs_epi16(a, b); }
inline V Narrow32(V a, V b) { return _mm256_packs_epi32(a, b); }
inline V Shuffle8(V v, V places) { return _mm256_shuffle_epi8(v, places); }
inline V EvenPixels(V a, V b) {
    return _mm256_castps_si256(
        _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), 0x88));
}
inline V OddPixels(V a, V b) {
    return _mm256_castps_si256(
        _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), 0xdd));
}

inline V InOrder(V v) { return _mm256_permute4x64_epi64(v, 0xd8); }
inline V InOrderTwice(V v) {
    return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
}

inline void Zip8(V a, V b, V* first, V* second) {
    const V low = Low8(a, b);
    const V high = High8(a, b);
    *first = _mm256_permute2x128_si256(low, high, 0x20);
    *second = _mm256_permute2x128_si256(low, high, 0x31);
}
inline void Zip16(V a, V b, V* first, V* second) {
    const V low = Low16(a, b);
    const V high = High16(a, b);
    *first = _mm256_permute2x128_si256(low, high, 0x20);
    *second = _mm256_permute2x128_si256(low, high, 0x31);
}

inline void Zip32(V a, V b, V* first, V* second) {
    const V low = _mm256_unpacklo_epi32(a, b);
    const V high = _mm256_unpackhi_epi32(a, b);
    *first = _mm256_permute2x128_si256(low, high, 0x20);
    *second = _mm256_permute2x128_si256(low, high, 0x31);
}

template <class Lane>
inline V LanesOf(Lane lane) {
    return _mm256_set_m128i(lane(1), lane(0));
}
inline V LoadEachLane(const Sample* p, const std::int32_t* offsets) {
    return _mm256_set_m128i(Load128(p + offsets[1]), Load128(p + offsets[0]));
}
inline void StoreEachLane(std::int16_t* p, int words, V v) {
    Store128(p, _mm256_castsi256_si128(v));
    Store128(p + words, _mm256_extracti128_si256(v, 1));
}
inline V FourForEachLane(const Sample* p) {
    long long eight;
    std::memcpy(&eight, p, sizeof(eight));
    return _mm256_set1_epi64x(eight);
}

inline V EvenOddWords(V even, V odd) { return _mm256_blend_epi16(even, odd, 0xaa); }

inline void QuadsInOrder(V* quads) {
    const V q0 = quads[0];
    const V q2 = quads[2];
    quads[0] = _mm256_permute2x128_si256(q0, quads[1], 0x20);
    quads[1] = _mm256_permute2x128_si256(q0, quads[1], 0x31);
    quads[2] = _mm256_permute2x128_si256(q2, quads[3], 0x20);
    quads[3] = _mm256_permute2x128_si256(q2, quads[3], 0x31);
}

inline __m128i PairBytes(V sums) {
    const V bytes = _mm256_packus_epi16(sums, sums);
    return _mm_unpacklo_epi16(_mm256_castsi256_si128(bytes), _mm256_extracti128_si256(bytes, 1));
}
inline __m128i LoadPairBytes(const Sample* p) { return Load128(p); }
inline void StorePairBytes(Sample* p, __m128i bytes) { Store128(p, bytes); }
inline V ZipPairBytes(__m128i a, __m128i b) {
    return _mm256_set_m128i(_mm_unpackhi_epi8(a, b), _mm_unpacklo_epi8(a, b));
}

inline V ThreeAsFour(V bytes, V dwords) {
    const V places = _mm256_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1,  //
                                      0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    return Shuffle8(_mm256_permutevar8x32_epi32(bytes, dwords), places);
}

inline void LoadThreeAsFour(const Sample* p, V* quads) {
    const V fromStart = _mm256_setr_epi32(0, 1, 2, 0, 3, 4, 5, 0);
    // The last load ends with the pixels.
    const V fromEnd = _mm256_setr_epi32(2, 3, 4, 0, 5, 6, 7, 0);
    quads[0] = ThreeAsFour(Load(p), fromStart);
    quads[1] = ThreeAsFour(Load(p + 24), fromStart);
    quads[2] = ThreeAsFour(Load(p + 48), fromStart);
    quads[3] = ThreeAsFour(Load(p + 64), fromEnd);
}

inline void StoreFourAsThree(Sample* p, const V* quads) {
    const V places = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1,  //
                                      0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    const V dwords = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7);
    const auto three = [&](V four) {
        return _mm256_permutevar8x32_epi32(Shuffle8(four, places), dwords);
    };
    // Each store's last 8 bytes are covered by the next one.
    Store(p, three(quads[0]));
    Store(p + 24, three(quads[1]));
    Store(p + 48, three(quads[2]));
    const V last = three(quads[3]);
    Store128(p + 72, _mm256_castsi256_si128(last));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p + 88), _mm256_extracti128_si256(last, 1));
}

inline void Triple(V v, V* triples) {
    const V first = _mm256_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5,  //
                                     5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10);
    const V second = _mm256_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15,
                                      15, 0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
    const V third =
        _mm256_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10,  //
                         10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15);
    triples[0] = Shuffle8(_mm256_permute2x128_si256(v, v, 0x00), first);
    triples[1] = Shuffle8(v, second);
    triples[2] = Shuffle8(_mm256_permute2x128_si256(v, v, 0x11), third);
}

inline V Mirrored(V v, V places) { return Shuffle8(_mm256_permute2x128_si256(v, v, 0x01), places); }

inline V UnpremultiplyFactors(V alpha) {
    const __m256 exact = _mm256_div_ps(_mm256_set1_ps(65280.0f), _mm256_cvtepi32_ps(alpha));
    return _mm256_cvtps_epi32(_mm256_min_ps(exact, _mm256_set1_ps(32767.0f)));
}
inline V RootOver(V v, float divisor) {
    const __m256 root = _mm256_sqrt_ps(_mm256_max_ps(_mm256_cvtepi32_ps(v), _mm256_setzero_ps()));
    const __m256 exact = _mm256_div_ps(root, _mm256_set1_ps(divisor));
    return _mm256_cvtps_epi32(_mm256_min_ps(exact, _mm256_set1_ps(255.0f)));
}
inline V FourTimes(const Sample* p) {
    const V places = _mm256_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3,  //
                                      4, 4, 4, 4, 5, 5, 5, 5, 6, 6, 6, 6, 7, 7, 7, 7);
    return Shuffle8(FourForEachLane(p), places);
}
inline bool IsAllSet(V v) { return _mm256_movemask_epi8(v) == -1; }
inline V Equal32(V a, V b) { return _mm256_cmpeq_epi32(a, b); }

}  // namespace
}  // namespace qdvm
