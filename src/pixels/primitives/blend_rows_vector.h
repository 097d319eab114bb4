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

// `top` over `under`: words of the pixels and of their alphas, each alpha four times.
inline V OverOf(V top, V topAlpha, V under, V underAlpha, V wholeFourth) {
    // A factor of 255 leaves the fourth channel, which is alpha itself, as it is.
    const V shown = Product255(top, Or(topAlpha, wholeFourth));
    const V behind =
        Product255(Product255(under, Or(underAlpha, wholeFourth)), Sub16(All16(255), topAlpha));
    return Add16(shown, behind);
}

inline void VectorAlphaOver(const Sample* top, const Sample* under, Sample* dst, std::int32_t n) {
    alignas(16) static constexpr std::uint8_t kLowAlpha[16] = {3, 128, 3, 128, 3, 128, 3, 128,
                                                               7, 128, 7, 128, 7, 128, 7, 128};
    alignas(16) static constexpr std::uint8_t kHighAlpha[16] = {11, 128, 11, 128, 11, 128, 11, 128,
                                                                15, 128, 15, 128, 15, 128, 15, 128};
    alignas(16) static constexpr std::uint16_t kWholeFourth[8] = {0, 0, 0, 255, 0, 0, 0, 255};
    const V low = LoadLanes(kLowAlpha);
    const V high = LoadLanes(kHighAlpha);
    const V wholeFourth = LoadLanes(kWholeFourth);
    const V zero = Zero();
    AnyWidth<kVectorBytes / 4>(
        n,
        [=](const Sample* a, const Sample* b, Sample* to) {
            const V t = Load(a);
            const V u = Load(b);
            Store(to, Narrow16(OverOf(Low8(t, zero), Shuffle8(t, low), Low8(u, zero),
                                      Shuffle8(u, low), wholeFourth),
                               OverOf(High8(t, zero), Shuffle8(t, high), High8(u, zero),
                                      Shuffle8(u, high), wholeFourth)));
        },
        In<4>{top}, In<4>{under}, Out<4>{dst});
}

inline void VectorUnpremultiply(const Sample* src, Sample* dst, std::int32_t n) {
    // A pixel's factor for its three colours; 256, which changes nothing, for its alpha.
    alignas(16) static constexpr std::uint8_t kLow[16] = {0, 1, 0, 1, 0, 1, 128, 128,
                                                          4, 5, 4, 5, 4, 5, 128, 128};
    alignas(16) static constexpr std::uint8_t kHigh[16] = {8,  9,  8,  9,  8,  9,  128, 128,
                                                           12, 13, 12, 13, 12, 13, 128, 128};
    alignas(16) static constexpr std::uint16_t kKeepFourth[8] = {0, 0, 0, 256, 0, 0, 0, 256};
    const V low = LoadLanes(kLow);
    const V high = LoadLanes(kHigh);
    const V keepFourth = LoadLanes(kKeepFourth);
    const V zero = Zero();
    AnyWidth<kVectorBytes / 4>(
        n,
        [=](const Sample* from, Sample* to) {
            const V pixels = Load(from);
            const V alpha = Right32<24>(pixels);
            const V factors = AndNot(Equal32(alpha, zero), UnpremultiplyFactors(alpha));
            // (colour << 8) * factor >> 16
            Store(to, Narrow16(
                          MulHigh16(Low8(zero, pixels), Or(Shuffle8(factors, low), keepFourth)),
                          MulHigh16(High8(zero, pixels), Or(Shuffle8(factors, high), keepFourth))));
        },
        In<4>{src}, Out<4>{dst});
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

// --- Blends with constant weights: (s a + d (2^kBits - a)) >> kBits = ((s - d) a + (d << kBits))
// >> kBits, modulo 2^16 on the way. Around grey it is the same, as 128 takes part with the full
// weight.

template <int kBits>
inline V MixOf(V s, V d, V weight) {
    return Right16<kBits>(Add16(Mul16(Sub16(s, d), weight), Left16<kBits>(d)));
}

template <int kBits>
inline void VectorMix(const Sample* src, Sample* dst, std::int32_t n, int a) {
    const V weight = All16(a);
    const V zero = Zero();
    AnyWidth<kVectorBytes>(
        n,
        [=](const Sample* from, Sample* to) {
            const V s = Load(from);
            const V d = Load(to);
            Store(to, Narrow16(MixOf<kBits>(Low8(s, zero), Low8(d, zero), weight),
                               MixOf<kBits>(High8(s, zero), High8(d, zero), weight)));
        },
        In<1>{src}, InOut<1>{dst});
}

inline void VectorMixConst(const Sample* src, Sample* dst, std::int32_t n, int a, int /*b*/) {
    VectorMix<8>(src, dst, n, a);
}

inline void VectorMixConstPacked(const Sample* src, Sample* dst, std::int32_t pairs, int a2,
                                 int /*b2*/) {
    VectorMix<7>(src, dst, 4 * pairs, a2);
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
