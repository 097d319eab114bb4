#include "platform/filter_graph.h"

#include "platform/counted_string.h"
#include "support/manual_clock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace qdvm {
namespace {

class FakeFilter;

// A pin that connects with any type but those that it was told to refuse.
class FakePin final : public ObjectRoot<IPin> {
public:
    FakePin(FakeFilter* ownerFilter, PIN_DIRECTION pinDirection)
        : filter(ownerFilter), direction(pinDirection) {}

    HRESULT Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) override {
        if (peer) {
            return VFW_E_ALREADY_CONNECTED;
        }
        AM_MEDIA_TYPE chosen = {};
        chosen.majortype = MEDIATYPE_Video;
        chosen.lSampleSize = type != nullptr ? type->lSampleSize : 1;
        const HRESULT result = receivePin->ReceiveConnection(this, &chosen);
        if (Succeeded(result)) {
            peer = receivePin;
            sampleSize = chosen.lSampleSize;
        }
        return result;
    }

    HRESULT ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) override {
        if (peer) {
            return VFW_E_ALREADY_CONNECTED;
        }
        if (type->lSampleSize == refusedSize) {
            return VFW_E_TYPE_NOT_ACCEPTED;
        }
        peer = connector;
        sampleSize = type->lSampleSize;
        return S_OK;
    }

    HRESULT Disconnect() override {
        const bool wasConnected(peer);
        peer.Reset();
        return wasConnected ? S_OK : S_FALSE;
    }

    HRESULT ConnectedTo(IPin** pin) override {
        peer.CopyTo(pin);
        return peer ? S_OK : VFW_E_NOT_CONNECTED;
    }

    HRESULT ConnectionMediaType(AM_MEDIA_TYPE* type) override {
        *type = {};
        type->majortype = MEDIATYPE_Video;
        type->lSampleSize = sampleSize;
        return peer ? S_OK : VFW_E_NOT_CONNECTED;
    }

    HRESULT QueryPinInfo(PIN_INFO* info) override;

    HRESULT QueryDirection(PIN_DIRECTION* out) override {
        *out = direction;
        return S_OK;
    }

    HRESULT QueryId(LPOLESTR* id) override { return CopyOutTaskText(u"pin", id); }
    HRESULT QueryAccept(const AM_MEDIA_TYPE*) override { return S_OK; }
    HRESULT EnumMediaTypes(IEnumMediaTypes**) override { return E_NOTIMPL; }
    HRESULT QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }
    HRESULT EndOfStream() override { return S_OK; }
    HRESULT BeginFlush() override { return S_OK; }
    HRESULT EndFlush() override { return S_OK; }
    HRESULT NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return S_OK; }

    FakeFilter* filter;
    PIN_DIRECTION direction;
    Ref<IPin> peer;
    ULONG sampleSize = 0;
    ULONG refusedSize = 0;

private:
    ~FakePin() override = default;
};

class FakeEnumPins final : public ObjectRoot<IEnumPins> {
public:
    explicit FakeEnumPins(std::vector<Ref<IPin>> list) : pins(std::move(list)) {}

    HRESULT Next(ULONG count, IPin** out, ULONG*) override {
        if (count != 1 || position == pins.size()) {
            return S_FALSE;
        }
        pins[position++].CopyTo(out);
        return S_OK;
    }
    HRESULT Skip(ULONG) override { return E_NOTIMPL; }
    HRESULT Reset() override {
        position = 0;
        return S_OK;
    }
    HRESULT Clone(IEnumPins**) override { return E_NOTIMPL; }

private:
    ~FakeEnumPins() override = default;

    std::vector<Ref<IPin>> pins;
    std::size_t position = 0;
};

using CallLog = std::vector<std::string>;

// A filter with one input and one output that writes down what the graph does to it.
class FakeFilter final : public ObjectRoot<IBaseFilter> {
public:
    FakeFilter(std::string filterName, CallLog& callLog)
        : name(std::move(filterName)),
          log(callLog),
          input(MakeObject<FakePin>(this, PINDIR_INPUT)),
          output(MakeObject<FakePin>(this, PINDIR_OUTPUT)) {}

