#pragma once

// A frame row by row in the colour space of a key.

#include "pixels/copy_frame.h"
#include "pixels/primitives/region.h"
#include "platform/trace.h"

#include <qdvideomixer/object.h>

#include <cstddef>
#include <cstdint>

namespace qdvm {

// One picture as the key works on it: a frame or one of its fields, rows in the order of memory.
struct KeyPicture {
    BYTE* frame;
    std::int32_t fccType;
    std::int32_t rowBytes;
    BYTE* plane;
    std::ptrdiff_t planeStride;
    ImageSize size;

    BYTE* Row(std::ptrdiff_t y) const { return frame + y * rowBytes; }
    BYTE* PlaneRow(std::ptrdiff_t y) const { return plane + y * planeStride; }
};

// The description of one of the picture's rows, and of a row in other formats as wide.
FrameDesc RowDescOf(const KeyPicture& picture);
FrameDesc RowDescOf(std::int32_t fccType, ImageSize size, std::int32_t rowBytes);

// Gives rows as pixels of four bytes, the channels of the key space in the first three.
class KeyRowReader {
public:
    // buffer: four bytes for each pixel of a row, which this uses as long as it lives.
    KeyRowReader(const KeyPicture& picture, std::int32_t keyType, BYTE* buffer);

    // The row, valid until the next call or until the frame's row changes. VFW_E_INVALIDSUBTYPE and
    // E_FAIL as CopyFrameCC.
    HRESULT Read(std::ptrdiff_t y, const BYTE** row);

private:
    const KeyPicture& picture;
    const std::int32_t keyType;
    BYTE* const buffer;
    const FrameDesc from;
    const FrameDesc to;
    TraceSum toRgb32;
    TraceSum byMatrix;
    TraceSum toSpace;
};

}  // namespace qdvm
