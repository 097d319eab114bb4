#pragma once

// Conversion between any two of the formats that are mixed.

#include "pixels/img_rect.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

namespace qdvm {

// Img_Convert of one rect, same place in both pictures, with YUY2 between where there is no route
// from or to YVYU. The rect lies in both; scratch has FrameBytes(S). Results as Img_Convert;
// E_NOTIMPL also for 16-bit RGB where Img_Convert does nothing.
HRESULT ConvertAny(const BYTE* src, BYTE* dst, const PIC_PROPS& S, const PIC_PROPS& D,
                   const ImgRect& rect, BYTE* scratch);

}  // namespace qdvm
