#pragma once

// Colours as users of pipelines write them, and as the mixer does.

#include <qdvideomixer/object.h>

#include <glib.h>

namespace qdvm {

// Alpha, red, green, blue from the top to alpha, blue, green, red.
inline LONG MixerColour(guint32 argb) {
    return static_cast<LONG>((argb & 0xFF00FF00u) | (argb & 0xFF) << 16 | (argb >> 16 & 0xFF));
}

}  // namespace qdvm
