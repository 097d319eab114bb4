#pragma once

// How what was planned becomes properties of the mixer's element and its pads.

#include "hosts/qdmix/gst_handles.h"
#include "hosts/qdmix/plan.h"

#include <cstddef>
#include <cstdint>

namespace qdvm::qdmix {

// How long the changes after this take, in nanoseconds of the mix.
void SetChangeTime(GstElement* mixer, std::int64_t take);

// A rect of the pad's stream, by its number. `picture` is the size of what comes in on the pad.
void SetRect(GstPad* pad, std::size_t rect, const RectValues& values, Size picture);

void SetBackground(GstElement* mixer, const Background& background);

// What a pad does besides being drawn.
void SetPolicy(GstPad* pad, const PlannedInput& input);

}  // namespace qdvm::qdmix
