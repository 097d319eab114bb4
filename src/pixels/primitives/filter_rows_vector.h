#pragma once

// Vector forms of the rows of plane filters. Included behind a vector_*.h.

#include "pixels/primitives/any_width.h"
#include "pixels/primitives/forms.h"

namespace qdvm {
namespace {

// Samples as words, in the order that Narrow16 turns back.
struct Words {
    V low;
    V high;
};

inline Words WordsOf(const Sample* p) {
    const V bytes = Load(p);
    return {Low8(bytes, Zero()), High8(bytes, Zero())};
}

inline Words operator+(const Words& a, const Words& b) {
    return {Add16(a.low, b.low), Add16(a.high, b.high)};
}

inline Words Twice(const Words& a) { return {Left16<1>(a.low), Left16<1>(a.high)}; }

// Runs block(a, b, c, target) on the rows above, at and below; block reads two samples more than it
// writes. The rest of a row comes in through copies of each of the three columns.
template <class Column, class Finish>
inline void Filter3x3Row(const Sample* a, const Sample* b, const Sample* c, Sample* dst,
                         std::int32_t n, Column column, Finish finish) {
    AnyWidth<kVectorBytes>(
        n,
        [=](const Sample* a0, const Sample* b0, const Sample* c0, const Sample* a1,
            const Sample* b1, const Sample* c1, const Sample* a2, const Sample* b2,
            const Sample* c2, Sample* to) {
            Store(to, finish(column(a0, b0, c0), column(a1, b1, c1), column(a2, b2, c2)));
        },
        In<1>{a}, In<1>{b}, In<1>{c}, In<1>{a + 1}, In<1>{b + 1}, In<1>{c + 1}, In<1>{a + 2},
        In<1>{b + 2}, In<1>{c + 2}, Out<1>{dst});
}

inline void VectorBox3(const Sample* a, const Sample* b, const Sample* c, Sample* dst,
                       std::int32_t n) {
    const V five = All16(5);
    // (sum * 455) >> 12 as the high half of a product.
    const V factor = All16(455 * 16);
    Filter3x3Row(
        a, b, c, dst, n,
        [](const Sample* above, const Sample* at, const Sample* below) {
            return WordsOf(above) + WordsOf(at) + WordsOf(below);
        },
        [=](const Words& left, const Words& middle, const Words& right) {
            const Words sum = left + middle + right;
            return Narrow16(MulHigh16(Add16(sum.low, five), factor),
                            MulHigh16(Add16(sum.high, five), factor));
        });
}

inline void VectorGauss3(const Sample* a, const Sample* b, const Sample* c, Sample* dst,
                         std::int32_t n) {
    const auto round = [](V v) {
        const V odd = And(Right16<4>(v), All16(1));
        return Right16<4>(Add16(Add16(v, odd), All16(7)));
    };
    Filter3x3Row(
        a, b, c, dst, n,
        [](const Sample* above, const Sample* at, const Sample* below) {
            return WordsOf(above) + Twice(WordsOf(at)) + WordsOf(below);
        },
        [=](const Words& left, const Words& middle, const Words& right) {
            const Words sum = left + Twice(middle) + right;
            return Narrow16(round(sum.low), round(sum.high));
        });
}

template <V (*kExtreme)(V, V)>
inline void VectorExtreme3(const Sample* a, const Sample* b, const Sample* c, Sample* dst,
                           std::int32_t n) {
    AnyWidth<kVectorBytes>(
        n,
        [](const Sample* first, const Sample* second, const Sample* third, Sample* to) {
            Store(to, kExtreme(kExtreme(Load(first), Load(second)), Load(third)));
        },
        In<1>{a}, In<1>{b}, In<1>{c}, Out<1>{dst});
}

// Samples for which kExtreme(sample, threshold) is the sample stay.
template <V (*kExtreme)(V, V)>
inline void VectorThreshold(Sample* row, std::int32_t n, Sample threshold, Sample value) {
    const V limit = All8(threshold);
    const V replacement = All8(value);
    AnyWidth<kVectorBytes>(
        n,
        [=](Sample* at) {
            const V samples = Load(at);
            const V stays = Equal8(kExtreme(samples, limit), samples);
            Store(at, Or(And(stays, samples), AndNot(stays, replacement)));
        },
        InOut<1>{row});
}

inline void UseVectorRows(FilterRows* rows) {
    *rows = {VectorBox3,           VectorGauss3,          VectorExtreme3<Min8>,
             VectorExtreme3<Max8>, VectorThreshold<Min8>, VectorThreshold<Max8>};
}

}  // namespace
}  // namespace qdvm
