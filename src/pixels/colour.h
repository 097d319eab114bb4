#pragma once

// A colour number in the bytes of a pixel format. Colours are 0xAABBGGRR, red in the low byte.

#include <qdvideomixer/object.h>

#include <array>
#include <cstdint>
#include <optional>

namespace qdvm {

struct YuvColour {
    BYTE y;
    BYTE u;
    BYTE v;
    bool operator==(const YuvColour&) const = default;
};

// Studio range, ITU-R BT.601.
YuvColour RGBToYUV601(std::uint32_t colour);

// The bytes of one pixel group in memory order: a pixel, a pair of pixels for packed 4:2:2, or the
// samples Y, U, V for the three planes of I420 and YV12.
struct PackedColour {
    std::array<BYTE, 4> bytes;
    int length;
};

// Nothing for a format that has no form of a colour (RGB8, v210 and others).
std::optional<PackedColour> PackColour(std::int32_t fccType, std::uint32_t colour);

}  // namespace qdvm
