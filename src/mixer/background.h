#pragma once

// What lies under all streams, and its fade from what was there before.

#include "frames/blob_holder.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_mixer.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>
#include <string>

namespace qdvm {

// Guarded by the mixer's mixLock: exclusive to set, shared to paint (one thread paints).
class Background {
public:
    // Fades over `frames` frames from what is set now; 0 frames or less is at once. E_NOTIMPL for
    // a picture while no decoder is there, E_INVALIDARG for a picture without a name.
    HRESULT Set(eVM_Background newKind, std::int32_t newColour, BSTR fileName, std::int32_t frames);

    // Paints the whole frame (outProps, FrameBytes of it) and takes the fade one frame on.
    void Paint(BYTE* frame, const PIC_PROPS& outProps);

    eVM_Background Kind() const { return kind; }
    std::int32_t Colour() const { return colour; }
    const std::u16string& ImageName() const { return imageName; }

private:
    eVM_Background kind = eVMB_Color;
    std::int32_t colour = 0;  // 0xAABBGGRR
    std::u16string imageName;
    eVM_Background previousKind = eVMB_None;  // eVMB_None when no fade runs
    std::int32_t previousColour = 0;
    // Progress is fadeDone / fadeFrames: counted, since a sum of steps can miss 1 by a rounding.
    std::int32_t fadeFrames = 0;
    std::int32_t fadeDone = 0;
};

}  // namespace qdvm
