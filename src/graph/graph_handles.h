#pragma once

// Samples and clocks of the graph as the mixer sees them.

#include "mixer/clock_handle.h"
#include "mixer/media_frame.h"

#include <qdvideomixer/media_graph.h>

namespace qdvm {

// A new hold on the sample; empty for null.
MediaFrame FrameOf(IMediaSample* sample);

// The sample of a frame that FrameOf made; borrowed.
IMediaSample* SampleOf(const MediaFrame& frame);

// A new hold on the clock; empty for null.
ClockHandle ClockOf(IReferenceClock* clock);

}  // namespace qdvm
