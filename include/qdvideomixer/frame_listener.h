#pragma once

// IQDVideoMixerFrames: a place between two output frames, for hosts that change several things at
// once or move them along the time of the output.

#include <qdvideomixer/object.h>

#include <cstdint>

namespace qdvm {

// {A5FA60B9-5B5E-4E73-887D-6A97D13FEE34}
inline constexpr GUID IID_IQDVideoMixerFrameListener = {
    0xA5FA60B9, 0x5B5E, 0x4E73, {0x88, 0x7D, 0x6A, 0x97, 0xD1, 0x3F, 0xEE, 0x34}};

struct IQDVideoMixerFrameListener : IUnknown {
    // Called before each frame is composed, on the thread that composes and without a lock that
    // the control interfaces take: all that is changed in here is seen by this frame, and by none
    // before it. The output waits meanwhile. Must not start or stop the filter.
    // _nFrame: number of the frame since the last start from stopped.
    virtual void BeforeFrame(std::uint64_t _nFrame) = 0;

protected:
    ~IQDVideoMixerFrameListener() = default;
};

// {0A1EACDC-A588-459E-81C9-DE5A509DDBF1}
inline constexpr GUID IID_IQDVideoMixerFrames = {
    0x0A1EACDC, 0xA588, 0x459E, {0x81, 0xC9, 0xDE, 0x5A, 0x50, 0x9D, 0xDB, 0xF1}};

struct IQDVideoMixerFrames : IUnknown {
    // One listener at a time; null takes it away. It is held by reference until then. A call to the
    // one before may still be under way when this returns.
    virtual HRESULT SetFrameListener(IQDVideoMixerFrameListener* _pListener) = 0;

protected:
    ~IQDVideoMixerFrames() = default;
};

}  // namespace qdvm
