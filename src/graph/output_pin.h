#pragma once

// The one output of the filter: the pin, and at the same time the mixer's output stage.

#include "graph/allocator_negotiation.h"
#include "graph/pin_base.h"
#include "mixer/output_stage.h"

#include <qdvideomixer/media_graph.h>

#include <cstddef>
#include <cstdint>

namespace qdvm {

// QueryInterface answers IPin and IQualityControl.
class CCoQDVideoMixerOut final : public CPinBase<>, public OutputStage {
public:
    explicit CCoQDVideoMixerOut(CCoQDVideoMixer& owner);

    // IUnknown
    HRESULT QueryInterface(REFIID iid, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    // IPin
    HRESULT Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) override;
    HRESULT ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override;
    HRESULT Disconnect() override;
    HRESULT EnumMediaTypes(IEnumMediaTypes** types) override;
    HRESULT EndOfStream() override;
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;
    HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) override;

    // IQualityControl
    HRESULT Notify(IBaseFilter* self, Quality quality) override;
    HRESULT SetSink(IQualityControl* sink) override;

    // OutputStage. The allocator is committed and decommitted under filterLock.
    bool IsConnected() const override { return HasPeer(); }
    HRESULT GetBuffer(MediaFrame* frame) override;
    bool HasOwnMemory() const override;
    HRESULT AdoptSampleType(const MediaFrame& frame) override;
    HRESULT DeliverFrame(const MediaFrame& frame) override;
    void DeliverEndOfStream() override;
    HRESULT CommitAllocator() override;
    HRESULT DecommitAllocator() override;
    void TraceDelivery(std::uint32_t milliseconds, std::size_t queueLength) override;

    // Calls on the pin downstream, S_OK without one. To be called with no lock held.
    HRESULT BeginFlushDownstream();
    HRESULT EndFlushDownstream();
    HRESULT FlushDownstream();

    // CPin
    void LeaveFilter() override;
    MediaType ConnectionType() const override { return OutputType(); }

private:
    using Root = CPinBase<>;

    HRESULT FindCommonType(CCoQDVideoMixer& mixer, IPin& pin, const AM_MEDIA_TYPE* type);
    HRESULT TryTypes(CCoQDVideoMixer& mixer, IPin& pin, IPin& offering);
    HRESULT TryConnection(CCoQDVideoMixer& mixer, IPin& pin, const AM_MEDIA_TYPE& type);
    HRESULT AgreeOnAllocator(IPin& pin);

    // What a connection consists of: taken off the pin under its locks, given up with none held.
    struct Connection {
        AgreedAllocator agreed;
        Ref<IMemInputPin> input;
        Ref<IPin> peer;
    };
    Connection TakeConnection();
    static void GiveUp(Connection connection, CCoQDVideoMixer& mixer);

    Ref<IMemAllocator> Allocator() const;
    Ref<IMemInputPin> ConnectedInput() const;

    mutable CriticalSection connectionLock;
    Ref<IMemInputPin> connectedInput QDVM_GUARDED_BY(connectionLock);
    AgreedAllocator agreed QDVM_GUARDED_BY(connectionLock);
    bool isCommitted QDVM_GUARDED_BY(connectionLock) = false;
};

}  // namespace qdvm
