#pragma once

// What the walks over the rows of a linear resampling share, for pixels and for packed 4:2:2.

#include "pixels/primitives/forms.h"
#include "pixels/primitives/resize_axis.h"

#include <algorithm>
#include <iterator>

namespace qdvm {

inline constexpr int kMaxPixelBytes = 4;

// The sums of the last kRows source rows. Neighbouring rows never share a place.
template <int kRows>
class SumRows {
public:
    // Sums of a source row, made by `across` if they are not there.
    template <class Across>
    const std::int16_t* Get(std::int32_t row, Across across) {
        const int slot = row % kRows;
        if (rows[slot] != row) {
            across(row, sums[slot]);
            rows[slot] = row;
        }
        return sums[slot];
    }

    // For the next strip.
    void Forget() { std::fill(std::begin(rows), std::end(rows), -1); }

private:
    alignas(64) std::int16_t sums[kRows][kStripColumns * kMaxPixelBytes + kSumsPadding];
    std::int32_t rows[kRows];
};

inline bool Keeps(const ResizeAxis& axis) {
    return axis.Source() == axis.Target() && axis.IsSymmetric();
}
inline bool Halves(const ResizeAxis& axis) {
    return axis.Source() == 2 * std::int64_t{axis.Target()} && axis.IsSymmetric();
}
inline bool Doubles(const ResizeAxis& axis) {
    return axis.Target() == 2 * std::int64_t{axis.Source()} && axis.IsSymmetric();
}

// The source rows of a target row, and the weight of the lower one, below kLinearOne.
struct LinearRows {
    std::int32_t above;
    std::int32_t below;
    int weightBelow;
};

inline LinearRows LinearRowsAt(const ResizeAxis& axis, std::int32_t row) {
    const ResizeAxis::Linear tap = axis.LinearAt(row);
    const std::int32_t second = std::min(tap.first + 1, axis.Source() - 1);
    if (tap.weightSecond == kLinearOne) return {second, second, 0};
    return {tap.first, second, tap.weightSecond};
}

// The source rows of a row of twice as many.
struct NearerAndFarther {
    std::int32_t nearer;
    std::int32_t farther;
};

inline NearerAndFarther PlaceOfDoubled(std::int32_t row, std::int32_t source) {
    const std::int32_t nearer = row / 2;
    return {nearer, std::clamp(row % 2 ? nearer + 1 : nearer - 1, 0, source - 1)};
}

// Two rows of `source` pixels to one of twice as many. The outermost ones have neighbours on one
// side only.
inline void DoubleRow(const Sample* nearer, const Sample* farther, Sample* dst, std::int32_t source,
                      int pixelKind, int pixelBytes) {
    const std::ptrdiff_t lastFrom = std::ptrdiff_t{source - 1} * pixelBytes;
    const std::ptrdiff_t lastTo = std::ptrdiff_t{2 * source - 1} * pixelBytes;
    for (int c = 0; c < pixelBytes; ++c) {
        const auto mix = [&](std::ptrdiff_t at) {
            return static_cast<Sample>((3 * nearer[at] + farther[at] + 2) >> 2);
        };
        dst[c] = mix(c);
        dst[lastTo + c] = mix(lastFrom + c);
    }
    if (source > 1) Forms().resize.twice[pixelKind](nearer, farther, dst + pixelBytes, source - 1);
}

}  // namespace qdvm
