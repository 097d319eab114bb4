#pragma once

// The alpha plane that a stream's frame brings along.

#include "pixels/stream_mix.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

namespace qdvm {

// One byte a pixel of the frame, top line first whatever the frame's row order; rows as long as
// those of the picture that the stages work on, which is what the frame is converted to.
PIC_PROPS StreamAlphaProps(const StreamPixels& stream, const VM_VIDEO_PROPS& out);

// Makes the plane if the stream has one and it is not made for this frame yet: by its key, or
// without one from the fourth bytes of an ARGB32 frame. A format that can't be keyed is shown
// whole, and the trace is told once. Frames belong to others and are only read: where the light of
// the backdrop is removed *frame becomes a picture of the stream's own. 0: made. 1: there is none,
// or it was there. Else why there is none, or none that is keyed.
HRESULT MakeStreamAlpha(StreamPixels& stream, const VM_VIDEO_PROPS& out, const BYTE** frame);

// Whether the rect is drawn through the plane, if the stream has one. ARGB32 onto ARGB32 is
// composited by the pixels' own fourth bytes unless there is a key, a mask or a projection.
bool WantsStreamAlpha(const StreamPixels& stream, const MixBlock& rect, const VM_VIDEO_PROPS& out);

}  // namespace qdvm
