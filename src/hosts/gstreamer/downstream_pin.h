#pragma once

// The pin behind the source pad: downstream of the filter's output.

#include "hosts/gstreamer/host_pin.h"
#include "platform/object_root.h"
#include "platform/ref.h"

#include <qdvideomixer/media_graph.h>

#include <atomic>

namespace qdvm {

// Who takes what the filter gives. Called on the filter's threads.
class OutputTaker {
public:
    // May block; whoever wants the filter to stop sees to it that it returns.
    virtual HRESULT TakeFrame(IMediaSample* sample) = 0;
    // May come more than once.
    virtual void TakeEnd() = 0;

protected:
    ~OutputTaker() = default;
};

// Accepts the filter's output in whatever format it is set to and leaves the allocator to it. A
// flush of one input is no flush of the output, so flushes end here.
class DownstreamPin final : public ObjectRoot<IPin, IMemInputPin>, public HostPin {
public:
    explicit DownstreamPin(OutputTaker* outputTaker) : HostPin(PINDIR_INPUT), taker(outputTaker) {}

    // How many of the allocator's buffers are free; a large number if it doesn't tell.
    LONG FreeBuffers() const;

    HRESULT Connect(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    HRESULT ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
    HRESULT Disconnect() override;
    HRESULT ConnectedTo(IPin** pin) override { return GiveConnectedTo(pin); }
    HRESULT ConnectionMediaType(AM_MEDIA_TYPE* type) override {
        return GiveConnectionMediaType(type);
    }
    HRESULT QueryPinInfo(PIN_INFO* info) override { return GivePinInfo(info); }
    HRESULT QueryDirection(PIN_DIRECTION* direction) override { return GiveDirection(direction); }
    HRESULT QueryId(LPOLESTR* id) override { return GiveId(id); }
    HRESULT QueryAccept(const AM_MEDIA_TYPE*) override { return S_OK; }
    HRESULT EnumMediaTypes(IEnumMediaTypes** types) override;
    HRESULT QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }
    HRESULT EndOfStream() override;
    HRESULT BeginFlush() override { return S_OK; }
    HRESULT EndFlush() override { return S_OK; }
    HRESULT NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return S_OK; }

    HRESULT GetAllocator(IMemAllocator** allocator) override;
    HRESULT NotifyAllocator(IMemAllocator* allocator, BOOL readOnly) override;
    HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* properties) override;
    HRESULT Receive(IMediaSample* sample) override;
    HRESULT ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) override;
    HRESULT ReceiveCanBlock() override { return S_OK; }

private:
    ~DownstreamPin() override = default;

    OutputTaker* const taker;
    mutable CriticalSection allocatorLock{LockRank::Leaf};
    Ref<IMemAllocatorCallbackTemp> counter QDVM_GUARDED_BY(allocatorLock);
};

}  // namespace qdvm
