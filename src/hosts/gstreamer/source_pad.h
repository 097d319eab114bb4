#pragma once

// The functions of the element's source pad: activation, queries, seeks.

#include <gst/gst.h>

namespace qdvm {

// The pad's parent is, or will be, a GstQdVideoMixer.
void PrepareSourcePad(GstPad* pad);

}  // namespace qdvm
