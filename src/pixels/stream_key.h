#pragma once

// The key of one stream.

#include "frames/blob_holder.h"

#include <qdvideomixer/chroma_key.h>

#include <cstdint>
#include <optional>

namespace qdvm {

// Guarded by the stream's lock, the settings also by mixLock.
struct StreamKey {
    ChromaKeySettings settings{};
    CBLOBHolder<CVirtualAlloc> working;  // kept from frame to frame
    // The stream's frame without the light of the backdrop; used size 0: it is drawn as it came.
    CBLOBHolder<CVirtualAlloc> frame;
    // The stream's frame that can't be keyed, by its number; told to the trace once for a format.
    std::optional<std::uint32_t> keylessFrame;
    std::int32_t toldFormat = 0;

    // Whether frames get a plane from their colours.
    bool IsKeyed() const { return settings.keyType >= eVMK_RGB && settings.keyType <= eVMK_YUV; }
};

}  // namespace qdvm
