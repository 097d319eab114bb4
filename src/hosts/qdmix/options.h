#pragma once

// What the command line says. One table of options is behind the parser, the help, the manual page
// and the completion.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/rect_options.h"
#include "hosts/qdmix/values.h"
#include "pixels/chroma_key/key_recipe.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm::qdmix {

// What belongs to one input.
struct InputOptions {
    std::vector<RectOptions> rects = {RectOptions{}};
    KeyRecipe key;
    bool loop = false;
    std::optional<int> waitFrames;
    std::string lost = "last";  // hide, last, black, white, bars
    bool ignoreTime = false;
    bool keepRate = false;
    bool master = false;
};

struct InputArgument {
    std::string text;
    InputOptions options;
};

struct BackgroundChange {
    Background to;
    Span span;

    bool operator==(const BackgroundChange&) const = default;
};

// A frame of the mix that goes to a picture file.
struct Capture {
    std::string file;
    std::int64_t time = 0;  // nanoseconds

    bool operator==(const Capture&) const = default;
};

enum class ProgressMode { kAutomatic, kText, kJson, kNone };

// What the command does instead of mixing.
enum class Request {
    kMix,
    kHelp,
    kVersion,
    kListFormats,
    kListInputs,
    kListScenes,
    kCheck,
    kManPage,
    kBashCompletion,
};

struct CommandLine {
    Request request = Request::kMix;
    std::vector<InputArgument> inputs;
    std::string output;
    bool overwrite = false;
    std::string format = "I420";
    std::string sheet;
    int sheetMoments = 6;
    std::vector<Capture> captures;
    std::optional<Size> size;
    std::optional<Rate> rate;
    Background background = {0xFF000000, {}};
    bool hasBackground = false;                       // an option told of it
    std::vector<BackgroundChange> backgroundChanges;  // in the order of their start
    std::optional<std::int64_t> duration;             // nanoseconds
    std::vector<std::string> scenes;                  // files
    std::string scene;                                // its name
    std::int64_t fade = 0;                            // nanoseconds
    std::string script;
    std::string config;
    std::string saveScenes;
    std::string saveConfig;
    std::vector<std::string> checks;
    bool isJson = false;  // of lists
    ProgressMode progress = ProgressMode::kAutomatic;
    bool quiet = false;
    bool verbose = false;
    bool trace = false;
};

enum class OptionGroup { kOutput, kMix, kShow, kRect, kInput, kReport, kGeneral };

// Options of the groups kRect and kInput go to `input`, the options of the next input on the
// command line.
struct OptionTarget {
    CommandLine& line;
    InputOptions& input;
    std::string& why;  // what is wrong with the value, where there is more to tell than expects
};

struct OptionRow {
    char letter;           // 0: no short form
    const char* name;      // without the dashes
    const char* argument;  // null: a switch
    OptionGroup group;
    const char* standard;  // what goes without the option; null: nothing to tell
    const char* help;
    const char* choices;  // words for the completion, "FILE" for file names; null: none
    const char* expects;  // what a refused value is told
    // False for a value that makes no sense. Null: the setting of a rect of this name.
    bool (*take)(OptionTarget target, std::string_view value);
};

// In the order of the help.
std::span<const OptionRow> OptionTable();

const char* TitleOf(OptionGroup group);

// Reads the arguments that follow the program's name. Nothing is opened or looked up.
std::optional<Failure> ParseCommandLine(std::span<const std::string> arguments, CommandLine& line);

}  // namespace qdvm::qdmix
