#pragma once

// The chroma key once more, step by step over whole pictures and as plainly as it can be said.

#include "pixels/copy_frame.h"

#include <qdvideomixer/chroma_key.h>

#include <vector>

namespace qdvm::test {

using Bytes = std::vector<BYTE>;

// Distances of a picture of four bytes for each pixel from one ellipsoid.
Bytes PlainKeyDistance(const Bytes& picture, std::uint32_t colour, std::uint32_t delta,
                       std::int32_t softness);

// The plane (rows of nWidth) of a progressive frame that can be keyed and has whole pixel pairs;
// rewrites the frame with spill removal.
Bytes PlainChromaKey(Bytes* frame, const FrameDesc& desc, const ChromaKeySettings& settings);

}  // namespace qdvm::test
