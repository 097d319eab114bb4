#pragma once

// Vector forms of the rows of resampling. Included behind a vector_*.h.

#include "pixels/primitives/channel_rows_vector.h"
#include "pixels/primitives/resize_columns.h"

namespace qdvm {
namespace {

// Weights times samples less 128, so that a weight of 128 fits; then the 128 back, and the half.
inline V WeighedPairs(V pairs, V weights) {
    const V sums = SumProducts8(weights, Xor(pairs, All8(128)));
    return Add16(sums, All16(128 * kLinearOne + kLinearHalf));
}

inline std::int16_t Load16(const Sample* p) {
    std::int16_t value;
    std::memcpy(&value, p, sizeof(value));
    return value;
}

// Two neighbours in each 16 bits, of the eight columns of each lane.
inline __m128i PairsOfEight(const Sample* src, const std::int32_t* first) {
    __m128i pairs = _mm_cvtsi32_si128(Load16(src + first[0]));
    pairs = _mm_insert_epi16(pairs, Load16(src + first[1]), 1);
    pairs = _mm_insert_epi16(pairs, Load16(src + first[2]), 2);
    pairs = _mm_insert_epi16(pairs, Load16(src + first[3]), 3);
    pairs = _mm_insert_epi16(pairs, Load16(src + first[4]), 4);
    pairs = _mm_insert_epi16(pairs, Load16(src + first[5]), 5);
    pairs = _mm_insert_epi16(pairs, Load16(src + first[6]), 6);
    return _mm_insert_epi16(pairs, Load16(src + first[7]), 7);
}

// The tables go on to a multiple of 16 columns, and sums may be written beyond the last one.
inline void VectorLinearAcross1(const Sample* src, std::ptrdiff_t /*rowBytes*/,
                                const LinearColumns& columns, std::int16_t* dst) {
    constexpr std::int32_t kColumns = kVectorBytes / 2;
    const auto store = [&](std::int32_t i, V pairs) {
        Store(dst + i, WeighedPairs(pairs, Load(columns.weights + 2 * i)));
    };
    if (columns.hasWindows) {
        for (std::int32_t i = 0; i < columns.count; i += kColumns) {
            const V windows = LoadEachLane(src, columns.windows + i / 8);
            store(i, Shuffle8(windows, Load(columns.places + 2 * i)));
        }
    } else {
        for (std::int32_t i = 0; i < columns.count; i += kColumns)
            store(i, LanesOf([&](int lane) {
                      return PairsOfEight(src, columns.first + i + 8 * lane);
                  }));
    }
}

inline __m128i Load64(const void* p) { return _mm_loadl_epi64(static_cast<const __m128i*>(p)); }

constexpr std::int32_t kPairColumns = kVectorBytes / 8;

// The neighbours of two columns a lane, by channel, through their windows.
inline V PixelPairs(const Sample* src, const LinearColumns& columns, std::int32_t i) {
    return Shuffle8(LoadEachLane(src, columns.windows + i / 2), Load(columns.places + 8 * i));
}

// The same without windows: eight bytes from each of the columns.
template <int kBytes>
inline V PixelPairs(const Sample* src, const std::int32_t* first) {
    alignas(16) static constexpr std::uint8_t kThree[16] = {0, 3,  1,  4,  2,   5,   8,   11,
                                                            9, 12, 10, 13, 128, 128, 128, 128};
    alignas(16) static constexpr std::uint8_t kFour[16] = {0, 4,  1, 5,  2,  6,  3,  7,
                                                           8, 12, 9, 13, 10, 14, 11, 15};
    const V pixels = LanesOf([&](int lane) {
        return _mm_unpacklo_epi64(Load64(src + std::ptrdiff_t{first[2 * lane]} * kBytes),
                                  Load64(src + std::ptrdiff_t{first[2 * lane + 1]} * kBytes));
    });
    return Shuffle8(pixels, LoadLanes(kBytes == 3 ? kThree : kFour));
}

inline V PixelWeights3(const Sample* weights) {
    alignas(32) static constexpr std::uint8_t kPlaces[32] = {
        0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 128, 128, 128, 128,  //
        4, 5, 4, 5, 4, 5, 6, 7, 6, 7, 6, 7, 128, 128, 128, 128};
    return Shuffle8(FourForEachLane(weights), Load(kPlaces));
}

inline V PixelWeights4(const Sample* weights) {
    alignas(32) static constexpr std::uint8_t kPlaces[32] = {
        0, 1, 0, 1, 0, 1, 0, 1, 2, 3, 2, 3, 2, 3, 2, 3,  //
        4, 5, 4, 5, 4, 5, 4, 5, 6, 7, 6, 7, 6, 7, 6, 7};
    return Shuffle8(FourForEachLane(weights), Load(kPlaces));
}

// The columns that repeat, with what is the same for all of them at hand.
inline void LinearAcrossRepeating4(const Sample* src, const LinearColumns& columns,
                                   std::int16_t* dst) {
    constexpr std::int32_t kVectors = kRepeatColumns / kPairColumns;
    const V half = All16(kLinearHalf);
    V places[kVectors];
    V weights[kVectors];
    for (std::int32_t v = 0; v < kVectors; ++v) {
        places[v] = Load(columns.places + kVectorBytes * v);
        weights[v] = PixelWeights4(columns.weights + 2 * kPairColumns * v);
    }
    for (std::int32_t i = 0; i < columns.repeating; i += kRepeatColumns)
        for (std::int32_t v = 0; v < kVectors; ++v) {
            const std::int32_t at = i + kPairColumns * v;
            const V pairs = Shuffle8(LoadEachLane(src, columns.windows + at / 2), places[v]);
            Store(dst + 4 * at, Add16(SumProducts8(pairs, weights[v]), half));
        }
}

inline void VectorLinearAcross4(const Sample* src, std::ptrdiff_t /*rowBytes*/,
                                const LinearColumns& columns, std::int16_t* dst) {
    const auto store = [&](std::int32_t i, V pairs) {
        Store(dst + 4 * i, WeighedPairs(pairs, PixelWeights4(columns.weights + 2 * i)));
    };
    if (columns.hasWindows) {
        std::int32_t i = 0;
        if (columns.repeating > 0) {
            LinearAcrossRepeating4(src, columns, dst);
            i = columns.repeating;
        }
        for (; i < columns.count; i += kPairColumns) store(i, PixelPairs(src, columns, i));
    } else {
        for (std::int32_t i = 0; i < columns.count; i += kPairColumns)
            store(i, PixelPairs<4>(src, columns.first + i));
    }
}

// The columns before the first one of which `bytes` bytes do not fit the row any more.
inline std::int32_t ColumnsWithin(const std::int32_t* first, std::int32_t count, int pixelBytes,
                                  int bytes, std::ptrdiff_t rowBytes) {
    while (count > 0 && std::ptrdiff_t{first[count - 1]} * pixelBytes + bytes > rowBytes) --count;
    return count;
}

inline void VectorLinearAcross3(const Sample* src, std::ptrdiff_t rowBytes,
                                const LinearColumns& columns, std::int16_t* dst) {
    const auto store = [&](std::int32_t i, V pairs) {
        // The two sums too many of each lane are overwritten by the next columns.
        StoreEachLane(dst + 3 * i, 6, WeighedPairs(pairs, PixelWeights3(columns.weights + 2 * i)));
    };
    if (columns.hasWindows) {
        for (std::int32_t i = 0; i < columns.count; i += kPairColumns)
            store(i, PixelPairs(src, columns, i));
        return;
    }
    const std::int32_t whole =
        ColumnsWithin(columns.first, columns.count, 3, 8, rowBytes) / kPairColumns * kPairColumns;
    for (std::int32_t i = 0; i < whole; i += kPairColumns)
        store(i, PixelPairs<3>(src, columns.first + i));
    for (std::int32_t i = whole; i < columns.count; ++i) {
        const Sample* left = src + std::ptrdiff_t{columns.first[i]} * 3;
        for (int c = 0; c < 3; ++c)
            dst[3 * i + c] =
                static_cast<std::int16_t>(left[c] * columns.weights[2 * i] +
                                          left[3 + c] * columns.weights[2 * i + 1] + kLinearHalf);
    }
}

inline const Sample* BytesOf(const std::int16_t* words) {
    return reinterpret_cast<const Sample*>(words);
}

inline void VectorLinearDown(const std::int16_t* above, const std::int16_t* below, int weightBelow,
                             Sample* dst, std::int32_t n) {
    const V weight = All16(weightBelow << (15 - kLinearBits));
    const auto blend = [=](const Sample* upper, const Sample* lower) {
        const V a = Load(upper);
        const V change = MulRounded16(Sub16(Load(lower), a), weight);
        return Right16<kLinearBits>(Add16(a, change));
    };
    AnyWidth<kVectorBytes>(
        n,
        [=](const Sample* a, const Sample* b, Sample* to) {
            Store(to, InOrder(Narrow16(blend(a, b), blend(a + kVectorBytes, b + kVectorBytes))));
        },
        In<2>{BytesOf(above)}, In<2>{BytesOf(below)}, Out<1>{dst});
}

inline void VectorLinearBetween(const Sample* above, const Sample* below, int weightBelow,
                                Sample* dst, std::int32_t n) {
    if (weightBelow == kLinearHalf) {
        AnyWidth<kVectorBytes>(
            n,
            [](const Sample* a, const Sample* b, Sample* to) {
                Store(to, Average8(Load(a), Load(b)));
            },
            In<1>{above}, In<1>{below}, Out<1>{dst});
        return;
    }
    const V weights = All16(weightBelow << 8 | (kLinearOne - weightBelow));
    const V half = All16(kLinearHalf);
    AnyWidth<kVectorBytes>(
        n,
        [=](const Sample* a, const Sample* b, Sample* to) {
            const V upper = Load(a);
            const V lower = Load(b);
            const auto blend = [&](V samples) {
                return Right16<kLinearBits>(Add16(SumProducts8(samples, weights), half));
            };
            Store(to, Narrow16(blend(Low8(upper, lower)), blend(High8(upper, lower))));
        },
        In<1>{above}, In<1>{below}, Out<1>{dst});
}

inline std::int32_t Load32(const Sample* p) {
    std::int32_t value;
    std::memcpy(&value, p, sizeof(value));
    return value;
}

// Sums of four taps for each of four words, as 32-bit numbers scaled to the fraction of the sums.
inline __m128i CubicSums(__m128i lowTaps, __m128i highTaps, __m128i lowWeights,
                         __m128i highWeights) {
    constexpr int kShift = kCubicBits - kCubicFraction;
    const __m128i sums =
        _mm_hadd_epi32(_mm_madd_epi16(lowTaps, lowWeights), _mm_madd_epi16(highTaps, highWeights));
    return _mm_srai_epi32(_mm_add_epi32(sums, _mm_set1_epi32(1 << (kShift - 1))), kShift);
}

inline void VectorCubicAcross1(const Sample* src, std::ptrdiff_t /*rowBytes*/,
                               const CubicColumns& columns, std::int16_t* dst) {
    const __m128i zero = _mm_setzero_si128();
    for (std::int32_t i = 0; i < columns.count; i += 4) {
        const std::int32_t* first = columns.first + i;
        const __m128i taps = _mm_setr_epi32(Load32(src + first[0]), Load32(src + first[1]),
                                            Load32(src + first[2]), Load32(src + first[3]));
        const std::int16_t* weights = columns.weights + kCubicTaps * i;
        const __m128i sums = CubicSums(_mm_unpacklo_epi8(taps, zero), _mm_unpackhi_epi8(taps, zero),
                                       Load128(weights), Load128(weights + 8));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + i), _mm_packs_epi32(sums, sums));
    }
}

