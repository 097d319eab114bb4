#pragma once

// Vector forms of the conversions with the matrix of Rec. 709. Included behind a vector_*.h.

#include "pixels/primitives/colour_rows_vector.h"

namespace qdvm {
namespace {

// Results of even and odd pixels before the shift by 8, as words in order. Their limits come with
// the narrowing to bytes.
inline V ShiftedWords(V even, V odd) {
    alignas(16) static constexpr std::uint8_t kPlaces[16] = {0, 1, 8,  9,  2, 3, 10, 11,
                                                             4, 5, 12, 13, 6, 7, 14, 15};
    return Shuffle8(Narrow32(RightSigned32<8>(even), RightSigned32<8>(odd)), LoadLanes(kPlaces));
}

// Groups of Cb, Y, Cr, Y.
inline RgbWords RgbOf709(V packed) {
    const V evenYu = WordsOfGroups<1, 0>(packed);
    const V evenYv = WordsOfGroups<1, 2>(packed);
    const V oddYu = WordsOfGroups<3, 0>(packed);
    const V oddYv = WordsOfGroups<3, 2>(packed);
    const V red = All32(-(298 * 16 + 459 * 128));
    const V blue = All32(-(298 * 16 + 542 * 128));
    const V green = Add32(SumProducts16(WordsOfGroups<0, 2>(packed), Factors(-55, -137)),
                          All32(-298 * 16 + (55 + 137) * 128));
    const auto sum = [](V words, V factors, V rest) {
        return Add32(SumProducts16(words, factors), rest);
    };
    return {
        ShiftedWords(sum(evenYv, Factors(298, 459), red), sum(oddYv, Factors(298, 459), red)),
        ShiftedWords(sum(evenYv, Factors(298, 0), green), sum(oddYv, Factors(298, 0), green)),
        ShiftedWords(sum(evenYu, Factors(298, 542), blue), sum(oddYu, Factors(298, 542), blue)),
    };
}

inline void Vector709ToBgra(const Sample* src, Sample* dst, std::int32_t pairs) {
    const V fill = All8(255);
    AnyWidth<kPairsOfVector>(
        pairs,
        [=](const Sample* from, Sample* to) {
            const RgbWords a = RgbOf709(Load(from));
            const RgbWords b = RgbOf709(Load(from + kVectorBytes));
            VectorBgra::Put(to, {Narrow16(a.r, b.r), Narrow16(a.g, b.g), Narrow16(a.b, b.b)}, fill);
        },
        In<4>{src}, Out<8>{dst});
}

inline V WeightedSum(const PixelWords& words, V blueRed, V green, V rest) {
    return Add32(Add32(SumProducts16(words.blueRed, blueRed), SumProducts16(words.green, green)),
                 rest);
}

// The fourth byte, beside green, takes no part: its 255 is in the sums already.
inline V LumaOf709(const PixelWords* words) {
    V luma[4];
    for (int i = 0; i < 4; ++i)
        luma[i] =
            Right32<8>(WeightedSum(words[i], Factors(16, 49), Factors(157, 0), All32(16 * 255)));
    return InOrderTwice(Narrow16(Narrow32(luma[0], luma[1]), Narrow32(luma[2], luma[3])));
}

inline void VectorBgraTo709(const Sample* src, Sample* dst, std::int32_t pairs) {
    AnyWidth<kPairsOfVector>(
        pairs,
        [](const Sample* from, Sample* to) {
            V quads[4];
            LoadFour(from, quads);
            PixelWords words[4];
            for (int i = 0; i < 4; ++i) words[i] = WordsOfPixels(quads[i]);
            const PixelWords a = SumsOfPairs(words[0], words[1]);
            const PixelWords b = SumsOfPairs(words[2], words[3]);
            const auto chroma = [&](V blueRed, V green) {
                const V rest = All32(2 * 129 * 255);
                return PairBytes(Narrow32(RightSigned32<9>(WeightedSum(a, blueRed, green, rest)),
                                          RightSigned32<9>(WeightedSum(b, blueRed, green, rest))));
            };
            StorePacked<kLumaSecond>(to, LumaOf709(words),
                                     ZipPairBytes(chroma(Factors(112, -26), Factors(-87, 0)),
                                                  chroma(Factors(-10, 112), Factors(-102, 0))));
        },
        In<8>{src}, Out<4>{dst});
}

inline void UseVectorRows(Colour709Rows* rows) { *rows = {Vector709ToBgra, VectorBgraTo709}; }

}  // namespace
}  // namespace qdvm
