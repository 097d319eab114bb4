#include "hosts/qdmix/options.h"

#include <array>
#include <cstdint>
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
    const std::optional<Timed> timed = ParseTimed(value);
    const std::optional<Background> background = ParseBackground(timed ? timed->what : value);
    if (!background || !timed) {
        target.line.hasBackground = background.has_value();
        return StoreParsed(target.line.background, background);
    }
    std::vector<BackgroundChange>& changes = target.line.backgroundChanges;
    if (!changes.empty() && changes.back().span.start > timed->span.start) {
        return false;
    }
    changes.push_back({*background, timed->span});
    return true;
}

bool TakeCapture(OptionTarget target, std::string_view value) {
    const std::optional<Timed> timed = ParseTimed(value);
    const std::string_view file = timed ? timed->what : value;
    if (!file.ends_with(".png") || (timed && timed->span.take != 0)) {
        return false;
    }
    target.line.captures.push_back({std::string(file), timed ? timed->span.start : 0});
    return true;
}

bool TakeMoments(OptionTarget target, std::string_view value) {
    const std::optional<int> moments = ParseInteger(value);
    return moments && *moments >= 1 && *moments <= 100 &&
           StoreParsed(target.line.sheetMoments, moments);
}

bool TakeDuration(OptionTarget target, std::string_view value) {
    const std::optional<std::int64_t> duration = ParseTime(value);
    return duration && *duration > 0 && StoreParsed(target.line.duration, duration);
}

bool TakeMove(OptionTarget target, std::string_view value) {
    const std::optional<Move> move = ParseMove(value);
    std::vector<Move>& moves = target.input.rects.back().moves;
    if (!move || (!moves.empty() && moves.back().span.start > move->span.start)) {
        return false;
    }
    moves.push_back(*move);
    return true;
}

bool TakeRect(OptionTarget target, std::string_view) {
    target.input.rects.emplace_back();
    return true;
}

// A further key joins the first.
bool TakeKey(OptionTarget target, std::string_view value) {
    KeyRecipe& key = target.input.key;
    const std::string text = key.parts.empty() ? "" : TextOf(key) + "+";
    const std::optional<std::string> fault = ParseKey(text + std::string(value), &key);
    target.why = fault.value_or("");
    return !fault;
}

bool AddName(std::vector<std::string>& names, std::string_view value) {
    if (!value.empty()) {
        names.emplace_back(value);
    }
    return !value.empty();
}

bool TakeFade(OptionTarget target, std::string_view value) {
    const std::optional<int> milliseconds = ParseInteger(value);
    return milliseconds && *milliseconds >= 0 &&
           Store(target.line.fade, std::int64_t{*milliseconds} * 1'000'000);
}

bool TakeCheck(OptionTarget target, std::string_view value) {
    target.line.request = Request::kCheck;
    return AddName(target.line.checks, value);
}

