#include "hosts/gstreamer/downstream_pin.h"

#include <limits>

namespace qdvm {

LONG DownstreamPin::FreeBuffers() const {
    Ref<IMemAllocatorCallbackTemp> asked;
    {
        ScopedLock guard(allocatorLock);
        asked = counter;
    }
    LONG free = 0;
    if (!asked || Failed(asked->GetFreeCount(&free))) return std::numeric_limits<LONG>::max();
    return free;
}

HRESULT DownstreamPin::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
    if (!connector || !type) return E_POINTER;
    if (Peer()) return VFW_E_ALREADY_CONNECTED;
    SetConnection(connector, type);
    return S_OK;
}

HRESULT DownstreamPin::Disconnect() {
    if (!Peer()) return S_FALSE;
    SetConnection(nullptr, nullptr);
    Ref<IMemAllocatorCallbackTemp> released;
    ScopedLock guard(allocatorLock);
    released.Swap(counter);
    return S_OK;
}

HRESULT DownstreamPin::EnumMediaTypes(IEnumMediaTypes** types) {
    if (!types) return E_POINTER;
    *types = nullptr;
    return E_NOTIMPL;
}

HRESULT DownstreamPin::EndOfStream() {
    taker->TakeEnd();
    return S_OK;
}

HRESULT DownstreamPin::GetAllocator(IMemAllocator** allocator) {
    if (!allocator) return E_POINTER;
    *allocator = nullptr;
    return VFW_E_NO_ALLOCATOR;
}

HRESULT DownstreamPin::NotifyAllocator(IMemAllocator* allocator, BOOL) {
    if (!allocator) return E_POINTER;
    Ref<IMemAllocatorCallbackTemp> counting =
        Ref<IMemAllocator>(allocator).As<IMemAllocatorCallbackTemp>();
    ScopedLock guard(allocatorLock);
    counting.Swap(counter);
    return S_OK;
}

HRESULT DownstreamPin::GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) {
    if (!properties) return E_POINTER;
    // Two wait in the element's queue, one is pushed, downstream keeps one or two, the filter
    // composes one and keeps one.
    constexpr LONG kBuffers = 12;
    constexpr LONG kAlignment = 64;
    *properties = {.cBuffers = kBuffers, .cbBuffer = 1, .cbAlign = kAlignment, .cbPrefix = 0};
    return S_OK;
}

HRESULT DownstreamPin::Receive(IMediaSample* sample) {
    return sample ? taker->TakeFrame(sample) : E_POINTER;
}

HRESULT DownstreamPin::ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) {
    if (processed) *processed = 0;
    if (!samples) return E_POINTER;
    if (count < 1) return E_INVALIDARG;
    for (LONG i = 0; i < count; ++i) {
        const HRESULT result = Receive(samples[i]);
        if (result != S_OK) return result;
        if (processed) ++*processed;
    }
    return S_OK;
}

}  // namespace qdvm
