#include "pixels/primitives/forms.h"
#include "pixels/primitives/resize_columns.h"

namespace qdvm {

namespace {

Sample Limit(int value) { return static_cast<Sample>(value < 0 ? 0 : value > 255 ? 255 : value); }

template <int kBytes>
void LinearAcross(const Sample* src, std::ptrdiff_t /*rowBytes*/, const LinearColumns& columns,
                  std::int16_t* dst) {
    for (std::ptrdiff_t i = 0; i < columns.count; ++i) {
        const Sample* left = src + std::ptrdiff_t{columns.first[i]} * kBytes;
        const Sample* weights = columns.weights + 2 * i;
        for (int c = 0; c < kBytes; ++c)
            dst[kBytes * i + c] = static_cast<std::int16_t>(
                left[c] * weights[0] + left[kBytes + c] * weights[1] + kLinearHalf);
    }
}

void LinearDown(const std::int16_t* above, const std::int16_t* below, int weightBelow, Sample* dst,
                std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const int change = (below[i] - above[i]) * weightBelow;
        dst[i] = static_cast<Sample>((above[i] + ((change + kLinearHalf) >> kLinearBits)) >>
                                     kLinearBits);
    }
}

void LinearBetween(const Sample* above, const Sample* below, int weightBelow, Sample* dst,
                   std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i)
        dst[i] = static_cast<Sample>(
            (above[i] * (kLinearOne - weightBelow) + below[i] * weightBelow + kLinearHalf) >>
            kLinearBits);
}

template <int kBytes>
void CubicAcross(const Sample* src, std::ptrdiff_t /*rowBytes*/, const CubicColumns& columns,
                 std::int16_t* dst) {
    constexpr int kShift = kCubicBits - kCubicFraction;
    for (std::ptrdiff_t i = 0; i < columns.count; ++i) {
        const Sample* first = src + std::ptrdiff_t{columns.first[i]} * kBytes;
        const std::int16_t* weights = columns.weights + kCubicTaps * i;
        for (int c = 0; c < kBytes; ++c) {
            int sum = 1 << (kShift - 1);
            for (int tap = 0; tap < kCubicTaps; ++tap)
                sum += first[kBytes * tap + c] * weights[tap];
            dst[kBytes * i + c] = static_cast<std::int16_t>(sum >> kShift);
        }
    }
}

void CubicDown(const std::int16_t* const* rows, const std::int16_t* weights, Sample* dst,
               std::int32_t n) {
    constexpr int kShift = kCubicBits + kCubicFraction;
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        int sum = 1 << (kShift - 1);
        for (int tap = 0; tap < kCubicTaps; ++tap) sum += rows[tap][i] * weights[tap];
        dst[i] = Limit(sum >> kShift);
    }
}

template <int kBytes>
void Halve(const Sample* above, const Sample* below, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i)
        for (int c = 0; c < kBytes; ++c) {
            const std::ptrdiff_t at = 2 * kBytes * i + c;
            dst[kBytes * i + c] = static_cast<Sample>(
                (above[at] + above[at + kBytes] + below[at] + below[at + kBytes] + 2) >> 2);
        }
}

template <LumaPlace kPlace>
void HalvePacked(const Sample* above, const Sample* below, Sample* dst, std::int32_t pairs) {
    for (std::ptrdiff_t i = 0; i < pairs; ++i) {
        const auto mean = [&](int a, int b) {
            return static_cast<Sample>(
                (above[8 * i + a] + above[8 * i + b] + below[8 * i + a] + below[8 * i + b] + 2) >>
                2);
        };
        constexpr int kChroma = 1 - kPlace;
        dst[4 * i + kPlace] = mean(kPlace, kPlace + 2);
        dst[4 * i + kPlace + 2] = mean(kPlace + 4, kPlace + 6);
        dst[4 * i + kChroma] = mean(kChroma, kChroma + 4);
        dst[4 * i + kChroma + 2] = mean(kChroma + 2, kChroma + 6);
    }
}

// The same arithmetic as the linear kernel at factor 2.
template <int kBytes>
void Twice(const Sample* nearer, const Sample* farther, Sample* dst, std::int32_t n) {
    const auto column = [&](std::ptrdiff_t at) { return 3 * nearer[at] + farther[at]; };
    for (std::ptrdiff_t i = 0; i < n; ++i)
        for (int c = 0; c < kBytes; ++c) {
            const int left = column(kBytes * i + c);
            const int right = column(kBytes * (i + 1) + c);
            dst[2 * kBytes * i + c] = static_cast<Sample>((3 * left + right + 8) >> 4);
            dst[2 * kBytes * i + kBytes + c] = static_cast<Sample>((left + 3 * right + 8) >> 4);
        }
}

}  // namespace

const ResizeRows kResizeRowsPlain = {
    {LinearAcross<1>, LinearAcross<3>, LinearAcross<4>},
    LinearDown,
    LinearBetween,
    {CubicAcross<1>, CubicAcross<3>, CubicAcross<4>},
    CubicDown,
    {Halve<1>, Halve<3>, Halve<4>},
    {HalvePacked<kLumaFirst>, HalvePacked<kLumaSecond>},
    {Twice<1>, Twice<3>, Twice<4>},
};

}  // namespace qdvm
