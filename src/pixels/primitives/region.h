#pragma once

// What every primitive works on: a region of 8-bit samples, given by a pointer to its first pixel,
// a signed stride in bytes from one row to the next, and a size in pixels.
//
// Rules of all primitives, unless one says otherwise: arguments are checked before anything is
// written, null pointers first; nothing outside the region is read or written; source and
// destination do not overlap; pointers and strides need no alignment; nothing is allocated and no
// state is kept, so that any number of threads may call at the same time.

#include <cstddef>
#include <cstdint>

namespace qdvm {

// One 8-bit sample.
using Sample = std::uint8_t;

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
inline constexpr ImageStatus kImageStrideError = -14;  // rows of a region would overlap
inline constexpr ImageStatus kImageNotSupported = -9999;

// Which byte of a pixel of packed 4:2:2 is luma.
enum class PackedOrder : std::int32_t { kLumaFirst = 0, kLumaSecond = 1 };

// Three planes in the order Y, U, V, with their strides in bytes.
using ConstPlanes = const Sample* const*;
using Planes = Sample* const*;
using PlaneStrides = const std::ptrdiff_t*;

}  // namespace qdvm
