#include "pixels/primitives/key.h"

#include "pixels/primitives/checks.h"
#include "pixels/primitives/forms.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qdvm {

namespace {

constexpr double kLargestHalfP = 1073741822.0;
constexpr double kLargestWeight = 16382.0;
constexpr float kSmallestGain = 0.001f;
// Beyond it the sums of a ring leave 64 bits; a ring as wide as this is endless for any pixel.
constexpr std::int32_t kWidestRing = 1 << 23;

std::int32_t DistanceAt(const KeyEllipsoid& ellipsoid, std::int32_t beyond) {
    const float root = std::sqrt(static_cast<float>(beyond));
    return static_cast<std::int32_t>(std::lrint(std::min(root / ellipsoid.gain, 255.0f)));
}

}  // namespace

KeyEllipsoid MakeKeyEllipsoid(const Sample* centre, const Sample* delta, std::int32_t softness) {
    std::int64_t axes[3];
    for (int j = 0; j < 3; ++j) axes[j] = std::max<std::int64_t>(delta[j], 1);
    const std::int64_t product = axes[0] * axes[1] * axes[2];
    const double whole = static_cast<double>(product * product);
    double weights[3];
    double factor = std::max(whole / 2 / kLargestHalfP, 0.001);
    for (int j = 0; j < 3; ++j) {
        weights[j] = whole / static_cast<double>(axes[j] * axes[j]);
        factor = std::max(factor, weights[j] / kLargestWeight);
    }

    KeyEllipsoid ellipsoid{};
    const std::int64_t scaled = std::llround(whole / factor);
    const std::int64_t ring = std::clamp(softness, -kWidestRing, kWidestRing);
    std::int64_t sum = 0;
    for (int j = 0; j < 3; ++j) {
        ellipsoid.centre[j] = std::clamp<std::int16_t>(centre[j], 1, 254);
        ellipsoid.weights[j] = static_cast<std::int16_t>(std::lround(weights[j] / factor));
        sum += (axes[j] + ring) * (axes[j] + ring) * ellipsoid.weights[j];
    }
    ellipsoid.halfP = static_cast<std::int32_t>(scaled / 2);
    const std::int64_t beyond = 2 * (sum / 3 - scaled);
    const float gain = beyond > 0 ? std::sqrt(static_cast<float>(beyond)) / 512.0f : kSmallestGain;
    ellipsoid.gain = gain > 0 ? gain : kSmallestGain;
    ellipsoid.nearReach = KeyReach(ellipsoid, 0);
    ellipsoid.farReach = KeyReach(ellipsoid, 254);
    return ellipsoid;
}

std::int32_t KeyReach(const KeyEllipsoid& ellipsoid, std::int32_t level) {
    constexpr std::int32_t kEndless = std::numeric_limits<std::int32_t>::max();
    if (level < 0) return 0;
    // Distances grow with what they are taken from, so the first one above the level can be
    // searched for by halves.
    std::int32_t low = 0;
    std::int32_t high = kEndless - ellipsoid.halfP;
    if (DistanceAt(ellipsoid, high) <= level) return kEndless;
    while (low < high) {
        const std::int32_t middle = low + (high - low) / 2;
        if (DistanceAt(ellipsoid, middle) > level)
            high = middle;
        else
            low = middle + 1;
    }
    return ellipsoid.halfP + low;
}

ImageStatus KeyDistance_8u_AC4C1R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                                  std::ptrdiff_t dstStride, ImageSize size,
                                  const KeyEllipsoid& ellipsoid) {
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{size.width} * 4;
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{src, srcStride, rowBytes, size.height},
                   Side{dst, dstStride, size.width, size.height});
    if (status != kImageOk) return status;
    const auto distance = Forms().keys.distance;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        distance(src + row * srcStride, dst + row * dstStride, size.width, ellipsoid);
    return kImageOk;
}

ImageStatus KeyCut_8u_AC4C1R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                             std::ptrdiff_t dstStride, ImageSize size,
                             const KeyEllipsoid& ellipsoid, std::int32_t reach) {
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{size.width} * 4;
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{src, srcStride, rowBytes, size.height},
                   Side{dst, dstStride, size.width, size.height});
    if (status != kImageOk) return status;
    const auto cut = Forms().keys.cut;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        cut(src + row * srcStride, dst + row * dstStride, size.width, ellipsoid, reach);
    return kImageOk;
}

ImageStatus HalveAcross_8u_C1R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                               std::ptrdiff_t dstStride, ImageSize size) {
    const ImageStatus status = CheckSides(
        size, kOnePixel, Side{src, srcStride, std::ptrdiff_t{size.width} * 2, size.height},
        Side{dst, dstStride, size.width, size.height});
    if (status != kImageOk) return status;
    const auto halve = Forms().keys.halve;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        halve(src + row * srcStride, dst + row * dstStride, size.width);
    return kImageOk;
}

ImageStatus SpillMatrix_8u_C4IR(Sample* packed, std::ptrdiff_t stride, const Sample* amount,
                                std::ptrdiff_t amountStride, ImageSize size,
                                const SpillMatrix& matrix) {
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{size.width} * 4;
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{packed, stride, rowBytes, size.height},
                   Side{amount, amountStride, size.width, size.height});
    if (status != kImageOk) return status;
    const auto apply = Forms().keys.spillMatrix;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        apply(packed + row * stride, amount + row * amountStride, size.width, matrix);
    return kImageOk;
}

ImageStatus SpillSteps_8u_C4IR(Sample* packed, std::ptrdiff_t stride, ImageSize size,
                               const SpillSteps& steps) {
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{size.width} * 4;
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{packed, stride, rowBytes, size.height});
    if (status != kImageOk) return status;
    const auto apply = Forms().keys.spillSteps;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        apply(packed + row * stride, size.width, steps);
    return kImageOk;
}

}  // namespace qdvm
