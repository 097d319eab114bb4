#pragma once

// Neighbours of a filter under test: a pin that sends pictures, a pin that takes them, and filters
// to put the two into a graph.

#include "frames/media_type.h"
#include "platform/lock.h"
#include "platform/object_root.h"
#include "platform/ref.h"

#include <qdvideomixer/media_graph.h>
#include <qdvideomixer/video_mixer.h>
#include <qdvideomixer/video_props.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <vector>

namespace qdvm::test {

// A limit that only a fault reaches.
inline constexpr std::chrono::seconds kGenerous{30};

// 25 frames a second.
inline constexpr REFERENCE_TIME kFrame = 400000;

// A FORMAT_VideoInfo type, or FORMAT_VideoInfo2 with the given flags if they are not negative.
MediaType VideoType(std::int32_t fcc, std::int32_t width, std::int32_t height,
                    REFERENCE_TIME frameTime = kFrame, std::int32_t interlaceFlags = -1);

// A filter with one pin, which it holds. It only remembers what it is told.
class PinFilter : public ObjectRoot<IBaseFilter> {
public:
    explicit PinFilter(Ref<IPin> onlyPin);
    ~PinFilter() override;

    HRESULT GetClassID(CLSID* classId) override;
    HRESULT Stop() override;
    HRESULT Pause() override;
    HRESULT Run(REFERENCE_TIME start) override;
    HRESULT GetState(DWORD timeoutMs, FILTER_STATE* out) override;
    HRESULT SetSyncSource(IReferenceClock* clock) override;
    HRESULT GetSyncSource(IReferenceClock** clock) override;
    HRESULT EnumPins(IEnumPins** pins) override;
    HRESULT FindPin(LPCOLESTR id, IPin** out) override;
    HRESULT QueryFilterInfo(FILTER_INFO* info) override;
    HRESULT JoinFilterGraph(IFilterGraph* newGraph, LPCOLESTR name) override;
    HRESULT QueryVendorInfo(LPOLESTR* info) override;

    // Called at each change of state.
    std::function<void(FILTER_STATE)> onState;

private:
    Ref<IPin> pin;
    std::atomic<FILTER_STATE> state{State_Stopped};
    IFilterGraph* graph = nullptr;
};

// What both kinds of fake pin have.
class FakePin : public ObjectRoot<IPin> {
public:
    HRESULT Connect(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    HRESULT ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    HRESULT ConnectedTo(IPin** out) override;
    HRESULT ConnectionMediaType(AM_MEDIA_TYPE* out) override;
    HRESULT QueryPinInfo(PIN_INFO* info) override;
    HRESULT QueryDirection(PIN_DIRECTION* out) override;
    HRESULT QueryId(LPOLESTR* id) override;
    HRESULT QueryAccept(const AM_MEDIA_TYPE*) override { return S_OK; }
    HRESULT EnumMediaTypes(IEnumMediaTypes** types) override;
    HRESULT QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }
    HRESULT EndOfStream() override { return S_OK; }
    HRESULT BeginFlush() override { return S_OK; }
    HRESULT EndFlush() override { return S_OK; }
    HRESULT NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return S_OK; }

    // What EnumMediaTypes gives. This and the rest is for the test to set and to look at while
    // nobody else calls the pin.
    std::vector<MediaType> offeredTypes;
    MediaType type;  // of the connection, or the one to connect with
    Ref<IPin> peer;
    IBaseFilter* filter = nullptr;  // not counted

protected:
    explicit FakePin(PIN_DIRECTION pinDirection) : direction(pinDirection) {}
    ~FakePin() override = default;

    const PIN_DIRECTION direction;
    std::mutex connectionMutex;  // type, peer and the like
};

// Sends pictures. One thread at a time.
class FakeSource final : public FakePin {
public:
    FakeSource() : FakePin(PINDIR_OUTPUT) {}
    explicit FakeSource(MediaType pinType) : FakePin(PINDIR_OUTPUT) { type = std::move(pinType); }

    HRESULT QueryInterface(REFIID iid, void** object) override;

    // Connects with `type` or with the one given, and agrees on the receiver's own allocator.
    HRESULT Connect(IPin* receiver, const AM_MEDIA_TYPE* with) override;
    HRESULT ConnectTo(IPin* receiver) { return Connect(receiver, nullptr); }
    HRESULT Disconnect() override;

