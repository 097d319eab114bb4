#include "pixels/primitives/perspective.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace qdvm {

namespace {

double Cross(QuadPoint a, QuadPoint b, QuadPoint c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

double SquaredReach(const QuadPoint* quad) {
    double reach = 0;
    for (int i = 1; i < 4; ++i)
        reach = std::max({reach, std::abs(quad[i].x - quad[0].x), std::abs(quad[i].y - quad[0].y)});
    return reach * reach;
}

bool HasThreeInLine(const QuadPoint* quad) {
    constexpr double kFlat = 1e-12;
    const double least = kFlat * SquaredReach(quad);
    for (int skip = 0; skip < 4; ++skip) {
        const double area = Cross(quad[(skip + 1) % 4], quad[(skip + 2) % 4], quad[(skip + 3) % 4]);
        if (!(std::abs(area) > least)) return true;
    }
    return false;
}

// The map of the unit square onto the quadrangle.
PerspectiveCoeffs SquareToQuad(const QuadPoint* q) {
    const double dx1 = q[1].x - q[2].x;
    const double dy1 = q[1].y - q[2].y;
    const double dx2 = q[3].x - q[2].x;
    const double dy2 = q[3].y - q[2].y;
    const double sx = q[0].x - q[1].x + q[2].x - q[3].x;
    const double sy = q[0].y - q[1].y + q[2].y - q[3].y;
    const double det = dx1 * dy2 - dx2 * dy1;
    const double g = (sx * dy2 - dx2 * sy) / det;
    const double h = (dx1 * sy - sx * dy1) / det;
    return {{q[1].x - q[0].x + g * q[1].x, q[3].x - q[0].x + h * q[3].x, q[0].x,
             q[1].y - q[0].y + g * q[1].y, q[3].y - q[0].y + h * q[3].y, q[0].y, g, h, 1.0}};
}

bool IsFinite(const PerspectiveCoeffs& coeffs) {
    return std::all_of(std::begin(coeffs.c), std::end(coeffs.c),
                       [](double value) { return std::isfinite(value); });
}

}  // namespace

ImageStatus GetPerspectiveTransform(ImageRect roi, const QuadPoint* quad,
                                    PerspectiveCoeffs* coeffs) {
    if (!quad || !coeffs) return kImageNullPointer;
    if (roi.width < 1 || roi.height < 1) return kImageSizeError;
    if (HasThreeInLine(quad)) return kImageSizeError;
    PerspectiveCoeffs map = SquareToQuad(quad);
    for (int row = 0; row < 9; row += 3) {
        map.c[row] /= roi.width;
        map.c[row + 1] /= roi.height;
        map.c[row + 2] -= map.c[row] * roi.x + map.c[row + 1] * roi.y;
    }
    constexpr double kVanishing = 1e-12;
    if (!(std::abs(map.c[8]) > kVanishing)) return kImageSizeError;
    for (int i = 0; i < 8; ++i) map.c[i] /= map.c[8];
    map.c[8] = 1.0;
    if (!IsFinite(map)) return kImageSizeError;
    *coeffs = map;
    return kImageOk;
}

ImageStatus GetPerspectiveBound(ImageRect roi, PerspectiveBound* bound,
                                const PerspectiveCoeffs& coeffs) {
    if (!bound) return kImageNullPointer;
    if (roi.width < 1 || roi.height < 1) return kImageSizeError;
    const double* c = coeffs.c;
    std::array<double, 4> x{};
    std::array<double, 4> y{};
    for (int i = 0; i < 4; ++i) {
        const double cornerX = roi.x + (i & 1 ? roi.width : 0.0);
        const double cornerY = roi.y + (i & 2 ? roi.height : 0.0);
        const double depth = c[6] * cornerX + c[7] * cornerY + c[8];
        x[i] = (c[0] * cornerX + c[1] * cornerY + c[2]) / depth;
        y[i] = (c[3] * cornerX + c[4] * cornerY + c[5]) / depth;
        if (!std::isfinite(x[i]) || !std::isfinite(y[i])) return kImageSizeError;
    }
    const auto [left, right] = std::minmax_element(x.begin(), x.end());
    const auto [top, bottom] = std::minmax_element(y.begin(), y.end());
    *bound = {*left, *top, *right, *bottom};
    return kImageOk;
}

}  // namespace qdvm
