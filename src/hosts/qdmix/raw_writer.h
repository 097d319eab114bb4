#pragma once

// Frames as bare bytes on standard output.

#include <gst/gst.h>

namespace qdvm::qdmix {

// A new sink. Each frame is written plane by plane without padding: I420 of 320x240 has 115200
// bytes. Null where GStreamer's app plugin is missing. The first container takes it over.
GstElement* MakeRawWriter();

}  // namespace qdvm::qdmix
