#pragma once

// One rect of one stream as the mix works with it: plain data, guarded by the stream's lock and the
// mixer's mixLock. The mixer animates it, the pixel work draws it; neither is known here.

#include "frames/blob_holder.h"
#include "pixels/img_rect.h"

#include <qdvideomixer/mixing_rect.h>
#include <qdvideomixer/video_props.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace qdvm {

// The values of a rect that run during a change, in the order in which they step.
enum RectValue : std::size_t {
    kSourceLeft,
    kSourceTop,
    kSourceRight,
    kSourceBottom,
    kTargetLeft,
    kTargetTop,
    kTargetRight,
    kTargetBottom,
    kAlpha,
    kBorderRed,
    kBorderGreen,
    kBorderBlue,
    kBorderAlpha,
    kViewAngle,
    kHorzAngle,
    kVertAngle,
    kHorzOffset,
    kVertOffset,
    kRectValueCount,
};

// A rect's state: the animated values as doubles, and the two that change at once.
struct MixBlockState {
    std::array<double, kRectValueCount> values{};
    std::int32_t nBorderWidth = 0;
    std::int32_t eProcess = eVMP_None;

    double& operator[](RectValue value) { return values[value]; }
    double operator[](RectValue value) const { return values[value]; }
    bool operator==(const MixBlockState&) const = default;
    bool IsZero() const { return *this == MixBlockState{}; }
};

struct PointD {
    double x = 0;
    double y = 0;
};

struct MixBlock {
    std::u16string maskName;
    MixBlockState current;       // what is drawn now
    bool firstShow = true;       // until the first `current` has been set up
    bool removing = false;       // erased when the running change ends
    MixBlockState target;        // where a running change ends; zero when none runs
    MixBlockState step;          // what each frame adds to `current`; zero when none runs
    std::int32_t stepsLeft = 0;  // frames until the change must have arrived

    CBLOBHolder<CVirtualAlloc> rectMask;
    PIC_PROPS maskProps{};

    CBLOBHolder<CVirtualAlloc> rectCache;  // picture before the last stage; used size 1 = prepared
    CBLOBHolder<CVirtualAlloc> rectAlpha;
    CBLOBHolder<CVirtualAlloc> rectAlphaFlat;
    bool bProjected = false;
    std::array<PointD, 4> projectedCorners{};
    std::array<VM_VIDEO_PROPS, 2> keptFor{};  // what the three above are made for: in and out
    PIC_PROPS alphaProps{};                   // the plane's geometry ...
    ImgRect alphaPart{};                      // ... and the part of it that is filled
    bool alphaIsStreams = false;              // the plane holds the stream's own alpha ...
    std::uint32_t alphaFrame = 0;             // ... of this frame
    bool cannotDraw = false;                  // told to the trace once
};

}  // namespace qdvm
