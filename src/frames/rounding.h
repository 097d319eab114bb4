#pragma once

// Doubles to integers: add 0.5 away from zero, then truncate. Beyond the integer's range the result
// is its nearest end; not-a-number gives 0.

#include <cstdint>
#include <limits>

namespace qdvm {

constexpr std::int64_t RoundToInt64(double value) {
    constexpr double kEnd = 9223372036854775808.0;  // 2^63
    const double shifted = value >= 0 ? value + 0.5 : value - 0.5;
    if (shifted >= kEnd) return std::numeric_limits<std::int64_t>::max();
    if (shifted <= -kEnd) return std::numeric_limits<std::int64_t>::min();
    return shifted == shifted ? static_cast<std::int64_t>(shifted) : 0;
}

constexpr std::int32_t RoundToInt32(double value) {
    const std::int64_t wide = RoundToInt64(value);
    if (wide > std::numeric_limits<std::int32_t>::max())
        return std::numeric_limits<std::int32_t>::max();
    if (wide < std::numeric_limits<std::int32_t>::min())
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(wide);
}

}  // namespace qdvm
