// The filter object: interfaces, states, pins by name, and its place in a graph.

#include "frames/format_table.h"
#include "platform/event.h"
#include "support/graph_fakes.h"
#include "support/manual_clock.h"

#include <qdvideomixer/byte_stream.h>
#include <qdvideomixer/chroma_key.h>
#include <qdvideomixer/create.h>
#include <qdvideomixer/frame_listener.h>
#include <qdvideomixer/persist.h>
#include <qdvideomixer/props.h>
#include <qdvideomixer/scene.h>
#include <qdvideomixer/stream_status.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>

namespace qdvm::test {
namespace {

class FilterTest : public ::testing::Test {
protected:
    Ref<FakeSource> Connect(ULONG pin) {
        Ref<FakeSource> source = MakeObject<FakeSource>(VideoType(kFccRGB32, 64, 32));
        EXPECT_EQ(source->ConnectTo(mixer.In(pin).Get()), S_OK);
        return source;
    }
    Ref<FakeSink> ConnectOutput() {
        Ref<FakeSink> sink = MakeObject<FakeSink>();
        EXPECT_EQ(mixer.Out()->Connect(sink.Get(), nullptr), S_OK);
        return sink;
    }
    FILTER_STATE State() {
        FILTER_STATE state = State_Running;
        EXPECT_EQ(mixer.filter->GetState(0, &state), S_OK);
        return state;
    }

