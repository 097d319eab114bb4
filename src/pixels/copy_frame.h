#pragma once

// Whole frames from one format to another for the chroma key, which knows v210 and the matrix of
// Rec. 709 for HDYC.

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>

namespace qdvm {

// A frame by its rows in bytes.
struct FrameDesc {
    std::int32_t nFormat;  // number of a video standard; 0: none is known
    std::int32_t fccType;
    std::int32_t nWidth;
    std::int32_t nHeight;    // as in PIC_PROPS
    std::int32_t nRowBytes;  // from one row to the next
    std::int32_t nFieldOrder;
    std::int16_t nAspectX;
    std::int16_t nAspectY;
    double dblFPS;
};

// The frame that PIC_PROPS describes. nRowBytes is 0 for a format outside the table.
FrameDesc MakeFrameDesc(const PIC_PROPS& props);

// Converts the part of src that both frames have, from their top left corners, between RGB32,
// ARGB32, RGB24, UYVY, HDYC, YUY2 and v210. src and dst hold the rows of their descriptions and do
// not overlap. Bottom-up frames (RGB of positive height) are turned upright on the way. The fourth
// byte of RGB32 and ARGB32 is copied between the two and becomes 255 from all others.
// Between HDYC and 8-bit RGB by the matrix of Rec. 709, for the rest by Rec. 601; among HDYC, UYVY
// and YUY2 only bytes change places. Unless both are RGB or both v210, only whole pairs of pixels
// are converted.
// 0: done. E_POINTER: a null argument. E_UNEXPECTED: a description without nRowBytes.
// VFW_E_INVALIDSUBTYPE: a format not named above. E_FAIL: from RGB to v210, and frames without
// pixels, too narrow for a pair or with rows that overlap.
HRESULT CopyFrameCC(const BYTE* src, BYTE* dst, const FrameDesc* srcDesc, const FrameDesc* dstDesc);

// The same without a line for the trace, for who takes a frame row by row.
HRESULT CopyRowsCC(const BYTE* src, BYTE* dst, const FrameDesc& srcDesc, const FrameDesc& dstDesc);

// What the trace calls a conversion between these formats; null where it has no name.
const char* CopyFrameLabel(std::int32_t fromType, std::int32_t toType);

}  // namespace qdvm
