#pragma once

// AVX2 forms of the rows of warps. Included behind vector_avx2.h.

#include "pixels/primitives/any_width.h"
#include "pixels/primitives/forms.h"
#include "pixels/primitives/warp_line.h"

namespace qdvm {
namespace {

constexpr int kWarpColumns = 8;

// Source places of eight columns.
struct Places {
    __m256i x;
    __m256i y;
};

inline __m128i PlacesOn(__m256d value, double limit) {
    // The operands' order makes not-a-number the lower limit.
    const __m256d inside =
        _mm256_min_pd(_mm256_max_pd(value, _mm256_setzero_pd()), _mm256_set1_pd(limit));
    return _mm256_cvtpd_epi32(inside);
}

struct FourPlaces {
    __m128i x;
    __m128i y;
};

inline FourPlaces FourPlacesAt(const WarpLine& line, std::int32_t column) {
    const __m256d at =
        _mm256_cvtepi32_pd(_mm_add_epi32(_mm_set1_epi32(column), _mm_setr_epi32(0, 1, 2, 3)));
    const auto linear = [&](double start, double step) {
        return _mm256_add_pd(_mm256_set1_pd(start), _mm256_mul_pd(_mm256_set1_pd(step), at));
    };
    const __m256d shown = _mm256_div_pd(_mm256_set1_pd(1.0), linear(line.depth, line.stepDepth));
    return {PlacesOn(_mm256_mul_pd(linear(line.x, line.stepX), shown),
                     static_cast<double>(line.width - 1) * kPlaceOne),
            PlacesOn(_mm256_mul_pd(linear(line.y, line.stepY), shown),
                     static_cast<double>(line.height - 1) * kPlaceOne)};
}

inline Places PlacesAt(const WarpLine& line, std::int32_t column) {
    const FourPlaces left = FourPlacesAt(line, column);
    const FourPlaces right = FourPlacesAt(line, column + 4);
    return {_mm256_set_m128i(right.x, left.x), _mm256_set_m128i(right.y, left.y)};
}

// The first of two neighbours and the weight of the second, 0 to 128: the last sample is always a
// second one, so that both can be read.
struct VectorNeighbours {
    __m256i first;
    __m256i weight;
};

inline VectorNeighbours NeighboursOf(__m256i places, std::int32_t samples) {
    const __m256i first =
        _mm256_min_epi32(_mm256_srai_epi32(places, kPlaceBits), _mm256_set1_epi32(samples - 2));
    return {first, _mm256_sub_epi32(places, _mm256_slli_epi32(first, kPlaceBits))};
}

// Two weights that sum to 128 as 16-bit halves of each column.
inline __m256i WordWeights(__m256i second) {
    const __m256i first = _mm256_sub_epi32(_mm256_set1_epi32(kPlaceOne), second);
    return _mm256_or_si256(first, _mm256_slli_epi32(second, 16));
}

// The same as pairs of bytes, twice in each column.
inline __m256i ByteWeights(__m256i second) {
    const __m256i first = _mm256_sub_epi32(_mm256_set1_epi32(kPlaceOne), second);
    const __m256i pair = _mm256_or_si256(first, _mm256_slli_epi32(second, 8));
    return _mm256_or_si256(pair, _mm256_slli_epi32(pair, 16));
}

constexpr int kWarpShift = 2 * kPlaceBits;

// Weights apply to samples less 128; this brings their 128 back and rounds.
constexpr int kWarpOffset = (128 << kWarpShift) + (1 << (kWarpShift - 1));

inline __m256i Rounded(__m256i sums) {
    return _mm256_srai_epi32(_mm256_add_epi32(sums, _mm256_set1_epi32(kWarpOffset)), kWarpShift);
}

inline __m256i Signed(__m256i bytes) { return _mm256_xor_si256(bytes, _mm256_set1_epi8(-128)); }

// Where the eight columns' first neighbours lie.
struct Corners {
    alignas(32) std::int32_t column[kWarpColumns];
    alignas(32) std::int32_t row[kWarpColumns];
    const Sample* region;
    std::ptrdiff_t stride;

    Corners(const WarpLine& line, __m256i columns, __m256i rows)
        : region(line.region), stride(line.stride) {
        _mm256_store_si256(reinterpret_cast<__m256i*>(column), columns);
        _mm256_store_si256(reinterpret_cast<__m256i*>(row), rows);
    }

