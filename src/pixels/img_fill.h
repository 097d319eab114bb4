#pragma once

// Filling rects with a colour.

#include "pixels/img_rect.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>

namespace qdvm {

// Fills a rect of a frame (null: all of it) with a colour, 0xAABBGGRR. alpha from 0 to 255 (values
// beyond are clamped) is the opacity; 255 stores the colour, less gives for every byte
// (old * (255 - alpha) + colour * alpha) >> 8. The colour's own alpha byte goes into the fourth
// byte of 32-bit pixels as another sample. 0: done. 1: nothing is visible. E_INVALIDARG: a null
// argument, bad geometry or a rect without area. E_NOTIMPL: a format without colours. E_FAIL: no
// place for the rect in memory.
HRESULT Img_FillRect(BYTE* frame, const PIC_PROPS* D, std::uint32_t colour, const ImgRect* rect,
                     std::int32_t alpha);

}  // namespace qdvm
