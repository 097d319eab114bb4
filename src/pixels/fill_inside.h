#pragma once

// What fills and borders end in.

#include "pixels/colour.h"
#include "pixels/img_rect.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

namespace qdvm {

// Fills a rect that lies inside the frame, with even left and right edges unless D is RGB. alpha
// 255 stores the bytes of the colour, less gives (old * (255 - alpha) + colour * alpha) >> 8.
// False if there is no place for the rect in memory.
bool FillInside(BYTE* frame, const PIC_PROPS& D, const PackedColour& colour, const ImgRect& rect,
                BYTE alpha);

}  // namespace qdvm
