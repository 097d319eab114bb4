#pragma once

// How a rect's values run from where they are to where they shall be.

#include "pixels/mix_block.h"

#include <qdvideomixer/mixing_rect.h>

#include <cstdint>

namespace qdvm {

// A time in milliseconds as a whole number of frames of frameDuration (100 ns), rounded to nearest,
// halves away from zero.
std::int32_t RectFrames(std::int32_t milliseconds, std::int64_t frameDuration);

// The record as a working state.
MixBlockState StateOf(const VM_MIXING_RECT& rect);

// Starts a change to `wanted` over `frames` frames; less than one is at once. Leaves `removing`
// as it is. The caller updates the projection.
void StartChange(MixBlock& rect, const MixBlockState& wanted, std::int32_t frames);

// Starts fading the rect out over `frames` frames (at least one), after which it is to be erased.
// False if nothing is left to fade, so that it can go at once.
bool StartRemoval(MixBlock& rect, std::int32_t frames);

// Takes a running change one frame on. True when it has arrived, with every value exactly on its
// target.
bool StepChange(MixBlock& rect);

}  // namespace qdvm
