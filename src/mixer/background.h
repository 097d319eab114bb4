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

namespace qdvm {

// A picture in the output's size and format, empty until it is made.
struct BackgroundPicture {
    // Stretches an image to the output. Takes no lock. E_OUTOFMEMORY; other failures for formats
    // without a conversion.
    HRESULT Make(const LoadedImage& image, const PIC_PROPS& output);

    bool IsFor(const PIC_PROPS& output) const;
    bool Copy(BYTE* frame, const PIC_PROPS& output) const;

    CBLOBHolder<CVirtualAlloc> pixels;
    PIC_PROPS props{};  // the output's, even if no picture could be made for it
};

// A background that only has to be set. The last three are for eVMB_Image.
struct BackgroundChange {
    eVM_Background kind = eVMB_Color;
    std::int32_t colour = 0;  // counts for eVMB_Color
    std::u16string imageName;
    LoadedImage image;
    BackgroundPicture picture;  // empty while the output's format isn't known
};

// Guarded by the mixer's mixLock: exclusive to set, shared to paint (one thread paints).
class Background {
public:
    // Fades over `frames` frames from what is set now, not from what is on screen; 0 frames or less
    // is at once. Kinds other than the colour leave the colour as it is, kinds other than the image
    // the image.
    void Set(BackgroundChange change, std::int32_t frames);

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
    // For a background that is no picture.
    void ForgetImageName() { imageName.clear(); }

private:
    void StartFade(eVM_Background newKind, std::int32_t frames);
    void RefreshBackgroundPicture(const PIC_PROPS& output);
    std::int32_t PaintPrevious(BYTE* frame, const PIC_PROPS& outProps) const;
    void PaintPicture(BYTE* frame, const PIC_PROPS& outProps, std::int32_t opacity) const;

    eVM_Background kind = eVMB_Color;
    std::int32_t colour = 0;  // 0xAABBGGRR
    std::u16string imageName;
    LoadedImage source;
    BackgroundPicture picture;
    std::atomic<bool> isPictureStale{false};

    eVM_Background previousKind = eVMB_None;  // eVMB_None when no fade runs
    std::int32_t previousColour = 0;
    BackgroundPicture previousPicture;
    // Progress is fadeDone / fadeFrames: counted, since a sum of steps can miss 1 by a rounding.
    std::int32_t fadeFrames = 0;
    std::int32_t fadeDone = 0;
};

}  // namespace qdvm
