#pragma once

// Cubic convolution over four neighbours (Keys' kernel with a = -1/2): it keeps ramps, and
// overshoots a step by at most 2/27 of it.

#include "pixels/primitives/resize_columns.h"

#include <array>

namespace qdvm {

using CubicWeights = std::array<std::int16_t, kCubicTaps>;

// Weights of the neighbours at -1, 0, 1 and 2 for a place `fraction` (0 to 1) beyond neighbour 0.
// They sum to exactly one, and those for 1 - fraction are the same in reverse.
constexpr CubicWeights CubicWeightsAt(double fraction) {
    const bool isMirrored = fraction > 0.5;
    const double t = isMirrored ? 1.0 - fraction : fraction;
    constexpr int kOne = 1 << kCubicBits;
    const auto fixed = [](double weight) {
        return static_cast<int>(weight * kOne + (weight < 0 ? -0.5 : 0.5));
    };
    const int w0 = fixed(((1.0 - 0.5 * t) * t - 0.5) * t);
    const int w2 = fixed(((2.0 - 1.5 * t) * t + 0.5) * t);
    const int w3 = fixed((0.5 * t - 0.5) * t * t);
    const int w1 = kOne - w0 - w2 - w3;
    const auto w = [](int weight) { return static_cast<std::int16_t>(weight); };
    if (isMirrored) return {w(w3), w(w2), w(w1), w(w0)};
    return {w(w0), w(w1), w(w2), w(w3)};
}

}  // namespace qdvm
