#pragma once

// What a show brings along besides its inputs, read before anything starts.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/options.h"
#include "hosts/qdmix/script.h"

#include <optional>
#include <string>
#include <vector>

namespace qdvm::qdmix {

struct Show {
    std::vector<std::string> sceneFiles;
    std::string setup;      // a file
    std::vector<Cue> cues;  // the scene to begin with among them
};

// Reads the files that the options name. Stills and the end of a script, and what a setup tells and
// no option does, become options. `faults` gets lines about what is wrong in a script, all of them.
std::optional<Failure> PrepareShow(CommandLine& line, Show& show, std::string& faults);

// --list-scenes.
std::optional<Failure> ListScenes(const CommandLine& line, std::string& list);

// --check: a line for each fault, and one for each file that has none.
struct CheckOutcome {
    std::string faults;
    std::string good;
    bool isUnreadable = false;  // a file is missing
};
CheckOutcome CheckFiles(const CommandLine& line);

}  // namespace qdvm::qdmix
