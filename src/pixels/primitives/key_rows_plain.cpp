#include "pixels/primitives/forms.h"
#include "pixels/primitives/key.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace qdvm {

namespace {

std::int32_t EllipsoidOf(const Sample* pixel, const KeyEllipsoid& ellipsoid) {
    std::int32_t sum = 0;
    for (int j = 0; j < 3; ++j) {
        const std::int32_t x = pixel[j] - ellipsoid.centre[j];
        sum += ellipsoid.weights[j] * (x * x / 2);
    }
    return sum;
}

void Distance(const Sample* src, Sample* dst, std::int32_t n, const KeyEllipsoid& ellipsoid) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const std::int32_t beyond = EllipsoidOf(src + 4 * i, ellipsoid) - ellipsoid.halfP;
        const float root = std::sqrt(static_cast<float>(std::max(beyond, 0)));
        dst[i] = static_cast<Sample>(std::lrint(std::min(root / ellipsoid.gain, 255.0f)));
    }
}

void Cut(const Sample* src, Sample* dst, std::int32_t n, const KeyEllipsoid& ellipsoid,
         std::int32_t reach) {
    for (std::ptrdiff_t i = 0; i < n; ++i)
        if (EllipsoidOf(src + 4 * i, ellipsoid) < reach) dst[i] = 0;
}

void Halve(const Sample* src, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i)
        dst[i] = static_cast<Sample>((src[2 * i] + src[2 * i + 1] + 1) >> 1);
}

int Product(int a, int b) { return std::clamp(a * b, -32768, 32767) >> 7; }

void ApplyMatrix(Sample* packed, const Sample* amount, std::int32_t groups,
                 const SpillMatrix& matrix) {
    for (std::ptrdiff_t i = 0; i < 4 * std::ptrdiff_t{groups}; ++i) {
        const std::ptrdiff_t j = i % 4;
        const int m = amount[i / 4];
        const int a = Product(Product(m, matrix.subtract[j]), matrix.key[j]);
        const int b = std::max(Product(m, matrix.scale[j]) + 127, 0);
        const int zero = matrix.zero[j];
        packed[i] =
            static_cast<Sample>(std::clamp(Product(packed[i] - zero - a, b) + zero, 0, 255));
    }
}

int AsDifference(int value) { return std::clamp(value, -128, 127); }

int Grown(int value, int growth) {
    const int magnitude = std::clamp(std::abs(value) + growth, 0, 255);
    return value < 0 ? -magnitude : magnitude;
}

void ApplySteps(Sample* packed, std::int32_t groups, const SpillSteps& steps) {
    for (std::ptrdiff_t i = 0; i < 4 * std::ptrdiff_t{groups}; ++i) {
        const std::ptrdiff_t j = i % 4;
        const int turn = steps.turn[j];
        const int scaled = turn * (packed[i] - steps.from[j]) * steps.scale[j] >> 8;
        int t = AsDifference(turn * scaled + steps.add[j]);
        t = steps.isGrown ? Grown(t, steps.strength[j]) : (t * steps.strength[j] + 255) >> 8;
        packed[i] = static_cast<Sample>(AsDifference(t) + 128);
    }
}

}  // namespace

const KeyRows kKeyRowsPlain = {Distance, Cut, Halve, ApplyMatrix, ApplySteps};

}  // namespace qdvm
