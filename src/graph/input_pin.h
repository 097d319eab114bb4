#pragma once

// One input of the filter: the pin, and at the same time the mixer's stream.

#include "graph/pin_base.h"
#include "mixer/input_stream.h"
#include "platform/thread.h"

#include <qdvideomixer/media_graph.h>

#include <atomic>
#include <cstdint>

namespace qdvm {

// QueryInterface answers IPin, IQualityControl and IMemInputPin.
class CCoQDVideoMixerIn final : public CPinBase<IMemInputPin>, public InputStream {
public:
    // number: of the stream, from 0; the pin is named from 1.
    CCoQDVideoMixerIn(CCoQDVideoMixer& owner, std::uint32_t number);
    ~CCoQDVideoMixerIn() override;

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

    // IMemInputPin
    HRESULT GetAllocator(IMemAllocator** out) override;
    HRESULT NotifyAllocator(IMemAllocator* offered, BOOL isReadOnly) override;
    HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* props) override;
    HRESULT Receive(IMediaSample* sample) override;
    HRESULT ReceiveMultiple(IMediaSample** samples, LONG count, LONG* processed) override;
    HRESULT ReceiveCanBlock() override;

    // IQualityControl
    HRESULT Notify(IBaseFilter* self, Quality quality) override;
    HRESULT SetSink(IQualityControl* sink) override;

    // InputStream
    bool IsConnected() const override { return HasPeer(); }
    bool SeekUpstreamToStart() override;
    std::int64_t UpstreamFrameTime() override;

    // CPin
    void LeaveFilter() override;
    MediaType ConnectionType() const override;

    // Waits for a seek that is under way upstream. Holds no lock, and must be called with none.
    void FinishSeek();
    bool IsSeekThread() const QDVM_NO_THREAD_SAFETY_ANALYSIS;

private:
    using Root = CPinBase<IMemInputPin>;

    HRESULT ConnectStopped(CCoQDVideoMixer& mixer, IPin& connector, const AM_MEDIA_TYPE& type)
        QDVM_REQUIRES(pinLock);
    HRESULT ChangeFormat(CCoQDVideoMixer& mixer, IPin& connector, const AM_MEDIA_TYPE& type);
    HRESULT TakeConnection(CCoQDVideoMixer& mixer, IPin& connector, const AM_MEDIA_TYPE& type)
        QDVM_REQUIRES(pinLock);
    HRESULT TakeSampleType(CCoQDVideoMixer& mixer, IMediaSample& sample);
    Ref<IMemAllocator> TakeAllocator() QDVM_REQUIRES(pinLock);
    void ResetSegment() QDVM_REQUIRES(pinLock);

    std::atomic<bool> flushing{false};  // changed under pinLock
    IQualityControl* qualitySink QDVM_GUARDED_BY(pinLock) = nullptr;
    REFERENCE_TIME segmentStart QDVM_GUARDED_BY(pinLock) = 0;
    REFERENCE_TIME segmentStop QDVM_GUARDED_BY(pinLock) = 0;
    double segmentRate QDVM_GUARDED_BY(pinLock) = 1.0;

    CriticalSection receiveLock;  // keeps two Receive calls apart
    Ref<IMemAllocator> allocator QDVM_GUARDED_BY(pinLock);
    bool readOnly QDVM_GUARDED_BY(pinLock) = false;
    ALLOCATOR_PROPERTIES allocatorProps QDVM_GUARDED_BY(pinLock){};

    CriticalSection seekLock;  // held while a seek is waited for, so only ever tried elsewhere
    Thread seekThread QDVM_GUARDED_BY(seekLock);
};

}  // namespace qdvm
