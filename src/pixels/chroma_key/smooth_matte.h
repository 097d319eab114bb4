#pragma once

// From a binary matte to an alpha plane with soft edges.

#include "pixels/primitives/region.h"

#include <cstddef>
#include <cstdint>

namespace qdvm {

struct Plane {
    Sample* data;
    std::ptrdiff_t stride;
};

// passes - 1 times an erosion and a blur that never grows the matte, then a blur of 1 2 1 in both
// directions into `plane`. The outermost rows and columns are those of the matte. `matte` and
// `other` are working memory of `size`; the matte is overwritten. passes is at least 1.
// A picture without an interior is copied and gives the status of the filter that found none.
ImageStatus SmoothMatte(Plane matte, Plane other, Plane plane, ImageSize size, std::int32_t passes);

}  // namespace qdvm
