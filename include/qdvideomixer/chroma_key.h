#pragma once

// The chroma key of a stream: up to 16 key colours that become transparent, and the removal of the
// light that a coloured backdrop throws onto what stands before it.

#include <qdvideomixer/object.h>

#include <cstdint>

namespace qdvm {

// In which colour space a key measures how far a pixel is from it.
enum eVM_KeyType : std::int32_t {
    eVMK_None = 0,
    eVMK_Alpha = 1,  // nothing is computed: the picture's own fourth byte rules
    eVMK_RGB = 2,    // channels red, green, blue
    eVMK_HLS = 3,    // channels hue (255 for 360 degrees), lightness, saturation
    // Full-range channels Y, U, V of which blue takes the part of red and red that of blue: U grows
    // with red, V with blue. Pure green is (150, 53, 0), a light one such as a painted wall near
    // (110, 90, 75).
    eVMK_YUV = 4,
};

enum eVM_SpillMode : std::int32_t {
    eVMSM_None = 0,
    eVMSM_Matrix = 1,  // so does every value but 0 and 2
    eVMSM_UV = 2,
};

enum eVM_KeyFlags : std::int32_t {
    eVMKF_Invert = 0x1,     // what is keyed shows, all else becomes transparent
    eVMKF_SpillAway = 0x2,  // spill removal is strong away from the key instead of near it
};

inline constexpr std::int32_t kMaxChromaKeys = 16;

// One key: an ellipsoid in the colour space. Pixels inside it are transparent. Any bits may stand
// in any field. Colours and deltas hold one byte for each channel, the first channel lowest.
struct ChromaKeyEntry {
    std::uint32_t keyColour;  // centre, each channel taken as 1 to 254; the top byte means nothing
    std::uint32_t keyDelta;   // half-axes, a 0 counts as 1; all four bytes 0: the entry is off
    // Width in channel steps of the ring around the ellipsoid in which the plane grows from 0 to
    // 255. Everything above 0 becomes opaque in the end, so the ring decides where the edge falls.
    std::int32_t keySoftness;
    std::int32_t
        keyFloor;  // added to the entry's plane, limited; 255: only its spill removal counts
    std::int32_t spillExtraDelta;  // added to each byte of keyDelta for spill removal, limited
    std::int32_t spillChroma;      // strength of taking the key's colour away
    std::int32_t spillSaturation;  // strength of the change of saturation
    std::int32_t spillLuma;        // strength of the change of luma
    // Not 0: the entry takes part in spill removal even with the three above at 0.
    std::int32_t spillEnable;
};

struct ChromaKeySettings {
    std::int32_t keyType;  // eVM_KeyType
    std::int32_t nKeys;    // entries that count, at most kMaxChromaKeys
    ChromaKeyEntry keys[kMaxChromaKeys];
    std::int32_t nSmooth;      // passes of smoothing over the finished plane; each after the first
                               // takes a pixel off the edge
    std::int32_t nSpillMode;   // eVM_SpillMode
    std::int32_t bInterlaced;  // set by the mixer: each field is keyed as a picture of its own
    std::int32_t nFlags;       // eVM_KeyFlags
};
static_assert(sizeof(ChromaKeySettings) == 4 * (2 + 9 * kMaxChromaKeys + 4));

}  // namespace qdvm