    HRESULT GetClassID(CLSID*) override { return E_NOTIMPL; }
    HRESULT Stop() override { return Record("stop"); }
    HRESULT Pause() override { return Record("pause"); }
    HRESULT Run(REFERENCE_TIME start) override {
        startTime = start;
        return Record("run");
    }
    HRESULT GetState(DWORD, FILTER_STATE*) override { return stateResult; }
    HRESULT SetSyncSource(IReferenceClock* newClock) override {
        clock = newClock;
        return S_OK;
    }
    HRESULT GetSyncSource(IReferenceClock** out) override {
        clock.CopyTo(out);
        return S_OK;
    }
    HRESULT EnumPins(IEnumPins** pins) override {
        std::vector<Ref<IPin>> list;
        list.emplace_back(input);
        list.emplace_back(output);
        *pins = MakeObject<FakeEnumPins>(std::move(list)).Detach();
        return S_OK;
    }
    HRESULT FindPin(LPCOLESTR, IPin**) override { return E_NOTIMPL; }
    HRESULT QueryFilterInfo(FILTER_INFO*) override { return E_NOTIMPL; }
    HRESULT JoinFilterGraph(IFilterGraph* newGraph, LPCOLESTR newName) override {
        graph = newGraph;
        graphName = newName != nullptr ? newName : u"";
        return S_OK;
    }
    HRESULT QueryVendorInfo(LPOLESTR*) override { return E_NOTIMPL; }

    std::string name;
    CallLog& log;
    Ref<FakePin> input;
    Ref<FakePin> output;
    IFilterGraph* graph = nullptr;
    std::u16string graphName;
    Ref<IReferenceClock> clock;
    REFERENCE_TIME startTime = -1;
    HRESULT stateResult = S_OK;
    std::string failingCall;

private:
    ~FakeFilter() override {
        input->filter = nullptr;
        output->filter = nullptr;
    }

    HRESULT Record(const std::string& call) {
        log.push_back(name + "." + call);
        return call == failingCall ? E_FAIL : S_OK;
    }
};

HRESULT FakePin::QueryPinInfo(PIN_INFO* info) {
    *info = {};
    info->dir = direction;
    Ref<IBaseFilter>(filter).CopyTo(&info->pFilter);
    return S_OK;
}

// Three filters, added in the order of the stream and connected.
class FilterGraphTest : public ::testing::Test {
protected:
    FilterGraphTest() {
        EXPECT_EQ(graph->AddFilter(source.Get(), u"source"), S_OK);
        EXPECT_EQ(graph->AddFilter(middle.Get(), u"middle"), S_OK);
        EXPECT_EQ(graph->AddFilter(sink.Get(), u"sink"), S_OK);
        EXPECT_EQ(graph->ConnectDirect(source->output.Get(), middle->input.Get(), nullptr), S_OK);
        EXPECT_EQ(graph->ConnectDirect(middle->output.Get(), sink->input.Get(), nullptr), S_OK);
    }

    LONG State() {
        OAFilterState state = -1;
        EXPECT_EQ(graph->GetState(0, &state), S_OK);
        return state;
    }

    CallLog TakeLog() { return std::exchange(log, {}); }

    CallLog log;
    Ref<FakeFilter> source = MakeObject<FakeFilter>("source", log);
    Ref<FakeFilter> middle = MakeObject<FakeFilter>("middle", log);
    Ref<FakeFilter> sink = MakeObject<FakeFilter>("sink", log);
    Ref<FilterGraph> graph = MakeObject<FilterGraph>();
};

