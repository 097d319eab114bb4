#pragma once

// The alpha plane that a stream's frame brings along.

#include "pixels/stream_mix.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

namespace qdvm {

// One byte a pixel of the frame, top line first whatever the frame's row order; rows as long as
// those of the picture that the stages work on, which is what the frame is converted to.
PIC_PROPS StreamAlphaProps(const StreamPixels& stream, const VM_VIDEO_PROPS& out);

// Makes the plane if the stream has one and it is not made for this frame yet: the fourth bytes of
// an ARGB32 frame.
HRESULT MakeStreamAlpha(StreamPixels& stream, const BYTE* frame, const VM_VIDEO_PROPS& out);

}  // namespace qdvm
