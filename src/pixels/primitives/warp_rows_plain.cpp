#include "pixels/primitives/cubic_kernel.h"
#include "pixels/primitives/forms.h"
#include "pixels/primitives/warp_line.h"

#include <cmath>

namespace qdvm {

namespace {

struct Place {
    std::int32_t x;
    std::int32_t y;
};

// Not a number counts as the lower limit.
std::int32_t PlaceOn(double value, std::int32_t samples) {
    const double limit = static_cast<double>(samples - 1) * kPlaceOne;
    if (!(value > 0.0)) return 0;
    return static_cast<std::int32_t>(std::nearbyint(value < limit ? value : limit));
}

Place PlaceAt(const WarpLine& line, std::int32_t column) {
    const double at = column;
    const double shown = 1.0 / (line.depth + line.stepDepth * at);
    return {PlaceOn((line.x + line.stepX * at) * shown, line.width),
            PlaceOn((line.y + line.stepY * at) * shown, line.height)};
}

// Two neighbours on one axis; the last sample stands for its neighbour beyond the edge.
struct Neighbours {
    std::int32_t first;
    std::int32_t second;
    int weightSecond;
};

Neighbours NeighboursOf(std::int32_t place, std::int32_t samples) {
    const std::int32_t first = place >> kPlaceBits;
    return {first, first + 1 < samples ? first + 1 : first, place & (kPlaceOne - 1)};
}

template <int kBytes>
void Nearest(const WarpLine& line, std::int32_t x, std::int32_t n, Sample* dst) {
    for (std::int32_t i = 0; i < n; ++i, dst += kBytes) {
        const Place place = PlaceAt(line, x + i);
        const std::ptrdiff_t column = (place.x + kPlaceOne / 2) >> kPlaceBits;
        const std::ptrdiff_t row = (place.y + kPlaceOne / 2) >> kPlaceBits;
        for (int c = 0; c < kBytes; ++c)
            dst[c] = line.region[row * line.stride + column * kBytes + c];
    }
}

template <int kBytes>
void Linear(const WarpLine& line, std::int32_t x, std::int32_t n, Sample* dst) {
    for (std::int32_t i = 0; i < n; ++i, dst += kBytes) {
        const Place place = PlaceAt(line, x + i);
        const Neighbours columns = NeighboursOf(place.x, line.width);
        const Neighbours rows = NeighboursOf(place.y, line.height);
        const Sample* above = line.region + rows.first * line.stride;
        const Sample* below = line.region + rows.second * line.stride;
        for (int c = 0; c < kBytes; ++c) {
            const auto across = [&](const Sample* row) {
                return row[std::ptrdiff_t{columns.first} * kBytes + c] *
                           (kPlaceOne - columns.weightSecond) +
                       row[std::ptrdiff_t{columns.second} * kBytes + c] * columns.weightSecond;
            };
            const int sum =
                across(above) * (kPlaceOne - rows.weightSecond) + across(below) * rows.weightSecond;
            constexpr int kShift = 2 * kPlaceBits;
            dst[c] = static_cast<Sample>((sum + (1 << (kShift - 1))) >> kShift);
        }
    }
}

constexpr auto MakeCubicTable() {
    std::array<CubicWeights, kPlaceOne> table{};
    for (int i = 0; i < kPlaceOne; ++i)
        table[i] = CubicWeightsAt(static_cast<double>(i) / kPlaceOne);
    return table;
}

constexpr std::array<CubicWeights, kPlaceOne> kCubicTable = MakeCubicTable();

std::ptrdiff_t Inside(std::int32_t index, std::int32_t samples) {
    return index < 0 ? 0 : index < samples ? index : samples - 1;
}

template <int kBytes>
Sample CubicSample(const WarpLine& line, Place place, int channel) {
    const CubicWeights& across = kCubicTable[place.x & (kPlaceOne - 1)];
    const CubicWeights& down = kCubicTable[place.y & (kPlaceOne - 1)];
    std::int64_t sum = std::int64_t{1} << (2 * kCubicBits - 1);
    for (int row = 0; row < kCubicTaps; ++row) {
        const Sample* samples =
            line.region + Inside((place.y >> kPlaceBits) + row - 1, line.height) * line.stride +
            channel;
        int rowSum = 0;
        for (int tap = 0; tap < kCubicTaps; ++tap)
            rowSum += samples[Inside((place.x >> kPlaceBits) + tap - 1, line.width) * kBytes] *
                      across[tap];
        sum += std::int64_t{rowSum} * down[row];
    }
    const std::int64_t value = sum >> (2 * kCubicBits);
    return static_cast<Sample>(value < 0 ? 0 : value > 255 ? 255 : value);
}

template <int kBytes>
void Cubic(const WarpLine& line, std::int32_t x, std::int32_t n, Sample* dst) {
    for (std::int32_t i = 0; i < n; ++i, dst += kBytes) {
        const Place place = PlaceAt(line, x + i);
        for (int c = 0; c < kBytes; ++c) dst[c] = CubicSample<kBytes>(line, place, c);
    }
}

}  // namespace

const WarpRows kWarpRowsPlain = {
    {Nearest<1>, Nearest<3>, Nearest<4>},
    {Linear<1>, Linear<3>, Linear<4>},
    {Cubic<1>, Cubic<3>, Cubic<4>},
};

}  // namespace qdvm
