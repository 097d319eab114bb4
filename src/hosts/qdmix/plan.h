#pragma once

// The whole mix in numbers, decided before anything is built.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/input_spec.h"
#include "hosts/qdmix/options.h"
#include "hosts/qdmix/output_spec.h"
#include "hosts/qdmix/probe.h"
#include "hosts/qdmix/rect_plan.h"

#include <optional>
#include <vector>

namespace qdvm::qdmix {

// An input as it was found.
struct OpenedInput {
    InputSpec spec;
    InputOptions options;
    Probed probed;
};

struct PlannedInput {
    InputSpec spec;
    InputOptions options;
    Probed probed;
    std::vector<PlannedRect> rects;
    int waitFrames = 0;
    bool isEndless = false;  // doesn't keep the mix going
};

// Something that happens at a time of the mix: a rect of an input moves, or the background changes.
struct PlannedChange {
    Span span;
    std::optional<std::size_t> input;  // nothing: the background
    std::size_t rect = 0;
    RectValues values;
    Background background;
};

struct Plan {
    std::vector<PlannedInput> inputs;
    Size size;
    Rate rate;
    const PixelFormat* format = nullptr;
    Background background;
    std::vector<PlannedChange> changes;    // in the order of their start
    std::optional<std::int64_t> duration;  // nanoseconds
    std::vector<Capture> captures;         // in the order of their time

    // Whether something other than a signal ends the mix.
    bool HasEnd() const;

    // The rate of the fastest input; those without a rate come at that of the mix.
    Rate FastestRate() const;
};

// Fails where an option makes no sense for what was found.
std::optional<Failure> MakePlan(const CommandLine& line, const std::vector<OpenedInput>& inputs,
                                Plan& plan);

// The plan as lines for the user.
std::string TextOf(const Plan& plan);

}  // namespace qdvm::qdmix
