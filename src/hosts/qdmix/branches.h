#pragma once

// The two sides of the mixer as bins: what leads into one of its pads, and what takes the mix.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/gst_handles.h"
#include "hosts/qdmix/output_spec.h"
#include "hosts/qdmix/plan.h"

#include <filesystem>
#include <optional>

namespace qdvm::qdmix {

// A new bin "input-N" with the pad "src", which delivers pictures in one of the mixer's pixel
// formats and the colours of the mix, at their own size and rate. The first container takes it
// over.
std::optional<Failure> MakeInputBranch(const PlannedInput& input, const Plan& plan,
                                       GstElement*& branch);

// A new bin "output" with the pad "sink". `path` is where a file goes.
std::optional<Failure> MakeOutputBranch(const OutputSpec& output, const Plan& plan,
                                        const std::filesystem::path& path, GstElement*& branch);

}  // namespace qdvm::qdmix