    template <int kBytes>
    const Sample* At(int i) const {
        return region + row[i] * stride + std::ptrdiff_t{column[i]} * kBytes;
    }
};

template <class Value>
inline Value LoadAs(const Sample* p) {
    Value value;
    std::memcpy(&value, p, sizeof(value));
    return value;
}

// Runs block(column, dst) on groups of eight columns; the columns beyond the last one are sampled
// for nothing.
template <int kBytes, class Block>
inline void EachEightColumns(std::int32_t x, std::int32_t n, Sample* dst, Block block) {
    AnyWidth<kWarpColumns>(
        n,
        [&](Sample* to) {
            block(x, to);
            x += kWarpColumns;
        },
        Out<kBytes>{dst});
}

// Upper pair and lower pair of neighbours of one channel, a 32-bit word a column.
inline __m256i SinglePairs(const Corners& corners) {
    alignas(32) std::uint32_t pairs[kWarpColumns];
    for (int i = 0; i < kWarpColumns; ++i) {
        const Sample* at = corners.At<1>(i);
        pairs[i] = LoadAs<std::uint16_t>(at) |
                   static_cast<std::uint32_t>(LoadAs<std::uint16_t>(at + corners.stride)) << 16;
    }
    return _mm256_set_epi32(static_cast<int>(pairs[7]), static_cast<int>(pairs[6]),
                            static_cast<int>(pairs[5]), static_cast<int>(pairs[4]),
                            static_cast<int>(pairs[3]), static_cast<int>(pairs[2]),
                            static_cast<int>(pairs[1]), static_cast<int>(pairs[0]));
}

inline bool HasNeighbours(const WarpLine& line) { return line.width > 1 && line.height > 1; }

inline void WarpLinear1(const WarpLine& line, std::int32_t x, std::int32_t n, Sample* dst) {
    if (!HasNeighbours(line)) return kWarpRowsPlain.linear[0](line, x, n, dst);
    EachEightColumns<1>(x, n, dst, [&](std::int32_t column, Sample* to) {
        const Places places = PlacesAt(line, column);
        const VectorNeighbours across = NeighboursOf(places.x, line.width);
        const VectorNeighbours down = NeighboursOf(places.y, line.height);
        const __m256i pairs = SinglePairs(Corners(line, across.first, down.first));
        const __m256i rows = _mm256_maddubs_epi16(ByteWeights(across.weight), Signed(pairs));
        const __m256i samples = Rounded(_mm256_madd_epi16(rows, WordWeights(down.weight)));
        const __m256i words = _mm256_packs_epi32(samples, samples);
        const __m256i bytes = _mm256_packus_epi16(words, words);
        const __m128i eight =
            _mm_unpacklo_epi32(_mm256_castsi256_si128(bytes), _mm256_extracti128_si256(bytes, 1));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(to), eight);
    });
}

// Two neighbouring pixels in 8 bytes, and the place of their bytes by channel.
template <int kBytes>
struct PixelPair;

template <>
struct PixelPair<4> {
    static std::uint64_t Load(const Sample* at, std::uint64_t /*isLast*/) {
        return LoadAs<std::uint64_t>(at);
    }
    static __m256i Places() {
        return _mm256_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15,  //
                                0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15);
    }
};

template <>
struct PixelPair<3> {
    // The row's last pair is read together with the two bytes before it.
    static std::uint64_t Load(const Sample* at, std::uint64_t isLast) {
        return LoadAs<std::uint64_t>(at - 2 * isLast) >> (16 * isLast);
    }
    static __m256i Places() {
        return _mm256_setr_epi8(0, 3, 1, 4, 2, 5, -1, -1, 8, 11, 9, 12, 10, 13, -1, -1,  //
                                0, 3, 1, 4, 2, 5, -1, -1, 8, 11, 9, 12, 10, 13, -1, -1);
    }
};

// Upper and lower pair of one column, and of the one four columns on.
template <int kBytes>
inline __m256i UpperAndLower(const WarpLine& line, const Corners& corners, int i) {
    const auto load = [&](int column) {
        const Sample* at = corners.At<kBytes>(column);
        const std::uint64_t isLast = corners.column[column] == line.width - 2;
        return _mm_set_epi64x(
            static_cast<long long>(PixelPair<kBytes>::Load(at + corners.stride, isLast)),
            static_cast<long long>(PixelPair<kBytes>::Load(at, isLast)));
    };
    return _mm256_set_m128i(load(i + 4), load(i));
}

