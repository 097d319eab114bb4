#pragma once

// IQDVideoMixerStatus: what is going on, for hosts that show or report it. Read only; from any
// thread; takes no lock that a frame in progress holds for long.

#include <qdvideomixer/object.h>

#include <cstdint>

namespace qdvm {

// One stream since the last start from stopped. Counts of frames.
struct VM_STREAM_STATUS {
    BOOL bConnected;
    BOOL bLost;                     // declared lost, shown by its lost policy
    BOOL bEnded;                    // the upstream has ended and does not loop
    BOOL bWaiting;                  // no frame has come since the start
    std::uint32_t nFramesReceived;  // frames stored
    std::uint32_t nFramesRepeated;  // output frames that showed a frame again
    std::uint32_t nFramesDropped;   // frames that fell between two slots of the output grid
    // Number of the output frame that took the stream's last frame, less the slot of the stream's
    // own grid that the frame filled: grows by the output frames that went by without the stream.
    std::int64_t nGridLag;
};

// {C7C2E0B4-30E9-49D4-9F59-5B0B5D5B0A3E}
inline constexpr GUID IID_IQDVideoMixerStatus = {
    0xC7C2E0B4, 0x30E9, 0x49D4, {0x9F, 0x59, 0x5B, 0x0B, 0x5D, 0x5B, 0x0A, 0x3E}};

struct IQDVideoMixerStatus : IUnknown {
    // E_POINTER; E_INVALIDARG for a number out of range.
    virtual HRESULT GetStreamStatus(LONG _nStreamNo, VM_STREAM_STATUS* _pStatus) = 0;

    // Frames composed since the last start from stopped. E_POINTER.
    virtual HRESULT GetFramesMixed(std::uint64_t* _pnFrames) = 0;

protected:
    ~IQDVideoMixerStatus() = default;
};

}  // namespace qdvm
