#include "platform/filter_graph.h"

#include "platform/graph_walk.h"

#include <qdvideomixer/create.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>

namespace qdvm {

namespace {

// The filters of the graph at the moment at which the enumerator was made.
class FilterEnumerator final : public ObjectRoot<IEnumFilters> {
public:
    FilterEnumerator(std::vector<Ref<IBaseFilter>> list, std::size_t start)
        : filters(std::move(list)), position(start) {}

    HRESULT Next(ULONG count, IBaseFilter** out, ULONG* fetched) override {
        if (out == nullptr || (fetched == nullptr && count > 1)) {
            return out == nullptr ? E_POINTER : E_INVALIDARG;
        }
        ULONG taken = 0;
        while (taken < count && position < filters.size()) {
            filters[position++].CopyTo(&out[taken++]);
        }
        if (fetched != nullptr) {
            *fetched = taken;
        }
        return taken == count ? S_OK : S_FALSE;
    }

    HRESULT Skip(ULONG count) override {
        const std::size_t left = filters.size() - position;
        position += std::min<std::size_t>(count, left);
        return count <= left ? S_OK : S_FALSE;
    }

    HRESULT Reset() override {
        position = 0;
        return S_OK;
    }

    HRESULT Clone(IEnumFilters** copy) override {
        if (copy == nullptr) {
            return E_POINTER;
        }
        *copy = MakeObject<FilterEnumerator>(filters, position).Detach();
        return *copy != nullptr ? S_OK : E_OUTOFMEMORY;
    }

private:
    ~FilterEnumerator() override = default;

    const std::vector<Ref<IBaseFilter>> filters;
    std::size_t position;
};

// A copy of a connection's type that frees itself.
class ConnectionType {
public:
    explicit ConnectionType(IPin* pin) : isKnown(Succeeded(pin->ConnectionMediaType(&type))) {}
    ~ConnectionType() {
        if (!isKnown) {
            return;
        }
        CoTaskMemFree(type.pbFormat);
        if (type.pUnk != nullptr) {
            (void)type.pUnk->Release();
        }
    }
    ConnectionType(const ConnectionType&) = delete;
    ConnectionType& operator=(const ConnectionType&) = delete;

