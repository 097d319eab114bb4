#include "pixels/primitives/linear_algebra.h"

#include <algorithm>
#include <cmath>

namespace qdvm {

namespace {

constexpr int kOrder = 3;

int PivotRow(const double* lu, int column) {
    int best = column;
    for (int row = column + 1; row < kOrder; ++row)
        if (std::abs(lu[kOrder * row + column]) > std::abs(lu[kOrder * best + column])) best = row;
    return best;
}

void SwapRows(double* lu, std::int32_t* permutation, int a, int b) {
    if (a == b) return;
    std::swap_ranges(lu + kOrder * a, lu + kOrder * (a + 1), lu + kOrder * b);
    std::swap(permutation[a], permutation[b]);
}

}  // namespace

ImageStatus LUDecomp_64f(const double* matrix, double* lu, std::int32_t* permutation) {
    if (!matrix || !lu || !permutation) return kImageNullPointer;
    if (lu != matrix) std::copy_n(matrix, kOrder * kOrder, lu);
    for (int i = 0; i < kOrder; ++i) permutation[i] = i;
    for (int column = 0; column < kOrder; ++column) {
        SwapRows(lu, permutation, column, PivotRow(lu, column));
        const double pivot = lu[kOrder * column + column];
        if (pivot == 0.0 || !std::isfinite(pivot)) return kImageSizeError;
        for (int row = column + 1; row < kOrder; ++row) {
            const double factor = lu[kOrder * row + column] /= pivot;
            for (int i = column + 1; i < kOrder; ++i)
                lu[kOrder * row + i] -= factor * lu[kOrder * column + i];
        }
    }
    return kImageOk;
}

ImageStatus LUBackSubst_64f(const double* lu, const std::int32_t* permutation, const double* rhs,
                            double* x) {
    if (!lu || !permutation || !rhs || !x) return kImageNullPointer;
    for (int row = 0; row < kOrder; ++row) {
        x[row] = rhs[permutation[row]];
        for (int i = 0; i < row; ++i) x[row] -= lu[kOrder * row + i] * x[i];
    }
    for (int row = kOrder - 1; row >= 0; --row) {
        for (int i = row + 1; i < kOrder; ++i) x[row] -= lu[kOrder * row + i] * x[i];
        x[row] /= lu[kOrder * row + row];
    }
    return kImageOk;
}

}  // namespace qdvm
