#pragma once

// Vector forms of the rows of the chroma key. Included behind a vector_*.h.

#include "pixels/primitives/any_width.h"
#include "pixels/primitives/forms.h"
#include "pixels/primitives/key.h"

#include <cstring>

namespace qdvm {
namespace {

constexpr int kKeyBlock = kVectorBytes / 4;  // pixels of four bytes

// The same four words throughout.
inline V FourWords(const std::int16_t* words) {
    std::int16_t all[kVectorBytes / 2];
    for (int i = 0; i < kVectorBytes / 2; ++i) all[i] = words[i % 4];
    return Load(all);
}

// An ellipsoid spread over the words of pixels; the fourth channel weighs nothing.
struct EllipsoidVectors {
    V centre;
    V weights;

    explicit EllipsoidVectors(const KeyEllipsoid& ellipsoid) {
        std::int16_t words[2][4] = {};
        std::memcpy(words[0], ellipsoid.centre, sizeof(ellipsoid.centre));
        std::memcpy(words[1], ellipsoid.weights, sizeof(ellipsoid.weights));
        centre = FourWords(words[0]);
        weights = FourWords(words[1]);
    }

    // Of kKeyBlock pixels, 32 bits each, in order.
    V Of(V pixels) const {
        return AddPairs32(Weighed(Low8(pixels, Zero())), Weighed(High8(pixels, Zero())));
    }

private:
    V Weighed(V channels) const {
        const V x = Sub16(channels, centre);
        return SumProducts16(Right16<1>(Mul16(x, x)), weights);
    }
};

// Four vectors of 32-bit numbers of 0 to 255, or of all bits, as bytes in order.
inline V BytesOfFour(V a, V b, V c, V d) {
    return InOrderTwice(Narrow16(Narrow32(a, b), Narrow32(c, d)));
}
inline V MasksOfFour(V a, V b, V c, V d) {
    return InOrderTwice(NarrowSigned16(Narrow32(a, b), Narrow32(c, d)));
}

// Few blocks lie in the ring: inside and far away there is no root to take.
inline void VectorDistance(const Sample* src, Sample* dst, std::int32_t n,
                           const KeyEllipsoid& ellipsoid) {
    const EllipsoidVectors vectors(ellipsoid);
    const V halfP = All32(ellipsoid.halfP);
    const V nearest = All32(ellipsoid.nearReach);
    const V farthest = All32(ellipsoid.farReach);
    AnyWidth<kVectorBytes>(
        n,
        [&](const Sample* pixels, Sample* to) {
            V e[4];
            for (int i = 0; i < 4; ++i) e[i] = vectors.Of(Load(pixels + i * kVectorBytes));
            const auto masks = [&](V limit) {
                return MasksOfFour(Greater32(limit, e[0]), Greater32(limit, e[1]),
                                   Greater32(limit, e[2]), Greater32(limit, e[3]));
            };
            const V isNear = masks(nearest);
            const V isFar = Xor(masks(farthest), All8(-1));
            if (IsAllSet(Or(isNear, isFar))) {
                Store(to, isFar);
                return;
            }
            for (V& distance : e) distance = RootOver(Sub32(distance, halfP), ellipsoid.gain);
            Store(to, BytesOfFour(e[0], e[1], e[2], e[3]));
        },
        In<4>{src}, Out<1>{dst});
}

inline void VectorCut(const Sample* src, Sample* dst, std::int32_t n, const KeyEllipsoid& ellipsoid,
                      std::int32_t reach) {
    const EllipsoidVectors vectors(ellipsoid);
    const V limit = All32(reach);
    const auto inside = [&](const Sample* pixels) {
        return Greater32(limit, vectors.Of(Load(pixels)));
    };
    AnyWidth<kVectorBytes>(
        n,
        [&](const Sample* pixels, Sample* to) {
            const V cut =
                MasksOfFour(inside(pixels), inside(pixels + kVectorBytes),
                            inside(pixels + 2 * kVectorBytes), inside(pixels + 3 * kVectorBytes));
            Store(to, AndNot(cut, Load(to)));
        },
        In<4>{src}, InOut<1>{dst});
}

inline void VectorHalve(const Sample* src, Sample* dst, std::int32_t n) {
    const auto means = [](V samples) {
        return Right16<1>(Add16(SumProducts8(samples, All8(1)), All16(1)));
    };
    AnyWidth<kVectorBytes>(
        n,
        [&](const Sample* from, Sample* to) {
            Store(to, InOrder(Narrow16(means(Load(from)), means(Load(from + kVectorBytes)))));
        },
        In<2>{src}, Out<1>{dst});
}

// a b, limited to words, >> 7.
inline V LimitedProduct(V a, V b) {
    const V low = Mul16(a, b);
    const V high = MulHighSigned16(a, b);
    return RightSigned16<7>(Narrow32(Low16(low, high), High16(low, high)));
}

struct SpillVectors {
    V subtract, key, scale, zero;

