#pragma once

// The element's category of debug lines: GST_DEBUG=qdvideomixer:5.

#include <gst/gst.h>

GST_DEBUG_CATEGORY_EXTERN(qdvideomixer_debug);
#define GST_CAT_DEFAULT qdvideomixer_debug
