#pragma once

// One axis of a resampling: which source samples a target sample is made of.
//
// Samples lie in the middle of their pixels: target sample i, at i + 1/2, lies at
// (i + 1/2 - shift) / factor in the source region, whose first sample lies at 1/2. So the corners
// of the region land on the corners of the target, and the picture does not move. Beyond its edges
// the region is continued by its own outermost samples. Where factor takes the region exactly onto
// the target, the second half of the axis is the mirror image of the first, so that a mirrored
// picture gives exactly the mirrored result.

#include "pixels/primitives/resize_columns.h"

#include <array>
#include <cmath>

namespace qdvm {

inline bool IsFactor(double factor) { return std::isfinite(factor) && factor > 0; }

class ResizeAxis {
public:
    // `source` and `target` samples, at least 1 each. factor is above 0 and finite.
    ResizeAxis(std::int32_t source, std::int32_t target, double factor, double shift);

    std::int32_t Source() const { return source; }
    std::int32_t Target() const { return target; }
    // The factor takes the source exactly onto the target.
    bool IsSymmetric() const { return isSymmetric; }

    std::int32_t Nearest(std::int32_t i) const;

    // Neighbours first and first + 1; the second counts as the first if the source has only one.
    struct Linear {
        std::int32_t first;
        int weightSecond;  // of kLinearOne
    };
    Linear LinearAt(std::int32_t i) const;

    // Neighbours first to first + 3. Those beyond the source's last sample have no weight.
    struct Cubic {
        std::int32_t first;
        std::array<std::int16_t, kCubicTaps> weights;
    };
    Cubic CubicAt(std::int32_t i) const;

    // The part of the source under target sample i, in samples: `firstPart` of the one at `first`,
    // all of those between, `lastPart` of the one at `last`. If they are the same, firstPart is
    // all.
    struct Area {
        std::int32_t first;
        std::int32_t last;
        double firstPart;
        double lastPart;
        double Total() const;
    };
    Area AreaAt(std::int32_t i) const;

private:
    double EdgeAt(double targetEdge) const;
    double PlaceAt(std::int32_t i) const;
    bool IsMirrored(std::int32_t i) const { return isSymmetric && i > (target - 1) / 2; }

    std::int32_t source;
    std::int32_t target;
    double step;
    double shift;
    bool isSymmetric;
};

// Fills the table for the target columns from `start`, FilledColumns(count) of them. `count` is at
// most kStripColumns.
void FillColumns(const ResizeAxis& axis, std::int32_t start, std::int32_t count, int pixelBytes,
                 LinearColumns* columns);
void FillColumns(const ResizeAxis& axis, std::int32_t start, std::int32_t count,
                 CubicColumns* columns);

}  // namespace qdvm
