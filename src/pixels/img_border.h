#pragma once

// Borders inside rects.

#include "pixels/img_rect.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>

namespace qdvm {

// Draws a border of `width` pixels inside the edges of a rect of a frame (null: all of it), over
// what the rect shows. colour is 0xAABBGGRR with its alpha byte taken as 255, for RGB8 its low byte
// is the sample. alpha from 0 to 255 (values beyond are clamped) is the opacity, as in
// Img_FillRect. A rect that hangs over the frame's edge is clipped first, so that the border
// follows the frame's edge there. A width beyond half of the rect's smaller side is that half; for
// YUV it counts up to even.
// 0: done. 1: nothing is visible. E_INVALIDARG: a null argument, bad geometry or a rect without
// area. E_NOTIMPL: a format without colours. E_FAIL: no place for the rect in memory.
HRESULT Img_Border(BYTE* frame, const PIC_PROPS* D, std::uint32_t colour, std::int32_t width,
                   const ImgRect* rect, std::int32_t alpha);

}  // namespace qdvm
