#include "hosts/qdmix/options.h"

#include <array>
#include <utility>

namespace qdvm::qdmix {

namespace {

template <class Member>
bool Store(Member& member, Member value) {
    member = std::move(value);
    return true;
}

// Stores what a parser gave, if it gave anything.
template <class Member, class Value>
bool StoreParsed(Member& member, const std::optional<Value>& value) {
    if (value) {
        member = *value;
    }
    return value.has_value();
}

bool IsOneOf(std::string_view value, std::string_view words) {
    while (!words.empty()) {
        const std::size_t end = words.find(' ');
        if (value == words.substr(0, end)) {
            return !value.empty();
        }
        words = end == std::string_view::npos ? std::string_view{} : words.substr(end + 1);
    }
    return false;
}

bool StoreWord(std::string& member, std::string_view value, std::string_view words) {
    return IsOneOf(value, words) && Store(member, std::string(value));
}

bool IsEven(Size size) { return size.width % 2 == 0 && size.height % 2 == 0; }

constexpr const char* kFormats = "I420 YV12 YUY2 UYVY HDYC YVYU RGB24 RGB32 ARGB32";
constexpr const char* kLostWords = "hide last black white bars";
constexpr const char* kProgressWords = "text json none";

bool TakeName(std::string& member, std::string_view value) {
    return !value.empty() && Store(member, std::string(value));
}

bool TakeSize(OptionTarget target, std::string_view value) {
    const std::optional<Size> size = ParseSize(value);
    return size && IsEven(*size) && StoreParsed(target.line.size, size);
}

bool TakeBackground(OptionTarget target, std::string_view value) {
    if (value == "none") {
        target.line.background.reset();
        return true;
    }
    return StoreParsed(target.line.background, ParseColour(value));
}

bool TakeDuration(OptionTarget target, std::string_view value) {
    const std::optional<std::int64_t> duration = ParseTime(value);
    return duration && *duration > 0 && StoreParsed(target.line.duration, duration);
}

bool TakeTarget(OptionTarget target, std::string_view value) {
    const std::optional<Point> place = ParsePoint(value);
    return place ? StoreParsed(target.input.target.at, place)
                 : StoreParsed(target.input.target, ParseGeometry(value));
}

bool TakeMove(OptionTarget target, std::string_view value) {
    const std::optional<Move> move = ParseMove(value);
    if (!move || (!target.input.moves.empty() && target.input.moves.back().start > move->start)) {
        return false;
    }
    target.input.moves.push_back(*move);
    return true;
}

bool TakeAlpha(OptionTarget target, std::string_view value) {
    const std::optional<double> alpha = ParseNumber(value);
    return alpha && *alpha >= 0 && *alpha <= 1 && StoreParsed(target.input.alpha, alpha);
}

bool TakeWait(OptionTarget target, std::string_view value) {
    const std::optional<int> frames = ParseInteger(value);
    return frames && *frames >= 0 && *frames <= 1'000'000 &&
           StoreParsed(target.input.waitFrames, frames);
}

bool TakeProgress(OptionTarget target, std::string_view value) {
    if (!IsOneOf(value, kProgressWords)) {
        return false;
    }
    target.line.progress = value == "text"   ? ProgressMode::kText
                           : value == "json" ? ProgressMode::kJson
                                             : ProgressMode::kNone;
    return true;
}

template <Request kRequest>
bool TakeRequest(OptionTarget target, std::string_view) {
    return Store(target.line.request, kRequest);
}

template <bool CommandLine::*kSwitch>
bool TakeSwitch(OptionTarget target, std::string_view) {
    return Store(target.line.*kSwitch, true);
}

template <bool InputOptions::*kSwitch>
bool TakeInputSwitch(OptionTarget target, std::string_view) {
    return Store(target.input.*kSwitch, true);
}

// clang-format off
constexpr std::array kTable = {
    OptionRow{'o', "output", "FILE", OptionGroup::kOutput, nullptr,
        "Where the mix goes: a file, whose ending chooses container and codec; - for raw frames on"
        " standard output; window to look at it.",
        "FILE", "give a file name, - or window",
        [](OptionTarget target, std::string_view value) {
            return TakeName(target.line.output, value);
        }},
    OptionRow{'y', "overwrite", nullptr, OptionGroup::kOutput, nullptr,
        "Replace an output file that is there. The old one stays until the new one is finished.",
        nullptr, nullptr, TakeSwitch<&CommandLine::overwrite>},
    OptionRow{0, "format", "NAME", OptionGroup::kOutput, "I420",
        "Pixel format of the mix: I420, YV12, YUY2, UYVY, HDYC, YVYU, RGB24, RGB32 or ARGB32.",
        kFormats, "give one of the names of --list-formats",
        [](OptionTarget target, std::string_view value) {
            return StoreWord(target.line.format, value, kFormats);
        }},
    OptionRow{0, "sheet", "FILE", OptionGroup::kOutput, nullptr,
        "When the output file is finished, write six moments of it as one PNG picture.",
        "FILE", "give a file name",
        [](OptionTarget target, std::string_view value) {
            return TakeName(target.line.sheet, value);
        }},
    OptionRow{0, "list-formats", nullptr, OptionGroup::kOutput, nullptr,
        "List the pixel formats and the file endings, and leave.", nullptr, nullptr,
        TakeRequest<Request::kListFormats>},

    OptionRow{0, "size", "WxH", OptionGroup::kMix, "what holds every target",
        "Size of the mix in pixels; both even.", nullptr, "give two even numbers, as 1280x720",
        TakeSize},
    OptionRow{0, "rate", "N[/D]", OptionGroup::kMix, "the fastest input's",
        "Frames in a second. Inputs of other rates come to this grid: a frame is shown again or"
        " left out as needed.",
        nullptr, "give a number or a fraction up to 1000, as 25 or 30000/1001",
        [](OptionTarget target, std::string_view value) {
            return StoreParsed(target.line.rate, ParseRate(value));
        }},
    OptionRow{0, "background", "COLOUR", OptionGroup::kMix, "black",
        "What lies under all inputs: #RRGGBB, black, white, grey, red, green, blue, yellow, or none"
        " where the inputs cover the mix.",
        "black white grey red green blue yellow none", "give #RRGGBB, a colour's name or none",
        TakeBackground},
    OptionRow{0, "duration", "TIME", OptionGroup::kMix, "until the last file has ended",
        "Length of the mix: seconds or [H:]M:S.", nullptr, "give seconds or [H:]M:S, above 0",
        TakeDuration},

    OptionRow{0, "source", "WxH+X+Y", OptionGroup::kInput, "the whole picture",
        "Show only this part of the picture.", nullptr, "give WxH+X+Y, as 320x240+16+0",
        [](OptionTarget target, std::string_view value) {
            return StoreParsed(target.input.source, ParseGeometry(value));
        }},
    OptionRow{0, "target", "X,Y or WxH+X+Y", OptionGroup::kInput, "0,0",
        "Place in the mix. The later input lies on top. Parts beyond the edges are cut off.",
        nullptr, "give X,Y or WxH+X+Y, as 640,0 or 320x240+640+0", TakeTarget},
    OptionRow{0, "move", "X,Y@START[+TAKE]", OptionGroup::kInput, nullptr,
        "At START of the mix go to this place, in TAKE seconds or at once. Can be given several"
        " times, in the order of START.",
        nullptr, "give X,Y@START+TAKE, as 640,0@2+1.5, in the order of START", TakeMove},
    OptionRow{0, "alpha", "A", OptionGroup::kInput, "1", "Opacity from 0 to 1.", nullptr,
        "give a number from 0 to 1", TakeAlpha},
    OptionRow{0, "loop", nullptr, OptionGroup::kInput, nullptr,
        "Begin again at the end. Such an input doesn't keep the mix going.", nullptr, nullptr,
        TakeInputSwitch<&InputOptions::loop>},
    OptionRow{0, "wait", "FRAMES", OptionGroup::kInput, "250; 8 for cameras and live streams",
        "How many of its frames the mix waits for a late input before it counts as lost and the"
        " others go on without it; 0 waits for ever.",
        nullptr, "give a number of frames from 0", TakeWait},
    OptionRow{0, "lost", "WHAT", OptionGroup::kInput, "last",
        "What a lost input shows: hide (nothing), last (its last frame), black, white or bars.",
        kLostWords, "give hide, last, black, white or bars",
        [](OptionTarget target, std::string_view value) {
            return StoreWord(target.input.lost, value, kLostWords);
        }},
    OptionRow{0, "ignore-time", nullptr, OptionGroup::kInput, nullptr,
        "Take frames as they come, whatever their time stamps.", nullptr, nullptr,
        TakeInputSwitch<&InputOptions::ignoreTime>},
    OptionRow{0, "keep-rate", nullptr, OptionGroup::kInput, nullptr,
        "Take frames no faster than their rate, by the clock.", nullptr, nullptr,
        TakeInputSwitch<&InputOptions::keepRate>},
    OptionRow{0, "master", nullptr, OptionGroup::kInput, nullptr,
        "The frames of this input drive the mix: one in, one out.", nullptr, nullptr,
        TakeInputSwitch<&InputOptions::master>},
    OptionRow{0, "list-inputs", nullptr, OptionGroup::kInput, nullptr,
        "List the test pictures, and leave.", nullptr, nullptr,
        TakeRequest<Request::kListInputs>},

    OptionRow{0, "progress", "MODE", OptionGroup::kReport, "text on a terminal, else none",
        "Progress on standard error: text (one line that changes), json (an object on a line of"
        " its own, twice a second) or none.",
        kProgressWords, "give text, json or none", TakeProgress},
    OptionRow{'q', "quiet", nullptr, OptionGroup::kReport, nullptr,
        "Tell only of failures.", nullptr, nullptr, TakeSwitch<&CommandLine::quiet>},
    OptionRow{'v', "verbose", nullptr, OptionGroup::kReport, nullptr,
        "Tell what was found and planned, and how the inputs are doing.", nullptr, nullptr,
        TakeSwitch<&CommandLine::verbose>},
    OptionRow{0, "trace", nullptr, OptionGroup::kReport, nullptr,
        "Tell what the mixer does with every frame.", nullptr, nullptr,
        TakeSwitch<&CommandLine::trace>},

    OptionRow{'h', "help", nullptr, OptionGroup::kGeneral, nullptr, "This text.", nullptr, nullptr,
        TakeRequest<Request::kHelp>},
    OptionRow{'V', "version", nullptr, OptionGroup::kGeneral, nullptr, "The version.", nullptr,
        nullptr, TakeRequest<Request::kVersion>},
    OptionRow{0, "man-page", nullptr, OptionGroup::kGeneral, nullptr,
        "Write the manual page to standard output.", nullptr, nullptr,
        TakeRequest<Request::kManPage>},
    OptionRow{0, "bash-completion", nullptr, OptionGroup::kGeneral, nullptr,
        "Write the completion for bash to standard output.", nullptr, nullptr,
        TakeRequest<Request::kBashCompletion>},
};
// clang-format on

}  // namespace

std::span<const OptionRow> OptionTable() { return kTable; }

const char* TitleOf(OptionGroup group) {
    switch (group) {
        case OptionGroup::kOutput:
            return "Output";
        case OptionGroup::kMix:
            return "The mix";
        case OptionGroup::kInput:
            return "One input (before the input they belong to)";
        case OptionGroup::kReport:
            return "Reports";
        case OptionGroup::kGeneral:
            return "General";
    }
    return "";
}

}  // namespace qdvm::qdmix