// kBytes 3 loads 16 bytes for 12; kBytes 4 takes them all.
template <int kBytes>
inline void VectorCubicAcross(const Sample* src, std::ptrdiff_t rowBytes,
                              const CubicColumns& columns, std::int16_t* dst) {
    const __m128i places =
        kBytes == 4 ? _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15)
                    : _mm_setr_epi8(0, 3, 6, 9, 1, 4, 7, 10, 2, 5, 8, 11, -1, -1, -1, -1);
    const __m128i zero = _mm_setzero_si128();
    const std::int32_t whole = ColumnsWithin(columns.first, columns.count, kBytes, 16, rowBytes);
    for (std::int32_t i = 0; i < whole; ++i) {
        const __m128i taps =
            _mm_shuffle_epi8(Load128(src + std::ptrdiff_t{columns.first[i]} * kBytes), places);
        const __m128i weights = Load64(columns.weights + kCubicTaps * i);
        const __m128i twice = _mm_unpacklo_epi64(weights, weights);
        const __m128i sums =
            CubicSums(_mm_unpacklo_epi8(taps, zero), _mm_unpackhi_epi8(taps, zero), twice, twice);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(dst + kBytes * i), _mm_packs_epi32(sums, sums));
    }
    for (std::int32_t i = whole; i < columns.count; ++i)
        for (int c = 0; c < kBytes; ++c) {
            constexpr int kShift = kCubicBits - kCubicFraction;
            const Sample* taps = src + std::ptrdiff_t{columns.first[i]} * kBytes + c;
            int sum = 1 << (kShift - 1);
            for (int tap = 0; tap < kCubicTaps; ++tap)
                sum += taps[kBytes * tap] * columns.weights[kCubicTaps * i + tap];
            dst[kBytes * i + c] = static_cast<std::int16_t>(sum >> kShift);
        }
}

