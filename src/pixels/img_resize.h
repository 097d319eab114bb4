#pragma once

// A rect of a picture onto a rect of another size, in the same format.

#include "pixels/img_rect.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>

namespace qdvm {

// How pixels are resampled. Chroma of YUV is never better than linear.
enum ResizeMode : std::int32_t {
    kResizeLinear = 2,
    kResizeCubic = 4,
    kResizeNearest = 32,
    kResizeMaskLinear = 33,  // masks and pictures from files: linear
    kResizeFinest = 34,      // area average where nothing grows, else cubic
};

// Bytes of working memory for a picture of S scaled to one of D; 16 where a conversion comes first.
// kNoFrameBytes where no memory holds it.
std::uint32_t ResizeScratchBytes(const PIC_PROPS& S, const PIC_PROPS& D);
std::uint32_t ResizeScratchBytes16(const PIC_PROPS& S, const PIC_PROPS& D);

// Scales rect s of src to rect d of dst (null: the whole picture), clipped together; the corners of
// one land on the corners of the other. src and dst hold FrameBytes of S and D, which have the same
// format, and must not overlap. RGB pictures of unlike row order are turned upright on the way;
// rows of RGB8 keep their order in memory. Of dst only the rect is written. Rects of equal size are
// copied whatever the mode, which is a ResizeMode or an Interpolation; another one draws nothing.
// scratch has ResizeScratchBytes(S, D) bytes; null: packed 4:2:2 allocates it for the call.
//
// 0: done; for 16-bit RGB nothing is done. 1: nothing is visible. E_INVALIDARG: a null argument,
// unlike formats, bad geometry or a rect without area. E_OUTOFMEMORY: no scratch.
HRESULT Img_Resize(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                   const ImgRect* s, const ImgRect* d, std::int32_t mode, BYTE* scratch);

// The same for interlaced frames: the lines of each field to the lines of the same field. The
// result of the first field if that failed, else that of the second.
HRESULT Img_ResizeFields(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                         const ImgRect* s, const ImgRect* d, std::int32_t mode, BYTE* scratch);

// One field of the source to every line of the target: field 0 has the first row in memory and
// every second one after it, field 1 the others.
HRESULT Img_ResizeOneField(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                           const ImgRect* s, const ImgRect* d, int field, std::int32_t mode,
                           BYTE* scratch);

}  // namespace qdvm
