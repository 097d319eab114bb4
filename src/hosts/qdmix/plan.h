#pragma once

// The whole mix in numbers, decided before anything is built.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/input_spec.h"
#include "hosts/qdmix/options.h"
#include "hosts/qdmix/output_spec.h"
#include "hosts/qdmix/probe.h"

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
    InputOptions options;  // moves on even pixels
    Probed probed;
    Geometry source;  // within probed.evenSize, even edges
    Geometry target;  // even edges
    int waitFrames = 0;
    bool isEndless = false;  // doesn't keep the mix going
};

struct Plan {
    std::vector<PlannedInput> inputs;
    Size size;
    Rate rate;
    const PixelFormat* format = nullptr;
    std::optional<std::uint32_t> background;  // 0xAARRGGBB
    std::optional<std::int64_t> duration;     // nanoseconds

    // Whether something other than a signal ends the mix.
    bool HasEnd() const;
};

// Fails where an option makes no sense for what was found.
std::optional<Failure> MakePlan(const CommandLine& line, const std::vector<OpenedInput>& inputs,
                                Plan& plan);

// The plan as lines for the user.
std::string TextOf(const Plan& plan);

}  // namespace qdvm::qdmix
