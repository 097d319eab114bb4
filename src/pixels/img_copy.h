#pragma once

// The plain copy of a rect between two pictures of one format.

#include "pixels/img_rect.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

namespace qdvm {

// Copies rect s of src to rect d of dst without scaling. src and dst hold FrameBytes of S and D and
// must not overlap. Where the row orders differ the picture is turned upright on the way. v210 and
// r210 are copied in whole stored groups, from memory that need not be readable.
// 0: done. 1: nothing is visible. E_INVALIDARG: a null argument, bad geometry or a rect without
// area. E_NOTIMPL: different formats. E_FAIL: no place for the rect in memory. E_ACCESSDENIED: the
// memory can't be read or written.
HRESULT Img_CopyRect(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                     const ImgRect* s, const ImgRect* d);

}  // namespace qdvm
