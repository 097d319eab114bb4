#include "hosts/qdmix/rect_options.h"

#include "hosts/qdmix/text_fault.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace qdvm::qdmix {

namespace {

constexpr double kFullTurn = 180;
constexpr double kWidestView = 179;
constexpr double kFarthestEye = 100;

template <class Member, class Value>
bool Store(std::optional<Member>& member, std::optional<Value> value) {
    if (value) {
        member = std::move(*value);
    }
    return value.has_value();
}

// The value of a word in a small table.
template <class Value, std::size_t kSize>
std::optional<Value> Find(const std::array<std::pair<std::string_view, Value>, kSize>& words,
                          std::string_view word) {
    const auto found = std::find_if(words.begin(), words.end(),
                                    [&](const auto& entry) { return entry.first == word; });
    return found != words.end() ? std::optional(found->second) : std::nullopt;
}

template <class Value>
using Word = std::pair<std::string_view, Value>;

constexpr std::array kFlips = {
    Word<Flip>{"none", {false, false}},
    Word<Flip>{"horizontal", {true, false}},
    Word<Flip>{"vertical", {false, true}},
    Word<Flip>{"both", {true, true}},
};

constexpr std::array kFields = {Word<bool>{"both", false}, Word<bool>{"one", true}};

constexpr std::array kFits = {
    Word<Fit>{"stretch", Fit::kStretch},
    Word<Fit>{"letterbox", Fit::kLetterBox},
    Word<Fit>{"crop", Fit::kCrop},
};

constexpr std::array kMasks = {
    Word<std::string_view>{"none", ""},
    Word<std::string_view>{"circle", "Circle"},
    Word<std::string_view>{"rect", "Rect"},
    Word<std::string_view>{"rounded-rect", "Rounded Rect"},
};

bool TakeTarget(RectChange& change, std::string_view value) {
    if (const std::optional<Point> place = ParsePoint(value)) {
        change.target = Geometry{{0, 0}, *place};
        return true;
    }
    return Store(change.target, ParseGeometry(value));
}

bool TakeAlpha(RectChange& change, std::string_view value) {
    const std::optional<double> alpha = ParseNumber(value);
    return alpha && *alpha >= 0 && *alpha <= 1 && Store(change.alpha, alpha);
}

// The mixer's own masks have their names there; others are files.
bool TakeMask(RectChange& change, std::string_view value) {
    change.mask = Find(kMasks, value).value_or(value);
    return !value.empty();
}

bool TakeTurn(RectChange& change, std::string_view value) {
    const std::optional<Pair> turn = ParsePair(value);
    return turn && std::abs(turn->horizontal) <= kFullTurn &&
           std::abs(turn->vertical) <= kFullTurn && Store(change.turn, turn);
}

bool TakeView(RectChange& change, std::string_view value) {
    const std::optional<double> angle = ParseNumber(value);
    return angle && *angle > 0 && *angle <= kWidestView && Store(change.viewAngle, angle);
}

bool TakeEye(RectChange& change, std::string_view value) {
    const std::optional<Pair> eye = ParsePair(value);
    return eye && std::abs(eye->horizontal) <= kFarthestEye &&
           std::abs(eye->vertical) <= kFarthestEye && Store(change.eye, eye);
}

// clang-format off
constexpr std::array kSettings = {
    RectSetting{"source", true, [](RectChange& change, std::string_view value) {
        return Store(change.source, ParseGeometry(value)); }},
    RectSetting{"target", true, TakeTarget},
    RectSetting{"alpha", true, TakeAlpha},
    RectSetting{"border", true, [](RectChange& change, std::string_view value) {
        return Store(change.border, ParseBorder(value)); }},
    RectSetting{"flip", true, [](RectChange& change, std::string_view value) {
        return Store(change.flip, Find(kFlips, value)); }},
    RectSetting{"fields", true, [](RectChange& change, std::string_view value) {
        return Store(change.isOneField, Find(kFields, value)); }},
    RectSetting{"fit", true, [](RectChange& change, std::string_view value) {
        return Store(change.fit, Find(kFits, value)); }},
    RectSetting{"mask", false, TakeMask},
    RectSetting{"turn", true, TakeTurn},
    RectSetting{"view", true, TakeView},
    RectSetting{"eye", true, TakeEye},
};
// clang-format on

bool TakeWord(RectChange& change, std::string_view word) {
    const std::size_t equals = word.find('=');
    if (equals == std::string_view::npos) {
        return TakeTarget(change, word);
    }
    const RectSetting* setting = FindRectSetting(word.substr(0, equals));
    return setting != nullptr && setting->canMove && setting->take(change, word.substr(equals + 1));
}

}  // namespace

const RectSetting* FindRectSetting(std::string_view name) {
    const auto found = std::find_if(kSettings.begin(), kSettings.end(),
                                    [&](const RectSetting& row) { return name == row.name; });
    return found != kSettings.end() ? &*found : nullptr;
}

bool IsBuiltInMask(std::string_view mask) {
    return std::any_of(kMasks.begin(), kMasks.end(),
                       [&](const auto& word) { return word.second == mask; });
}

std::string TakeRectWord(RectChange& change, std::string_view word) {
    constexpr std::string_view kMask = "mask=";
    if (word.starts_with(kMask) && TakeMask(change, word.substr(kMask.size()))) {
        return {};
    }
    if (TakeWord(change, word)) {
        return {};
    }
    const std::string text = "'" + std::string(word) + "'";
    const std::size_t equals = word.find('=');
    if (equals == std::string_view::npos) {
        return text + " is no place: X,Y or WxH+X+Y is expected, as 640,0 or 320x240+640+0";
    }
    std::vector<std::string_view> names;
    for (const RectSetting& setting : kSettings) {
        names.push_back(setting.name);
    }
    const std::string_view name = word.substr(0, equals);
    if (std::find(names.begin(), names.end(), name) == names.end()) {
        return "'" + std::string(name) + "' can't be moved; there are " + Choice(names);
    }
    return text + " has a value that makes no sense; see --" + std::string(name) +
           " in qdmix --help";
}

std::optional<Move> ParseMove(std::string_view text) {
    const std::optional<Timed> timed = ParseTimed(text);
    if (!timed) {
        return std::nullopt;
    }
    Move move{{}, timed->span};
    std::string_view words = timed->what;
    while (!words.empty()) {
        const std::size_t end = std::min(words.find(' '), words.size());
        if (end > 0 && !TakeWord(move.change, words.substr(0, end))) {
            return std::nullopt;
        }
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return move.change == RectChange{} ? std::nullopt : std::optional(move);
}

}  // namespace qdvm::qdmix
