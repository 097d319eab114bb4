#pragma once

// One row of a warp's target and the source places that its pixels come from.

#include "pixels/primitives/region.h"

namespace qdvm {

// Source places are counted in 1/128 of a pixel.
inline constexpr int kPlaceBits = 7;
inline constexpr int kPlaceOne = 1 << kPlaceBits;

// A place is (x + stepX * column) / (depth + stepDepth * column), in 1/128 pixels from the middle
// of the region's first pixel, limited to the middles of the region's outermost pixels and rounded
// to the nearest, halves to even. Doubles throughout, in this order of operations: all forms agree.
struct WarpLine {
    const Sample* region;  // first pixel of the source region
    std::ptrdiff_t stride;
    std::int32_t width;
    std::int32_t height;
    double x;
    double y;
    double depth;
    double stepX;
    double stepY;
    double stepDepth;
};

}  // namespace qdvm
