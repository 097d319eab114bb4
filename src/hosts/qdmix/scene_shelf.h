#pragma once

// A mixer that mixes nothing: what documents of scenes and setups hold, found out as the mixer will
// read them.

#include "hosts/qdmix/values.h"
#include "platform/ref.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/scene.h>
#include <qdvideomixer/video_mixer.h>

#include <optional>
#include <string>
#include <vector>

namespace qdvm::qdmix {

struct SceneEntry {
    std::string name;
    std::string description;
};

// What a setup tells, for which options may stand.
struct Setup {
    std::optional<Size> size;
    std::optional<Rate> rate;
    Background background;
};

// With the built-in scenes in it. One thread.
class SceneShelf {
public:
    SceneShelf();

    // Each gives what is wrong with the file, or nothing.
    std::string LoadScenes(const std::string& file);
    std::string LoadSetup(const std::string& file);

    std::vector<SceneEntry> Scenes() const;
    std::vector<std::string> Names() const;

    // Of the setup that was loaded last.
    Setup LoadedSetup() const;

private:
    Ref<IQDVideoMixer> mixer;  // null if there is no memory
    Ref<IQDVideoMixerScene> scenes;
};

// As lines for the user, or as JSON.
std::string SceneList(const std::vector<SceneEntry>& scenes, bool isJson);

// As a file that the mixer reads, in the bytes that its own documents have.
HRESULT WriteDocument(const std::string& file, std::u16string_view text);

// A document as UTF-8, whatever it was. Nothing if it can't be read.
std::optional<std::string> ReadDocument(const std::string& file);

// Why a file was refused.
std::string WhyRefused(HRESULT result);

}  // namespace qdvm::qdmix