inline void VectorCubicDown(const std::int16_t* const* rows, const std::int16_t* weights,
                            Sample* dst, std::int32_t n) {
    constexpr int kShift = kCubicBits + kCubicFraction;
    const auto factors = [&](int first) {
        return All32((weights[first] & 0xffff) |
                     static_cast<int>(static_cast<unsigned>(weights[first + 1]) << 16));
    };
    const V upper = factors(0);
    const V lower = factors(2);
    const V offset = All32(1 << (kShift - 1));
    const auto sum = [=](V ab, V cd) {
        return RightSigned32<kShift>(
            Add32(Add32(SumProducts16(ab, upper), SumProducts16(cd, lower)), offset));
    };
    const auto blend = [=](const Sample* a, const Sample* b, const Sample* c, const Sample* d) {
        const V va = Load(a);
        const V vb = Load(b);
        const V vc = Load(c);
        const V vd = Load(d);
        return Narrow32(sum(Low16(va, vb), Low16(vc, vd)), sum(High16(va, vb), High16(vc, vd)));
    };
    AnyWidth<kVectorBytes>(
        n,
        [=](const Sample* a, const Sample* b, const Sample* c, const Sample* d, Sample* to) {
            Store(to,
                  InOrder(Narrow16(blend(a, b, c, d), blend(a + kVectorBytes, b + kVectorBytes,
                                                            c + kVectorBytes, d + kVectorBytes))));
        },
        In<2>{BytesOf(rows[0])}, In<2>{BytesOf(rows[1])}, In<2>{BytesOf(rows[2])},
        In<2>{BytesOf(rows[3])}, Out<1>{dst});
}

