// The input pin as a receiver of frames.

#include "graph/allocator_negotiation.h"
#include "graph/graph_handles.h"
#include "graph/input_pin.h"
#include "graph/mixer_filter.h"
#include "graph/sample_allocator.h"

#include "frames/format_table.h"
#include "platform/no_throw.h"
#include "platform/trace.h"

#include <algorithm>
#include <limits>

namespace qdvm {

HRESULT CCoQDVideoMixerIn::GetAllocator(IMemAllocator** out) {
    if (!out) return E_POINTER;
    *out = MakeObject<CGreedMemoryAllocator>().Detach();
    return *out ? S_OK : E_OUTOFMEMORY;
}

HRESULT CCoQDVideoMixerIn::NotifyAllocator(IMemAllocator* offered, BOOL isReadOnly) {
    if (!offered) return E_POINTER;
    Ref<IMemAllocator> old;
    {
        ScopedLock guard(pinLock);
        if (allocator != offered) old = TakeAllocator();
        allocator = offered;
        readOnly = isReadOnly != 0;
    }
    if (old) (void)old->Decommit();
    ALLOCATOR_PROPERTIES props{};
    if (Failed(offered->GetProperties(&props))) props = {};
    if (props.cBuffers < kLeastInputBuffers) {
        ALLOCATOR_PROPERTIES request = props;
        request.cBuffers = kLeastInputBuffers;
        ALLOCATOR_PROPERTIES actual{};
        if (Succeeded(offered->SetProperties(&request, &actual))) props = actual;
    }
    Trace("[VidMix INPUT] pin %u: %d buffers of %d bytes", pinId, props.cBuffers, props.cbBuffer);
    ScopedLock guard(pinLock);
    if (allocator == offered) allocatorProps = props;
    return S_OK;
}

HRESULT CCoQDVideoMixerIn::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* props) {
    if (!props) return E_POINTER;
    const PIC_PROPS picture = InputProps().picProps;
    std::uint32_t bytes = 0;
    if (picture.fccType != 0) {
        bytes = FrameBytes(picture);
    } else {
        bytes = ConnectionType()->lSampleSize;
    }
    constexpr std::uint32_t kLeastBytes = 4;
    constexpr std::uint32_t kMostBytes = std::numeric_limits<LONG>::max();
    *props = {.cBuffers = kLeastInputBuffers,
              .cbBuffer = static_cast<LONG>(std::clamp(bytes, kLeastBytes, kMostBytes)),
              .cbAlign = 1,
              .cbPrefix = 0};
    return S_OK;
}

HRESULT CCoQDVideoMixerIn::Receive(IMediaSample* sample) {
    if (!sample) return E_POINTER;
    const Ref<IMediaSample> held(sample);
    const Ref<CCoQDVideoMixer> mixer = Filter();
    // Before the look at `flushing`: a flush that runs its course behind that look still counts.
    const std::uint32_t flushesSeen = flushCount;
    {
        ScopedLock guard(pinLock);
        if (!HasPeer()) return VFW_E_NOT_CONNECTED;
        if (flushing) return S_FALSE;
        if (!mixer || mixer->State() == PlayState::kStopped) return VFW_E_WRONG_STATE;
    }
    // From here on the thread may block, and pinLock is free for a flush to get through.
    ScopedLock guard(receiveLock);
    if (flushing) return S_FALSE;
    return NoThrow([&] {
        const HRESULT result = TakeSampleType(*mixer, *sample);
        if (Failed(result)) return result;
        return mixer->ReceiveFrame(pinId, FrameOf(sample), flushesSeen);
    });
}

// A sample that carries a type of its own changes the stream's format.
HRESULT CCoQDVideoMixerIn::TakeSampleType(CCoQDVideoMixer& mixer, IMediaSample& sample) {
    AM_MEDIA_TYPE* given = nullptr;
    if (sample.GetMediaType(&given) != S_OK || !given) return S_OK;
    MediaType type;
    const HRESULT copied = type.Assign(given);
    DeleteMediaType(given);
    if (Failed(copied)) return copied;
    if (!mixer.CheckPinType(pinId, *type)) return VFW_E_INVALIDMEDIATYPE;
    return Failed(ApplyMediaType(&type)) ? VFW_E_INVALIDMEDIATYPE : S_OK;
}

HRESULT CCoQDVideoMixerIn::ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) {
    if (processed) *processed = 0;
    if (!samples) return E_POINTER;
    if (count < 1) return E_INVALIDARG;
    HRESULT result = S_OK;
    LONG tried = 0;
    while (tried < count && result == S_OK) result = Receive(samples[tried++]);
    if (Succeeded(result) && processed) *processed = tried;
    return result;
}

HRESULT CCoQDVideoMixerIn::ReceiveCanBlock() { return S_OK; }

}  // namespace qdvm
