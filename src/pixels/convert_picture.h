#pragma once

// A whole picture into a whole picture of any format and size, where no rects and no time matter.

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

namespace qdvm {

// Converts in the source's size, then scales linearly, field by field if bFields is set. src and
// dst hold FrameBytes of S and D and must not overlap; the source is only read. Beyond Img_Convert
// it reads and makes YVYU from and for every format. Allocates its working memory.
// S_OK. E_NOTIMPL: no conversion (to and from 16-bit RGB and RGB8). E_OUTOFMEMORY. Otherwise the
// failure of Img_Convert or Img_Resize, E_FAIL where nothing is visible.
HRESULT ConvertPicture(const BYTE* src, BYTE* dst, const PIC_PROPS& S, const PIC_PROPS& D,
                       bool bFields);

}  // namespace qdvm
