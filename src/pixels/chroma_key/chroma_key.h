#pragma once

// The alpha plane of a frame from its colours, and the frame without the light of the backdrop.

#include "frames/blob_holder.h"
#include "pixels/copy_frame.h"

#include <qdvideomixer/chroma_key.h>
#include <qdvideomixer/object.h>

#include <cstddef>
#include <cstdint>

namespace qdvm {

// Pixels from one row of the alpha plane to the next, for a frame of this description; 0 for a
// format outside the table.
std::int32_t KeyPlaneStride(const FrameDesc& desc);

// Whether frames of this format can be keyed.
bool CanBeKeyed(std::int32_t fccType);

// Fills `plane`, one byte for each pixel, rows in the frame's order of memory: 0 transparent, 255
// opaque, between only what smoothing blends. Only the nWidth first bytes of a row are written.
// `frame` holds the rows of `desc`; with spill removal its pixels change, and those of ARGB32 take
// the plane as their fourth byte. RGB32, ARGB32, RGB24, YUY2, UYVY, HDYC and v210 can be keyed.
//
// `working` is memory that the caller keeps from frame to frame, so that none is allocated while
// neither the format nor the settings change; null: memory of this call. Nothing in it is kept.
//
// 0: done. 1: keyType is not RGB, HLS or YUV, and the plane stays as it was; or no entry of
// `settings` has a key or spill removal, and the plane is 255. E_POINTER: a null argument but
// `working`. E_INVALIDARG: no pixels, or rows shorter than the width. VFW_E_INVALIDSUBTYPE: a
// format that can't be keyed, the plane stays as it was. E_OUTOFMEMORY. A negative status of a
// primitive where a picture under three lines or columns is to be smoothed; its plane is the
// unsmoothed one.
HRESULT CK_GetAlphaKeyEx3(BYTE* frame, BYTE* plane, const FrameDesc* desc,
                          const ChromaKeySettings* settings, CBLOBHolder<CVirtualAlloc>* working);

// The same for a plane whose rows are planeStride bytes apart, at least nWidth in either direction.
HRESULT KeyIntoPlane(BYTE* frame, BYTE* plane, std::ptrdiff_t planeStride, const FrameDesc& desc,
                     const ChromaKeySettings& settings, CBLOBHolder<CVirtualAlloc>* working);

// The plane of one ellipsoid, before the threshold: 0 inside, growing with the root of the
// distance, 255 from about `softness` channel steps outside. `picture` has four bytes for each
// pixel, the channels in the first three in the order of `colour` and `delta`, which are those of
// ChromaKeyEntry. Rows of `out` are r bytes apart, of `picture` 4 r. w columns are computed,
// rounded up to whole fours as far as r goes.
// E_POINTER; E_INVALIDARG without pixels or with r < w.
HRESULT KeyDistance(BYTE* out, const BYTE* picture, std::uint32_t colour, std::uint32_t delta,
                    std::int32_t softness, std::int32_t w, std::int32_t h, std::int32_t r);

}  // namespace qdvm
