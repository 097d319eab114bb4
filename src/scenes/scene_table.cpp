#include "scenes/scene_table.h"

#include "config/value_text.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <unordered_set>
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

void SceneTable::Merge(std::vector<NamedScene> loaded, bool replaces) {
    std::unordered_set<std::u16string> taken;
    for (const Entry& entry : entries) taken.insert(entry.name);
    for (const NamedScene& scene : loaded)
        if (scene.isNamed) taken.insert(scene.name);
    auto number = static_cast<std::int64_t>(loaded.size());
    for (NamedScene& scene : loaded) {
        if (scene.isNamed) continue;
        while (taken.contains(scene.name)) scene.name = u"Scene " + FormatInt(++number);
        taken.insert(scene.name);
    }
    // From the winning end on: what comes first under a name stays.
    std::unordered_set<std::u16string> kept;
    std::vector<Entry> merged;
    const auto take = [&](NamedScene& scene) {
        if (!kept.insert(scene.name).second) return;
        bDefaultScenesChanged = bDefaultScenesChanged || scene.scene.bInternal;
        merged.push_back(
            {std::move(scene.name), std::make_shared<const Scene>(std::move(scene.scene))});
    };
    if (replaces) {
        std::for_each(loaded.rbegin(), loaded.rend(), take);
        std::reverse(merged.begin(), merged.end());
        for (const Entry& entry : entries)
            if (kept.contains(entry.name)) NoteLoss(*entry.scene);
        std::erase_if(entries, [&](const Entry& entry) { return kept.contains(entry.name); });
    } else {
        for (const Entry& entry : entries) kept.insert(entry.name);
        std::for_each(loaded.begin(), loaded.end(), take);
    }
    std::move(merged.begin(), merged.end(), std::back_inserter(entries));
}

}  // namespace qdvm
