#pragma once

// Small systems of linear equations: matrices of 3 x 3 doubles in row order.

#include "pixels/primitives/region.h"

namespace qdvm {

// Decomposes `matrix` into a lower (ones on its diagonal, not stored) and an upper triangle in
// `lu`, by rows chosen for the largest pivot; row i of lu is row permutation[i] of the matrix. lu
// may be matrix. kImageSizeError if the matrix has no inverse or is not finite.
ImageStatus LUDecomp_64f(const double* matrix, double* lu, std::int32_t* permutation);

// Solves the decomposed system for one right-hand side. x may not be rhs.
ImageStatus LUBackSubst_64f(const double* lu, const std::int32_t* permutation, const double* rhs,
                            double* x);

}  // namespace qdvm
