#pragma once

// The test picture that stands for a lost stream.

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

namespace qdvm {

// Draws the bars over a whole frame (FrameBytes of props), stretched from 720 x 576. E_NOTIMPL: a
// format without a conversion from RGB24. E_OUTOFMEMORY.
HRESULT DrawColourBars(BYTE* frame, const PIC_PROPS& props);

}  // namespace qdvm