inline void VectorHalve1(const Sample* above, const Sample* below, Sample* dst, std::int32_t n) {
    const V ones = All8(1);
    const auto mean = [=](const Sample* a, const Sample* b) {
        const V sum = Add16(SumProducts8(Load(a), ones), SumProducts8(Load(b), ones));
        return Right16<2>(Add16(sum, All16(2)));
    };
    AnyWidth<kVectorBytes>(
        n,
        [=](const Sample* a, const Sample* b, Sample* to) {
            Store(to, InOrder(Narrow16(mean(a, b), mean(a + kVectorBytes, b + kVectorBytes))));
        },
        In<2>{above}, In<2>{below}, Out<1>{dst});
}

// The two places in a lane of each mean: four-byte pixels, and packed 4:2:2 by where luma is.
alignas(16) constexpr std::uint8_t kPixelPlaces[16] = {0, 4,  1, 5,  2,  6,  3,  7,
                                                       8, 12, 9, 13, 10, 14, 11, 15};
alignas(16) constexpr std::uint8_t kPackedPlaces[kLumaPlaces][16] = {
    {0, 2, 1, 5, 4, 6, 3, 7, 8, 10, 9, 13, 12, 14, 11, 15},
    {0, 4, 1, 3, 2, 6, 5, 7, 8, 12, 9, 11, 10, 14, 13, 15}};

