#pragma once

// What the command line says. One table of options is behind the parser, the help, the manual page
// and the completion.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/values.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm::qdmix {

// What belongs to one input.
struct InputOptions {
    std::optional<Geometry> source;  // part of the picture; without it all of it
    Geometry target;                 // place in the output; a size of 0x0 is the size of the source
    std::vector<Move> moves;
    double alpha = 1.0;
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

enum class ProgressMode { kAutomatic, kText, kJson, kNone };

// What the command does instead of mixing.
enum class Request {
    kMix,
    kHelp,
    kVersion,
    kListFormats,
    kListInputs,
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
    std::optional<Size> size;
    std::optional<Rate> rate;
    std::optional<std::uint32_t> background = 0xFF000000;  // 0xAARRGGBB; nothing is "none"
    std::optional<std::int64_t> duration;                  // nanoseconds
    ProgressMode progress = ProgressMode::kAutomatic;
    bool quiet = false;
    bool verbose = false;
    bool trace = false;
};

enum class OptionGroup { kOutput, kMix, kInput, kReport, kGeneral };

// Options of the group kInput go to `input`, the options of the next input on the command line.
struct OptionTarget {
    CommandLine& line;
    InputOptions& input;
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
    // False for a value that makes no sense.
    bool (*take)(OptionTarget target, std::string_view value);
};

// In the order of the help.
std::span<const OptionRow> OptionTable();

const char* TitleOf(OptionGroup group);

// Reads the arguments that follow the program's name. Nothing is opened or looked up.
std::optional<Failure> ParseCommandLine(std::span<const std::string> arguments, CommandLine& line);

}  // namespace qdvm::qdmix
