#pragma once

// The scenes with their names, in the order of adding.

#include "scenes/scene.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm {

// A scene under the name that it has in its document.
struct NamedScene {
    std::u16string name;
    Scene scene;
    bool isNamed = true;  // else the name is the document's place, and another does as well
};

// Scenes in it are never changed, only replaced, so a copy of the table or a scene taken from it
// can be used when the lock that guards the table has been given up. Names compare exactly.
// Operations throw std::bad_alloc and then leave the table as it was.
class SceneTable {
public:
    using ScenePtr = std::shared_ptr<const Scene>;
    struct Entry {
        std::u16string name;
        ScenePtr scene;
    };

    const std::vector<Entry>& Entries() const { return entries; }

    // Null for a name that isn't there.
    ScenePtr Find(std::u16string_view name) const;

    // False if the name is taken.
    bool Add(std::u16string_view name, Scene scene);

    // Puts a scene in the place of the one of this name. False for a name that isn't there.
    bool Replace(std::u16string_view name, Scene scene);

    bool Remove(std::u16string_view name);
    void RemoveAll();

    // Adds scenes at the end. Of those of one name, and those in the table, the last one stays
    // where `replaces` is set, else the first. A built-in scene among them changes the built-in
    // ones. Time grows with the scenes, not with their square.
    void Merge(std::vector<NamedScene> loaded, bool replaces);

    // Whether a built-in scene has gone, so that the built-in ones are not what they were at first.
    // Removing, replacing and merging set it.
    bool bDefaultScenesChanged = false;

private:
    std::size_t IndexOf(std::u16string_view name) const;
    void NoteLoss(const Scene& scene);

    std::vector<Entry> entries;
};

}  // namespace qdvm
