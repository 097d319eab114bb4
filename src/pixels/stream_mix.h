#pragma once

// From one frame of one stream into the output frame, once for each rect of the stream.

#include "frames/blob_holder.h"
#include "pixels/mix_block.h"
#include "pixels/stream_key.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qdvm {

// What a stream lends to the pixel work. Guarded by the stream's lock; fieldPass can be read alone.
struct StreamPixels {
    VM_VIDEO_PROPS inputProps{};  // of the frame that is drawn
    std::vector<MixBlock> rects;
    std::atomic<std::int32_t> fieldPass{0};  // 0 whole frame; 1, 2: only that field is shown
    // Of keyed streams in ARGB32: the plane becomes the fourth bytes; else it stands alone.
    std::int32_t bARGB32Mix = 1;
    StreamKey key;
    CBLOBHolder<CVirtualAlloc> streamAlpha;  // made for the frame as streamAlphaProps tells
    PIC_PROPS streamAlphaProps{};
    const BYTE* drawnFrom = nullptr;  // the frame that all that is derived was made from
    std::uint32_t frameNumber = 0;    // counts those frames
    CBLOBHolder<CVirtualAlloc> stageBuffers;
    CBLOBHolder<CVirtualAlloc> scratchBuffer;

    // Drops what was derived from the held frame: the marks of all rects and the alpha plane.
    void DropDerived();
};

// The step of a rect's running change, made by the owner of the animation.
class RectAnimator {
public:
    enum class Outcome { kShow, kErased, kStreamClosed };
    // Advances rect `index` by one frame. kErased: another rect has moved into this number.
    // kStreamClosed: the last rect is gone and the stream with it.
    virtual Outcome StepRect(std::size_t index) = 0;

protected:
    ~RectAnimator() = default;
};

// What lies under all that is drawn into one output frame, painted when it is needed.
class Underlay {
public:
    // Before the first picture that lets something of it be seen. Further calls do nothing.
    virtual void Paint() = 0;
    // After a picture that covers the whole frame.
    virtual void Skip() = 0;

protected:
    ~Underlay() = default;
};

// Draws `frame` (described by stream.inputProps) into `outFrame` (described by outProps, FrameBytes
// of it) through every rect of the stream. Needs the stream's lock and mixLock shared.
// underlay: null if outFrame holds what the rects are to be drawn on.
// 0 when every rect was worked through, 1 when the stream was closed by its last rect's removal,
// E_POINTER without frames, the holder's result when working memory can't be had.
HRESULT MixRects(StreamPixels& stream, const BYTE* frame, BYTE* outFrame,
                 const VM_VIDEO_PROPS& outProps, RectAnimator& animator,
                 Underlay* underlay = nullptr);

// Does ahead of time what MixRects will find done: the stream's alpha plane and, unless bAlphaOnly,
// the picture of each rect that stands still. 0: done. 1: there was nothing to do. E_POINTER
// without a frame, the holder's result when working memory can't be had. Locks as MixRects.
HRESULT PrepareStream(StreamPixels& stream, const BYTE* frame, const VM_VIDEO_PROPS& outProps,
                      bool bAlphaOnly);

// Recomputes projectedCorners and bProjected from rect.current and drops what is cached for the
// rect. False if the projection could not be set up.
bool UpdateProjection(MixBlock& rect, const VM_VIDEO_PROPS& inputProps,
                      const VM_VIDEO_PROPS& outProps);

}  // namespace qdvm