    explicit SpillVectors(const SpillMatrix& matrix)
        : subtract(FourWords(matrix.subtract)),
          key(FourWords(matrix.key)),
          scale(FourWords(matrix.scale)),
          zero(FourWords(matrix.zero)) {}

    // Far from the key, where m is 0.
    V Unkeyed(V bytes) const {
        return Add16(RightSigned16<7>(Mul16(Sub16(bytes, zero), All16(127))), zero);
    }

    V Corrected(V bytes, V m) const {
        const V a = LimitedProduct(LimitedProduct(m, subtract), key);
        const V b = MaxSigned16(Add16(LimitedProduct(m, scale), All16(127)), Zero());
        return Add16(LimitedProduct(Sub16(Sub16(bytes, zero), a), b), zero);
    }
};

inline void VectorSpillMatrix(Sample* packed, const Sample* amount, std::int32_t groups,
                              const SpillMatrix& matrix) {
    const SpillVectors vectors(matrix);
    AnyWidth<kKeyBlock>(
        groups,
        [&](Sample* at, const Sample* m) {
            const V bytes = Load(at);
            const V amounts = FourTimes(m);
            if (IsAllSet(Equal8(amounts, Zero()))) {
                Store(at, Narrow16(vectors.Unkeyed(Low8(bytes, Zero())),
                                   vectors.Unkeyed(High8(bytes, Zero()))));
                return;
            }
            Store(at, Narrow16(vectors.Corrected(Low8(bytes, Zero()), Low8(amounts, Zero())),
                               vectors.Corrected(High8(bytes, Zero()), High8(amounts, Zero()))));
        },
        InOut<4>{packed}, In<1>{amount});
}

inline V WithinDifference(V t) { return MinSigned16(MaxSigned16(t, All16(-128)), All16(127)); }

// -a where the mask's words are set.
inline V Turned(V a, V mask) { return Sub16(Xor(a, mask), mask); }

template <bool kIsGrown>
struct StepVectors {
    V from, gain, scale, turned, add, strength;

    explicit StepVectors(const SpillSteps& steps) {
        // (x * 64) (scale * 4) >> 16 is x scale >> 8.
        std::int16_t gains[4];
        std::int16_t scales[4];
        std::int16_t masks[4];
        for (int j = 0; j < 4; ++j) {
            gains[j] = static_cast<std::int16_t>(steps.turn[j] * 64);
            scales[j] = static_cast<std::int16_t>(steps.scale[j] * 4);
            masks[j] = static_cast<std::int16_t>(steps.turn[j] < 0 ? -1 : 0);
        }
        from = FourWords(steps.from);
        gain = FourWords(gains);
        scale = FourWords(scales);
        turned = FourWords(masks);
        add = FourWords(steps.add);
        strength = FourWords(steps.strength);
    }

    V Stepped(V bytes) const {
        const V scaled = MulHighSigned16(Mul16(Sub16(bytes, from), gain), scale);
        const V t = WithinDifference(Add16(Turned(scaled, turned), add));
        return Add16(WithinDifference(kIsGrown ? Grown(t) : Stretched(t)), All16(128));
    }

private:
    V Grown(V t) const {
        const V sign = RightSigned16<15>(t);
        const V grown = Add16(Turned(t, sign), strength);
        return Turned(MaxSigned16(grown, Zero()), sign);
    }

    V Stretched(V t) const {
        const V low = SumProducts16(Low16(t, All16(255)), Low16(strength, All16(1)));
        const V high = SumProducts16(High16(t, All16(255)), High16(strength, All16(1)));
        return Narrow32(RightSigned32<8>(low), RightSigned32<8>(high));
    }
};

template <bool kIsGrown>
void StepRow(Sample* packed, std::int32_t groups, const SpillSteps& steps) {
    const StepVectors<kIsGrown> vectors(steps);
    AnyWidth<kKeyBlock>(
        groups,
        [&](Sample* at) {
            const V bytes = Load(at);
            Store(at, Narrow16(vectors.Stepped(Low8(bytes, Zero())),
                               vectors.Stepped(High8(bytes, Zero()))));
        },
        InOut<4>{packed});
}

inline void VectorSpillSteps(Sample* packed, std::int32_t groups, const SpillSteps& steps) {
    (steps.isGrown ? StepRow<true> : StepRow<false>)(packed, groups, steps);
}

inline void UseVectorRows(KeyRows* rows) {
    *rows = {VectorDistance, VectorCut, VectorHalve, VectorSpillMatrix, VectorSpillSteps};
}

}  // namespace
}  // namespace qdvm
