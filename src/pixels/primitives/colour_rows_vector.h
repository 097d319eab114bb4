#pragma once

// Vector forms of the conversions between RGB and YCbCr. Included behind a vector_*.h.
//
// The 16.16 coefficients do not fit the signed 16-bit factors of SumProducts16. They are taken
// apart, exactly, into small multiples of the samples and factors that fit: 76284 Y = 19071 (4 Y),
// 104595 Cr = 20919 (5 Cr), 132186 Cb = 22031 (6 Cb), 53281 Cr = 10656 (5 Cr) + Cr, and
// 33030 G = 16515 G + 16515 G.

#include "pixels/primitives/channel_rows_vector.h"

namespace qdvm {
namespace {

// Factors of the words at even and at odd places.
inline V Factors(int even, int odd) {
    return All32((even & 0xffff) | static_cast<int>(static_cast<unsigned>(odd) << 16));
}

struct RgbWords {
    V r;
    V g;
    V b;
};

// Bytes of kVectorBytes pixels, as Narrow16 leaves two vectors in order.
struct RgbBytes {
    V r;
    V g;
    V b;
};

// Bytes `first` and `second` of each group of four as words.
template <int kFirst, int kSecond>
inline V WordsOfGroups(V groups) {
    alignas(16) static constexpr std::uint8_t kPlaces[16] = {
        kFirst,     128, kSecond,     128, kFirst + 4,  128, kSecond + 4,  128,
        kFirst + 8, 128, kSecond + 8, 128, kFirst + 12, 128, kSecond + 12, 128};
    return Shuffle8(groups, LoadLanes(kPlaces));
}

// Results of even and odd pixels in the upper words of 32 bits, as words in order.
inline V UpperWords(V even, V odd) { return EvenOddWords(Right32<16>(even), odd); }

// Factors of the bytes of a group of four: of both lumas, Cb and Cr.
template <LumaPlace kPlace>
inline V GroupFactors(int even, int odd, int cb, int cr) {
    return kPlace == kLumaFirst ? All32(even | cb << 8 | odd << 16 | cr << 24)
                                : All32(cb | even << 8 | cr << 16 | odd << 24);
}

// A group of four is a pair of pixels with its chroma. Even and odd pixels go separate ways.
template <LumaPlace kPlace>
inline RgbWords RgbOfPacked(V packed) {
    constexpr int kU = 1 - kPlace;
    constexpr int kV = 3 - kPlace;
    const auto groupSums = [=](int even, int odd, int cb, int cr) {
        return SumProducts8(packed, GroupFactors<kPlace>(even, odd, cb, cr));
    };
    // Words of 4 Y and 5 Cr or 6 Cb, which come second but for the odd pixels' Cb.
    const V evenYv = groupSums(4, 0, 0, 5);
    const V oddUy = groupSums(0, 4, 6, 0);
    const V evenYu = Mul16(WordsOfGroups<kPlace, kU>(packed), Factors(4, 6));
    const V oddYv = Mul16(WordsOfGroups<2 + kPlace, kV>(packed), Factors(4, 5));
    const V green =
        Add32(SumProducts16(groupSums(0, 0, 1, 1), Factors(-25690, -1)), All32(8887730));
    const auto sum = [](V words, V factors, V rest) {
        return Add32(SumProducts16(words, factors), rest);
    };
    const V red = All32(-14608761);
    const V blue = All32(-18140365);
    return {
        UpperWords(sum(evenYv, Factors(19071, 20919), red), sum(oddYv, Factors(19071, 20919), red)),
        UpperWords(sum(evenYv, Factors(19071, -10656), green),
                   sum(oddYv, Factors(19071, -10656), green)),
        UpperWords(sum(evenYu, Factors(19071, 22031), blue),
                   sum(oddUy, Factors(22031, 19071), blue)),
    };
}

template <LumaPlace kPlace>
inline RgbBytes RgbOfPacked(V first, V second) {
    const RgbWords a = RgbOfPacked<kPlace>(first);
    const RgbWords b = RgbOfPacked<kPlace>(second);
    return {Narrow16(a.r, b.r), Narrow16(a.g, b.g), Narrow16(a.b, b.b)};
}

struct VectorBgra {
    static constexpr int kBytes = 4;
    static void Quads(const RgbBytes& rgb, V fourth, V* quads) {
        const V bgLow = Low8(rgb.b, rgb.g);
        const V bgHigh = High8(rgb.b, rgb.g);
        const V raLow = Low8(rgb.r, fourth);
        const V raHigh = High8(rgb.r, fourth);
        quads[0] = Low16(bgLow, raLow);
        quads[1] = High16(bgLow, raLow);
        quads[2] = Low16(bgHigh, raHigh);
        quads[3] = High16(bgHigh, raHigh);
        QuadsInOrder(quads);
    }
    static void Put(Sample* dst, const RgbBytes& rgb, V fourth) {
        V quads[4];
        Quads(rgb, fourth, quads);
        StoreFour(dst, quads);
    }
};

struct VectorBgr {
    static constexpr int kBytes = 3;
    static void Put(Sample* dst, const RgbBytes& rgb, V fourth) {
        V quads[4];
        VectorBgra::Quads(rgb, fourth, quads);
        StoreFourAsThree(dst, quads);
    }
};

// Shifts of bytes. What comes over from the neighbour is masked away.
template <int kBits>
inline V RightBytes(V v, int mask) {
    return And(Right16<kBits>(v), All8(mask));
}
template <int kBits>
inline V LeftBytes(V v, int mask) {
    return And(Left16<kBits>(v), All8(mask));
}

inline void StoreWords(Sample* dst, V low, V high) {
    // The halves of a narrowing are in order when they are taken apart again.
    Store(dst, Low8(low, high));
    Store(dst + kVectorBytes, High8(low, high));
}

struct VectorRgb565 {
    static constexpr int kBytes = 2;
    static void Put(Sample* dst, const RgbBytes& rgb, V /*fourth*/) {
        StoreWords(dst, Or(RightBytes<3>(rgb.b, 0x1f), LeftBytes<3>(rgb.g, 0xe0)),
                   Or(RightBytes<5>(rgb.g, 0x07), And(rgb.r, All8(0xf8))));
    }
};

struct VectorRgb555 {
    static constexpr int kBytes = 2;
    static void Put(Sample* dst, const RgbBytes& rgb, V /*fourth*/) {
        StoreWords(dst, Or(RightBytes<3>(rgb.b, 0x1f), LeftBytes<2>(rgb.g, 0xe0)),
                   Or(RightBytes<6>(rgb.g, 0x03), RightBytes<1>(rgb.r, 0x7c)));
    }
};

constexpr int kPairsOfVector = kVectorBytes / 2;

template <class Format, LumaPlace kPlace>
inline void VectorFromPacked(const Sample* src, Sample* dst, std::int32_t pairs, Sample fourth) {
    const V fill = All8(fourth);
    AnyWidth<kPairsOfVector>(
        pairs,
        [=](const Sample* from, Sample* to) {
            Format::Put(to, RgbOfPacked<kPlace>(Load(from), Load(from + kVectorBytes)), fill);
        },
        In<4>{src}, Out<2 * Format::kBytes>{dst});
}

template <class Format>
inline void VectorFromPlanes(const Sample* y, const Sample* u, const Sample* v, Sample* dst,
                             std::int32_t pairs, Sample fourth) {
    const V fill = All8(fourth);
    AnyWidth<kPairsOfVector>(
        pairs,
        [=](const Sample* luma, const Sample* cb, const Sample* cr, Sample* to) {
            V first;
            V second;
            Zip8(Load(luma), ZipPairBytes(LoadPairBytes(cb), LoadPairBytes(cr)), &first, &second);
            Format::Put(to, RgbOfPacked<kLumaFirst>(first, second), fill);
        },
        In<2>{y}, In<1>{u}, In<1>{v}, Out<2 * Format::kBytes>{dst});
}

template <class Format>
inline void VectorFromYuy2(const Sample* src, Sample* dst, std::int32_t pairs) {
    VectorFromPacked<Format, kLumaFirst>(src, dst, pairs, 0);
}

template <class Format>
inline void VectorFromPlanesNoFourth(const Sample* y, const Sample* u, const Sample* v, Sample* dst,
                                     std::int32_t pairs) {
    VectorFromPlanes<Format>(y, u, v, dst, pairs, 0);
}

// --- RGB to YCbCr, from kVectorBytes pixels as four vectors of four-byte pixels.

template <int kBytes>
inline void LoadPixels(const Sample* src, V* quads) {
    if constexpr (kBytes == 4)
        LoadFour(src, quads);
    else
        LoadThreeAsFour(src, quads);
}

inline V BlueRed(V pixels) { return And(pixels, All32(0x00ff00ff)); }

// What luma and chroma are made of: blue and red, and green and the fourth byte, as words.
struct PixelWords {
    V blueRed;
    V green;
};

inline PixelWords WordsOfPixels(V pixels) { return {BlueRed(pixels), Right16<8>(pixels)}; }

inline PixelWords operator+(const PixelWords& a, const PixelWords& b) {
    return {Add16(a.blueRed, b.blueRed), Add16(a.green, b.green)};
}

inline V LumaOf(V pixels, V blueRed) {
    const V sum = Add32(SumProducts16(blueRed, Factors(6423, 16843)),
                        SumProducts16(WordsOfGroups<1, 1>(pixels), All16(16515)));
    return Right32<16>(Add32(sum, All32(0x108000)));
}

// Luma of kVectorBytes pixels, and their words.
inline V LumaOf(const V* quads, PixelWords* words) {
    V luma[4];
    for (int i = 0; i < 4; ++i) {
        words[i] = WordsOfPixels(quads[i]);
        luma[i] = LumaOf(quads[i], words[i].blueRed);
    }
    return InOrderTwice(Narrow16(Narrow32(luma[0], luma[1]), Narrow32(luma[2], luma[3])));
}

inline PixelWords SumsOfPairs(const PixelWords& a, const PixelWords& b) {
    return {Add16(EvenPixels(a.blueRed, b.blueRed), OddPixels(a.blueRed, b.blueRed)),
            Add16(EvenPixels(a.green, b.green), OddPixels(a.green, b.green))};
}

template <int kShift>
inline V ChromaOf(const PixelWords& sums, V blueRed, V green) {
    // The 128 goes in before the shift.
    constexpr int kOffset = (128 << kShift) + (1 << (kShift - 3));
    const V sum = Add32(SumProducts16(sums.blueRed, blueRed), SumProducts16(sums.green, green));
    return RightSigned32<kShift>(Add32(sum, All32(kOffset)));
}

struct ChromaBytes {
    __m128i cb;
    __m128i cr;
};

// The fourth byte takes no part.
template <int kShift>
inline ChromaBytes ChromaOf(const PixelWords* words) {
    const PixelWords a = SumsOfPairs(words[0], words[1]);
    const PixelWords b = SumsOfPairs(words[2], words[3]);
    const auto chroma = [&](V blueRed, V green) {
        return PairBytes(
            Narrow32(ChromaOf<kShift>(a, blueRed, green), ChromaOf<kShift>(b, blueRed, green)));
    };
    return {chroma(Factors(28770, -9699), Factors(-19071, 0)),
            chroma(Factors(-4653, 28770), Factors(-24117, 0))};
}

template <int kBytes, LumaPlace kPlace>
inline void VectorToPacked(const Sample* src, Sample* dst, std::int32_t pairs) {
    AnyWidth<kPairsOfVector>(
        pairs,
        [](const Sample* from, Sample* to) {
            V quads[4];
            LoadPixels<kBytes>(from, quads);
            PixelWords words[4];
            const V luma = LumaOf(quads, words);
            const ChromaBytes chroma = ChromaOf<17>(words);
            StorePacked<kPlace>(to, luma, ZipPairBytes(chroma.cb, chroma.cr));
        },
        In<2 * kBytes>{src}, Out<4>{dst});
}

template <int kBytes>
inline void VectorToPlanes(const Sample* src0, const Sample* src1, Sample* y0, Sample* y1,
                           Sample* u, Sample* v, std::int32_t pairs) {
    AnyWidth<kPairsOfVector>(
        pairs,
        [](const Sample* upper, const Sample* lower, Sample* upperLuma, Sample* lowerLuma,
           Sample* cb, Sample* cr) {
            V above[4];
            V below[4];
            LoadPixels<kBytes>(upper, above);
            LoadPixels<kBytes>(lower, below);
            PixelWords words[4];
            PixelWords lowerWords[4];
            Store(upperLuma, LumaOf(above, words));
            Store(lowerLuma, LumaOf(below, lowerWords));
            for (int i = 0; i < 4; ++i) words[i] = words[i] + lowerWords[i];
            const ChromaBytes chroma = ChromaOf<18>(words);
            StorePairBytes(cb, chroma.cb);
            StorePairBytes(cr, chroma.cr);
        },
        In<2 * kBytes>{src0}, In<2 * kBytes>{src1}, Out<2>{y0}, Out<2>{y1}, Out<1>{u}, Out<1>{v});
}

inline void UseVectorRows(ColourRows* rows) {
    *rows = {
        {VectorFromPacked<VectorBgra, kLumaFirst>, VectorFromPacked<VectorBgra, kLumaSecond>},
        VectorFromYuy2<VectorBgr>,
        VectorFromYuy2<VectorRgb565>,
        VectorFromYuy2<VectorRgb555>,
        VectorFromPlanes<VectorBgra>,
        VectorFromPlanesNoFourth<VectorBgr>,
        VectorFromPlanesNoFourth<VectorRgb565>,
        VectorFromPlanesNoFourth<VectorRgb555>,
        {VectorToPacked<4, kLumaFirst>, VectorToPacked<4, kLumaSecond>},
        VectorToPacked<3, kLumaFirst>,
        VectorToPlanes<4>,
        VectorToPlanes<3>,
    };
}

}  // namespace
}  // namespace qdvm