    MixerUnderTest mixer;
};

TEST_F(FilterTest, OffersItsInterfacesOnOneObject) {
    Ref<IUnknown> first;
    EXPECT_EQ(mixer.filter->QueryInterface(IID_IUnknown, first.PutVoid()), S_OK);
    for (const IID& iid :
         {IID_IPersist, IID_IMediaFilter, IID_IBaseFilter, IID_IQDVideoMixer,
          IID_IQDVideoMixerStatus, IID_IQDVideoMixerFrames, IID_IQDVideoMixerChromaKey, IID_IQProps,
          IID_IQPersist, IID_IPersistStream}) {
        Ref<IUnknown> asked;
        Ref<IUnknown> root;
        ASSERT_EQ(mixer.filter->QueryInterface(iid, asked.PutVoid()), S_OK);
        ASSERT_EQ(asked->QueryInterface(IID_IUnknown, root.PutVoid()), S_OK);
        EXPECT_TRUE(root == first);
    }
    void* none = &mixer;
    EXPECT_EQ(mixer.filter->QueryInterface(IID_IMemInputPin, &none), E_NOINTERFACE);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(CreateQDVideoMixer(IID_IPin, &none), E_NOINTERFACE);
    EXPECT_EQ(CreateQDVideoMixer(IID_IPin, nullptr), E_POINTER);
    CLSID classId{};
    EXPECT_EQ(mixer.filter->GetClassID(nullptr), E_INVALIDARG);
    EXPECT_EQ(mixer.filter->GetClassID(&classId), S_OK);
    EXPECT_EQ(classId, CLSID_QDVideoMixer);
    EXPECT_EQ(mixer.filter->QueryVendorInfo(nullptr), E_NOTIMPL);
}

TEST_F(FilterTest, StartsOnlyWithBothSidesConnected) {
    EXPECT_EQ(mixer.filter->Pause(), VFW_E_NOT_CONNECTED);
    Connect(0);
    EXPECT_EQ(mixer.filter->Pause(), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(mixer.filter->Run(0), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(State(), State_Stopped);
    ConnectOutput();
    EXPECT_EQ(mixer.filter->Pause(), S_OK);
    EXPECT_EQ(State(), State_Paused);
    EXPECT_EQ(mixer.filter->Run(0), S_OK);
    EXPECT_EQ(mixer.filter->Run(5), S_OK);
    EXPECT_EQ(State(), State_Running);
    EXPECT_EQ(mixer.filter->Pause(), S_OK);
    EXPECT_EQ(State(), State_Paused);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
    EXPECT_EQ(State(), State_Stopped);
    EXPECT_EQ(mixer.filter->Run(0), S_OK);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
    EXPECT_EQ(mixer.filter->GetState(0, nullptr), E_POINTER);
}

TEST_F(FilterTest, AFirstStartShowsTheFirstStream) {
    Connect(0);
    Connect(1);
    ConnectOutput();
    ASSERT_EQ(mixer.filter->Pause(), S_OK);
    EXPECT_EQ(mixer.control->IsStreamEnabled(0, nullptr), S_OK);
    EXPECT_EQ(mixer.control->IsStreamEnabled(1, nullptr), S_FALSE);
    VM_MIXING_RECT rect{};
    EXPECT_EQ(mixer.control->GetInputRect(0, 0, &rect), S_OK);
    EXPECT_EQ(rect.rcTarget.right, 64);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

TEST_F(FilterTest, AStartLeavesAGivenLayoutAlone) {
    Connect(0);
    Connect(1);
    ConnectOutput();
    ASSERT_EQ(mixer.Show(1, 0, 0, 64, 32), S_OK);
    ASSERT_EQ(mixer.filter->Pause(), S_OK);
    EXPECT_EQ(mixer.control->IsStreamEnabled(0, nullptr), S_FALSE);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

TEST_F(FilterTest, FindsPinsByTheirNames) {
    Connect(0);
    Ref<IPin> pin;
    EXPECT_EQ(mixer.filter->FindPin(u"Stream 2 In", pin.Put()), S_OK);
    EXPECT_TRUE(pin == mixer.In(1).Get());
    EXPECT_EQ(mixer.filter->FindPin(u"stream 2 in", pin.Put()), VFW_E_NOT_FOUND);
    EXPECT_FALSE(pin);
    EXPECT_EQ(mixer.filter->FindPin(u"Stream 3 In", pin.Put()), VFW_E_NOT_FOUND);
    EXPECT_EQ(mixer.filter->FindPin(nullptr, pin.Put()), E_POINTER);
    EXPECT_EQ(mixer.filter->FindPin(u"Mixed Out", nullptr), E_POINTER);
}

TEST_F(FilterTest, EnumeratorsWalkTheLiveTable) {
    Ref<IEnumPins> pins;
    ASSERT_EQ(mixer.filter->EnumPins(pins.Put()), S_OK);
    std::array<IPin*, 4> found{};
    ULONG fetched = 0;
    EXPECT_EQ(pins->Next(4, nullptr, &fetched), E_POINTER);
    EXPECT_EQ(pins->Next(4, found.data(), nullptr), E_INVALIDARG);
    EXPECT_EQ(pins->Next(4, found.data(), &fetched), S_FALSE);
    ASSERT_EQ(fetched, 2u);
    PIN_DIRECTION direction = PINDIR_INPUT;
    EXPECT_EQ(found[1]->QueryDirection(&direction), S_OK);
    EXPECT_EQ(direction, PINDIR_OUTPUT);
    for (ULONG i = 0; i < fetched; ++i) (void)found[i]->Release();

    EXPECT_EQ(pins->Reset(), S_OK);
    EXPECT_EQ(pins->Skip(1), S_OK);
    Ref<IEnumPins> copy;
    EXPECT_EQ(pins->Clone(copy.Put()), S_OK);
    Connect(0);
    Ref<IPin> pin;
    EXPECT_EQ(copy->Next(1, pin.Put(), nullptr), S_OK);
    EXPECT_TRUE(pin == mixer.In(1).Get());
    EXPECT_EQ(pins->Skip(3), S_FALSE);
    EXPECT_EQ(pins->Next(1, pin.Put(), &fetched), S_FALSE);
    (void)pin.Detach();
    EXPECT_EQ(pins->Skip(0xFFFFFFFF), S_FALSE);
}

TEST_F(FilterTest, JoinsOneGraphAtATime) {
    Ref<IFilterGraph> graph;
    ASSERT_EQ(CreateFilterGraph(IID_IFilterGraph, graph.PutVoid()), S_OK);
    FILTER_INFO info{};
    EXPECT_EQ(mixer.filter->QueryFilterInfo(nullptr), E_INVALIDARG);
    const std::u16string longName(200, u'x');
    EXPECT_EQ(mixer.filter->JoinFilterGraph(graph.Get(), longName.c_str()), S_OK);
    EXPECT_EQ(mixer.filter->QueryFilterInfo(&info), S_OK);
    EXPECT_EQ(info.pGraph, graph.Get());
    (void)info.pGraph->Release();
    EXPECT_EQ(std::u16string(info.achName), std::u16string(127, u'x'));
    EXPECT_EQ(mixer.filter->JoinFilterGraph(graph.Get(), u"again"), E_FAIL);
    EXPECT_EQ(mixer.filter->JoinFilterGraph(nullptr, nullptr), S_OK);
    EXPECT_EQ(mixer.filter->QueryFilterInfo(&info), S_OK);
    EXPECT_EQ(info.pGraph, nullptr);
    EXPECT_EQ(info.achName[0], u'\0');
}

TEST_F(FilterTest, HoldsItsClock) {
    Ref<IReferenceClock> read;
    EXPECT_EQ(mixer.filter->GetSyncSource(nullptr), E_POINTER);
    EXPECT_EQ(mixer.filter->GetSyncSource(read.Put()), S_OK);
    EXPECT_FALSE(read);
    const Ref<ManualClock> clock = MakeObject<ManualClock>();
    EXPECT_EQ(mixer.filter->SetSyncSource(clock.Get()), S_OK);
    EXPECT_EQ(mixer.filter->GetSyncSource(read.Put()), S_OK);
    EXPECT_TRUE(read == static_cast<IReferenceClock*>(clock.Get()));
    EXPECT_EQ(mixer.filter->SetSyncSource(nullptr), S_OK);
}

TEST_F(FilterTest, StampsFollowTheClockFromTheRunOn) {
    const Ref<ManualClock> clock = MakeObject<ManualClock>(1000000);
    EXPECT_EQ(mixer.filter->SetSyncSource(clock.Get()), S_OK);
    const Ref<FakeSource> source = Connect(0);
    const Ref<FakeSink> sink = ConnectOutput();
    ASSERT_EQ(mixer.filter->Pause(), S_OK);
    ASSERT_EQ(source->SendPicture(1, 0, kFrame), S_OK);
    ASSERT_TRUE(sink->WaitForFrames(1));
    EXPECT_EQ(sink->Frame(0).start, 0);
    EXPECT_TRUE(sink->Frame(0).isDiscontinuity);
    ASSERT_EQ(mixer.filter->Run(700000), S_OK);
    ASSERT_EQ(source->SendPicture(1, kFrame, 2 * kFrame), S_OK);
    ASSERT_TRUE(sink->WaitForFrames(2));
    EXPECT_EQ(sink->Frame(1).start, 300000);
    EXPECT_EQ(sink->Frame(1).stop, 300000 + kFrame);
    EXPECT_EQ(sink->Frame(1).mediaStart, 1);
    EXPECT_FALSE(sink->Frame(1).isDiscontinuity);
    EXPECT_TRUE(sink->Frame(1).isSyncPoint);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

TEST_F(FilterTest, GoesWhileItRuns) {
    const Ref<FakeSource> source = Connect(0);
    const Ref<FakeSink> sink = ConnectOutput();
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    ASSERT_EQ(source->SendPicture(1, 0, kFrame), S_OK);
    mixer.control.Reset();
    mixer.filter.Reset();
    EXPECT_TRUE(sink->peer);
    sink->peer.Reset();
    mixer = MixerUnderTest();
}

// A receiver may let the filter go last, on the thread that delivers to it.
TEST_F(FilterTest, GoesInACallFromItsOwnThread) {
    const Ref<FakeSource> source = Connect(0);
    const Ref<FakeSink> sink = ConnectOutput();
    Event entered(Event::Reset::Manual);
    Event mayGo(Event::Reset::Manual);
    std::atomic<bool> isFirst{true};
    sink->onFrame = [&](IMediaSample*) {
        if (!isFirst.exchange(false)) return;
        PIN_INFO info{};
        EXPECT_EQ(sink->peer->QueryPinInfo(&info), S_OK);
        entered.Set();
        mayGo.Wait();
        if (info.pFilter) (void)info.pFilter->Release();
    };
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    ASSERT_EQ(source->SendPicture(1, 0, kFrame), S_OK);
    ASSERT_TRUE(entered.WaitFor(30000));
    mixer.control.Reset();
    mixer.filter.Reset();
    mayGo.Set();
    // The filter has stopped: its input takes nothing any more.
    while (source->SendPicture(2, kFrame, 2 * kFrame) == S_OK) std::this_thread::yield();
    sink->peer.Reset();
    mixer = MixerUnderTest();
}

TEST_F(FilterTest, IsNotConnectedToItself) {
    const Ref<FakeSource> source = Connect(0);
    EXPECT_EQ(mixer.Out()->Connect(mixer.In(1).Get(), nullptr), VFW_E_CIRCULAR_GRAPH);
    EXPECT_EQ(mixer.InputCount(), 2u);
}

}  // namespace
}  // namespace qdvm::test
