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

std::optional<Failure> CheckSeen(const PlannedInput& input, Size size) {
    const auto isSeen = [&](const PlannedRect& rect) { return IsEverSeen(rect, size); };
    if (std::none_of(input.rects.begin(), input.rects.end(), isSeen)) {
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
    const bool canLoop = opened.probed.isStill || (opened.probed.isSeekable && !isLive);
    if (opened.options.loop && !canLoop) {
        return NoSense(input, "--loop can't be done", "it can't be set back to its beginning");
    }
    for (const RectOptions& options : opened.options.rects) {
        if (auto failure =
                PlanRect(input.spec, input.probed, options, input.rects.emplace_back())) {
            return failure;
        }
    }
    return std::nullopt;
}

Size SizeOfTargets(const std::vector<PlannedInput>& inputs) {
    Size size = {2, 2};
    for (const PlannedInput& input : inputs) {
        for (const PlannedRect& rect : input.rects) {
            const Geometry& target = rect.first.target;
            size.width = std::max(size.width, target.at.x + target.size.width);
            size.height = std::max(size.height, target.at.y + target.size.height);
        }
    }
    return size;
}

// The fastest of the inputs, those without a rate at the given one.
Rate FastestRateOf(const std::vector<PlannedInput>& inputs, Rate ofOthers) {
    Rate fastest = {0, 1};
    for (const PlannedInput& input : inputs) {
        const Rate rate = input.probed.rate.IsKnown() ? input.probed.rate : ofOthers;
        if (rate.PerSecond() > fastest.PerSecond()) {
            fastest = rate;
        }
    }
    return fastest;
}

Rate RateOf(const std::vector<PlannedInput>& inputs) {
    const Rate fastest = FastestRateOf(inputs, {0, 1});
    return fastest.IsKnown() ? fastest : kRateOfStills;
}

std::vector<PlannedChange> ChangesOf(const CommandLine& line,
                                     const std::vector<PlannedInput>& inputs) {
    std::vector<PlannedChange> changes;
    for (const BackgroundChange& change : line.backgroundChanges) {
        PlannedChange& planned = changes.emplace_back();
        planned.span = change.span;
        planned.background = change.to;
    }
    for (std::size_t input = 0; input < inputs.size(); ++input) {
        for (std::size_t rect = 0; rect < inputs[input].rects.size(); ++rect) {
            for (const PlannedMove& move : inputs[input].rects[rect].moves) {
                PlannedChange& planned = changes.emplace_back();
                planned.span = move.span;
                planned.input = input;
                planned.rect = rect;
                planned.values = move.to;
            }
        }
    }
    std::stable_sort(changes.begin(), changes.end(), [](const auto& one, const auto& other) {
        return one.span.start < other.span.start;
    });
    return changes;
}

std::vector<Capture> CapturesOf(const CommandLine& line) {
    std::vector<Capture> captures = line.captures;
    std::stable_sort(captures.begin(), captures.end(),
                     [](const auto& one, const auto& other) { return one.time < other.time; });
    return captures;
}

// A mix without a frame, and what would come after its end.
std::optional<Failure> CheckTimes(const Plan& plan) {
    if (!plan.duration) {
        return std::nullopt;
    }
    const std::string length = SecondsText(*plan.duration) + " s";
    if (static_cast<double>(*plan.duration) * plan.rate.PerSecond() < 0.5e9) {
        return Failure{ExitStatus::kUsage, "--duration", "shorter than a frame",
                       length + " at " + TextOf(plan.rate) + " frames/s"};
    }
    for (const Capture& capture : plan.captures) {
        if (capture.time >= *plan.duration) {
            return Failure{ExitStatus::kUsage, "--capture " + capture.file, "never made",
                           "the mix ends at " + length};
        }
    }
    return std::nullopt;
}

}  // namespace

bool Plan::HasEnd() const {
    return duration || std::any_of(inputs.begin(), inputs.end(),
                                   [](const PlannedInput& input) { return !input.isEndless; });
}

Rate Plan::FastestRate() const { return FastestRateOf(inputs, rate); }

std::optional<Failure> MakePlan(const CommandLine& line, const std::vector<OpenedInput>& inputs,
                                Plan& plan) {
    plan = {};
    for (const OpenedInput& opened : inputs) {
        PlannedInput input;
        if (auto failure = PlanInput(opened, input)) {
            return failure;
        }
        plan.inputs.push_back(std::move(input));
    }
    plan.size = line.size.value_or(SizeOfTargets(plan.inputs));
    plan.rate = line.rate.value_or(RateOf(plan.inputs));
    plan.format = FindPixelFormat(line.format);
    plan.background = line.background;
    plan.changes = ChangesOf(line, plan.inputs);
    plan.duration = line.duration;
    plan.captures = CapturesOf(line);
    for (const PlannedInput& input : plan.inputs) {
        if (auto failure = CheckSeen(input, plan.size)) {
            return failure;
        }
    }
    return CheckTimes(plan);
}

std::string TextOf(const Plan& plan) {
    std::string out;
    for (const PlannedInput& input : plan.inputs) {
        const std::string rate = input.probed.rate.IsKnown() ? TextOf(input.probed.rate) : "no";
        out += "qdmix: " + input.spec.Subject() + ": " + TextOf(input.probed.size) + ", " + rate +
               " frames/s";
        for (const PlannedRect& rect : input.rects) {
            out += ", " + TextOf(rect.first.source) + " at " + TextOf(rect.first.target);
        }
        out += "\n";
    }
    return out + "qdmix: mix: " + TextOf(plan.size) + ", " + TextOf(plan.rate) + " frames/s, " +
           plan.format->name + "\n";
}

}  // namespace qdvm::qdmix
