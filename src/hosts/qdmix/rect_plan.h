#pragma once

// The rects of an input in numbers: where each stands from the start, and after each of its moves.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/input_spec.h"
#include "hosts/qdmix/probe.h"
#include "hosts/qdmix/rect_options.h"

#include <optional>
#include <string>
#include <vector>

namespace qdvm::qdmix {

inline constexpr double kUsualViewAngle = 40;

struct RectValues {
    Geometry source;  // within the picture, even edges
    Geometry target;  // even edges
    double alpha = 1;
    Border border;
    Flip flip;
    bool isOneField = false;
    Fit fit = Fit::kStretch;
    std::string mask;  // empty: none
    Pair turn;
    double viewAngle = kUsualViewAngle;
    Pair eye;

    bool operator==(const RectValues&) const = default;
};

struct PlannedMove {
    RectValues to;
    Span span;
};

struct PlannedRect {
    RectValues first;
    std::vector<PlannedMove> moves;
};

// Fails where a part lies outside the picture, or nothing is left between even edges.
std::optional<Failure> PlanRect(const InputSpec& spec, const Probed& probed,
                                const RectOptions& options, PlannedRect& rect);

// Whether anything of the rect comes to lie in a mix of this size, now or later. What is turned may
// reach beyond its target and counts as seen.
bool IsEverSeen(const PlannedRect& rect, Size mix);

}  // namespace qdvm::qdmix
