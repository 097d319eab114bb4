// The output pin as the mixer's output stage: empty samples in, finished frames out.

#include "graph/graph_handles.h"
#include "graph/mixer_filter.h"
#include "graph/output_pin.h"
#include "platform/trace.h"

#include <string>

namespace qdvm {
namespace {

HRESULT FailureOf(HRESULT result) { return result > 0 ? E_FAIL : result; }

}  // namespace

Ref<IMemAllocator> CCoQDVideoMixerOut::Allocator() const {
    ScopedLock guard(connectionLock);
    return agreed.allocator;
}

Ref<IMemInputPin> CCoQDVideoMixerOut::ConnectedInput() const {
    ScopedLock guard(connectionLock);
    return connectedInput;
}

bool CCoQDVideoMixerOut::HasOwnMemory() const {
    ScopedLock guard(connectionLock);
    return agreed.mode == AllocatorMode::kOwn;
}

HRESULT CCoQDVideoMixerOut::GetBuffer(MediaFrame* frame) {
    const Ref<IMemAllocator> allocator = Allocator();
    if (!allocator) return VFW_E_NO_ALLOCATOR;
    IMediaSample* sample = nullptr;
    const HRESULT result = allocator->GetBuffer(&sample, nullptr, nullptr, 0);
    if (Failed(result)) return result;
    if (!sample) return E_UNEXPECTED;
    *frame = FrameOf(sample);
    (void)sample->Release();
    return S_OK;
}

HRESULT CCoQDVideoMixerOut::AdoptSampleType(const MediaFrame& frame) {
    AM_MEDIA_TYPE* given = nullptr;
    if (SampleOf(frame)->GetMediaType(&given) != S_OK || !given) return S_FALSE;
    MediaType type;
    const HRESULT copied = type.Assign(given);
    DeleteMediaType(given);
    if (Failed(copied)) return copied;
    const Ref<CCoQDVideoMixer> mixer = Filter();
    if (!mixer || !mixer->CheckPinType(pinId, *type)) return VFW_E_INVALIDMEDIATYPE;
    return SetOutputType(&type);
}

HRESULT CCoQDVideoMixerOut::DeliverFrame(const MediaFrame& frame) {
    const Ref<IMemInputPin> input = ConnectedInput();
    return input ? input->Receive(SampleOf(frame)) : VFW_E_NOT_SAMPLE_CONNECTION;
}

void CCoQDVideoMixerOut::DeliverEndOfStream() {
    if (const Ref<IPin> peer = Peer()) (void)peer->EndOfStream();
}

HRESULT CCoQDVideoMixerOut::CommitAllocator() {
    if (!HasPeer()) return VFW_E_NOT_CONNECTED;
    const Ref<IMemAllocator> allocator = Allocator();
    if (!allocator) return VFW_E_NO_ALLOCATOR;
    {
        ScopedLock guard(connectionLock);
        if (isCommitted) return S_OK;
    }
    HRESULT result = FailureOf(allocator->Commit());
    if (Failed(result)) return result;
    ALLOCATOR_PROPERTIES props{};
    result = FailureOf(allocator->GetProperties(&props));
    if (Failed(result)) {
        (void)allocator->Decommit();
        return result;
    }
    ScopedLock guard(connectionLock);
    agreed.properties = props;
    isCommitted = true;
    return S_OK;
}

HRESULT CCoQDVideoMixerOut::DecommitAllocator() {
    if (!HasPeer()) return VFW_E_NOT_CONNECTED;
    const Ref<IMemAllocator> allocator = Allocator();
    if (!allocator) return VFW_E_NO_ALLOCATOR;
    {
        ScopedLock guard(connectionLock);
        if (!isCommitted) return S_OK;
    }
    const HRESULT result = FailureOf(allocator->Decommit());
    // Whatever a foreign allocator makes of it, the next start commits it anew.
    ScopedLock guard(connectionLock);
    isCommitted = false;
    return result;
}

void CCoQDVideoMixerOut::TraceDelivery(std::uint32_t milliseconds, std::size_t queueLength) {
    if (!IsTraceOn()) return;
    const Ref<IMemAllocator> allocator = Allocator();
    LONG buffers = 0;
    {
        ScopedLock guard(connectionLock);
        buffers = agreed.properties.cBuffers;
    }
    LONG free = -1;
    if (const auto counting = allocator.As<IMemAllocatorCallbackTemp>())
        if (Failed(counting->GetFreeCount(&free))) free = -1;
    const std::string name(pinName.begin(), pinName.end());
    const auto address = reinterpret_cast<std::uintptr_t>(allocator.Get());
    Trace("[%s SEND Time:%d Deq:%d (%08X Free:%d/%d)]", name.c_str(),
          static_cast<int>(milliseconds), static_cast<int>(queueLength),
          static_cast<unsigned>(address & 0xFFFFFFFF), free, buffers);
}

HRESULT CCoQDVideoMixerOut::BeginFlushDownstream() {
    const Ref<IPin> peer = Peer();
    return peer ? peer->BeginFlush() : S_OK;
}

HRESULT CCoQDVideoMixerOut::EndFlushDownstream() {
    const Ref<IPin> peer = Peer();
    return peer ? peer->EndFlush() : S_OK;
}

HRESULT CCoQDVideoMixerOut::FlushDownstream() {
    (void)BeginFlushDownstream();
    return EndFlushDownstream();
}

}  // namespace qdvm