TEST_F(FilterGraphTest, FiltersAreFoundByName) {
    Ref<IBaseFilter> found;
    EXPECT_EQ(graph->FindFilterByName(u"middle", found.Put()), S_OK);
    EXPECT_TRUE(IsSameObject(found.Get(), middle.Get()));
    EXPECT_EQ(graph->FindFilterByName(u"Middle", found.Put()), VFW_E_NOT_FOUND);
    EXPECT_EQ(middle->graph, graph.Get());

    const Ref<FakeFilter> twin = MakeObject<FakeFilter>("twin", log);
    EXPECT_EQ(graph->AddFilter(twin.Get(), u"middle"), VFW_S_DUPLICATE_NAME);
    EXPECT_EQ(twin->graphName, u"middle 1");
    EXPECT_EQ(graph->AddFilter(twin.Get(), u"other"), E_FAIL);

    Ref<IEnumFilters> all;
    ASSERT_EQ(graph->EnumFilters(all.Put()), S_OK);
    IBaseFilter* filters[5] = {};
    ULONG fetched = 0;
    EXPECT_EQ(all->Next(5, filters, &fetched), S_FALSE);
    ASSERT_EQ(fetched, 4u);
    EXPECT_TRUE(IsSameObject(filters[3], twin.Get()));
    std::for_each_n(filters, fetched, [](IBaseFilter* filter) { (void)filter->Release(); });
}

TEST_F(FilterGraphTest, StatesSpreadFromTheEndOfTheStream) {
    EXPECT_EQ(graph->Run(), S_OK);
    EXPECT_EQ(TakeLog(), (CallLog{"sink.pause", "middle.pause", "source.pause", "sink.run",
                                  "middle.run", "source.run"}));
    EXPECT_EQ(State(), State_Running);
    EXPECT_EQ(graph->Run(), S_OK);
    EXPECT_TRUE(TakeLog().empty());
    EXPECT_EQ(graph->Stop(), S_OK);
    EXPECT_EQ(TakeLog(), (CallLog{"sink.stop", "middle.stop", "source.stop"}));
    EXPECT_EQ(State(), State_Stopped);
}

TEST_F(FilterGraphTest, AFilterThatCantStartStopsTheGraph) {
    middle->failingCall = "pause";
    EXPECT_EQ(graph->Run(), E_FAIL);
    EXPECT_EQ(TakeLog(),
              (CallLog{"sink.pause", "middle.pause", "sink.stop", "middle.stop", "source.stop"}));
    EXPECT_EQ(State(), State_Stopped);
    middle->failingCall = "run";
    EXPECT_EQ(graph->Run(), E_FAIL);
    EXPECT_EQ(State(), State_Stopped);
}

TEST_F(FilterGraphTest, StreamTimeStandsStillWhilePaused) {
    const Ref<test::ManualClock> clock = MakeObject<test::ManualClock>(1000);
    EXPECT_EQ(graph->SetClock(clock.Get()), S_OK);
    EXPECT_EQ(sink->clock, clock.Get());
    EXPECT_EQ(graph->Run(), S_OK);
    EXPECT_EQ(sink->startTime, 1000);
    clock->Advance(300);
    EXPECT_EQ(graph->Pause(), S_OK);
    clock->Advance(5000);
    EXPECT_EQ(graph->Run(), S_OK);
    EXPECT_EQ(sink->startTime, 6000);
    EXPECT_EQ(graph->SetDefaultSyncSource(), VFW_E_NOT_STOPPED);
    EXPECT_EQ(graph->Stop(), S_OK);
    EXPECT_EQ(graph->Run(), S_OK);
    EXPECT_EQ(sink->startTime, 6300);
}

TEST_F(FilterGraphTest, RunsOnTheSystemClockUnlessToldOtherwise) {
    EXPECT_EQ(graph->Pause(), S_OK);
    ASSERT_TRUE(middle->clock);
    const Ref<FakeFilter> late = MakeObject<FakeFilter>("late", log);
    EXPECT_EQ(graph->AddFilter(late.Get(), nullptr), S_OK);
    EXPECT_EQ(late->clock, middle->clock);
}

TEST_F(FilterGraphTest, ReconnectsFromEitherEnd) {
    AM_MEDIA_TYPE type = {};
    type.majortype = MEDIATYPE_Video;
    type.lSampleSize = 42;
    for (FakePin* pin : {middle->output.Get(), sink->input.Get()}) {
        EXPECT_EQ(graph->ReconnectEx(pin, &type), S_OK);
        EXPECT_EQ(sink->input->sampleSize, 42u);
        EXPECT_EQ(sink->input->peer, Ref<IPin>(middle->output));
    }
    sink->input->refusedSize = 43;
    type.lSampleSize = 43;
    EXPECT_EQ(graph->ReconnectEx(middle->output.Get(), &type), VFW_E_TYPE_NOT_ACCEPTED);
    EXPECT_EQ(sink->input->sampleSize, 42u) << "the old connection should have come back";
    EXPECT_EQ(graph->Reconnect(middle->output.Get()), S_OK);
    EXPECT_EQ(sink->input->sampleSize, 1u);
    EXPECT_EQ(graph->ReconnectEx(sink->output.Get(), nullptr), VFW_E_NOT_CONNECTED);
}

