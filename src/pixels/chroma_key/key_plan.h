#pragma once

// Settings of a chroma key worked out for the pixels: what each entry asks of a row.

#include "pixels/chroma_key/spill_uv.h"
#include "pixels/primitives/key.h"

#include <qdvideomixer/chroma_key.h>

#include <array>
#include <cstdint>

namespace qdvm {

// Where luma stands in the groups of packed 4:2:2 that spill removal works on.
enum class LumaAt { kEven, kOdd };

// An entry that cuts a hole into the plane.
struct KeyHole {
    KeyEllipsoid ellipsoid;
    std::int32_t reach;  // KeyCut_8u_AC4C1R
};

// An entry that takes part in spill removal.
struct KeySpill {
    KeyEllipsoid ellipsoid;
    SpillMatrix matrix;
    UvSpill uv;
};

struct KeyPlan {
    std::int32_t keys = 0;  // entries that count for the plane, also those that cut no hole
    std::int32_t holes = 0;
    std::int32_t spills = 0;  // 0 without spill removal
    std::int32_t smooth = 0;  // passes
    bool isUvSpill = false;
    bool isSpillAway = false;
    bool isInverted = false;
    std::array<KeyHole, kMaxChromaKeys> hole;
    std::array<KeySpill, kMaxChromaKeys> spill;
};

// Whether a key with these settings writes to the frame.
bool RemovesSpill(const ChromaKeySettings& settings);

// settings.keyType is RGB, HLS or YUV; any bits may stand in the other fields.
KeyPlan MakeKeyPlan(const ChromaKeySettings& settings, LumaAt luma);

// The ellipsoid of an entry for pixels in the order of memory: channels in the order of the words.
KeyEllipsoid EllipsoidOf(std::uint32_t colour, std::uint32_t delta, std::int32_t softness);

}  // namespace qdvm
