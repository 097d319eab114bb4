#pragma once

// Arithmetic on times, 100 ns. Times come from other filters and from callers, so no value may wrap
// or stop the mixer: what leaves the range stays at its nearest end.

#include <cstdint>
#include <limits>

namespace qdvm {

constexpr std::int64_t AddTimes(std::int64_t a, std::int64_t b) {
    using Limits = std::numeric_limits<std::int64_t>;
    if (b > 0 && a > Limits::max() - b) return Limits::max();
    if (b < 0 && a < Limits::min() - b) return Limits::min();
    return a + b;
}

constexpr std::int64_t SubtractTimes(std::int64_t a, std::int64_t b) {
    using Limits = std::numeric_limits<std::int64_t>;
    if (b < 0 && a > Limits::max() + b) return Limits::max();
    if (b > 0 && a < Limits::min() + b) return Limits::min();
    return a - b;
}

// `count` periods; neither may be negative.
constexpr std::int64_t TimesPeriod(std::int64_t count, std::int64_t period) {
    constexpr std::int64_t kEnd = std::numeric_limits<std::int64_t>::max();
    return period != 0 && count > kEnd / period ? kEnd : count * period;
}

}  // namespace qdvm
