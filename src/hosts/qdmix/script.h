#pragma once

// Cue sheets: what happens to a mix at which time, one cue on a line, as docs/script.md tells.

#include "hosts/qdmix/rect_options.h"
#include "hosts/qdmix/text_fault.h"
#include "hosts/qdmix/values.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm::qdmix {

enum class CueVerb {
    kScene,
    kBackground,
    kMove,
    kOrder,
    kKey,
    kShow,
    kHide,
    kCapture,
    kAddScene,
    kUpdateScene,
    kRemoveScene,
    kSaveScenes,
    kLoadScenes,
    kEnd,
};

// Which fields count goes by the verb.
struct Cue {
    CueVerb verb = CueVerb::kEnd;
    TextPlace place;    // of the time
    Span span;          // nanoseconds of the mix
    std::string scene;  // its name; empty with kSaveScenes for all
    TextPlace scenePlace;
    std::string description;  // of a new scene
    std::string file;
    TextPlace filePlace;
    std::string key;  // as --key takes it
    int input = 0;    // from 1
    TextPlace inputPlace;
    int rect = 1;  // from 1
    RectChange change;
    Background background;
    int position = 0;  // in the order of drawing, from 1 at the bottom; 0: on top
    bool swaps = false;
    bool rearranges = false;
};

struct Script {
    std::vector<Cue> cues;  // in the order of their time
    std::vector<TextFault> faults;
};

// Reads all of a text in UTF-8, whatever is wrong in it. Opens nothing.
Script ParseScript(std::string_view text);

// What a script meets.
struct ScriptSetting {
    std::optional<int> inputs;             // how many, if that is known
    std::vector<std::string> scenes;       // that are there at the start
    std::optional<std::int64_t> duration;  // of the mix, nanoseconds
    // The scenes in a file; what is wrong with the file goes to `why`.
    std::function<std::vector<std::string>(const std::string& file, std::string& why)> scenesOf;
};

// Cues for inputs and scenes that aren't there when their time has come.
std::vector<TextFault> CheckScript(const Script& script, ScriptSetting setting);

}  // namespace qdvm::qdmix
