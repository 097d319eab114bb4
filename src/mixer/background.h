#pragma once

// What lies under all streams, and its fade from what was there before.

#include "frames/blob_holder.h"
#include "mixer/load_image.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_mixer.h>
#include <qdvideomixer/video_props.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

namespace qdvm {

// Guarded by the mixer's mixLock: exclusive to set, shared to paint (one thread paints).
class Background {
public:
    // Fades over `frames` frames from what is set now, not from what is on screen; 0 frames or less
    // is at once. Kinds other than the colour leave the colour as it is.
    void Set(eVM_Background newKind, std::int32_t newColour, std::int32_t frames);

    // The same with a picture and the name it was loaded by. `output` is the picture's size and
    // format to come, null while the output is not connected.
    void SetImage(LoadedImage image, std::u16string_view name, std::int32_t frames,
                  const PIC_PROPS* output);

    // Paints the whole frame (outProps, FrameBytes of it) and takes the fade one frame on.
    void Paint(BYTE* frame, const PIC_PROPS& outProps);

    // In place of Paint, for a frame in which nothing of the background is seen.
    void Pass();

    // Whether Paint leaves nothing of what the frame held.
    bool PaintsAll() const { return kind == eVMB_Color || kind == eVMB_Image; }

    // The picture in output format is made anew for the next frame. Needs no lock.
    void DropPicture() { isPictureStale = true; }

    eVM_Background Kind() const { return kind; }
    std::int32_t Colour() const { return colour; }
    const std::u16string& ImageName() const { return imageName; }

private:
    // A picture in the output's size and format, empty until it is made.
    struct Picture {
        CBLOBHolder<CVirtualAlloc> pixels;
        PIC_PROPS props{};  // the output's, even if no picture could be made for it

        bool IsFor(const PIC_PROPS& output) const;
        bool Copy(BYTE* frame, const PIC_PROPS& output) const;
    };

    void StartFade(eVM_Background newKind, std::int32_t frames);
    void RefreshBackgroundPicture(const PIC_PROPS& output);
    HRESULT MakePicture(const PIC_PROPS& output);
    std::int32_t PaintPrevious(BYTE* frame, const PIC_PROPS& outProps) const;
    void PaintPicture(BYTE* frame, const PIC_PROPS& outProps, std::int32_t opacity) const;

    eVM_Background kind = eVMB_Color;
    std::int32_t colour = 0;  // 0xAABBGGRR
    std::u16string imageName;
    LoadedImage source;
    Picture picture;
    std::atomic<bool> isPictureStale{false};

    eVM_Background previousKind = eVMB_None;  // eVMB_None when no fade runs
    std::int32_t previousColour = 0;
    Picture previousPicture;
    // Progress is fadeDone / fadeFrames: counted, since a sum of steps can miss 1 by a rounding.
    std::int32_t fadeFrames = 0;
    std::int32_t fadeDone = 0;
};

}  // namespace qdvm
