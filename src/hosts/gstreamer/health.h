#pragma once

// The names of a stream's health, for messages and the pad's property.

#include "hosts/gstreamer/pad_stream.h"

#include <glib-object.h>

namespace qdvm {

GType PadHealthType();
const char* HealthName(PadHealth health);

}  // namespace qdvm
