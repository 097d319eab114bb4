#pragma once

// Vectors of 16 bytes. The row operations of the vector forms are written once, over the operations
// of this header and of vector_avx2.h; a source file includes one of the two.

#include "pixels/primitives/region.h"

#include <tmmintrin.h>

#include <cstring>

namespace qdvm {
namespace {

using V = __m128i;

constexpr int kVectorBytes = 16;

inline __m128i Load128(const void* p) { return _mm_loadu_si128(static_cast<const __m128i*>(p)); }
inline void Store128(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

inline V Load(const void* p) { return Load128(p); }
inline void Store(void* p, V v) { Store128(p, v); }
// The same 16 bytes in each lane.
inline V LoadLanes(const void* p) { return Load128(p); }
inline V Zero() { return _mm_setzero_si128(); }
inline V All8(int value) { return _mm_set1_epi8(static_cast<char>(value)); }
inline V All16(int value) { return _mm_set1_epi16(static_cast<short>(value)); }
inline V All32(int value) { return _mm_set1_epi32(value); }

inline V And(V a, V b) { return _mm_and_si128(a, b); }
inline V AndNot(V a, V b) { return _mm_andnot_si128(a, b); }
inline V Or(V a, V b) { return _mm_or_si128(a, b); }
inline V Xor(V a, V b) { return _mm_xor_si128(a, b); }
inline V Equal8(V a, V b) { return _mm_cmpeq_epi8(a, b); }
inline V Min8(V a, V b) { return _mm_min_epu8(a, b); }
inline V Max8(V a, V b) { return _mm_max_epu8(a, b); }
// (a + b + 1) >> 1.
inline V Average8(V a, V b) { return _mm_avg_epu8(a, b); }
inline V AddLimited8(V a, V b) { return _mm_adds_epu8(a, b); }
inline V Add16(V a, V b) { return _mm_add_epi16(a, b); }
inline V Sub16(V a, V b) { return _mm_sub_epi16(a, b); }
inline V Mul16(V a, V b) { return _mm_mullo_epi16(a, b); }
inline V MulHigh16(V a, V b) { return _mm_mulhi_epu16(a, b); }
inline V MulHighSigned16(V a, V b) { return _mm_mulhi_epi16(a, b); }
inline V MinSigned16(V a, V b) { return _mm_min_epi16(a, b); }
inline V MaxSigned16(V a, V b) { return _mm_max_epi16(a, b); }
// (a b + 0x4000) >> 15 of signed words.
inline V MulRounded16(V a, V b) { return _mm_mulhrs_epi16(a, b); }
inline V Add32(V a, V b) { return _mm_add_epi32(a, b); }
inline V Sub32(V a, V b) { return _mm_sub_epi32(a, b); }
inline V Greater32(V a, V b) { return _mm_cmpgt_epi32(a, b); }
inline V AddPairs32(V a, V b) { return _mm_hadd_epi32(a, b); }
// Sums of products of neighbours: 16-bit ones to 32 bits, unsigned by signed bytes to 16 bits.
inline V SumProducts16(V a, V b) { return _mm_madd_epi16(a, b); }
inline V SumProducts8(V bytes, V signedBytes) { return _mm_maddubs_epi16(bytes, signedBytes); }
template <int kBits>
inline V Left16(V v) {
    return _mm_slli_epi16(v, kBits);
}
template <int kBits>
inline V Right16(V v) {
    return _mm_srli_epi16(v, kBits);
}
template <int kBits>
inline V RightSigned16(V v) {
    return _mm_srai_epi16(v, kBits);
}
template <int kBits>
inline V Right32(V v) {
    return _mm_srli_epi32(v, kBits);
}
template <int kBits>
inline V RightSigned32(V v) {
    return _mm_srai_epi32(v, kBits);
}

// Within each lane of 16 bytes.
inline V Low8(V a, V b) { return _mm_unpacklo_epi8(a, b); }
inline V High8(V a, V b) { return _mm_unpackhi_epi8(a, b); }
inline V Low16(V a, V b) { return _mm_unpacklo_epi16(a, b); }
inline V High16(V a, V b) { return _mm_unpackhi_epi16(a, b); }
inline V Narrow16(V a, V b) { return _mm_packus_epi16(a, b); }
inline V NarrowSigned16(V a, V b) { return _mm_packs_epi16(a, b); }
inline V Narrow32(V a, V b) { return _mm_packs_epi32(a, b); }
inline V Shuffle8(V v, V places) { return _mm_shuffle_epi8(v, places); }
inline V EvenPixels(V a, V b) {
    return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0x88));
}
inline V OddPixels(V a, V b) {
    return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), 0xdd));
}

// Bring what one, or two, narrowings of vectors in order gave into order.
inline V InOrder(V v) { return v; }
inline V InOrderTwice(V v) { return v; }

// Bytes, or words, of a and b in turn, in order over both results.
inline void Zip8(V a, V b, V* first, V* second) {
    *first = Low8(a, b);
    *second = High8(a, b);
}
inline void Zip16(V a, V b, V* first, V* second) {
    *first = Low16(a, b);
    *second = High16(a, b);
}

