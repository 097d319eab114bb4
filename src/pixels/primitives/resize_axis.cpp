#include "pixels/primitives/resize_axis.h"

#include "pixels/primitives/cubic_kernel.h"

#include <algorithm>
#include <cmath>

namespace qdvm {

namespace {

// False if the row is shorter than a window, or the columns reach farther than one.
bool PlaceWindow(LinearColumns* columns, std::int32_t window, std::int32_t source, int pixelBytes) {
    const std::int32_t begin = window * WindowColumns(pixelBytes);
    const std::int32_t end = begin + WindowColumns(pixelBytes);
    const std::int64_t rowBytes = std::int64_t{source} * pixelBytes;
    const std::int64_t offset =
        std::min(std::int64_t{columns->first[begin]} * pixelBytes, rowBytes - kWindowBytes);
    const std::int64_t reach = (std::int64_t{columns->first[end - 1]} + 2) * pixelBytes;
    if (offset < 0 || reach - offset > kWindowBytes || rowBytes > INT32_MAX) return false;
    columns->windows[window] = static_cast<std::int32_t>(offset);
    Sample* places = columns->places + std::ptrdiff_t{window} * kWindowBytes;
    std::fill_n(places, kWindowBytes, Sample{128});
    for (std::int32_t i = begin; i < end; ++i)
        for (int c = 0; c < pixelBytes; ++c) {
            const std::int64_t place = std::int64_t{columns->first[i]} * pixelBytes + c - offset;
            *places++ = static_cast<Sample>(place);
            *places++ = static_cast<Sample>(place + pixelBytes);
        }
    return true;
}

std::int32_t RepeatingColumns(const LinearColumns& columns) {
    constexpr std::int32_t kWeights = 2 * kRepeatColumns;
    constexpr std::int32_t kPlaces = kRepeatColumns / WindowColumns(4) * kWindowBytes;
    if (std::find(columns.weights, columns.weights + kWeights, Sample{kLinearOne}) !=
        columns.weights + kWeights)
        return 0;
    std::int32_t repeating = 0;
    for (; repeating + kRepeatColumns <= columns.count; repeating += kRepeatColumns) {
        const std::ptrdiff_t group = repeating / kRepeatColumns;
        if (!std::equal(columns.weights, columns.weights + kWeights,
                        columns.weights + group * kWeights) ||
            !std::equal(columns.places, columns.places + kPlaces, columns.places + group * kPlaces))
            break;
    }
    return repeating;
}

}  // namespace

ResizeAxis::ResizeAxis(std::int32_t sourceCount, std::int32_t targetCount, double factor,
                       double targetShift)
    : source(sourceCount),
      target(targetCount),
      step(1.0 / factor),
      shift(targetShift),
      isSymmetric(targetShift == 0.0 &&
                  std::abs(sourceCount * factor - targetCount) < 1e-6 * targetCount) {}

double ResizeAxis::EdgeAt(double targetEdge) const {
    return std::clamp((targetEdge - shift) * step, 0.0, static_cast<double>(source));
}

double ResizeAxis::PlaceAt(std::int32_t i) const {
    return std::clamp((i + 0.5 - shift) * step - 0.5, -1.0, static_cast<double>(source));
}

std::int32_t ResizeAxis::Nearest(std::int32_t i) const {
    if (IsMirrored(i)) return source - 1 - Nearest(target - 1 - i);
    return std::clamp(static_cast<std::int32_t>(std::floor(PlaceAt(i) + 0.5)), 0, source - 1);
}

ResizeAxis::Linear ResizeAxis::LinearAt(std::int32_t i) const {
    const std::int32_t lastFirst = std::max(source - 2, 0);
    if (IsMirrored(i)) {
        const Linear mirrored = LinearAt(target - 1 - i);
        return {lastFirst - mirrored.first, kLinearOne - mirrored.weightSecond};
    }
    const double place = std::clamp(PlaceAt(i), 0.0, source - 1.0);
    const std::int32_t first = std::min(static_cast<std::int32_t>(place), lastFirst);
    return {first, static_cast<int>((place - first) * kLinearOne + 0.5)};
}

ResizeAxis::Cubic ResizeAxis::CubicAt(std::int32_t i) const {
    const std::int32_t window = std::min(source, kCubicTaps);
    const std::int32_t lastFirst = source - window;
    Cubic result{};
    if (IsMirrored(i)) {
        const Cubic mirrored = CubicAt(target - 1 - i);
        result.first = lastFirst - mirrored.first;
        for (std::int32_t tap = 0; tap < window; ++tap)
            result.weights[tap] = mirrored.weights[window - 1 - tap];
        return result;
    }
    const double place = PlaceAt(i);
    const double whole = std::floor(place);
    const CubicWeights weights = CubicWeightsAt(place - whole);
    const std::int32_t start = static_cast<std::int32_t>(whole) - 1;
    result.first = std::clamp(start, 0, lastFirst);
    for (std::int32_t tap = 0; tap < kCubicTaps; ++tap) {
        const std::int32_t sample = std::clamp(start + tap, 0, source - 1);
        std::int16_t& weight = result.weights[sample - result.first];
        weight = static_cast<std::int16_t>(weight + weights[tap]);
    }
    return result;
}

double ResizeAxis::Area::Total() const {
    return first == last ? firstPart : firstPart + (last - first - 1) + lastPart;
}

ResizeAxis::Area ResizeAxis::AreaAt(std::int32_t i) const {
    if (IsMirrored(i)) {
        const Area mirrored = AreaAt(target - 1 - i);
        const bool isOne = mirrored.first == mirrored.last;
        return {source - 1 - mirrored.last, source - 1 - mirrored.first,
                isOne ? mirrored.firstPart : mirrored.lastPart, mirrored.firstPart};
    }
    // Parts smaller than this are what is left of rounding.
    constexpr double kNothing = 1e-9;
    const double left = EdgeAt(i);
    const double right = EdgeAt(i + 1.0);
    if (right - left < kNothing) {
        const std::int32_t nearest = Nearest(i);
        return {nearest, nearest, 1.0, 1.0};
    }
    Area area{};
    area.first = std::min(static_cast<std::int32_t>(left + kNothing), source - 1);
    area.last = std::clamp(static_cast<std::int32_t>(std::ceil(right - kNothing)) - 1, area.first,
                           source - 1);
    if (area.first == area.last) {
        area.firstPart = area.lastPart = right - left;
    } else {
        area.firstPart = area.first + 1 - left;
        area.lastPart = right - area.last;
    }
    return area;
}

void FillColumns(const ResizeAxis& axis, std::int32_t start, std::int32_t count, int pixelBytes,
                 LinearColumns* columns) {
    columns->count = count;
    const std::int32_t filled = FilledColumns(count);
    for (std::int32_t i = 0; i < filled; ++i) {
        const ResizeAxis::Linear tap = axis.LinearAt(start + std::min(i, count - 1));
        columns->first[i] = tap.first;
        columns->weights[2 * i] = static_cast<Sample>(kLinearOne - tap.weightSecond);
        columns->weights[2 * i + 1] = static_cast<Sample>(tap.weightSecond);
    }
    columns->hasWindows = true;
    const std::int32_t windows = filled / WindowColumns(pixelBytes);
    for (std::int32_t window = 0; window < windows && columns->hasWindows; ++window)
        columns->hasWindows = PlaceWindow(columns, window, axis.Source(), pixelBytes);
    columns->repeating = columns->hasWindows && pixelBytes == 4 ? RepeatingColumns(*columns) : 0;
}

void FillColumns(const ResizeAxis& axis, std::int32_t start, std::int32_t count,
                 CubicColumns* columns) {
    columns->count = count;
    const std::int32_t filled = FilledColumns(count);
    for (std::int32_t i = 0; i < filled; ++i) {
        const ResizeAxis::Cubic tap = axis.CubicAt(start + std::min(i, count - 1));
        columns->first[i] = tap.first;
        std::copy(tap.weights.begin(), tap.weights.end(), columns->weights + kCubicTaps * i);
    }
}

}  // namespace qdvm
