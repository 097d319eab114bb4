#pragma once

// The layouts that every mixer begins with.

#include "scenes/scene_table.h"

namespace qdvm {

// Adds the nine built-in scenes in their order; one whose name is taken is left out. Once all of
// them are there as they are built, bDefaultScenesChanged is false. Pictures behind layouts are
// those that come with the library (platform/shared_data.h).
void BuildDefaultScenes(SceneTable& scenes);

}  // namespace qdvm
