#pragma once

// Perspective maps of a rectangle onto a quadrangle. Coordinates are continuous: pixel i covers i
// to i + 1, so a rectangle's corners are (x, y), (x + width, y), (x + width, y + height), (x, y +
// height).

#include "pixels/primitives/region.h"

namespace qdvm {

struct QuadPoint {
    double x;
    double y;
};

// Row order: x' = (c0 x + c1 y + c2) / (c6 x + c7 y + c8), y' with c3 to c5, c8 = 1.
struct PerspectiveCoeffs {
    double c[9];
};

struct PerspectiveBound {
    double x0;
    double y0;
    double x1;
    double y1;
};

// The map that takes the corners of roi, from the top left one clockwise, to quad[0] to quad[3].
// kImageSizeError for an empty roi or corners that make no map: three in a line, not finite.
ImageStatus GetPerspectiveTransform(ImageRect roi, const QuadPoint* quad,
                                    PerspectiveCoeffs* coeffs);

// The box around the four mapped corners of roi. kImageSizeError if one of them is mapped to
// infinity.
ImageStatus GetPerspectiveBound(ImageRect roi, PerspectiveBound* bound,
                                const PerspectiveCoeffs& coeffs);

}  // namespace qdvm
