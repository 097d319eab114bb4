#pragma once

// One rect of an input as the command line describes it: where a part of the picture stands in the
// mix, how it looks there, and how that changes over time. Options and moves share their words.

#include "hosts/qdmix/values.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm::qdmix {

struct Flip {
    bool isHorizontal = false;
    bool isVertical = false;

    bool operator==(const Flip&) const = default;
};

// How a picture comes into a target of another shape.
enum class Fit { kStretch, kLetterBox, kCrop };

// What is told of a rect; the rest stays as it is.
struct RectChange {
    std::optional<Geometry> source = {};  // part of the picture
    std::optional<Geometry> target = {};  // place in the mix; a size of 0x0 stays as it is
    std::optional<double> alpha = {};
    std::optional<Border> border = {};
    std::optional<Flip> flip = {};
    std::optional<bool> isOneField = {};
    std::optional<Fit> fit = {};
    std::optional<std::string> mask = {};  // one of the mixer's own, a file, or empty for none
    std::optional<Pair> turn = {};         // degrees about the vertical and the horizontal axis
    std::optional<double> viewAngle = {};  // degrees
    std::optional<Pair> eye = {};          // in halves of the target's width

    bool operator==(const RectChange&) const = default;
};

struct Move {
    RectChange change;
    Span span;

    bool operator==(const Move&) const = default;
};

struct RectOptions {
    RectChange first;
    std::vector<Move> moves;  // in the order of their start
};

// Something of a rect that an option of this name and a move can set.
struct RectSetting {
    const char* name;
    bool canMove;
    // False for a value that makes no sense.
    bool (*take)(RectChange& change, std::string_view value);
};

// Null for an unknown name.
const RectSetting* FindRectSetting(std::string_view name);

// Whether a mask is none or one of the mixer's own, and no file.
bool IsBuiltInMask(std::string_view mask);

// One word of a cue: a target, or "NAME=VALUE", masks among them. Empty, or what is wrong with it.
std::string TakeRectWord(RectChange& change, std::string_view word);

// "NAME=VALUE NAME=VALUE...@START[+TAKE]"; a word without a name is a target. The names are those
// of the settings.
std::optional<Move> ParseMove(std::string_view text);

}  // namespace qdvm::qdmix