template <std::string CommandLine::*kName>
bool TakeFileName(OptionTarget target, std::string_view value) {
    return TakeName(target.line.*kName, value);
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
        "When the output file is finished, write moments of it, evenly spread, as one PNG picture.",
        "FILE", "give the name of a .png file",
        [](OptionTarget target, std::string_view value) {
            return value.ends_with(".png") && TakeName(target.line.sheet, value);
        }},
    OptionRow{0, "moments", "N", OptionGroup::kOutput, "6", "How many moments --sheet shows.",
        nullptr, "give a number from 1 to 100", TakeMoments},
    OptionRow{0, "capture", "FILE[@TIME]", OptionGroup::kOutput, nullptr,
        "Write the frame of the mix at TIME, or the first one, as a PNG picture of its own. Can be"
        " given several times.",
        "FILE", "give FILE.png@TIME, as still.png@2.5", TakeCapture},
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
    OptionRow{0, "background", "WHAT[@START[+TAKE]]", OptionGroup::kMix, "black",
        "What lies under all inputs: #RRGGBB, black, white, grey, red, green, blue, yellow, a picture"
        " file, which is stretched over the whole mix, or none where the inputs cover the mix. With"
        " START it comes at that time of the mix and fades in within TAKE seconds; such changes can"
        " be given several times, in the order of START.",
        "FILE black white grey red green blue yellow none",
        "give #RRGGBB, a colour's name, a file or none, and @START+TAKE in the order of START",
        TakeBackground},
    OptionRow{0, "duration", "TIME", OptionGroup::kMix, "until the last file has ended",
        "Length of the mix: seconds or [H:]M:S.", nullptr, "give seconds or [H:]M:S, above 0",
        TakeDuration},

    OptionRow{0, "scenes", "FILE", OptionGroup::kShow, nullptr,
        "Read a document of scenes, beside the scenes that are built in. Can be given several times.",
        "FILE", "give the name of a file",
        [](OptionTarget target, std::string_view value) {
            return AddName(target.line.scenes, value);
        }},
    OptionRow{0, "scene", "NAME", OptionGroup::kShow, "what the options of the inputs say",
        "Begin with this layout.", nullptr, "give one of the names of --list-scenes",
        TakeFileName<&CommandLine::scene>},
    OptionRow{0, "fade", "MS", OptionGroup::kShow, "0",
        "How long the inputs take to come from their own places to those of --scene, in"
        " milliseconds.",
        nullptr, "give a number of milliseconds from 0", TakeFade},
    OptionRow{0, "script", "FILE", OptionGroup::kShow, nullptr,
        "Follow a cue sheet: scenes, moves, backgrounds, keys and stills at their times.",
        "FILE", "give the name of a file", TakeFileName<&CommandLine::script>},
    OptionRow{0, "config", "FILE", OptionGroup::kShow, nullptr,
        "Begin with a whole setup: its layout, order of drawing and scenes, and its background, size"
        " and rate where no option tells of them.",
        "FILE", "give the name of a file", TakeFileName<&CommandLine::config>},
    OptionRow{0, "save-scenes", "FILE", OptionGroup::kShow, nullptr,
        "At the end, write all scenes but the built-in ones as a document.", "FILE",
        "give the name of a file", TakeFileName<&CommandLine::saveScenes>},
    OptionRow{0, "save-config", "FILE", OptionGroup::kShow, nullptr,
        "At the end, write the whole setup as a document.", "FILE", "give the name of a file",
        TakeFileName<&CommandLine::saveConfig>},
    OptionRow{0, "list-scenes", nullptr, OptionGroup::kShow, nullptr,
        "List the scenes that are built in and those of --scenes and --config, and leave.", nullptr,
        nullptr, TakeRequest<Request::kListScenes>},
    OptionRow{0, "check", "FILE", OptionGroup::kShow, nullptr,
        "Look hard at a document of scenes, a setup or a cue sheet, tell all that is wrong with it,"
        " and leave. Can be given several times.",
        "FILE", "give the name of a file", TakeCheck},

    OptionRow{0, "source", "WxH+X+Y", OptionGroup::kRect, "the whole picture",
        "Show only this part of the picture.", nullptr, "give WxH+X+Y, as 320x240+16+0", nullptr},
    OptionRow{0, "target", "X,Y or WxH+X+Y", OptionGroup::kRect, "0,0",
        "Place in the mix, and the size there; without a size that of the source. The later input"
        " lies on top. Parts beyond the edges are cut off.",
        nullptr, "give X,Y or WxH+X+Y, as 640,0 or 320x240+640+0", nullptr},
    OptionRow{0, "fit", "HOW", OptionGroup::kRect, "stretch",
        "How a picture comes into a target of another shape: stretch, letterbox (all of it, in the"
        " middle) or crop (the target is full).",
        "stretch letterbox crop", "give stretch, letterbox or crop", nullptr},
    OptionRow{0, "alpha", "A", OptionGroup::kRect, "1", "Opacity from 0 to 1.", nullptr,
        "give a number from 0 to 1", nullptr},
    OptionRow{0, "border", "WIDTH[,COLOUR[,A]]", OptionGroup::kRect, "0",
        "A border of WIDTH pixels inside the target, white if no COLOUR is given, with the opacity"
        " A.",
        nullptr, "give WIDTH, COLOUR and an opacity from 0 to 1, as 8,#FFCC00,0.5", nullptr},
    OptionRow{0, "mask", "SHAPE or FILE", OptionGroup::kRect, "none",
        "What of the rect is seen: circle, rect, rounded-rect (all with soft edges), none (all of"
        " it), or a picture that is white where the rect shows and black where it doesn't.",
        "FILE circle rect rounded-rect none", "give circle, rect, rounded-rect, none or a file", nullptr},
    OptionRow{0, "flip", "HOW", OptionGroup::kRect, "none",
        "Mirror the picture: horizontal, vertical, both or none.", "horizontal vertical both none",
        "give horizontal, vertical, both or none", nullptr},
    OptionRow{0, "fields", "WHICH", OptionGroup::kRect, "both",
        "Draw an interlaced picture from both fields or from one.", "both one", "give both or one",
        nullptr},
    OptionRow{0, "turn", "H,V", OptionGroup::kRect, "0,0",
        "Turn the picture in space about its vertical and its horizontal axis, in degrees.",
        nullptr, "give two angles from -180 to 180, as 30,0", nullptr},
    OptionRow{0, "view", "ANGLE", OptionGroup::kRect, "40",
        "How near a turned picture is seen, as the angle of view in degrees: the larger, the"
        " stronger the perspective.",
        nullptr, "give an angle above 0 and up to 179", nullptr},
    OptionRow{0, "eye", "X,Y", OptionGroup::kRect, "0,0",
        "Where a turned picture is looked at from, off its middle, in halves of its width.",
        nullptr, "give two numbers from -100 to 100, as 0.5,0", nullptr},
    OptionRow{0, "move", "WHAT@START[+TAKE]", OptionGroup::kRect, nullptr,
        "At START of the mix begin to change, and take TAKE seconds or no time. WHAT is a place"
        " (X,Y or WxH+X+Y) or NAME=VALUE with the name of one of the options above, masks apart;"
        " several stand in quotes with spaces between them. Can be given several times, in the order"
        " of START.",
        nullptr,
        "give X,Y@START+TAKE or 'NAME=VALUE NAME=VALUE@START+TAKE', as 'alpha=0.5 640,0@2+1.5', in"
        " the order of START",
        TakeMove},
    OptionRow{0, "rect", nullptr, OptionGroup::kRect, nullptr,
        "Show the input once more: what follows tells of this further rect, which lies on top of"
        " those before it.",
        nullptr, nullptr, TakeRect},

    OptionRow{0, "key", "COLOUR[,WORD=VALUE...]", OptionGroup::kInput, "none",
        "Make a colour transparent, as that of a wall behind a presenter: green, blue, #RRGGBB, or"
        " auto, which reads it from the border of the input's first picture and tells it. Words for"
        " more stand below. Can be given several times for several colours.",
        "green blue auto none", "give green, blue, auto or #RRGGBB, and words as softness=2",
        TakeKey},
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

    OptionRow{0, "json", nullptr, OptionGroup::kReport, nullptr, "Write lists as JSON.", nullptr,
        nullptr, TakeSwitch<&CommandLine::isJson>},

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
        case OptionGroup::kShow:
            return "Scenes and shows";
        case OptionGroup::kRect:
            return "How an input is shown (before the input they belong to)";
        case OptionGroup::kInput:
            return "What an input does (before the input they belong to)";
        case OptionGroup::kReport:
            return "Reports";
        case OptionGroup::kGeneral:
            return "General";
    }
    return "";
}

}  // namespace qdvm::qdmix
