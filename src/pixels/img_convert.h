#pragma once

// A rect of a picture into a rect of another format, without scaling.

#include "pixels/img_rect.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

namespace qdvm {

// Converts rect s of src to rect d of dst (null: the whole picture), clipped together. src and dst
// hold FrameBytes of S and D and must not overlap. Studio range by the matrix of Rec. 601, for HDYC
// too, which counts as UYVY. Pictures of unlike row order are turned upright on the way; of dst
// only the rect is written. A picture of the same format is copied.
//
// From RGB32 to ARGB32 and from YUV to either, the fourth byte becomes 255. From RGB24 it stays in
// RGB32, where it means nothing, and becomes 255 in ARGB32.
// 4:2:0 to anything: each line takes the chroma row of its own line pair, at whatever line the rect
// begins. To 4:2:0: chroma comes from the lines of its pair that lie inside the rect, from 4:2:2
// from the upper one of them. The last line of an odd height has the chroma of the line above it.
//
// The source is only read, unless bCopyMirror is clear: then a bottom-up source that meets a
// top-down destination is turned over in its own memory, the whole picture and not just the rect,
// so that it is the same picture top-down afterwards.
//
// 0: done; to 16-bit RGB from RGB, UYVY, HDYC and YVYU nothing is done. 1: nothing is visible.
// E_INVALIDARG: a null argument, bad geometry or a rect without area. E_NOTIMPL: no conversion for
// the pair. YVYU comes from YUY2, I420 and YV12 alone and becomes I420 and YV12 alone; nothing
// comes from 16-bit RGB; RGB8 takes no part. E_FAIL: no place for a rect in memory.
// kImageSizeError: 4:2:0 of less than two lines.
HRESULT Img_Convert(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                    const ImgRect* s, const ImgRect* d, bool bCopyMirror);

}  // namespace qdvm