TEST_F(FilterGraphTest, ConnectionsChangeOnlyInsideAStoppedGraph) {
    const Ref<FakeFilter> stranger = MakeObject<FakeFilter>("stranger", log);
    EXPECT_EQ(graph->ConnectDirect(sink->output.Get(), stranger->input.Get(), nullptr),
              VFW_E_NOT_IN_GRAPH);
    EXPECT_EQ(graph->Pause(), S_OK);
    EXPECT_EQ(graph->ConnectDirect(sink->output.Get(), source->input.Get(), nullptr),
              VFW_E_NOT_STOPPED);
    EXPECT_EQ(graph->ReconnectEx(middle->output.Get(), nullptr), VFW_E_NOT_STOPPED);
    EXPECT_EQ(graph->Disconnect(middle->output.Get()), VFW_E_NOT_STOPPED);
    EXPECT_EQ(graph->RemoveFilter(middle.Get()), VFW_E_NOT_STOPPED);
}

TEST_F(FilterGraphTest, RemovingAFilterBreaksItsConnections) {
    EXPECT_EQ(graph->RemoveFilter(middle.Get()), S_OK);
    EXPECT_EQ(middle->graph, nullptr);
    EXPECT_FALSE(source->output->peer);
    EXPECT_FALSE(sink->input->peer);
    EXPECT_EQ(graph->RemoveFilter(middle.Get()), VFW_E_NOT_FOUND);
}

TEST_F(FilterGraphTest, TheLastReferenceTakesTheGraphApart) {
    EXPECT_EQ(graph->Run(), S_OK);
    (void)TakeLog();
    graph.Reset();
    EXPECT_EQ(TakeLog(), (CallLog{"sink.stop", "middle.stop", "source.stop"}));
    EXPECT_EQ(sink->graph, nullptr);
    EXPECT_FALSE(middle->input->peer);
}

TEST_F(FilterGraphTest, TellsOfFiltersThatArentReady) {
    middle->stateResult = VFW_S_STATE_INTERMEDIATE;
    OAFilterState state = -1;
    EXPECT_EQ(graph->Pause(), S_OK);
    EXPECT_EQ(graph->GetState(10, &state), VFW_S_STATE_INTERMEDIATE);
    EXPECT_EQ(state, State_Paused);
    EXPECT_EQ(graph->GetState(10, nullptr), E_POINTER);
}

TEST_F(FilterGraphTest, KeepsEventsInOrder) {
    const Ref<IMediaEventSink> events = graph.As<IMediaEventSink>();
    EXPECT_EQ(events->Notify(EC_COMPLETE, 1, 2), S_OK);
    EXPECT_EQ(events->Notify(EC_ERRORABORT, E_FAIL, 0), S_OK);
    GraphEvent event;
    ASSERT_TRUE(graph->TakeEvent(event));
    EXPECT_EQ(event.code, EC_COMPLETE);
    EXPECT_EQ(event.param2, 2);
    ASSERT_TRUE(graph->TakeEvent(event));
    EXPECT_EQ(event.param1, E_FAIL);
    EXPECT_FALSE(graph->TakeEvent(event));
}

TEST_F(FilterGraphTest, ACircleOfFiltersStillStarts) {
    EXPECT_EQ(graph->ConnectDirect(sink->output.Get(), source->input.Get(), nullptr), S_OK);
    EXPECT_EQ(graph->Run(), S_OK);
    EXPECT_EQ(TakeLog().size(), 6u);
    EXPECT_EQ(graph->Disconnect(sink->output.Get()), VFW_E_NOT_STOPPED);
}

}  // namespace
}  // namespace qdvm
