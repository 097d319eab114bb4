#pragma once

// How the element becomes known to GStreamer.

#include <gst/gst.h>

namespace qdvm {

// Registers the element "qdvideomixer": with the plugin, or for this process alone if that is null.
// To be called after gst_init.
bool RegisterQdVideoMixerElement(GstPlugin* plugin);

}  // namespace qdvm