inline void Zip32(V a, V b, V* first, V* second) {
    *first = _mm_unpacklo_epi32(a, b);
    *second = _mm_unpackhi_epi32(a, b);
}

// A vector made of lane(0), lane(1) .., of the 16 bytes at each offset, and the same stored with
// `words` words from one lane to the next.
template <class Lane>
inline V LanesOf(Lane lane) {
    return lane(0);
}
inline V LoadEachLane(const Sample* p, const std::int32_t* offsets) {
    return Load128(p + offsets[0]);
}
inline void StoreEachLane(std::int16_t* p, int /*words*/, V v) { Store128(p, v); }
// The first bytes of each lane, from memory that has four for each lane.
inline V FourForEachLane(const Sample* p) {
    int four;
    std::memcpy(&four, p, sizeof(four));
    return _mm_cvtsi32_si128(four);
}

// The low words of `even` and the high words of `odd` of each 32 bits.
inline V EvenOddWords(V even, V odd) {
    return Or(even, And(odd, All32(static_cast<int>(0xffff0000u))));
}

// Bytes of channels, as one narrowing left them, were zipped within lanes to pixels of four bytes:
// those into order.
inline void QuadsInOrder(V* /*quads*/) {}

// Sums of pixel pairs from EvenPixels and OddPixels, narrowed once, to bytes in order.
inline __m128i PairBytes(V sums) { return _mm_packus_epi16(sums, sums); }
inline __m128i LoadPairBytes(const Sample* p) {
    return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
}
inline void StorePairBytes(Sample* p, __m128i bytes) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(p), bytes);
}
inline V ZipPairBytes(__m128i a, __m128i b) { return _mm_unpacklo_epi8(a, b); }

// kVectorBytes pixels of three bytes as four vectors of four-byte pixels whose fourth byte is 0.
inline void LoadThreeAsFour(const Sample* p, V* quads) {
    const V places = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
    const V a = Load(p);
    const V b = Load(p + 16);
    const V c = Load(p + 32);
    quads[0] = Shuffle8(a, places);
    quads[1] = Shuffle8(_mm_alignr_epi8(b, a, 12), places);
    quads[2] = Shuffle8(_mm_alignr_epi8(c, b, 8), places);
    quads[3] = Shuffle8(_mm_srli_si128(c, 4), places);
}

inline void StoreFourAsThree(Sample* p, const V* quads) {
    const V places = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    const V a = Shuffle8(quads[0], places);
    const V b = Shuffle8(quads[1], places);
    const V c = Shuffle8(quads[2], places);
    const V d = Shuffle8(quads[3], places);
    Store(p, Or(a, _mm_slli_si128(b, 12)));
    Store(p + 16, Or(_mm_srli_si128(b, 4), _mm_slli_si128(c, 8)));
    Store(p + 32, Or(_mm_srli_si128(c, 8), _mm_slli_si128(d, 4)));
}

// Each of kVectorBytes bytes three times.
inline void Triple(V v, V* triples) {
    const V first = _mm_setr_epi8(0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5);
    const V second = _mm_setr_epi8(5, 5, 6, 6, 6, 7, 7, 7, 8, 8, 8, 9, 9, 9, 10, 10);
    const V third = _mm_setr_epi8(10, 11, 11, 11, 12, 12, 12, 13, 13, 13, 14, 14, 14, 15, 15, 15);
    triples[0] = Shuffle8(v, first);
    triples[1] = Shuffle8(v, second);
    triples[2] = Shuffle8(v, third);
}

// Lanes, and within each lane by Shuffle8, from the last to the first.
inline V Mirrored(V v, V places) { return Shuffle8(v, places); }

// 65280 / alpha to the nearest, at most 32767, for 32-bit alphas; any number for alpha 0.
inline V UnpremultiplyFactors(V alpha) {
    const __m128 exact = _mm_div_ps(_mm_set1_ps(65280.0f), _mm_cvtepi32_ps(alpha));
    return _mm_cvtps_epi32(_mm_min_ps(exact, _mm_set1_ps(32767.0f)));
}
// sqrt(v) / divisor for 32-bit numbers, 0 below 0, at most 255, to the nearest.
inline V RootOver(V v, float divisor) {
    const __m128 root = _mm_sqrt_ps(_mm_max_ps(_mm_cvtepi32_ps(v), _mm_setzero_ps()));
    return _mm_cvtps_epi32(_mm_min_ps(_mm_div_ps(root, _mm_set1_ps(divisor)), _mm_set1_ps(255.0f)));
}
// Each of kVectorBytes / 4 bytes four times.
inline V FourTimes(const Sample* p) {
    int four;
    std::memcpy(&four, p, sizeof(four));
    const V places = _mm_setr_epi8(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3);
    return Shuffle8(_mm_cvtsi32_si128(four), places);
}
inline bool IsAllSet(V v) { return _mm_movemask_epi8(v) == 0xffff; }
inline V Equal32(V a, V b) { return _mm_cmpeq_epi32(a, b); }

}  // namespace
}  // namespace qdvm
