#pragma once

// How a stream is shown: the records of IQDVideoMixer's rect operations.

#include <qdvideomixer/media_type.h>
#include <qdvideomixer/object.h>

#include <cstdint>

namespace qdvm {

// What happens to the picture on its way through a rect. A set of flags.
enum eVM_Process : std::int32_t {
    eVMP_None = 0,
    eVMP_OneField = 0x01,      // an interlaced stream is drawn from one field
    eVMP_FlipHorz = 0x02,      // mirror left to right
    eVMP_FlipVert = 0x04,      // mirror top to bottom
    eVMP_AR_LetterBox = 0x10,  // keep the aspect ratio by shrinking the target
    eVMP_AR_Crop = 0x20,  // keep the aspect ratio by shrinking the source; wins over letter-box
};

// One rect: a part of the stream's picture and its place in the output.
// Edges are brought to even pixels (left and top up, right and bottom down). An rcSource without
// area stands for the whole picture, an rcTarget without area for the whole output.
struct VM_MIXING_RECT {
    RECT rcSource;              // pixels of the stream
    RECT rcTarget;              // pixels of the output
    double dblAlpha;            // opacity, 1.0 is opaque; 0 and below is not drawn
    std::int32_t nBorderWidth;  // pixels, inside the target; made even, at most half the target
    std::int32_t nBorderColor;  // 0xAABBGGRR; an alpha byte of 0 stands for opaque
    double dblViewAngle;        // projection; on only if this and one of the next two are not 0
    double dblHorzAngle;        // turn about the vertical axis
    double dblVertAngle;        // turn about the horizontal axis
    double dblHorzOffset;
    double dblVertOffset;
    eVM_Process eProcess;
};

// The same memory layout for the first eleven fields under other names. The mixer carries them over
// by position, without conversion, and neither reads nor writes bsParams.
struct VM_MIXING_RECT_GL {
    RECT rcSource;
    RECT rcTarget;
    double dblAlpha;
    std::int32_t nBorderWidth;
    std::int32_t nBorderColor;
    double dblZOffset;
    double dblHorzAngle;
    double dblVertAngle;
    double dblBlockThickness;
    double dblRotateAngle;
    eVM_Process eProcess;
    BSTR bsParams;
};

}  // namespace qdvm
