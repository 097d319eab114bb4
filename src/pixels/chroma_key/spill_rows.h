#pragma once

// Spill removal on the rows of a picture, on the heels of the key: each row is corrected as soon as
// the rows around it have been read.

#include "pixels/chroma_key/key_plan.h"
#include "pixels/chroma_key/key_rows.h"
#include "platform/trace.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace qdvm {

class SpillRows {
public:
    // Memory that a picture of this width needs. memory: so many bytes, for as long as this lives.
    static std::size_t BytesFor(const KeyPlan& plan, std::int32_t width);
    SpillRows(const KeyPicture& picture, const KeyPlan& plan, BYTE* memory);

    // Takes row y, given in the key space; rows come in order. Corrects row y - 2 of the frame, and
    // with the last row also those that waited for it.
    HRESULT Take(std::ptrdiff_t y, const BYTE* keyRow);

private:
    static constexpr int kRing = 3;
    // The spill plane of one entry: a few rows of it, and of it after one dilation.
    struct Ring {
        std::array<BYTE*, kRing> raw;
        std::array<BYTE*, kRing> grown;
        BYTE* table;
    };

    void Measure(std::ptrdiff_t y, const BYTE* keyRow);
    void Grow(const std::array<BYTE*, kRing>& from, std::ptrdiff_t y, BYTE* to);
    HRESULT Correct(std::ptrdiff_t y);
    void Apply(const KeySpill& spill, const Ring& ring, std::ptrdiff_t y, BYTE* packed);

    const KeyPicture& picture;
    const KeyPlan& plan;
    const bool isPacked;  // the frame's own rows are packed 4:2:2
    std::array<Ring, kMaxChromaKeys> rings{};
    BYTE* columns;  // extremes of columns, then rows grown twice
    BYTE* grownTwice;
    BYTE* amounts;
    BYTE* packedRow;
    TraceSum all;
    TraceSum measuring;
    TraceSum correcting;
};

}  // namespace qdvm
