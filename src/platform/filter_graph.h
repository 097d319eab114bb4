#pragma once

// A small in-process filter graph.

#include "platform/lock.h"
#include "platform/object_root.h"

#include <qdvideomixer/media_graph.h>

#include <atomic>
#include <deque>
#include <string>
#include <vector>

namespace qdvm {

// One event that a filter reported.
struct GraphEvent {
    LONG code = 0;
    LONG_PTR param1 = 0;
    LONG_PTR param2 = 0;
};

// The graph holds its filters and one clock. It connects and reconnects pins, and moves all filters
// from state to state, each after the filters that take its output: a filter starts only when what
// it delivers to is ready, and stops only after that has stopped taking.
//
// What needs a registry of filters or files (Render, RenderFile, AddSourceFilter and their kind) is
// E_NOTIMPL.
//
// Failures: a filter that can't pause or run makes the whole graph stop. A reconnection that fails
// with the new type is tried again with the old one, and the failure is the result in any case.
//
// Thread-safety: all operations can be called from any thread. While the graph changes state, adds
// or removes a filter it holds a lock; connecting, reconnecting, looking up and Notify take none
// that is held while a filter is called, so a filter may call these with its own locks held.
class FilterGraph final : public ObjectRoot<IFilterGraph2, IMediaControl, IMediaEventSink> {
public:
    FilterGraph();

    // IFilterGraph
    HRESULT AddFilter(IBaseFilter* filter, LPCOLESTR name) override;
    HRESULT RemoveFilter(IBaseFilter* filter) override;
    HRESULT EnumFilters(IEnumFilters** out) override;
    HRESULT FindFilterByName(LPCOLESTR name, IBaseFilter** filter) override;
    HRESULT ConnectDirect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type) override;
    HRESULT Reconnect(IPin* pin) override;
    HRESULT Disconnect(IPin* pin) override;
    HRESULT SetDefaultSyncSource() override;

    // IGraphBuilder
    HRESULT Connect(IPin* output, IPin* input) override;
    HRESULT Render(IPin* output) override;
    HRESULT RenderFile(LPCOLESTR file, LPCOLESTR playList) override;
    HRESULT AddSourceFilter(LPCOLESTR file, LPCOLESTR name, IBaseFilter** filter) override;
    HRESULT SetLogFile(DWORD_PTR file) override;
    HRESULT Abort() override;
    HRESULT ShouldOperationContinue() override;

    // IFilterGraph2
    HRESULT AddSourceFilterForMoniker(IMoniker* moniker, IBindCtx* context, LPCOLESTR name,
                                      IBaseFilter** filter) override;
    HRESULT ReconnectEx(IPin* pin, const AM_MEDIA_TYPE* type) override;
    HRESULT RenderEx(IPin* output, DWORD flags, DWORD* context) override;

    // IMediaControl
    HRESULT Run() override;
    HRESULT Pause() override;
    HRESULT Stop() override;
    HRESULT GetState(LONG timeoutMs, OAFilterState* state) override;

    // IMediaEventSink
    HRESULT Notify(LONG eventCode, LONG_PTR param1, LONG_PTR param2) override;

    // Takes the oldest event off the queue; false if there is none.
    bool TakeEvent(GraphEvent& event);

    // The filters in the order in which they were added; for the enumerator.
    std::vector<Ref<IBaseFilter>> Filters() const;

    // Replaces the clock; null lets the filters run without one. VFW_E_NOT_STOPPED if not stopped.
    HRESULT SetClock(IReferenceClock* clock);

private:
    struct Entry {
        Ref<IBaseFilter> filter;
        std::u16string name;
    };

    ~FilterGraph() override;

    std::vector<Entry> Entries() const;
    bool HasFilter(IBaseFilter* filter) const;
    bool IsInGraph(IPin* pin) const;
    std::u16string UniqueName(std::u16string_view wanted) const;
    void Forget(IBaseFilter* filter);

    HRESULT ChooseClock() QDVM_REQUIRES(stateLock);
    HRESULT GiveClock(IReferenceClock* newClock) QDVM_REQUIRES(stateLock);
    REFERENCE_TIME ClockTime() const QDVM_REQUIRES(stateLock);
    HRESULT PauseAll() QDVM_REQUIRES(stateLock);
    HRESULT RunAll() QDVM_REQUIRES(stateLock);
    HRESULT StopAll() QDVM_REQUIRES(stateLock);
    std::vector<Ref<IBaseFilter>> DownstreamFirst() const;

    // Held during a change of state or of the set of filters, while filters are called.
    CriticalSection stateLock;
    std::atomic<FILTER_STATE> state{State_Stopped};  // written under stateLock
    Ref<IReferenceClock> clock QDVM_GUARDED_BY(stateLock);
    bool isClockChosen QDVM_GUARDED_BY(stateLock) = false;
    REFERENCE_TIME startTime QDVM_GUARDED_BY(stateLock) = 0;   // of the clock, at stream time 0
    REFERENCE_TIME streamTime QDVM_GUARDED_BY(stateLock) = 0;  // where a pause left off

    mutable CriticalSection listLock{LockRank::Leaf, this};
    std::vector<Entry> entries QDVM_GUARDED_BY(listLock);

    CriticalSection eventLock{LockRank::Leaf, this};
    std::deque<GraphEvent> events QDVM_GUARDED_BY(eventLock);
};

}  // namespace qdvm
