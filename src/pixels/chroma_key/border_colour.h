#pragma once

// The colour of the wall behind a picture, read from its border.

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>

namespace qdvm {

struct BorderColour {
    std::uint32_t colour = 0;  // 0xRRGGBB, the mean of the border's pixels near its middle colour
    double share = 0;          // of the border's pixels that are near it, 0 to 1
    bool isOne = false;        // enough of them that the border is of one colour
    bool isColourful = false;  // it isn't grey, white or black
};

// Looks at the upper border and the upper three quarters of the left and the right one: below
// stands who is filmed. `frame` has FrameBytes of `props`, in any format that is mixed. Allocates
// working memory. Also the failures of ConvertPicture; E_POINTER; E_OUTOFMEMORY; E_INVALIDARG
// without pixels.
HRESULT ReadBorderColour(const BYTE* frame, const PIC_PROPS& props, BorderColour* found);

}  // namespace qdvm
