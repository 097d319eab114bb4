#include "pixels/colour.h"

#include "frames/format_table.h"
#include "frames/rounding.h"

#include <algorithm>

namespace qdvm {

namespace {

struct Channels {
    BYTE r;
    BYTE g;
    BYTE b;
    BYTE a;
};

Channels Split(std::uint32_t colour) {
    return {static_cast<BYTE>(colour), static_cast<BYTE>(colour >> 8),
            static_cast<BYTE>(colour >> 16), static_cast<BYTE>(colour >> 24)};
}

BYTE Clamped(double value) {
    return static_cast<BYTE>(std::clamp<std::int32_t>(RoundToInt32(value), 0, 255));
}

PackedColour Word(unsigned value) {
    return {{static_cast<BYTE>(value), static_cast<BYTE>(value >> 8), 0, 0}, 2};
}

}  // namespace

YuvColour RGBToYUV601(std::uint32_t colour) {
    const auto [r, g, b, a] = Split(colour);
    (void)a;
    return {Clamped(0.257 * r + 0.504 * g + 0.098 * b + 16),
            Clamped(-0.148 * r - 0.291 * g + 0.439 * b + 128),
            Clamped(0.439 * r - 0.368 * g - 0.071 * b + 128)};
}

std::optional<PackedColour> PackColour(std::int32_t fccType, std::uint32_t colour) {
    const auto [r, g, b, a] = Split(colour);
    const auto [y, u, v] = RGBToYUV601(colour);
    switch (fccType) {
        case kFccI420:
        case kFccYV12:
            return PackedColour{{y, u, v, 0}, 3};
        case kFccYUY2:
            return PackedColour{{y, u, y, v}, 4};
        case kFccUYVY:
        case kFccHDYC:
            return PackedColour{{u, y, v, y}, 4};
        case kFccYVYU:
            return PackedColour{{y, v, y, u}, 4};
        case kFccRGB32:
        case kFccARGB32:
            return PackedColour{{b, g, r, a}, 4};
        case kFccRGB24:
            return PackedColour{{b, g, r, 0}, 3};
        case kFccRGB565:
            return Word((r >> 3) << 11 | (g >> 2) << 5 | b >> 3);
        case kFccRGB555:
            return Word((r >> 3) << 10 | (g >> 3) << 5 | b >> 3);
        default:
            return {};
    }
}

}  // namespace qdvm
