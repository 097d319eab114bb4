#include "scenes/scene_table.h"

#include <algorithm>
#include <utility>

namespace qdvm {

std::size_t SceneTable::IndexOf(std::u16string_view name) const {
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&](const Entry& entry) { return entry.name == name; });
    return static_cast<std::size_t>(found - entries.begin());
}

void SceneTable::NoteLoss(const Scene& scene) {
    if (scene.bInternal) bDefaultScenesChanged = true;
}

SceneTable::ScenePtr SceneTable::Find(std::u16string_view name) const {
    const std::size_t index = IndexOf(name);
    return index < entries.size() ? entries[index].scene : nullptr;
}

bool SceneTable::Add(std::u16string_view name, Scene scene) {
    if (IndexOf(name) < entries.size()) return false;
    entries.push_back({std::u16string(name), std::make_shared<const Scene>(std::move(scene))});
    return true;
}

bool SceneTable::Replace(std::u16string_view name, Scene scene) {
    const std::size_t index = IndexOf(name);
    if (index == entries.size()) return false;
    ScenePtr stored = std::make_shared<const Scene>(std::move(scene));
    NoteLoss(*entries[index].scene);
    entries[index].scene = std::move(stored);
    return true;
}

bool SceneTable::Remove(std::u16string_view name) {
    const std::size_t index = IndexOf(name);
    if (index == entries.size()) return false;
    NoteLoss(*entries[index].scene);
    entries.erase(entries.begin() + static_cast<std::ptrdiff_t>(index));
    return true;
}

void SceneTable::RemoveAll() {
    for (const Entry& entry : entries) NoteLoss(*entry.scene);
    entries.clear();
}

}  // namespace qdvm
