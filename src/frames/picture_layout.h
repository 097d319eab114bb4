#pragma once

// Where the planes and pixels of a picture lie in its memory. All offsets and strides are bytes.

#include <qdvideomixer/video_props.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace qdvm {

struct PictureFormat {
    bool bYUV;
    bool bPlanar;
    int bitsPerPixel;
};

// Nothing for a format that the kernels do not work in, for a negative width, for a given row width
// less than the width, and for YUV of odd width or odd row width.
std::optional<PictureFormat> FormatInfo(const PIC_PROPS& props);

// The planes of a picture, in the order Y, U, V; a picture of one plane uses the first alone.
struct PictureLayout {
    int planes;
    std::array<std::ptrdiff_t, 3> offset;  // from the start of the buffer
    std::array<std::ptrdiff_t, 3> stride;  // from one row to the next; chroma rows at their height
    bool bBottomUp;                        // the last line of the picture comes first in memory
};

// bSplit: a packed 4:2:2 picture copied into three planes of 4:2:2, chroma at half width and full
// height. Rows of RGB8, the format of masks and alpha planes, have no padding; rows of v210 and
// r210 are as long as frames of them are sized for.
PictureLayout PlaneLayout(const PIC_PROPS& props, bool bSplit);

// Byte offsets of a pixel from the start of each plane.
struct PixelOffset {
    std::ptrdiff_t first;   // luma, or the one plane
    std::ptrdiff_t chroma;  // both chroma planes alike; 0 where there are none
};

// y counts rows from the start of memory. Nothing for a place outside the stored rows and for
// formats that have no whole bytes to point at.
std::optional<PixelOffset> PixelOffsets(const PIC_PROPS& props, std::int32_t x, std::int32_t y,
                                        bool bSplit);

}  // namespace qdvm
