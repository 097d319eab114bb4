#pragma once

// Vector forms of the rows of products and blends. Included behind a vector_*.h.

#include "pixels/primitives/channel_rows_vector.h"

namespace qdvm {
namespace {

// --- Products and sums.

inline V Product256(V x, V y) {
    const V t = Mul16(x, y);
    const V odd = And(Right16<8>(t), All16(1));
    return Right16<8>(Add16(Add16(t, All16(127)), odd));
}

inline V Product256OfBytes(V a, V b) {
    const V zero = Zero();
    return Narrow16(Product256(Low8(a, zero), Low8(b, zero)),
                    Product256(High8(a, zero), High8(b, zero)));
}

inline void VectorMul8(const Sample* a, Sample* b, std::int32_t n) {
    AnyWidth<kVectorBytes>(
        n,
        [](const Sample* factors, Sample* at) {
            Store(at, Product256OfBytes(Load(factors), Load(at)));
        },
        In<1>{a}, InOut<1>{b});
}

inline void VectorMulC8(Sample value, Sample* b, std::int32_t n) {
    const V factor = All8(value);
    AnyWidth<kVectorBytes>(
        n, [=](Sample* at) { Store(at, Product256OfBytes(factor, Load(at))); }, InOut<1>{b});
}

inline void VectorAddC(Sample value, Sample* row, std::int32_t n) {
    const V addend = All8(value);
    AnyWidth<kVectorBytes>(
        n, [=](Sample* at) { Store(at, AddLimited8(Load(at), addend)); }, InOut<1>{row});
}

// --- Alpha compositing. Words of two pixels a lane.

// (t + 1 + (t >> 8)) >> 8 = ((t + 1) * 257) >> 16 for all products t of bytes.
inline V Product255(V x, V y) { return MulHigh16(Add16(Mul16(x, y), All16(1)), All16(257)); }

// Brings the alphas of pixels of four bytes to their words.
struct AlphaPlaces {
    alignas(16) static constexpr std::uint8_t kLow[16] = {3, 128, 3, 128, 3, 128, 3, 128,
                                                          7, 128, 7, 128, 7, 128, 7, 128};
    alignas(16) static constexpr std::uint8_t kHigh[16] = {11, 128, 11, 128, 11, 128, 11, 128,
                                                           15, 128, 15, 128, 15, 128, 15, 128};
    // A factor of 255 leaves the fourth channel, which is alpha itself, as it is.
    alignas(16) static constexpr std::uint16_t kWholeFourth[8] = {0, 0, 0, 255, 0, 0, 0, 255};

    V low = LoadLanes(kLow);
    V high = LoadLanes(kHigh);
    V wholeFourth = LoadLanes(kWholeFourth);
};

// `top` over `under`: words of the pixels and of their alphas, each alpha four times.
inline V OverOf(V top, V topAlpha, V under, V underAlpha, V wholeFourth) {
    const V shown = Product255(top, Or(topAlpha, wholeFourth));
    const V behind =
        Product255(Product255(under, Or(underAlpha, wholeFourth)), Sub16(All16(255), topAlpha));
    return Add16(shown, behind);
}

inline V OverOf(V top, V under, const AlphaPlaces& at) {
    const V zero = Zero();
    return Narrow16(OverOf(Low8(top, zero), Shuffle8(top, at.low), Low8(under, zero),
                           Shuffle8(under, at.low), at.wholeFourth),
                    OverOf(High8(top, zero), Shuffle8(top, at.high), High8(under, zero),
                           Shuffle8(under, at.high), at.wholeFourth));
}

// The same over opaque pixels, whose colours take part as they are.
inline V OverOpaqueOf(V top, V topAlpha, V under, V wholeFourth) {
    return Add16(Product255(top, Or(topAlpha, wholeFourth)),
                 Product255(under, Sub16(All16(255), topAlpha)));
}

inline V OverOpaqueOf(V top, V under, const AlphaPlaces& at) {
    const V zero = Zero();
    return Narrow16(
        OverOpaqueOf(Low8(top, zero), Shuffle8(top, at.low), Low8(under, zero), at.wholeFourth),
        OverOpaqueOf(High8(top, zero), Shuffle8(top, at.high), High8(under, zero), at.wholeFourth));
}

inline void VectorAlphaOver(const Sample* top, const Sample* under, Sample* dst, std::int32_t n) {
    const AlphaPlaces at;
    AnyWidth<kVectorBytes / 4>(
        n,
        [=](const Sample* a, const Sample* b, Sample* to) {
            Store(to, OverOf(Load(a), Load(b), at));
        },
        In<4>{top}, In<4>{under}, Out<4>{dst});
}

// A pixel's factor for its three colours; 256, which changes nothing, for its alpha.
struct FactorPlaces {
    alignas(16) static constexpr std::uint8_t kLow[16] = {0, 1, 0, 1, 0, 1, 128, 128,
                                                          4, 5, 4, 5, 4, 5, 128, 128};
    alignas(16) static constexpr std::uint8_t kHigh[16] = {8,  9,  8,  9,  8,  9,  128, 128,
                                                           12, 13, 12, 13, 12, 13, 128, 128};
    alignas(16) static constexpr std::uint16_t kKeepFourth[8] = {0, 0, 0, 256, 0, 0, 0, 256};