// Samples of column i and i + 4 as four 32-bit channels in each lane.
template <int kBytes>
inline __m256i ColumnSamples(__m256i pixels, __m256i acrossWeights, __m256i downWeights) {
    const __m256i pairs = _mm256_shuffle_epi8(pixels, PixelPair<kBytes>::Places());
    const __m256i rows = _mm256_maddubs_epi16(acrossWeights, Signed(pairs));
    const __m256i upperLower = _mm256_unpacklo_epi16(rows, _mm256_srli_si256(rows, 8));
    return Rounded(_mm256_madd_epi16(upperLower, downWeights));
}

template <int kBytes>
inline void StorePixels(Sample* to, __m256i pixels);

template <>
inline void StorePixels<4>(Sample* to, __m256i pixels) {
    Store(to, pixels);
}

template <>
inline void StorePixels<3>(Sample* to, __m256i pixels) {
    const __m256i places = _mm256_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1,
                                            0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
    const __m256i three = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(pixels, places),
                                                      _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
    Store128(to, _mm256_castsi256_si128(three));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to + 16), _mm256_extracti128_si256(three, 1));
}

template <int kBytes>
inline void WarpLinearPixels(const WarpLine& line, std::int32_t x, std::int32_t n, Sample* dst) {
    // A pair of three-byte pixels needs two bytes before it.
    if (!HasNeighbours(line) || line.width < 3)
        return kWarpRowsPlain.linear[kBytes - 2](line, x, n, dst);
    EachEightColumns<kBytes>(x, n, dst, [&](std::int32_t column, Sample* to) {
        const Places places = PlacesAt(line, column);
        const VectorNeighbours across = NeighboursOf(places.x, line.width);
        const VectorNeighbours down = NeighboursOf(places.y, line.height);
        const Corners corners(line, across.first, down.first);
        const __m256i acrossWeights = ByteWeights(across.weight);
        const __m256i downWeights = WordWeights(down.weight);
        const auto samples = [&](int i, __m256i weightsAcross, __m256i weightsDown) {
            return ColumnSamples<kBytes>(UpperAndLower<kBytes>(line, corners, i), weightsAcross,
                                         weightsDown);
        };
        const __m256i first = samples(0, _mm256_shuffle_epi32(acrossWeights, 0x00),
                                      _mm256_shuffle_epi32(downWeights, 0x00));
        const __m256i second = samples(1, _mm256_shuffle_epi32(acrossWeights, 0x55),
                                       _mm256_shuffle_epi32(downWeights, 0x55));
        const __m256i third = samples(2, _mm256_shuffle_epi32(acrossWeights, 0xaa),
                                      _mm256_shuffle_epi32(downWeights, 0xaa));
        const __m256i fourth = samples(3, _mm256_shuffle_epi32(acrossWeights, 0xff),
                                       _mm256_shuffle_epi32(downWeights, 0xff));
        StorePixels<kBytes>(to, _mm256_packus_epi16(_mm256_packs_epi32(first, second),
                                                    _mm256_packs_epi32(third, fourth)));
    });
}

template <int kBytes>
inline void WarpNearest(const WarpLine& line, std::int32_t x, std::int32_t n, Sample* dst) {
    EachEightColumns<kBytes>(x, n, dst, [&](std::int32_t column, Sample* to) {
        const Places places = PlacesAt(line, column);
        const auto nearest = [](__m256i place) {
            return _mm256_srai_epi32(_mm256_add_epi32(place, _mm256_set1_epi32(kPlaceOne / 2)),
                                     kPlaceBits);
        };
        const Corners corners(line, nearest(places.x), nearest(places.y));
        for (int i = 0; i < kWarpColumns; ++i)
            std::memcpy(to + kBytes * i, corners.At<kBytes>(i), kBytes);
    });
}

inline void UseWarpRows(WarpRows* rows) {
    rows->nearest[0] = WarpNearest<1>;
    rows->nearest[1] = WarpNearest<3>;
    rows->nearest[2] = WarpNearest<4>;
    rows->linear[0] = WarpLinear1;
    rows->linear[1] = WarpLinearPixels<3>;
    rows->linear[2] = WarpLinearPixels<4>;
}

}  // namespace
}  // namespace qdvm
