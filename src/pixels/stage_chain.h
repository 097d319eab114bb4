#pragma once

// The stages of one rect, from the stream's frame into the output frame:
//
//   frame -> [up a line] -> [convert] -> [resample] -> [flip] = the picture, kept in rectCache
//         -> [project] -> copy or blend -> border
//
// beside it, where the rect is not opaque:
//
//   streamAlpha -> [resample] -> [flip] -> [times mask] -> [times opacity] = the plane, kept in
//   rectAlpha, or in rectAlphaFlat where it is to be projected
//
// What is kept lasts until the frame, the rect or one of the formats changes. The mask lies over
// the rect as it is seen: it is not flipped with the picture.

#include "pixels/rect_plan.h"
#include "pixels/stream_mix.h"

#include <qdvideomixer/object.h>

#include <cstdint>

namespace qdvm {

// Memory that all rects of a stream share while one of them is worked on: slices of sliceBytes.
std::uint32_t SliceBytes(const VM_VIDEO_PROPS& in, const VM_VIDEO_PROPS& out);

// The stream's scratch buffer has kScratchSlices slices.
inline constexpr std::uint32_t kScratchSlices = 8;

class StageChain {
public:
    StageChain(StreamPixels& streamPixels, MixBlock& mixBlock, const RectPlan& rectPlan,
               const BYTE* streamFrame, std::uint32_t bytesOfSlice);

    // Makes the picture unless it is kept. False if a stage could not: then there is nothing to
    // draw.
    bool MakePicture();

    // Copies or blends the picture into the output frame. Needs MakePicture.
    void Draw(BYTE* outFrame, const VM_VIDEO_PROPS& out);

    // Draws an opaque picture that covers the whole output frame, so that it does not matter what
    // lay there. False for any other, which is left to Draw. Needs MakePicture.
    bool Cover(BYTE* outFrame, const VM_VIDEO_PROPS& out);

private:
    // Slices of stageBuffers, by what lies in them.
    enum Slice : std::uint32_t {
        kFirst,
        kSecond,
        kMoved,
        kBordered,
        kBorderedPlane,
        kLayer,
        kCount
    };

    struct Plane {
        const BYTE* rows = nullptr;  // top line first, rows as long as those of the picture
        bool isOwn = false;          // says other than the pixels' own fourth bytes
    };

    bool MoveUp();
    bool Convert(BYTE* to);
    bool Resample(BYTE* to);
    bool ResamplePicture(const BYTE* from, BYTE* to, const PIC_PROPS& S, const PIC_PROPS& D,
                         std::int32_t mode, BYTE* scratch) const;
    bool Flip(BYTE* to);
    bool RunStage(bool (StageChain::*stage)(BYTE* to), bool isKept, int* left);

    HRESULT MakePlane(Plane* plane);
    bool BuildPlane(BYTE* plane, bool hasStream, bool hasMask);
    bool TakeStreamAlpha(BYTE* plane, const PIC_PROPS& props);
    bool ScaleMask(BYTE* plane, const PIC_PROPS& props);
    bool MultiplyMask(BYTE* plane, const PIC_PROPS& props);
    void MultiplyOpacity(BYTE* plane, const PIC_PROPS& props);
    PIC_PROPS PlaneProps() const;
    ImgRect MaskRect() const;

    bool CoversFrame() const;
    bool Copy(BYTE* outFrame) const;
    void Blend(const Plane& plane, BYTE* outFrame);
    void Project(const Plane& plane, BYTE* outFrame);
    void DrawProjectedBorder();
    const BYTE* PlaneWithBorder(const BYTE* plane);
    void BlendProjected(const Plane& plane, const PointD* corners, BYTE* outFrame);
    bool HasBorder(BYTE opacity) const;
    void DrawBorder(BYTE* outFrame, const PIC_PROPS& O) const;
    void MixThroughPlane(const BYTE* source, const BYTE* plane, bool isOwn, BYTE* outFrame,
                         const ImgRect& sourceRect, const ImgRect& targetRect);

    BYTE* SliceAt(Slice slice);
    BYTE* Scratch() { return stream.scratchBuffer.At(0); }
    double Opacity() const { return rect.current[kAlpha]; }

    StreamPixels& stream;
    MixBlock& rect;
    const RectPlan& plan;
    const std::uint32_t sliceBytes;

    // What has been made so far: the picture, what it is, and where in it the rect lies.
    const BYTE* picture;
    PIC_PROPS S;
    ImgRect C;
    std::ptrdiff_t alphaOffset = 0;  // of the first row that is used of streamAlpha
    PIC_PROPS alphaProps{};          // of the rows from there on
    bool wasKept = false;
};

}  // namespace qdvm
