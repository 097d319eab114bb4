#include "hosts/qdmix/script.h"

#include <algorithm>
#include <utility>

namespace qdvm::qdmix {

namespace {

// Goes through the cues in their order and keeps track of the scenes that are there.
class Checker {
public:
    explicit Checker(ScriptSetting theSetting) : setting(std::move(theSetting)) {}

    std::vector<TextFault> Run(const Script& script) {
        for (const Cue& cue : script.cues) {
            Check(cue);
        }
        return std::move(faults);
    }

private:
    void Check(const Cue& cue) {
        if (setting.duration && cue.span.start >= *setting.duration && cue.verb != CueVerb::kEnd) {
            faults.push_back({cue.place, "it never happens: the mix ends at " +
                                             SecondsText(*setting.duration) + " s"});
        }
        if (cue.input > 0 && setting.inputs && cue.input > *setting.inputs) {
            faults.push_back({cue.inputPlace, "there is no input " + std::to_string(cue.input) +
                                                  ": there are " +
                                                  std::to_string(*setting.inputs)});
        }
        CheckScenes(cue);
    }

    void CheckScenes(const Cue& cue) {
        switch (cue.verb) {
            case CueVerb::kScene:
            case CueVerb::kUpdateScene:
                Expect(cue);
                break;
            case CueVerb::kSaveScenes:
                if (!cue.scene.empty()) {
                    Expect(cue);
                }
                break;
            case CueVerb::kAddScene:
                if (IsThere(cue.scene)) {
                    faults.push_back({cue.scenePlace, "there is a scene '" + cue.scene +
                                                          "' already; update scene replaces it"});
                }
                setting.scenes.push_back(cue.scene);
                break;
            case CueVerb::kRemoveScene:
                Expect(cue);
                std::erase(setting.scenes, cue.scene);
                break;
            case CueVerb::kLoadScenes:
                Load(cue);
                break;
            default:
                break;
        }
    }

    bool IsThere(const std::string& scene) const {
        return std::find(setting.scenes.begin(), setting.scenes.end(), scene) !=
               setting.scenes.end();
    }

    void Expect(const Cue& cue) {
        if (IsThere(cue.scene)) {
            return;
        }
        const std::vector<std::string_view> names(setting.scenes.begin(), setting.scenes.end());
        const std::string guess = Guess(cue.scene, names);
        faults.push_back(
            {cue.scenePlace, "there is no scene '" + cue.scene + "' at this time" + guess});
    }

    void Load(const Cue& cue) {
        std::string why;
        for (std::string& name : setting.scenesOf(cue.file, why)) {
            setting.scenes.push_back(std::move(name));
        }
        if (!why.empty()) {
            faults.push_back({cue.filePlace, "'" + cue.file + "' can't be loaded: " + why});
        }
    }

    ScriptSetting setting;
    std::vector<TextFault> faults;
};

}  // namespace

std::vector<TextFault> CheckScript(const Script& script, ScriptSetting setting) {
    return Checker(std::move(setting)).Run(script);
}

}  // namespace qdvm::qdmix
