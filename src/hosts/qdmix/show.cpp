#include "hosts/qdmix/show.h"

#include "hosts/qdmix/document_check.h"
#include "hosts/qdmix/pictures.h"
#include "hosts/qdmix/scene_shelf.h"

#include <algorithm>
#include <utility>

namespace qdvm::qdmix {

namespace {

Failure CantOpen(std::string subject, std::string why) {
    return {ExitStatus::kInput, std::move(subject), "can't be opened", std::move(why)};
}

std::optional<Failure> FillShelf(const CommandLine& line, SceneShelf& shelf) {
    if (!line.config.empty()) {
        if (std::string why = shelf.LoadSetup(line.config); !why.empty()) {
            return CantOpen("--config " + line.config, std::move(why));
        }
    }
    for (const std::string& file : line.scenes) {
        if (std::string why = shelf.LoadScenes(file); !why.empty()) {
            return CantOpen("--scenes " + file, std::move(why));
        }
    }
    return std::nullopt;
}

// What a setup tells, where no option does.
void TakeSetup(const Setup& setup, CommandLine& line) {
    if (!line.size) {
        line.size = setup.size;
    }
    if (!line.rate) {
        line.rate = setup.rate;
    }
    if (!line.hasBackground) {
        line.background = setup.background;
    }
}

std::vector<std::string> ScenesOfFile(const std::string& file, std::string& why) {
    SceneShelf shelf;
    const std::vector<std::string> builtIn = shelf.Names();
    why = shelf.LoadScenes(file);
    std::vector<std::string> names = shelf.Names();
    std::erase_if(names, [&](const std::string& name) {
        return std::find(builtIn.begin(), builtIn.end(), name) != builtIn.end();
    });
    return names;
}

// Pictures that a script wants for backgrounds and masks.
std::vector<TextFault> CheckPicturesOf(const Script& script) {
    std::vector<TextFault> faults;
    const auto check = [&](TextPlace place, const std::string& picture) {
        std::string why = WhyUnreadable(picture);
        if (why.empty() && !IsPicture(picture)) {
            why = "not a picture, or a damaged one";
        }
        if (!why.empty()) {
            faults.push_back({place, "'" + picture + "': " + why});
        }
    };
    for (const Cue& cue : script.cues) {
        if (!cue.background.picture.empty()) {
            check(cue.filePlace, cue.background.picture);
        }
        if (cue.change.mask && !IsBuiltInMask(*cue.change.mask)) {
            check(cue.filePlace, *cue.change.mask);
        }
    }
    return faults;
}

std::vector<TextFault> AllFaults(const Script& script, const CommandLine& line,
                                 std::vector<std::string> scenes) {
    std::vector<TextFault> faults = script.faults;
    ScriptSetting setting;
    setting.scenes = std::move(scenes);
    setting.duration = line.duration;
    setting.scenesOf = ScenesOfFile;
    if (!line.inputs.empty()) {
        setting.inputs = static_cast<int>(line.inputs.size());
    }
    for (const auto& more : {CheckScript(script, std::move(setting)), CheckPicturesOf(script)}) {
        faults.insert(faults.end(), more.begin(), more.end());
    }
    return faults;
}

void TakePlanned(const std::vector<Cue>& cues, CommandLine& line) {
    for (const Cue& cue : cues) {
        if (cue.verb == CueVerb::kCapture) {
            line.captures.push_back({cue.file, cue.span.start});
        } else if (cue.verb == CueVerb::kEnd) {
            line.duration = std::min(line.duration.value_or(cue.span.start), cue.span.start);
        }
    }
}

std::optional<Failure> ReadScript(CommandLine& line, std::vector<std::string> scenes, Show& show,
                                  std::string& faults) {
    if (std::string why = WhyUnreadable(line.script); !why.empty()) {
        return CantOpen("--script " + line.script, std::move(why));
    }
    Script script = ParseScript(ReadDocument(line.script).value_or(""));
    const std::vector<TextFault> found = AllFaults(script, line, std::move(scenes));
    if (!found.empty()) {
        faults = LinesOf(line.script, found);
        return Failure{ExitStatus::kInput, "--script " + line.script, "can't be followed",
                       found.size() == 1 ? "it has a fault"
                                         : "it has " + std::to_string(found.size()) + " faults"};
    }
    TakePlanned(script.cues, line);
    show.cues.insert(show.cues.end(), script.cues.begin(), script.cues.end());
    return std::nullopt;
}

std::optional<Failure> CheckNewFile(const CommandLine& line, const char* option,
                                    const std::string& file) {
    if (file.empty() || line.overwrite || WhyUnreadable(file) == "no such file") {
        return std::nullopt;
    }
    return Failure{ExitStatus::kOutput, std::string(option) + " " + file, "is there already",
                   "give --overwrite to replace it"};
}

bool LooksLikeDocument(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r\n\xEF\xBB\xBF");
    return first != std::string::npos && text[first] == '<';
}

}  // namespace

std::optional<Failure> PrepareShow(CommandLine& line, Show& show, std::string& faults) {
    SceneShelf shelf;
    if (auto failure = FillShelf(line, shelf)) {
        return failure;
    }
    show.sceneFiles = line.scenes;
    show.setup = line.config;
    if (!line.config.empty()) {
        TakeSetup(shelf.LoadedSetup(), line);
    }
    const std::vector<std::string> names = shelf.Names();
    if (!line.scene.empty()) {
        if (std::find(names.begin(), names.end(), line.scene) == names.end()) {
            const std::vector<std::string_view> views(names.begin(), names.end());
            return Failure{ExitStatus::kUsage, "--scene " + line.scene,
                           "there is no such scene" + Guess(line.scene, views),
                           "see --list-scenes"};
        }
        Cue& first = show.cues.emplace_back();
        first.verb = CueVerb::kScene;
        first.scene = line.scene;
        first.span.take = line.fade;
    }
    if (!line.script.empty()) {
        if (auto failure = ReadScript(line, names, show, faults)) {
            return failure;
        }
    }
    if (auto failure = CheckNewFile(line, "--save-scenes", line.saveScenes)) {
        return failure;
    }
    return CheckNewFile(line, "--save-config", line.saveConfig);
}

std::optional<Failure> ListScenes(const CommandLine& line, std::string& list) {
    SceneShelf shelf;
    auto failure = FillShelf(line, shelf);
    list = SceneList(shelf.Scenes(), line.isJson);
    return failure;
}

CheckOutcome CheckFiles(const CommandLine& line) {
    CheckOutcome outcome;
    std::vector<std::pair<std::string, std::string>> scripts;  // name and text
    SceneShelf shelf;
    if (auto failure = FillShelf(line, shelf)) {
        outcome.isUnreadable = true;
        outcome.faults = LineOf(*failure) + "\n";
    }
    const auto add = [&](const std::string& file, const std::vector<TextFault>& faults,
                         const char* what) {
        outcome.faults += LinesOf(file, faults);
        outcome.good += faults.empty() ? file + ": " + what + " without a fault\n" : "";
    };
    for (const std::string& file : line.checks) {
        if (const std::string why = WhyUnreadable(file); !why.empty()) {
            outcome.isUnreadable = true;
            outcome.faults += LineOf(CantOpen(file, why)) + "\n";
            continue;
        }
        const std::string text = ReadDocument(file).value_or("");
        if (LooksLikeDocument(text)) {
            add(file, CheckDocument(text), "a document");
            // Scripts may select its scenes.
            (void)shelf.LoadScenes(file);
        } else {
            scripts.emplace_back(file, text);
        }
    }
    for (const auto& [file, text] : scripts) {
        add(file, AllFaults(ParseScript(text), line, shelf.Names()), "a cue sheet");
    }
    return outcome;
}

}  // namespace qdvm::qdmix