// Means of two vectors of two rows, to one.
inline V MeansOfPlaces(const V* above, const V* below, V pairs) {
    const V ones = All8(1);
    const auto mean = [=](V a, V b) {
        const V sum =
            Add16(SumProducts8(Shuffle8(a, pairs), ones), SumProducts8(Shuffle8(b, pairs), ones));
        return Right16<2>(Add16(sum, All16(2)));
    };
    return InOrder(Narrow16(mean(above[0], below[0]), mean(above[1], below[1])));
}

// n groups of four bytes.
inline void HalveGroups(const Sample* above, const Sample* below, Sample* dst, std::int32_t n,
                        V pairs) {
    AnyWidth<kVectorBytes / 4>(
        n,
        [=](const Sample* a, const Sample* b, Sample* to) {
            const V upper[2] = {Load(a), Load(a + kVectorBytes)};
            const V lower[2] = {Load(b), Load(b + kVectorBytes)};
            Store(to, MeansOfPlaces(upper, lower, pairs));
        },
        In<8>{above}, In<8>{below}, Out<4>{dst});
}

inline void VectorHalve4(const Sample* above, const Sample* below, Sample* dst, std::int32_t n) {
    HalveGroups(above, below, dst, n, LoadLanes(kPixelPlaces));
}

template <LumaPlace kPlace>
inline void VectorHalvePacked(const Sample* above, const Sample* below, Sample* dst,
                              std::int32_t pairs) {
    HalveGroups(above, below, dst, pairs, LoadLanes(kPackedPlaces[kPlace]));
}

inline void VectorHalve3(const Sample* above, const Sample* below, Sample* dst, std::int32_t n) {
    AnyWidth<kVectorBytes>(
        n,
        [](const Sample* a, const Sample* b, Sample* to) {
            V upper[8];
            V lower[8];
            for (int half = 0; half < 2; ++half) {
                LoadThreeAsFour(a + 3 * kVectorBytes * half, upper + 4 * half);
                LoadThreeAsFour(b + 3 * kVectorBytes * half, lower + 4 * half);
            }
            V means[4];
            const V pairs = LoadLanes(kPixelPlaces);
            for (int i = 0; i < 4; ++i)
                means[i] = MeansOfPlaces(upper + 2 * i, lower + 2 * i, pairs);
            StoreFourAsThree(to, means);
        },
        In<6>{above}, In<6>{below}, Out<3>{dst});
}

// Two target pixels for each pair of neighbours, as words: nearer the left, nearer the right one.
struct TwoBetween {
    V left;
    V right;
};

