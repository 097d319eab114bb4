#include "hosts/qdmix/plan.h"

#include <algorithm>
#include <utility>

namespace qdvm::qdmix {

namespace {

constexpr int kPatientWait = 250;  // a slow decoder doesn't cost frames of a file
constexpr int kLiveWait = 8;
constexpr Rate kRateOfStills = {25, 1};

Failure NoSense(const PlannedInput& input, std::string what, std::string why) {
    return {ExitStatus::kUsage, input.spec.Subject(), std::move(what), std::move(why)};
}

int RoundUp(int place) { return place + (place & 1); }
int RoundDown(int place) { return place - (place & 1); }

// The mixer's edges: left and top up, right and bottom down.
Geometry OnEvenPixels(const Geometry& geometry) {
    const Point from = {RoundUp(geometry.at.x), RoundUp(geometry.at.y)};
    const Point to = {RoundDown(geometry.at.x + geometry.size.width),
                      RoundDown(geometry.at.y + geometry.size.height)};
    return {{to.x - from.x, to.y - from.y}, from};
}

bool IsEmpty(Size size) { return size.width <= 0 || size.height <= 0; }

bool Touches(const Geometry& geometry, Size size) {
    return geometry.at.x < size.width && geometry.at.y < size.height &&
           geometry.at.x + geometry.size.width > 0 && geometry.at.y + geometry.size.height > 0;
}

std::optional<Failure> PlaceSource(PlannedInput& input) {
    const Size whole = input.probed.evenSize;
    input.source = input.options.source.value_or(Geometry{whole, {0, 0}});
    const Point from = input.source.at;
    if (from.x < 0 || from.y < 0 || from.x + input.source.size.width > input.probed.size.width ||
        from.y + input.source.size.height > input.probed.size.height) {
        return NoSense(input, "--source lies outside the picture",
                       "the picture is " + TextOf(input.probed.size));
    }
    input.source = OnEvenPixels(input.source);
    if (IsEmpty(input.source.size)) {
        return NoSense(input, "--source is too small", "edges lie on even pixels");
    }
    return std::nullopt;
}

std::optional<Failure> PlaceTarget(PlannedInput& input) {
    input.target = input.options.target;
    input.target.at = {RoundUp(input.target.at.x), RoundUp(input.target.at.y)};
    if (IsEmpty(input.target.size)) {
        input.target.size = input.source.size;
    } else {
        input.target = OnEvenPixels(input.options.target);
    }
    if (IsEmpty(input.target.size)) {
        return NoSense(input, "--target is too small", "edges lie on even pixels");
    }
    for (Move& move : input.options.moves) {
        move.to = {RoundUp(move.to.x), RoundUp(move.to.y)};
    }
    return std::nullopt;
}

// What the mixer can draw: pictures at their own size that cover what lies below them. Others it
// leaves out, which nobody would expect of a command that reports success.
std::optional<Failure> CheckDrawn(const PlannedInput& input) {
    if (input.target.size != input.source.size) {
        return NoSense(input, "can't be drawn at " + TextOf(input.target.size),
                       "pictures are drawn at their own size, " + TextOf(input.source.size));
    }
    if (input.options.alpha > 0 && input.options.alpha < 1) {
        return NoSense(input, "can't be drawn half transparent", "--alpha takes 0 or 1");
    }
    return std::nullopt;
}

std::optional<Failure> CheckFormat(const std::string& name) {
    if (name == "ARGB32") {
        return Failure{ExitStatus::kUsage, "--format ARGB32", "can't be drawn",
                       "pictures with alpha would have to be blended; RGB32 is without"};
    }
    return std::nullopt;
}

std::optional<Failure> CheckSeen(const PlannedInput& input, Size size) {
    Geometry place = input.target;
    bool isSeen = Touches(place, size);
    for (const Move& move : input.options.moves) {
        place.at = move.to;
        isSeen = isSeen || Touches(place, size);
    }
    if (!isSeen) {
        return NoSense(input, "never seen", "its target lies outside of " + TextOf(size));
    }
    return std::nullopt;
}

std::optional<Failure> PlanInput(const OpenedInput& opened, PlannedInput& input) {
    input.spec = opened.spec;
    input.options = opened.options;
    input.probed = opened.probed;
    const bool isMedia =
        opened.spec.kind == InputKind::kFile || opened.spec.kind == InputKind::kUri;
    const bool isLive = opened.spec.IsLive();
    input.waitFrames = opened.options.waitFrames.value_or(isLive ? kLiveWait : kPatientWait);
    input.isEndless = !isMedia || isLive || opened.options.loop || opened.probed.isStill;
    if (opened.options.loop && (isLive || !opened.probed.isSeekable)) {
        return NoSense(input, "--loop can't be done", "it can't be set back to its beginning");
    }
    if (auto failure = PlaceSource(input)) {
        return failure;
    }
    if (auto failure = PlaceTarget(input)) {
        return failure;
    }
    return CheckDrawn(input);
}

Size SizeOfTargets(const std::vector<PlannedInput>& inputs) {
    Size size = {2, 2};
    for (const PlannedInput& input : inputs) {
        size.width = std::max(size.width, input.target.at.x + input.target.size.width);
        size.height = std::max(size.height, input.target.at.y + input.target.size.height);
    }
    return size;
}

Rate FastestRate(const std::vector<PlannedInput>& inputs) {
    Rate fastest = {0, 1};
    for (const PlannedInput& input : inputs) {
        if (input.probed.rate.IsKnown() &&
            (!fastest.IsKnown() || input.probed.rate.PerSecond() > fastest.PerSecond())) {
            fastest = input.probed.rate;
        }
    }
    return fastest.IsKnown() ? fastest : kRateOfStills;
}

}  // namespace

bool Plan::HasEnd() const {
    return duration || std::any_of(inputs.begin(), inputs.end(),
                                   [](const PlannedInput& input) { return !input.isEndless; });
}

std::optional<Failure> MakePlan(const CommandLine& line, const std::vector<OpenedInput>& inputs,
                                Plan& plan) {
    plan = {};
    if (auto failure = CheckFormat(line.format)) {
        return failure;
    }
    for (const OpenedInput& opened : inputs) {
        PlannedInput input;
        if (auto failure = PlanInput(opened, input)) {
            return failure;
        }
        plan.inputs.push_back(std::move(input));
    }
    plan.size = line.size.value_or(SizeOfTargets(plan.inputs));
    plan.rate = line.rate.value_or(FastestRate(plan.inputs));
    plan.format = FindPixelFormat(line.format);
    plan.background = line.background;
    plan.duration = line.duration;
    for (const PlannedInput& input : plan.inputs) {
        if (auto failure = CheckSeen(input, plan.size)) {
            return failure;
        }
    }
    return std::nullopt;
}

std::string TextOf(const Plan& plan) {
    std::string out;
    for (const PlannedInput& input : plan.inputs) {
        const std::string rate = input.probed.rate.IsKnown() ? TextOf(input.probed.rate) : "no";
        out += "qdmix: " + input.spec.Subject() + ": " + TextOf(input.probed.size) + ", " + rate +
               " frames/s, " + TextOf(input.source.size) + " of it at " +
               std::to_string(input.target.at.x) + "," + std::to_string(input.target.at.y) + "\n";
    }
    return out + "qdmix: mix: " + TextOf(plan.size) + ", " + TextOf(plan.rate) + " frames/s, " +
           plan.format->name + "\n";
}

}  // namespace qdvm::qdmix
