#pragma once

// How a clipped rect of one format becomes one of another.

#include "pixels/primitives/region.h"

#include <qdvideomixer/object.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace qdvm {

// One side of a conversion: where the rows of the rect lie, walked alike on both sides.
template <class Byte>
struct ConvertSide {
    std::array<Byte*, 3> plane;            // first row; Y, U, V for planar formats
    std::array<std::ptrdiff_t, 3> stride;  // bytes
    std::int32_t top;                      // line of the picture in which the rect begins
    std::int32_t chromaRows;               // of the whole picture, if it is 4:2:0
};

struct ConvertJob {
    ConvertSide<const BYTE> from;
    ConvertSide<BYTE> to;
    ImageSize size;   // in pixels
    bool setsFourth;  // the destination's fourth byte has a meaning, the source's has none
};

using ConvertRoute = ImageStatus (*)(const ConvertJob& job);

// Null if there is none.
ConvertRoute FindConvertRoute(std::int32_t fromFcc, std::int32_t toFcc);

}  // namespace qdvm
