#pragma once

// A picture on a plane that is turned in space: where its corners land, and the picture there.

#include "pixels/img_rect.h"
#include "pixels/mix_block.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>

namespace qdvm {

// Projects the corners of a target rect, from the top left one clockwise, into output pixels with
// fractions. The rect lies in the picture's plane; the eye looks at its middle with an angle of
// view of dblViewAngle degrees over outWidth pixels, from a direction turned by dblHorzAngle and
// dblVertAngle degrees, moved by the offsets in halves of the rect's width. At odd multiples of 90
// degrees there is nothing to see and corners can be infinite or not a number.
// 0: done. E_POINTER: no rect or corners.
HRESULT Img_ProjectCorners(const ImgRect* rect, double outWidth, double dblHorzOffset,
                           double dblVertOffset, PointD* corners, double dblViewAngle,
                           double dblHorzAngle, double dblVertAngle);

// Draws rect s of src (null: the whole picture) onto the quadrangle of dst whose four corners, from
// the top left one clockwise, are given in pixels of D. src and dst hold FrameBytes of S and D,
// which have the same format, and must not overlap. mode is an Interpolation. Luma and RGB blend
// with what lies below at the quadrangle's edges.
//
// bound (may be null) gets the rect that was touched: multiples of 4 across and of 2 down, which
// can stand beyond D by less than that; empty where nothing is visible. Packed 4:2:2 is written all
// over the bound: with bBlendEdges what lies around the quadrangle stays, without it is left
// undefined, for callers that cover it with a plane. scratch has FrameBytes(S) + FrameBytes(D)
// bytes; null: packed 4:2:2 allocates it for the call.
//
// 0: done; for 16-bit RGB nothing is done. 1: nothing is visible. E_INVALIDARG: a null argument,
// bad geometry, corners that make no picture. E_NOTIMPL: unlike formats. E_OUTOFMEMORY: no scratch.
HRESULT Img_Perspective(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                        const PointD* corners, const ImgRect* s, ImgRect* bound, bool bBlendEdges,
                        std::int32_t mode, BYTE* scratch);

}  // namespace qdvm