    const AM_MEDIA_TYPE* Get() const { return isKnown ? &type : nullptr; }

private:
    AM_MEDIA_TYPE type = {};
    bool isKnown;
};

// The first failure of two results, or else the first that isn't S_OK.
HRESULT Worse(HRESULT a, HRESULT b) {
    if (Failed(a) || (a != S_OK && !Failed(b))) {
        return a;
    }
    return b;
}

void BreakConnections(IBaseFilter* filter) {
    for (const Ref<IPin>& pin : PinsOf(filter)) {
        if (const Ref<IPin> peer = PeerOf(pin.Get())) {
            (void)peer->Disconnect();
            (void)pin->Disconnect();
        }
    }
}

bool IsConnected(IBaseFilter* filter) {
    const std::vector<Ref<IPin>> pins = PinsOf(filter);
    return std::any_of(pins.begin(), pins.end(),
                       [](const Ref<IPin>& pin) { return bool(PeerOf(pin.Get())); });
}

}  // namespace

FilterGraph::FilterGraph() = default;

FilterGraph::~FilterGraph() {
    const ScopedLock lock(stateLock);
    (void)StopAll();
    for (const Entry& entry : Entries()) {
        BreakConnections(entry.filter.Get());
        (void)entry.filter->JoinFilterGraph(nullptr, nullptr);
    }
}

HRESULT FilterGraph::AddFilter(IBaseFilter* filter, LPCOLESTR name) {
    if (filter == nullptr) {
        return E_POINTER;
    }
    const ScopedLock lock(stateLock);
    if (HasFilter(filter)) {
        return E_FAIL;
    }
    const std::u16string wanted = name != nullptr ? name : u"";
    const std::u16string given = UniqueName(wanted);
    const HRESULT result = filter->JoinFilterGraph(this, given.c_str());
    if (Failed(result)) {
        return result;
    }
    if (isClockChosen) {
        (void)filter->SetSyncSource(clock.Get());
    }
    const ScopedLock guard(listLock);
    entries.push_back({Ref<IBaseFilter>(filter), given});
    return given == wanted || wanted.empty() ? S_OK : VFW_S_DUPLICATE_NAME;
}

HRESULT FilterGraph::RemoveFilter(IBaseFilter* filter) {
    if (filter == nullptr) {
        return E_POINTER;
    }
    const ScopedLock lock(stateLock);
    if (!HasFilter(filter)) {
        return VFW_E_NOT_FOUND;
    }
    if (state != State_Stopped && IsConnected(filter)) {
        return VFW_E_NOT_STOPPED;
    }
    const Ref<IBaseFilter> held(filter);
    (void)filter->Stop();
    BreakConnections(filter);
    (void)filter->SetSyncSource(nullptr);
    Forget(filter);
    return filter->JoinFilterGraph(nullptr, nullptr);
}

HRESULT FilterGraph::EnumFilters(IEnumFilters** out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = MakeObject<FilterEnumerator>(Filters(), std::size_t{0}).Detach();
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT FilterGraph::FindFilterByName(LPCOLESTR name, IBaseFilter** filter) {
    if (name == nullptr || filter == nullptr) {
        return E_POINTER;
    }
    *filter = nullptr;
    for (const Entry& entry : Entries()) {
        if (entry.name == name) {
            entry.filter.CopyTo(filter);
            return S_OK;
        }
    }
    return VFW_E_NOT_FOUND;
}

HRESULT FilterGraph::ConnectDirect(IPin* output, IPin* input, const AM_MEDIA_TYPE* type) {
    if (output == nullptr || input == nullptr) {
        return E_POINTER;
    }
    if (state != State_Stopped) {
        return VFW_E_NOT_STOPPED;
    }
    if (!IsInGraph(output) || !IsInGraph(input)) {
        return VFW_E_NOT_IN_GRAPH;
    }
    return output->Connect(input, type);
}

HRESULT FilterGraph::Reconnect(IPin* pin) { return ReconnectEx(pin, nullptr); }

HRESULT FilterGraph::Disconnect(IPin* pin) {
    if (pin == nullptr) {
        return E_POINTER;
    }
    return state == State_Stopped ? pin->Disconnect() : VFW_E_NOT_STOPPED;
}

HRESULT FilterGraph::SetDefaultSyncSource() {
    const ScopedLock lock(stateLock);
    return state == State_Stopped ? ChooseClock() : VFW_E_NOT_STOPPED;
}

// Pins are connected as they are: there is no registry to find filters that fit between them.
HRESULT FilterGraph::Connect(IPin* output, IPin* input) {
    return ConnectDirect(output, input, nullptr);
}

HRESULT FilterGraph::Render(IPin*) { return E_NOTIMPL; }

HRESULT FilterGraph::RenderFile(LPCOLESTR, LPCOLESTR) { return E_NOTIMPL; }

HRESULT FilterGraph::AddSourceFilter(LPCOLESTR, LPCOLESTR, IBaseFilter**) { return E_NOTIMPL; }

HRESULT FilterGraph::SetLogFile(DWORD_PTR) { return E_NOTIMPL; }

HRESULT FilterGraph::Abort() { return S_OK; }

HRESULT FilterGraph::ShouldOperationContinue() { return S_OK; }

HRESULT FilterGraph::AddSourceFilterForMoniker(IMoniker*, IBindCtx*, LPCOLESTR, IBaseFilter**) {
    return E_NOTIMPL;
}

HRESULT FilterGraph::ReconnectEx(IPin* pin, const AM_MEDIA_TYPE* type) {
    if (pin == nullptr) {
        return E_POINTER;
    }
    if (state != State_Stopped) {
        return VFW_E_NOT_STOPPED;
    }
    if (!IsInGraph(pin)) {
        return VFW_E_NOT_IN_GRAPH;
    }
    Ref<IPin> output(pin);
    Ref<IPin> input = PeerOf(pin);
    if (!input) {
        return VFW_E_NOT_CONNECTED;
    }
    if (DirectionOf(pin) == PINDIR_INPUT) {
        output.Swap(input);
    }
    const ConnectionType oldType(output.Get());
    HRESULT result = Worse(output->Disconnect(), input->Disconnect());
    if (Failed(result)) {
        return result;
    }
    result = output->Connect(input.Get(), type);
    if (Failed(result) && oldType.Get() != nullptr) {
        (void)output->Connect(input.Get(), oldType.Get());
    }
    return result;
}

HRESULT FilterGraph::RenderEx(IPin*, DWORD, DWORD*) { return E_NOTIMPL; }

HRESULT FilterGraph::Run() {
    const ScopedLock lock(stateLock);
    if (state == State_Running) {
        return S_OK;
    }
    HRESULT result = S_OK;
    if (state == State_Stopped) {
        result = PauseAll();
    }
    if (Succeeded(result)) {
        result = Worse(RunAll(), result);
    }
    return result;
}

HRESULT FilterGraph::Pause() {
    const ScopedLock lock(stateLock);
    return state == State_Paused ? S_OK : PauseAll();
}

HRESULT FilterGraph::Stop() {
    const ScopedLock lock(stateLock);
    return StopAll();
}

HRESULT FilterGraph::GetState(LONG timeoutMs, OAFilterState* out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    HRESULT result = S_OK;
    // Without the lock, or a filter that is slow to get ready would keep the graph from stopping.
    for (const Ref<IBaseFilter>& filter : Filters()) {
        const auto spent =
            std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count();
        DWORD left = std::numeric_limits<DWORD>::max();
        if (timeoutMs >= 0) {
            left = static_cast<DWORD>(std::max<std::int64_t>(timeoutMs - spent, 0));
        }
        FILTER_STATE filterState = State_Stopped;
        result = Worse(filter->GetState(left, &filterState), result);
    }
    *out = state.load();
    return result;
}

HRESULT FilterGraph::Notify(LONG eventCode, LONG_PTR param1, LONG_PTR param2) {
    const ScopedLock lock(eventLock);
    events.push_back({eventCode, param1, param2});
    return S_OK;
}

bool FilterGraph::TakeEvent(GraphEvent& event) {
    const ScopedLock lock(eventLock);
    if (events.empty()) {
        return false;
    }
    event = events.front();
    events.pop_front();
    return true;
}

std::vector<Ref<IBaseFilter>> FilterGraph::Filters() const {
    std::vector<Ref<IBaseFilter>> filters;
    for (const Entry& entry : Entries()) {
        filters.push_back(entry.filter);
    }
    return filters;
}

HRESULT FilterGraph::SetClock(IReferenceClock* newClock) {
    const ScopedLock lock(stateLock);
    return state == State_Stopped ? GiveClock(newClock) : VFW_E_NOT_STOPPED;
}

std::vector<FilterGraph::Entry> FilterGraph::Entries() const {
    const ScopedLock lock(listLock);
    return entries;
}

bool FilterGraph::HasFilter(IBaseFilter* filter) const {
    const std::vector<Entry> known = Entries();
    return std::any_of(known.begin(), known.end(), [&](const Entry& entry) {
        return IsSameObject(entry.filter.Get(), filter);
    });
}

// A pin that doesn't tell its filter is taken as it is.
bool FilterGraph::IsInGraph(IPin* pin) const {
    const Ref<IBaseFilter> filter = FilterOf(pin);
    return !filter || HasFilter(filter.Get());
}

std::u16string FilterGraph::UniqueName(std::u16string_view wanted) const {
    const std::vector<Entry> known = Entries();
    const auto isFree = [&](const std::u16string& name) {
        return std::none_of(known.begin(), known.end(),
                            [&](const Entry& entry) { return entry.name == name; });
    };
    const std::u16string base(wanted.empty() ? u"Filter" : wanted);
    std::u16string name = base;
    for (unsigned number = 1; !isFree(name); ++number) {
        const std::string digits = std::to_string(number);
        name = base + u' ' + std::u16string(digits.begin(), digits.end());
    }
    return name;
}

void FilterGraph::Forget(IBaseFilter* filter) {
    const ScopedLock lock(listLock);
    std::erase_if(entries,
                  [&](const Entry& entry) { return IsSameObject(entry.filter.Get(), filter); });
}

HRESULT FilterGraph::ChooseClock() {
    Ref<IReferenceClock> systemClock;
    const HRESULT result = CreateSystemClock(IID_IReferenceClock, systemClock.PutVoid());
    return Succeeded(result) ? GiveClock(systemClock.Get()) : result;
}

HRESULT FilterGraph::GiveClock(IReferenceClock* newClock) {
    clock = newClock;
    isClockChosen = true;
    HRESULT result = S_OK;
    for (const Ref<IBaseFilter>& filter : Filters()) {
        result = Worse(filter->SetSyncSource(newClock), result);
    }
    return result;
}

REFERENCE_TIME FilterGraph::ClockTime() const {
    REFERENCE_TIME now = 0;
    if (clock) {
        (void)clock->GetTime(&now);
    }
    return now;
}

HRESULT FilterGraph::PauseAll() {
    if (!isClockChosen) {
        (void)ChooseClock();
    }
    if (state == State_Running) {
        streamTime = ClockTime() - startTime;
    }
    HRESULT result = S_OK;
    for (const Ref<IBaseFilter>& filter : DownstreamFirst()) {
        result = Worse(filter->Pause(), result);
        if (Failed(result)) {
            (void)StopAll();
            return result;
        }
    }
    state = State_Paused;
    return result;
}

HRESULT FilterGraph::RunAll() {
    startTime = ClockTime() - streamTime;
    HRESULT result = S_OK;
    for (const Ref<IBaseFilter>& filter : DownstreamFirst()) {
        result = Worse(filter->Run(startTime), result);
        if (Failed(result)) {
            (void)StopAll();
            return result;
        }
    }
    state = State_Running;
    return result;
}

HRESULT FilterGraph::StopAll() {
    HRESULT result = S_OK;
    for (const Ref<IBaseFilter>& filter : DownstreamFirst()) {
        result = Worse(filter->Stop(), result);
    }
    state = State_Stopped;
    streamTime = 0;
    return result;
}

std::vector<Ref<IBaseFilter>> FilterGraph::DownstreamFirst() const {
    return SortDownstreamFirst(Filters());
}

HRESULT CreateFilterGraph(REFIID iid, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    const Ref<FilterGraph> graph = MakeObject<FilterGraph>();
    return graph ? graph->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

}  // namespace qdvm
