#pragma once

// Pictures turned over: upside down, left to right, or both.

#include "pixels/img_rect.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

namespace qdvm {

// Copies rect s of src to rect d of dst (null: the whole picture), clipped together without
// scaling, turned by the two flags as it is seen. src and dst hold FrameBytes of S and D and must
// not overlap; a picture that goes to one of the other row order is turned once more on the way, so
// that it stands upright but for the flags. Of dst only the rect is written.
// 0: done. 1: neither flag is set, or nothing is visible; nothing is copied. E_INVALIDARG: a null
// argument, bad geometry or a rect without area. E_NOTIMPL: unlike formats, HDYC, 16-bit RGB.
// E_FAIL: no place for the rect in memory.
HRESULT Img_Flip(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D, bool vertical,
                 bool horizontal, const ImgRect* s, const ImgRect* d);

// The same within one picture's memory.
HRESULT Img_FlipInPlace(BYTE* buffer, const PIC_PROPS* props, bool vertical, bool horizontal,
                        const ImgRect* rect);

}  // namespace qdvm
