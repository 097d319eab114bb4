#pragma once

// Where a pad's stream stands in the output.

#include "hosts/gstreamer/pad_stream.h"

#include <qdvideomixer/mixing_rect.h>

namespace qdvm {

// The pad's rect for a stream of this size in pixels. False if nothing of the stream is left to
// show.
bool RectOfPad(const PadSettings& pad, int streamWidth, int streamHeight, VM_MIXING_RECT* rect);

}  // namespace qdvm
