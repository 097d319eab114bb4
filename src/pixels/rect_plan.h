#pragma once

// What one rect asks of the stages: which of them run, and on which parts of the pictures.

#include "pixels/img_rect.h"
#include "pixels/mix_block.h"
#include "pixels/stream_mix.h"

#include <qdvideomixer/video_props.h>

#include <optional>

namespace qdvm {

// HDYC stands as UYVY here: the two differ in a matrix that no stage uses.
struct RectPlan {
    PIC_PROPS input{};   // the frame
    PIC_PROPS output{};  // the output frame, and the format that the stages work in

    bool bMoveUp = false;  // the fields change places: the frame goes up a line
    bool bFormatChange = false;
    bool bResample = false;
    bool bByFields = false;  // resample each field by itself
    bool bOneField = false;  // resample one field to the whole target
    int field = 0;           // which: 0 has the first line
    bool bFlipVert = false;
    bool bFlipHorz = false;
    bool bBlend = false;
    bool bOwnBytes = false;  // by the fourth bytes of the picture itself, without a plane

    ImgRect source{};       // the part of the frame that is seen
    ImgRect target{};       // the part of the output that it covers; before it is turned, if it is
    ImgRect wholeTarget{};  // the rect as asked for, which can hang over the edges

    bool bFlip() const { return bFlipVert || bFlipHorz; }
    bool HasPictureStage() const { return bFormatChange || bResample || bFlip(); }
    // The picture that the stages after the conversion work on.
    PIC_PROPS Converted() const;
};

// Nothing if the rect is not visible. Needs what the mix of the stream needs; streamAlpha made.
std::optional<RectPlan> PlanRect(const StreamPixels& stream, const MixBlock& rect,
                                 const VM_VIDEO_PROPS& out);

// The rounded source and target rect of a state.
ImgRect SourceRectOf(const MixBlockState& state);
ImgRect TargetRectOf(const MixBlockState& state);

// Letter-box and crop, if eProcess asks for one of them (crop if for both): the target or the
// source shrinks on both sides until the picture has the shape that it was made for. Pictures whose
// aspect ratio is not given have square pixels. Needs rects that are not empty.
void FitAspect(const VM_VIDEO_PROPS& in, const VM_VIDEO_PROPS& out, std::int32_t eProcess,
               ImgRect* source, ImgRect* target);

}  // namespace qdvm
