#pragma once

// A rect of a picture into a rect of another format and size.

#include "pixels/img_rect.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>

namespace qdvm {

// Converts with Img_Convert and scales with Img_Resize, or with Img_ResizeFields if bFields is set,
// whichever of the two S, D and the rects s and d (null: the whole picture) call for; converts
// first, in the source's size. mode as for Img_Resize. scratch has ResizeScratchBytes16(S, D)
// bytes; null: it is allocated for the call if it is needed.
// E_INVALIDARG: a null argument. E_OUTOFMEMORY: no scratch. Else the result of the step that
// failed, or of the last one.
HRESULT Img_ConvertResize(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                          const ImgRect* s, const ImgRect* d, bool bFields, std::int32_t mode,
                          BYTE* scratch);

}  // namespace qdvm
