#pragma once

// The two records that describe pictures and streams.
//
// Plain values without ownership. A record of a picture says nothing about where its memory is; the
// size of that memory follows from the record alone.

#include <cstdint>

namespace qdvm {

// What a buffer of pixels looks like.
struct PIC_PROPS {
    // Format: the first 32 bits of the platform's media subtype. For YUV the FourCC, first
    // character in the low byte (YUY2 is 0x32595559); for RGB the first field of the subtype
    // (RGB32 is 0xE436EB7E). 0: not given.
    std::int32_t fccType;
    // Visible width in pixels.
    std::int32_t nWidth;
    // Lines. RGB: positive is stored bottom line first, negative top line first. YUV is always
    // positive and always top line first.
    std::int32_t nHeight;
    // Width of one stored row in pixels, at least nWidth. 0: the same as nWidth.
    std::int32_t nRowWidth;

    bool operator==(const PIC_PROPS&) const = default;
};

// Field order of a stream.
enum eVM_Interlace : std::int32_t {
    eVMI_Auto = 0,         // in a request: follow the inputs; in the mix: interlaced, order unknown
    eVMI_Progressive = 1,  // whole frames
    eVMI_Field1First = 2,  // interlaced, the field of the first line is the earlier one
    eVMI_Field2First = 3,  // interlaced, the field of the second line is the earlier one
};

// What a stream looks like. As a request, any field may be 0: follow the inputs in it. As a
// description, every field that is known is set.
struct VM_VIDEO_PROPS {
    PIC_PROPS picProps;
    eVM_Interlace eInterlace;
    // Aspect ratio of the shown picture, nAspectX : nAspectY. 0: not given.
    std::int32_t nAspectX;
    std::int32_t nAspectY;
    // Nominal frames per second. 0: not given.
    double dblStreamFPS;
    // Measured frames per second. Read only: ignored in a request.
    double dblRealFPS;

    bool operator==(const VM_VIDEO_PROPS&) const = default;
};

static_assert(sizeof(PIC_PROPS) == 16);
static_assert(sizeof(VM_VIDEO_PROPS) == 48);

}  // namespace qdvm
