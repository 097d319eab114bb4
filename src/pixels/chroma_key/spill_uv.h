#pragma once

// The UV form of spill removal: chroma near the key is drawn to grey, and the key's colour is taken
// from what is left.

#include "pixels/primitives/region.h"

#include <qdvideomixer/chroma_key.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace qdvm {

struct UvSpill {
    bool isGreen;  // the key has more green than blue
    bool lumaFirst;
    std::int32_t chroma;  // strengths, as in ChromaKeyEntry
    std::int32_t saturation;
    std::int32_t luma;
    std::array<std::int32_t, 2> keyChroma;  // of the key less 128, U and V
};

// colour: the key, red lowest. packedKey: the key as a group of packed 4:2:2.
UvSpill MakeUvSpill(const ChromaKeyEntry& entry, std::uint32_t colour,
                    const std::array<Sample, 4>& packedKey, bool lumaFirst);

// Results for each byte by the value of the spill plane, filled in as they are needed.
inline constexpr std::size_t kUvTableBytes = 256 * (3 * 256 + 1);

// Corrects `pairs` groups of packed 4:2:2 by their values of `amount`. `table` has kUvTableBytes,
// all 0 before the first row with this `spill`.
void ApplyUvSpill(const UvSpill& spill, Sample* packed, const Sample* amount, std::int32_t pairs,
                  Sample* table);

}  // namespace qdvm