    V low = LoadLanes(kLow);
    V high = LoadLanes(kHigh);
    V keepFourth = LoadLanes(kKeepFourth);
};

inline V StraightOf(V pixels, const FactorPlaces& at) {
    const V zero = Zero();
    const V alpha = Right32<24>(pixels);
    const V factors = AndNot(Equal32(alpha, zero), UnpremultiplyFactors(alpha));
    // (colour << 8) * factor >> 16
    return Narrow16(MulHigh16(Low8(zero, pixels), Or(Shuffle8(factors, at.low), at.keepFourth)),
                    MulHigh16(High8(zero, pixels), Or(Shuffle8(factors, at.high), at.keepFourth)));
}

inline void VectorUnpremultiply(const Sample* src, Sample* dst, std::int32_t n) {
    const FactorPlaces at;
    AnyWidth<kVectorBytes / 4>(
        n, [=](const Sample* from, Sample* to) { Store(to, StraightOf(Load(from), at)); },
        In<4>{src}, Out<4>{dst});
}

inline bool AreOpaque(V pixels) {
    return IsAllSet(Equal8(Or(pixels, All32(0x00ffffff)), All8(0xff)));
}

// Most pixels are opaque. Opaque ones cover what they lie on, and over opaque ones everything is
// opaque again: then nothing is to be multiplied by their alpha or divided by the result's.
inline void Composite(V top, Sample* to, const AlphaPlaces& alphas, const FactorPlaces& factors) {
    if (AreOpaque(top)) {
        Store(to, top);
        return;
    }
    const V under = Load(to);
    Store(to, AreOpaque(under) ? OverOpaqueOf(top, under, alphas)
                               : StraightOf(OverOf(top, under, alphas), factors));
}

// The factor is a word in each 32 bits.
inline V TimesOpacity(V pixels, V factor, V toFourth) {
    const V alpha = Shuffle8(Product256(Right32<24>(pixels), factor), toFourth);
    return Or(And(pixels, All32(0x00ffffff)), alpha);
}

inline void VectorComposite(const Sample* src, Sample* dst, std::int32_t n, int opacity) {
    constexpr int kAllOfIt = 256;
    alignas(16) static constexpr std::uint8_t kToFourth[16] = {128, 128, 128, 0, 128, 128, 128, 4,
                                                               128, 128, 128, 8, 128, 128, 128, 12};
    const AlphaPlaces alphas;
    const FactorPlaces factors;
    const V factor = All32(opacity);
    const V toFourth = LoadLanes(kToFourth);
    if (opacity == kAllOfIt) {
        AnyWidth<kVectorBytes / 4>(
            n, [=](const Sample* from, Sample* to) { Composite(Load(from), to, alphas, factors); },
            In<4>{src}, InOut<4>{dst});
        return;
    }
    AnyWidth<kVectorBytes / 4>(
        n,
        [=](const Sample* from, Sample* to) {
            Composite(TimesOpacity(Load(from), factor, toFourth), to, alphas, factors);
        },
        In<4>{src}, InOut<4>{dst});
}

inline void VectorInsertFourth(const Sample* src, const Sample* plane, Sample* dst,
                               std::int32_t n) {
    const V colours = All32(0x00ffffff);
    AnyWidth<kVectorBytes>(
        n,
        [=](const Sample* from, const Sample* alpha, Sample* to) {
            V words[2];
            V fourths[4];
            Zip8(Zero(), Load(alpha), &words[0], &words[1]);
            Zip16(Zero(), words[0], &fourths[0], &fourths[1]);
            Zip16(Zero(), words[1], &fourths[2], &fourths[3]);
            V quads[4];
            LoadFour(from, quads);
            for (int i = 0; i < 4; ++i) quads[i] = Or(And(quads[i], colours), fourths[i]);
            StoreFour(to, quads);
        },
        In<4>{src}, In<1>{plane}, Out<4>{dst});
}

// --- Blends with constant weights: (s a + d b) >> kBits with a + b = 2^kBits. Of samples less 128
// the sum of products fits a signed word, and the result is less by 128 as well. So around grey it
// is the same.

inline V LessGrey(V bytes) { return Xor(bytes, All8(0x80)); }

template <int kBits>
inline void VectorMix(const Sample* src, Sample* dst, std::int32_t n, int a, int b) {
    const V weights = All16(a | b << 8);
    AnyWidth<kVectorBytes>(
        n,
        [=](const Sample* from, Sample* to) {
            const V s = LessGrey(Load(from));
            const V d = LessGrey(Load(to));
            const V low = RightSigned16<kBits>(SumProducts8(weights, Low8(s, d)));
            const V high = RightSigned16<kBits>(SumProducts8(weights, High8(s, d)));
            Store(to, LessGrey(NarrowSigned16(low, high)));
        },
        In<1>{src}, InOut<1>{dst});
}

inline void VectorMixConst(const Sample* src, Sample* dst, std::int32_t n, int a, int b) {
    // Weights of 256 are no bytes.
    if (a == 256) std::memcpy(dst, src, static_cast<std::size_t>(n));
    if (a != 256 && b != 256) VectorMix<8>(src, dst, n, a, b);
}

inline void VectorMixConstPacked(const Sample* src, Sample* dst, std::int32_t pairs, int a2,
                                 int b2) {
    VectorMix<7>(src, dst, 4 * pairs, a2, b2);
}

// Even and odd bytes as words, neither unpacked nor packed again.
inline void VectorBlendPattern(const std::uint16_t* even, const std::uint16_t* odd, Sample* row,
                               std::int32_t n, int weight) {
    const V factor = All16(weight);
    const V low = All16(0xff);
    AnyWidth<kVectorBytes>(
        n,
        [=](Sample* to) mutable {
            const V old = Load(to);
            const V evens = Add16(Mul16(And(old, low), factor), Load(even));
            const V odds = Add16(Mul16(Right16<8>(old), factor), Load(odd));
            Store(to, Or(Right16<8>(evens), AndNot(low, odds)));
            even += kVectorBytes / 2;
            odd += kVectorBytes / 2;
        },
        InOut<1>{row});
}

// --- Blends through a plane: (s a + d (255 - a) + 255) >> 8 = ((s - d) a + 256 d + 255 - d) >> 8.

// Alphas as words.
inline V MixThrough(V s, V d, V lowAlpha, V highAlpha) {
    const V zero = Zero();
    const V rest = Xor(d, All8(0xff));
    const V low = Mul16(Sub16(Low8(s, zero), Low8(d, zero)), lowAlpha);
    const V high = Mul16(Sub16(High8(s, zero), High8(d, zero)), highAlpha);
    return Narrow16(Right16<8>(Add16(low, Low8(rest, d))), Right16<8>(Add16(high, High8(rest, d))));
}

inline V MixThrough(V s, V d, V alpha) {
    return MixThrough(s, d, Low8(alpha, Zero()), High8(alpha, Zero()));
}

inline void MixAt(const Sample* from, V alpha, Sample* to) {
    Store(to, MixThrough(Load(from), Load(to), alpha));
}

inline void VectorMixPlane1(const Sample* src, const Sample* plane, Sample* dst, std::int32_t n) {
    AnyWidth<kVectorBytes>(
        n,
        [](const Sample* from, const Sample* alpha, Sample* to) { MixAt(from, Load(alpha), to); },
        In<1>{src}, In<1>{plane}, InOut<1>{dst});
}

inline void VectorMixPlane3(const Sample* src, const Sample* plane, Sample* dst, std::int32_t n) {
    AnyWidth<kVectorBytes>(
        n,
        [](const Sample* from, const Sample* alpha, Sample* to) {
            V triples[3];
            Triple(Load(alpha), triples);
            for (int i = 0; i < 3; ++i)
                MixAt(from + i * kVectorBytes, triples[i], to + i * kVectorBytes);
        },
        In<3>{src}, In<1>{plane}, InOut<3>{dst});
}

inline void VectorMixPlane4(const Sample* src, const Sample* plane, Sample* dst, std::int32_t n) {
    alignas(32) static constexpr std::uint8_t kLow[32] = {
        0, 128, 0, 128, 0, 128, 0, 128, 1, 128, 1, 128, 1, 128, 1, 128,  //
        4, 128, 4, 128, 4, 128, 4, 128, 5, 128, 5, 128, 5, 128, 5, 128};
    const V low = Load(kLow);
    const V high = Add16(low, All16(2));
    AnyWidth<kVectorBytes / 4>(
        n,
        [=](const Sample* from, const Sample* alphas, Sample* to) {
            const V alpha = FourForEachLane(alphas);
            Store(to,
                  MixThrough(Load(from), Load(to), Shuffle8(alpha, low), Shuffle8(alpha, high)));
        },
        In<4>{src}, In<1>{plane}, InOut<4>{dst});
}

// Half the sums of neighbours, as words.
inline V PairMeans(V plane) { return Right16<1>(SumProducts8(plane, All8(1))); }

inline void VectorMixPlaneHalf(const Sample* src, const Sample* plane, Sample* dst,
                               std::int32_t n) {
    AnyWidth<kVectorBytes>(
        n,
        [](const Sample* from, const Sample* alpha, Sample* to) {
            MixAt(from,
                  InOrder(Narrow16(PairMeans(Load(alpha)), PairMeans(Load(alpha + kVectorBytes)))),
                  to);
        },
        In<1>{src}, In<2>{plane}, InOut<1>{dst});
}

template <LumaPlace kPlace>
inline void VectorMixPlanePacked(const Sample* src, const Sample* plane, Sample* dst,
                                 std::int32_t pairs) {
    AnyWidth<kVectorBytes / 2>(
        pairs,
        [](const Sample* from, const Sample* alpha, Sample* to) {
            const V luma = Load(alpha);
            const V means = PairMeans(luma);
            const V chroma = Or(means, Left16<8>(means));
            V alphas[2];
            if constexpr (kPlace == kLumaFirst)
                Zip8(luma, chroma, &alphas[0], &alphas[1]);
            else
                Zip8(chroma, luma, &alphas[0], &alphas[1]);
            MixAt(from, alphas[0], to);
            MixAt(from + kVectorBytes, alphas[1], to + kVectorBytes);
        },
        In<4>{src}, In<2>{plane}, InOut<4>{dst});
}

inline void UseVectorRows(BlendRows* rows) {
    *rows = {
        VectorMul8,
        VectorMulC8,
        VectorAddC,
        VectorAlphaOver,
        VectorUnpremultiply,
        VectorComposite,
        VectorInsertFourth,
        VectorMixConst,
        VectorMixConst,
        {VectorMixConstPacked, VectorMixConstPacked},
        VectorMixPlane1,
        VectorMixPlane3,
        VectorMixPlane4,
        VectorMixPlaneHalf,
        {VectorMixPlanePacked<kLumaFirst>, VectorMixPlanePacked<kLumaSecond>},
        VectorBlendPattern,
    };
}

}  // namespace
}  // namespace qdvm
