#pragma once

// The element's actions and properties about scenes and the drawing order.

#include <gst/gst.h>

namespace qdvm {

class Session;

// select-scene, add-scene, update-scene, remove-scene, save-scenes, load-scenes, move-stream.
void InstallSceneActions(GType type);

// The names as the caller's null-terminated vector.
gchar** NewSceneNames(const Session& session);

}  // namespace qdvm
