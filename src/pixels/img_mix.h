#pragma once

// Blending a rect of one picture into a rect of another of the same format, without scaling.
//
// src and dst hold FrameBytes of S and D and must not overlap; s and d are rects, null for the
// whole picture, clipped together. Pictures of unlike row order are turned upright on the way.
// 0: done; formats without a blend (RGB565, RGB555, RGB8) stay as they are. 1: nothing is visible.
// E_INVALIDARG: a null argument, bad geometry, bad weights or a rect without area. E_NOTIMPL:
// different formats. E_FAIL: no place for a rect in memory.

#include "pixels/img_rect.h"
#include "pixels/primitives/arithmetic.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>

namespace qdvm {

// dst = (src * a + dst * b) >> 8 for every byte, the fourth of a pixel as well; chroma around 128.
// a from 0 to 256, b = 256 - a. Packed 4:2:2 has seven bits of weight: half of a, an odd a rounded
// up.
HRESULT Img_MixConst(const BYTE* src, BYTE* dst, std::int32_t a, std::int32_t b, const PIC_PROPS* S,
                     const PIC_PROPS* D, const ImgRect* s, const ImgRect* d);

// dst = (src * alpha + dst * (255 - alpha) + 255) >> 8 with the alpha of the plane: none of src
// for 0, src exactly for 255. The plane has one byte a pixel of S: nRowWidth of S (nWidth if that
// is 0) to a row, as many rows as S, the lowest line first if bBottomUpPlane. Chroma samples of a
// pair take half the sum of its two alphas, in 4:2:0 those of every other line of the rect from
// its first.
// ARGB32 is composited by the pixels' own fourth bytes instead, source over destination, straight
// in and out; the plane is not looked at and may be null.
HRESULT Img_MixPlane(const BYTE* src, const BYTE* plane, BYTE* dst, const PIC_PROPS* S,
                     const PIC_PROPS* D, bool bBottomUpPlane, const ImgRect* s, const ImgRect* d);

// The same compositing with the fourth bytes of src times opacity / 256, halves to even; from 0 to
// 256, which leaves them as they are. E_NOTIMPL for other formats than ARGB32.
HRESULT Img_Composite(const BYTE* src, BYTE* dst, std::int32_t opacity, const PIC_PROPS* S,
                      const PIC_PROPS* D, const ImgRect* s, const ImgRect* d);

// The fourth byte of each pixel of a row from the plane, the others from src. dst may be src.
inline void Img_AlphaInsertRow(BYTE* dst, const BYTE* src, const BYTE* planeRow,
                               std::int32_t pixels) {
    (void)InsertAlphaRow(dst, src, planeRow, pixels);
}

}  // namespace qdvm
