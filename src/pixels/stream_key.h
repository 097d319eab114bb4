#pragma once

// The key of one stream.

#include "frames/blob_holder.h"

#include <qdvideomixer/chroma_key.h>

namespace qdvm {

// Guarded by the stream's lock, the settings also by mixLock.
struct StreamKey {
    ChromaKeySettings settings{};
    CBLOBHolder<CVirtualAlloc> working;  // kept from frame to frame
    // The stream's frame without the light of the backdrop; used size 0: it is drawn as it came.
    CBLOBHolder<CVirtualAlloc> frame;
    bool hasTold = false;  // the trace, that the stream's format can't be keyed

    // Whether frames get a plane from their colours.
    bool IsKeyed() const { return settings.keyType >= eVMK_RGB && settings.keyType <= eVMK_YUV; }
};

}  // namespace qdvm
