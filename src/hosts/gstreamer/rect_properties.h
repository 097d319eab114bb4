#pragma once

// The properties that a pad, for its first rect, and its further rects have in common.

#include "hosts/gstreamer/rect_settings.h"

#include <glib-object.h>

namespace qdvm {

// Property numbers of a class that has these run on from here.
inline constexpr guint kFirstOwnProperty = 100;

void InstallRectProperties(GObjectClass* klass);

// False for a number that isn't a rect's.
bool SetRectProperty(RectSettings& settings, guint property, const GValue* value);
bool GetRectProperty(const RectSettings& settings, guint property, GValue* value);

}  // namespace qdvm