    // Offers another format to the connected receiver.
    HRESULT ChangeType(const MediaType& newType);

    // An empty sample; null if the allocator gives none.
    Ref<IMediaSample> Buffer();

    // A sample whose whole buffer holds `value`, with times unless start is negative.
    Ref<IMediaSample> Picture(BYTE value, REFERENCE_TIME start, REFERENCE_TIME stop);

    HRESULT Send(IMediaSample* sample) { return input->Receive(sample); }
    HRESULT SendPicture(BYTE value, REFERENCE_TIME start, REFERENCE_TIME stop);

    Ref<IMemInputPin> input;
    Ref<IMemAllocator> allocator;
    ALLOCATOR_PROPERTIES actual{};
    LONG buffers = 4;
    // What QueryInterface gives for IMediaSeeking, null for none.
    Ref<IMediaSeeking> seeking;
};

struct TakenFrame {
    std::vector<BYTE> data;
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    LONGLONG mediaStart = 0;
    bool isDiscontinuity = false;
    bool isSyncPoint = false;
};

// Takes frames and keeps them, or only counts them.
class FakeSink final : public FakePin {
public:
    FakeSink() : FakePin(PINDIR_INPUT), memInput(*this) {}

    HRESULT ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* offered) override;
    HRESULT Disconnect() override;
    HRESULT EndOfStream() override;
    HRESULT BeginFlush() override;
    HRESULT EndFlush() override;

    // Waits until that many frames (ends of stream) have come in all; false after the limit.
    bool WaitForFrames(std::size_t count);
    bool WaitForEnds(std::size_t count);
    std::size_t FrameCount() const;
    TakenFrame Frame(std::size_t index) const;
    TakenFrame LastFrame() const;

    // Receive blocks until Open.
    void Close();
    void Open();
    bool WaitForBlocked();

    std::function<bool(const AM_MEDIA_TYPE&)> accepts;  // null: every type
    std::function<void(IMediaSample*)> onFrame;         // called by Receive, without a lock
    bool keepsData = true;
    Ref<IMemAllocator> ownAllocator;  // what GetAllocator gives, if it is there
    HRESULT requirementsResult = E_NOTIMPL;
    ALLOCATOR_PROPERTIES requirements{};
    HRESULT notifyResult = S_OK;
    HRESULT receiveResult = S_OK;
    Ref<IMemAllocator> allocator;  // as notified
    std::atomic<int> flushesBegun{0};
    std::atomic<int> flushesEnded{0};
    std::atomic<int> connections{0};
    std::atomic<int> disconnections{0};

protected:
    void* FindOther(REFIID iid) override;

private:
    // The pin's other interface, counted by the pin.
    class MemInput final : public IMemInputPin {
    public:
        explicit MemInput(FakeSink& pin) : sink(pin) {}
        HRESULT QueryInterface(REFIID iid, void** object) override;
        ULONG AddRef() override;
        ULONG Release() override;
        HRESULT GetAllocator(IMemAllocator** out) override;
        HRESULT NotifyAllocator(IMemAllocator* offered, BOOL readOnly) override;
        HRESULT GetAllocatorRequirements(ALLOCATOR_PROPERTIES* props) override;
        HRESULT Receive(IMediaSample* sample) override;
        HRESULT ReceiveMultiple(IMediaSample**, LONG, LONG*) override { return E_NOTIMPL; }
        HRESULT ReceiveCanBlock() override { return S_OK; }

    private:
        FakeSink& sink;
    };

    HRESULT Take(IMediaSample* sample);

    MemInput memInput;
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<TakenFrame> frames;
    std::size_t count = 0;
    std::size_t ends = 0;
    bool isClosed = false;
    int blocked = 0;
};

// A mixer with its pins at hand.
struct MixerUnderTest {
    MixerUnderTest();

    Ref<IPin> In(ULONG number) const;  // null beyond the last
    Ref<IPin> Out() const;
    ULONG InputCount() const;
    std::vector<MediaType> OutputTypes() const;

    // Shows a whole stream at its own size with its upper left corner at (left, top).
    HRESULT Show(LONG stream, LONG left, LONG top, LONG width, LONG height);

    Ref<IBaseFilter> filter;
    Ref<IQDVideoMixer> control;
};

}  // namespace qdvm::test