// Both columns as samples of the nearer and the farther row in turn.
inline TwoBetween Between(V leftColumn, V rightColumn) {
    const V threeAndOne = All16(0x0103);
    const V left = SumProducts8(leftColumn, threeAndOne);
    const V right = SumProducts8(rightColumn, threeAndOne);
    const V sum = Add16(Add16(left, right), All16(8));
    return {Right16<4>(Add16(sum, Left16<1>(left))), Right16<4>(Add16(sum, Left16<1>(right)))};
}

// The same as bytes, for whole vectors of them.
inline TwoBetween BetweenBytes(V nearerLeft, V fartherLeft, V nearerRight, V fartherRight) {
    const TwoBetween low = Between(Low8(nearerLeft, fartherLeft), Low8(nearerRight, fartherRight));
    const TwoBetween high =
        Between(High8(nearerLeft, fartherLeft), High8(nearerRight, fartherRight));
    return {Narrow16(low.left, high.left), Narrow16(low.right, high.right)};
}

inline void VectorTwice1(const Sample* nearer, const Sample* farther, Sample* dst, std::int32_t n) {
    AnyWidth<kVectorBytes>(
        n,
        [](const Sample* a, const Sample* b, const Sample* aNext, const Sample* bNext, Sample* to) {
            const TwoBetween two = BetweenBytes(Load(a), Load(b), Load(aNext), Load(bNext));
            V first;
            V second;
            Zip8(two.left, two.right, &first, &second);
            Store(to, first);
            Store(to + kVectorBytes, second);
        },
        In<1>{nearer}, In<1>{farther}, In<1>{nearer + 1}, In<1>{farther + 1}, Out<2>{dst});
}

inline void VectorTwice4(const Sample* nearer, const Sample* farther, Sample* dst, std::int32_t n) {
    AnyWidth<kVectorBytes / 4>(
        n,
        [](const Sample* a, const Sample* b, const Sample* aNext, const Sample* bNext, Sample* to) {
            const TwoBetween two = BetweenBytes(Load(a), Load(b), Load(aNext), Load(bNext));
            V first;
            V second;
            Zip32(two.left, two.right, &first, &second);
            Store(to, first);
            Store(to + kVectorBytes, second);
        },
        In<4>{nearer}, In<4>{farther}, In<4>{nearer + 4}, In<4>{farther + 4}, Out<8>{dst});
}

inline void VectorTwice3(const Sample* nearer, const Sample* farther, Sample* dst, std::int32_t n) {
    AnyWidth<kVectorBytes>(
        n,
        [](const Sample* a, const Sample* b, const Sample* aNext, const Sample* bNext, Sample* to) {
            V pixels[4][4];
            LoadThreeAsFour(a, pixels[0]);
            LoadThreeAsFour(b, pixels[1]);
            LoadThreeAsFour(aNext, pixels[2]);
            LoadThreeAsFour(bNext, pixels[3]);
            V target[8];
            for (int i = 0; i < 4; ++i) {
                const TwoBetween two =
                    BetweenBytes(pixels[0][i], pixels[1][i], pixels[2][i], pixels[3][i]);
                Zip32(two.left, two.right, &target[2 * i], &target[2 * i + 1]);
            }
            StoreFourAsThree(to, target);
            StoreFourAsThree(to + 3 * kVectorBytes, target + 4);
        },
        In<3>{nearer}, In<3>{farther}, In<3>{nearer + 3}, In<3>{farther + 3}, Out<6>{dst});
}

inline void UseVectorRows(ResizeRows* rows) {
    *rows = {
        {VectorLinearAcross1, VectorLinearAcross3, VectorLinearAcross4},
        VectorLinearDown,
        VectorLinearBetween,
        {VectorCubicAcross1, VectorCubicAcross<3>, VectorCubicAcross<4>},
        VectorCubicDown,
        {VectorHalve1, VectorHalve3, VectorHalve4},
        {VectorHalvePacked<kLumaFirst>, VectorHalvePacked<kLumaSecond>},
        {VectorTwice1, VectorTwice3, VectorTwice4},
    };
}

}  // namespace
}  // namespace qdvm
