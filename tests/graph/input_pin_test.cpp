// Input pins: what they accept, how they grow and shrink, and how frames, flushes and ends come in.

#include "frames/format_table.h"
#include "frames/media_type_map.h"
#include "graph/sample_allocator.h"
#include "platform/event.h"
#include "platform/thread.h"
#include "support/graph_fakes.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace qdvm::test {
namespace {

std::u16string NameOf(IPin& pin) {
    PIN_INFO info{};
    EXPECT_EQ(pin.QueryPinInfo(&info), S_OK);
    EXPECT_NE(info.pFilter, nullptr);
    (void)Ref<IBaseFilter>::Adopt(info.pFilter);
    return info.achName;
}

class InputPinTest : public ::testing::Test {
protected:
    Ref<FakeSource> Connected(ULONG pin, const MediaType& type = VideoType(kFccRGB32, 64, 32)) {
        Ref<FakeSource> source = MakeObject<FakeSource>(type);
        EXPECT_EQ(source->ConnectTo(mixer.In(pin).Get()), S_OK);
        return source;
    }
    void ConnectOutput() {
        sink = MakeObject<FakeSink>();
        EXPECT_EQ(mixer.Out()->Connect(sink.Get(), nullptr), S_OK);
    }

    MixerUnderTest mixer;
    Ref<FakeSink> sink;
};

TEST_F(InputPinTest, ConnectingTheFreePinMakesANewOne) {
    ASSERT_EQ(mixer.InputCount(), 1u);
    EXPECT_EQ(NameOf(*mixer.In(0)), u"Stream 1 In");
    Connected(0);
    ASSERT_EQ(mixer.InputCount(), 2u);
    EXPECT_EQ(NameOf(*mixer.In(1)), u"Stream 2 In");
    LONG streams = 0;
    EXPECT_EQ(mixer.control->GetStreamCount(&streams), S_OK);
    EXPECT_EQ(streams, 1);
}

TEST_F(InputPinTest, FreePinsGoOnlyFromTheEnd) {
    Connected(0);
    Connected(1);
    Connected(2);
    const Ref<IPin> second = mixer.In(1);
    EXPECT_EQ(mixer.In(0)->Disconnect(), S_OK);
    EXPECT_EQ(mixer.InputCount(), 4u);
    EXPECT_EQ(mixer.In(2)->Disconnect(), S_OK);
    EXPECT_EQ(mixer.InputCount(), 3u);
    EXPECT_EQ(mixer.In(1).Get(), second.Get());
    EXPECT_EQ(mixer.In(1)->Disconnect(), S_OK);
    EXPECT_EQ(mixer.InputCount(), 2u);
    EXPECT_EQ(mixer.In(1)->Disconnect(), S_FALSE);
    // A free pin in front is used before another is made.
    Connected(0);
    EXPECT_EQ(mixer.InputCount(), 2u);
    Connected(1);
    EXPECT_EQ(mixer.InputCount(), 3u);
}

TEST_F(InputPinTest, ARemovedPinAnswersWithoutItsFilter) {
    Connected(0);
    const Ref<IPin> last = mixer.In(1);
    const MediaType type = VideoType(kFccRGB32, 64, 32);
    EXPECT_EQ(mixer.In(0)->Disconnect(), S_OK);
    PIN_INFO info{};
    EXPECT_EQ(last->QueryPinInfo(&info), S_OK);
    EXPECT_EQ(info.pFilter, nullptr);
    const Ref<FakeSource> source = MakeObject<FakeSource>(type);
    EXPECT_LT(source->ConnectTo(last.Get()), 0);
    EXPECT_EQ(last->QueryAccept(&*type), S_FALSE);
    EXPECT_EQ(last->EndFlush(), S_OK);
}

TEST_F(InputPinTest, AcceptsTheFormatsThatItCanMix) {
    const Ref<IPin> pin = mixer.In(0);
    for (const std::int32_t fcc : {kFccRGB24, kFccRGB32, kFccARGB32, kFccYUY2, kFccUYVY, kFccYVYU,
                                   kFccHDYC, kFccI420, kFccYV12}) {
        EXPECT_EQ(pin->QueryAccept(&*VideoType(fcc, 64, 32)), S_OK) << fcc;
        EXPECT_EQ(pin->QueryAccept(&*VideoType(fcc, 64, 32, kFrame, 0)), S_OK) << fcc;
    }
    for (const std::int32_t fcc : {kFccRGB565, kFccRGB555, kFccNV12, kFccIYU2, kFccV210, kFccR210})
        EXPECT_EQ(pin->QueryAccept(&*VideoType(fcc, 96, 32)), S_FALSE) << fcc;

    MediaType audio = VideoType(kFccRGB32, 64, 32);
    audio->majortype = MEDIATYPE_Audio;
    EXPECT_EQ(pin->QueryAccept(&*audio), S_FALSE);
    const AM_MEDIA_TYPE empty{};
    EXPECT_EQ(pin->QueryAccept(&empty), S_FALSE);
    EXPECT_EQ(pin->QueryAccept(nullptr), E_POINTER);
}

TEST_F(InputPinTest, RefusesBadConnectionsAndKeepsItsState) {
    const Ref<IPin> pin = mixer.In(0);
    const MediaType type = VideoType(kFccRGB32, 64, 32);
    const Ref<FakeSource> source = MakeObject<FakeSource>(VideoType(kFccNV12, 64, 32));
    EXPECT_EQ(pin->ReceiveConnection(nullptr, &*type), E_POINTER);
    EXPECT_EQ(pin->ReceiveConnection(source.Get(), nullptr), E_POINTER);
    EXPECT_EQ(pin->ReceiveConnection(mixer.In(0).Get(), &*type), VFW_E_INVALID_DIRECTION);
    EXPECT_EQ(source->ConnectTo(pin.Get()), VFW_E_TYPE_NOT_ACCEPTED);
    AM_MEDIA_TYPE read{};
    Ref<IPin> peer;
    EXPECT_EQ(pin->ConnectionMediaType(&read), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(pin->ConnectedTo(peer.Put()), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(pin->ConnectedTo(nullptr), E_POINTER);
    EXPECT_EQ(pin->Connect(source.Get(), &*type), E_NOTIMPL);

    const Ref<FakeSource> first = Connected(0, type);
    EXPECT_EQ(pin->ReceiveConnection(source.Get(), &*type), VFW_E_ALREADY_CONNECTED);
    EXPECT_EQ(pin->ConnectedTo(peer.Put()), S_OK);
    EXPECT_EQ(peer.Get(), static_cast<IPin*>(first.Get()));
    EXPECT_EQ(pin->ConnectionMediaType(&read), S_OK);
    EXPECT_TRUE(type.Equals(read));
    FreeMediaTypeContents(&read);
}

TEST_F(InputPinTest, EnumeratesTheConnectionsType) {
    const auto count = [&] {
        Ref<IEnumMediaTypes> types;
        EXPECT_EQ(mixer.In(0)->EnumMediaTypes(types.Put()), S_OK);
        AM_MEDIA_TYPE* type = nullptr;
        if (types->Next(1, &type, nullptr) != S_OK) return 0;
        DeleteMediaType(type);
        return types->Next(1, &type, nullptr) == S_FALSE ? 1 : 2;
    };
    EXPECT_EQ(count(), 0);
    Connected(0);
    EXPECT_EQ(count(), 1);
}

TEST_F(InputPinTest, ConnectionsHoldWhileTheFilterWorks) {
    const Ref<FakeSource> source = Connected(0);
    ConnectOutput();
    ASSERT_EQ(mixer.filter->Pause(), S_OK);
    EXPECT_EQ(mixer.In(0)->Disconnect(), VFW_E_NOT_STOPPED);
    EXPECT_EQ(mixer.Out()->Disconnect(), VFW_E_NOT_STOPPED);
    const Ref<FakeSource> late = MakeObject<FakeSource>(VideoType(kFccRGB32, 64, 32));
    EXPECT_EQ(late->ConnectTo(mixer.In(1).Get()), VFW_E_NOT_STOPPED);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
    EXPECT_EQ(late->ConnectTo(mixer.In(1).Get()), S_OK);
}

TEST_F(InputPinTest, AsksForFourBuffers) {
    const Ref<IMemInputPin> input = mixer.In(0).As<IMemInputPin>();
    ASSERT_TRUE(input);
    ALLOCATOR_PROPERTIES wanted{};
    EXPECT_EQ(input->GetAllocatorRequirements(nullptr), E_POINTER);
    EXPECT_EQ(input->GetAllocatorRequirements(&wanted), S_OK);
    EXPECT_EQ(wanted.cBuffers, 4);
    EXPECT_EQ(wanted.cbBuffer, 4);
    Connected(0, VideoType(kFccRGB24, 322, 10));
    EXPECT_EQ(input->GetAllocatorRequirements(&wanted), S_OK);
    EXPECT_EQ(wanted.cbBuffer, 968 * 10);
    EXPECT_EQ(wanted.cbAlign, 1);

    const Ref<PlainMemoryAllocator> foreign = MakeObject<PlainMemoryAllocator>();
    ALLOCATOR_PROPERTIES request = {2, 1000, 8, 0};
    ALLOCATOR_PROPERTIES actual{};
    ASSERT_EQ(foreign->SetProperties(&request, &actual), S_OK);
    EXPECT_EQ(input->NotifyAllocator(nullptr, 0), E_POINTER);
    EXPECT_EQ(input->NotifyAllocator(foreign.Get(), 0), S_OK);
    EXPECT_EQ(foreign->GetProperties(&actual), S_OK);
    EXPECT_EQ(actual.cBuffers, 4);
    EXPECT_EQ(actual.cbBuffer, 1000);
    EXPECT_EQ(actual.cbAlign, 8);
}

TEST_F(InputPinTest, AReplacedAllocatorIsDecommitted) {
    const Ref<FakeSource> source = Connected(0);
    const Ref<IMemAllocator> first = source->allocator;
    const Ref<PlainMemoryAllocator> second = MakeObject<PlainMemoryAllocator>();
    EXPECT_EQ(source->input->NotifyAllocator(second.Get(), 1), S_OK);
    Ref<IMediaSample> sample;
    EXPECT_EQ(first->GetBuffer(sample.Put(), nullptr, nullptr, AM_GBF_NOWAIT), VFW_E_NOT_COMMITTED);
    EXPECT_EQ(mixer.In(0)->Disconnect(), S_OK);
    EXPECT_EQ(source->peer->ConnectedTo(Ref<IPin>().Put()), VFW_E_NOT_CONNECTED);
}

TEST_F(InputPinTest, ReceiveNeedsAConnectionAndAWorkingFilter) {
    // A flush that a stranger began on the free pin ends with the connection.
    EXPECT_EQ(mixer.In(0)->BeginFlush(), S_OK);
    const Ref<FakeSource> source = Connected(0);
    const Ref<IMediaSample> sample = source->Picture(1, 0, kFrame);
    const Ref<IMemInputPin> free = mixer.In(1).As<IMemInputPin>();
    EXPECT_EQ(source->input->Receive(nullptr), E_POINTER);
    EXPECT_EQ(free->Receive(sample.Get()), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(source->Send(sample.Get()), VFW_E_WRONG_STATE);
    IMediaSample* list[] = {sample.Get(), sample.Get()};
    LONG done = 7;
    EXPECT_EQ(source->input->ReceiveMultiple(nullptr, 2, &done), E_POINTER);
    EXPECT_EQ(source->input->ReceiveMultiple(list, 0, &done), E_INVALIDARG);
    EXPECT_EQ(source->input->ReceiveMultiple(list, 2, &done), VFW_E_WRONG_STATE);
    EXPECT_EQ(done, 0);
    EXPECT_EQ(source->input->ReceiveCanBlock(), S_OK);
    ConnectOutput();
    ASSERT_EQ(mixer.filter->Pause(), S_OK);
    EXPECT_EQ(mixer.In(0)->BeginFlush(), S_OK);
    EXPECT_EQ(source->Send(sample.Get()), S_FALSE);
    EXPECT_EQ(source->input->ReceiveMultiple(list, 2, &done), S_FALSE);
    EXPECT_EQ(done, 1);
    EXPECT_EQ(mixer.In(0)->EndOfStream(), E_UNEXPECTED);
    EXPECT_EQ(mixer.In(0)->EndFlush(), S_OK);
    EXPECT_EQ(source->Send(sample.Get()), S_OK);
    EXPECT_EQ(sink->flushesBegun, 1);
    EXPECT_EQ(sink->flushesEnded, 1);
    EXPECT_TRUE(sink->WaitForFrames(1));
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

TEST_F(InputPinTest, ASampleMayBringANewType) {
    const Ref<FakeSource> source = Connected(0);
    ConnectOutput();
    ASSERT_EQ(mixer.filter->Pause(), S_OK);
    Ref<IMediaSample> sample = source->Picture(1, 0, kFrame);
    MediaType refused = VideoType(kFccNV12, 64, 32);
    (void)sample->SetMediaType(refused.operator->());
    EXPECT_EQ(source->Send(sample.Get()), VFW_E_INVALIDMEDIATYPE);
    MediaType smaller = VideoType(kFccRGB32, 32, 16);
    (void)sample->SetMediaType(smaller.operator->());
    EXPECT_EQ(source->Send(sample.Get()), S_OK);
    VM_VIDEO_PROPS props{};
    EXPECT_EQ(mixer.control->GetInputProps(0, &props), S_OK);
    EXPECT_EQ(props.picProps.nWidth, 32);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

TEST_F(InputPinTest, AFlushWakesTheThreadInReceive) {
    const Ref<FakeSource> source = Connected(0);
    const Ref<FakeSource> silent = Connected(1);
    ConnectOutput();
    ASSERT_EQ(mixer.filter->Pause(), S_OK);
    Event first(Event::Reset::Manual);
    Thread upstream;
    std::atomic<HRESULT> last{E_FAIL};
    ASSERT_EQ(upstream.Start("upstream", ThreadPriority::Normal,
                             [&] {
                                 (void)source->SendPicture(1, 0, kFrame);
                                 first.Set();
                                 // The other stream keeps the mixer from taking the first frame.
                                 last = source->SendPicture(2, kFrame, 2 * kFrame);
                             }),
              S_OK);
    first.Wait();
    EXPECT_EQ(mixer.In(0)->BeginFlush(), S_OK);
    upstream.Join();
    EXPECT_GE(last, 0);
    EXPECT_EQ(mixer.In(0)->EndFlush(), S_OK);
    EXPECT_EQ(sink->FrameCount(), 0u);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

TEST_F(InputPinTest, AStopWakesTheThreadInReceive) {
    const Ref<FakeSource> source = Connected(0);
    const Ref<FakeSource> silent = Connected(1);
    ConnectOutput();
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    Event first(Event::Reset::Manual);
    Thread upstream;
    ASSERT_EQ(upstream.Start("upstream", ThreadPriority::Normal,
                             [&] {
                                 (void)mixer.control->SetStreamMaxWait(-1, 0, eVMLS_Last);
                                 (void)source->SendPicture(1, 0, kFrame);
                                 first.Set();
                                 while (Succeeded(source->SendPicture(2, kFrame, 2 * kFrame))) {
                                 }
                             }),
              S_OK);
    first.Wait();
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
    upstream.Join();
    EXPECT_EQ(sink->FrameCount(), 0u);
}

// --- loops ---

class FakeSeeking final : public ObjectRoot<IMediaSeeking> {
public:
    HRESULT GetCapabilities(DWORD*) override { return E_NOTIMPL; }
    HRESULT CheckCapabilities(DWORD*) override { return E_NOTIMPL; }
    HRESULT IsFormatSupported(const GUID*) override { return E_NOTIMPL; }
    HRESULT QueryPreferredFormat(GUID*) override { return E_NOTIMPL; }
    HRESULT GetTimeFormat(GUID*) override { return E_NOTIMPL; }
    HRESULT IsUsingTimeFormat(const GUID*) override { return E_NOTIMPL; }
    HRESULT SetTimeFormat(const GUID*) override { return E_NOTIMPL; }
    HRESULT GetDuration(LONGLONG*) override { return E_NOTIMPL; }
    HRESULT GetStopPosition(LONGLONG*) override { return E_NOTIMPL; }
    HRESULT GetCurrentPosition(LONGLONG*) override { return E_NOTIMPL; }
    HRESULT ConvertTimeFormat(LONGLONG*, const GUID*, LONGLONG, const GUID*) override {
        return E_NOTIMPL;
    }
    HRESULT SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG*,
                         DWORD stopFlags) override {
        position = *current;
        flags = currentFlags | stopFlags << 8;
        ++seeks;
        done.Set();
        return S_OK;
    }
    HRESULT GetPositions(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT GetAvailable(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT SetRate(double) override { return E_NOTIMPL; }
    HRESULT GetRate(double*) override { return E_NOTIMPL; }
    HRESULT GetPreroll(LONGLONG*) override { return E_NOTIMPL; }

    std::atomic<LONGLONG> position{-1};
    std::atomic<DWORD> flags{0};
    std::atomic<int> seeks{0};
    Event done{Event::Reset::Automatic};
};

TEST_F(InputPinTest, ALoopedStreamSeeksInsteadOfEnding) {
    const Ref<FakeSeeking> seeking = MakeObject<FakeSeeking>();
    const Ref<FakeSource> source = Connected(0);
    source->seeking = Ref<IMediaSeeking>(seeking);
    ConnectOutput();
    ASSERT_EQ(mixer.filter->Pause(), S_OK);
    for (int i = 1; i <= 2; ++i) {
        EXPECT_EQ(mixer.In(0)->EndOfStream(), S_OK);
        ASSERT_TRUE(seeking->done.WaitFor(30000));
        // The seek's thread is waited for at a stop, so that the next one is a new one.
        EXPECT_EQ(mixer.filter->Stop(), S_OK);
        EXPECT_EQ(seeking->seeks, i);
        ASSERT_EQ(mixer.filter->Pause(), S_OK);
    }
    EXPECT_EQ(seeking->position, 0);
    EXPECT_EQ(seeking->flags, AM_SEEKING_AbsolutePositioning);
    EXPECT_EQ(sink->FrameCount(), 0u);

    EXPECT_EQ(mixer.control->LoopStream(0, 0, 0), S_OK);
    (void)source->SendPicture(1, 0, kFrame);
    EXPECT_EQ(mixer.In(0)->EndOfStream(), S_OK);
    EXPECT_TRUE(sink->WaitForEnds(1));
    EXPECT_EQ(sink->FrameCount(), 1u);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

TEST_F(InputPinTest, AFilterThatGoesFreesItsNeighbours) {
    const Ref<FakeSource> source = Connected(0);
    const Ref<IPin> pin = mixer.In(0);
    ConnectOutput();
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    const Ref<IMediaSample> sample = source->Picture(1, 0, kFrame);
    mixer.control.Reset();
    mixer.filter.Reset();
    EXPECT_EQ(source->Send(sample.Get()), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(pin->Disconnect(), S_FALSE);
    mixer = MixerUnderTest();
}

}  // namespace
}  // namespace qdvm::test
