#pragma once

// What every primitive works on: a region of 8-bit samples, given by a pointer to its first pixel,
// a signed stride in bytes from one row to the next, and a size in pixels.

#include <cstddef>
#include <cstdint>

namespace qdvm {

struct ImageSize {
    std::int32_t width;
    std::int32_t height;
};

struct ImageRect {
    std::int32_t x;
    std::int32_t y;
    std::int32_t width;
    std::int32_t height;
};

// What a primitive answers: 0 or a negative number.
using ImageStatus = std::int32_t;
inline constexpr ImageStatus kImageOk = 0;
inline constexpr ImageStatus kImageSizeError = -6;  // empty or too small a region
inline constexpr ImageStatus kImageNullPointer = -8;
inline constexpr ImageStatus kImageNoMemory = -9;
inline constexpr ImageStatus kImageStrideError = -14;
inline constexpr ImageStatus kImageNotSupported = -9999;

}  // namespace qdvm
