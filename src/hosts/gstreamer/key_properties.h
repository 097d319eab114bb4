#pragma once

// The properties of a pad's chroma key.

#include "hosts/gstreamer/pad_stream.h"

#include <glib-object.h>

#include <string>

namespace qdvm {

void InstallKeyProperties(GObjectClass* klass);

// False for a number that isn't a key's. A value that can't be used leaves the settings as they
// are, and the fault says why.
bool SetKeyProperty(PadSettings& settings, guint property, const GValue* value, std::string* fault);
bool GetKeyProperty(const PadSettings& settings, guint property, GValue* value);

}  // namespace qdvm
