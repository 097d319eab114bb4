// The filter object: its interfaces, its states and its place in a graph.

#include "graph/mixer_filter.h"

#include "graph/graph_handles.h"
#include "graph/input_pin.h"
#include "graph/output_pin.h"
#include "graph/pin_accessors.h"
#include "platform/counted_string.h"
#include "platform/no_throw.h"
#include "platform/trace.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <string_view>
#include <thread>

namespace qdvm {
namespace {

// Stands in the count of a filter on its way out, far from both ends.
constexpr ULONG kGone = 0x40000000;

}  // namespace

QDVM_INTERFACE(IQDVideoMixer, IUnknown, IID_IQDVideoMixer);
QDVM_INTERFACE(IQDVideoMixerStatus, IUnknown, IID_IQDVideoMixerStatus);
QDVM_INTERFACE(IQDVideoMixerFrames, IUnknown, IID_IQDVideoMixerFrames);
QDVM_INTERFACE(IQDVideoMixerChromaKey, IUnknown, IID_IQDVideoMixerChromaKey);

HRESULT CreateQDVideoMixer(REFIID iid, void** object) {
    if (!object) return E_POINTER;
    *object = nullptr;
    const Ref<CCoQDVideoMixer> mixer = MakeObject<CCoQDVideoMixer>();
    if (!mixer) return E_OUTOFMEMORY;
    const HRESULT result = mixer->CreatePins();
    return Failed(result) ? result : mixer->QueryInterface(iid, object);
}

CCoQDVideoMixer::CCoQDVideoMixer()
    : SceneControl(static_cast<MixerCore&>(*this)),
      requestLock(LockRank::Filter, LockOwner()),
      graphLock(LockRank::Leaf, LockOwner()),
      clockLock(LockRank::Leaf, LockOwner()),
      snapshotLock(LockRank::Leaf, LockOwner()) {}

CCoQDVideoMixer::~CCoQDVideoMixer() = default;

HRESULT CCoQDVideoMixer::QueryInterface(REFIID iid, void** object) {
    return ObjectRoot<IBaseFilter>::QueryInterface(iid, object);
}

void* CCoQDVideoMixer::FindOther(REFIID iid) {
    return FindInterface<IQDVideoMixer, IQDVideoMixerStatus, IQDVideoMixerFrames,
                         IQDVideoMixerChromaKey, IQDVideoMixerScene, IQProps, IQPersist,
                         IPersistStream>(this, iid);
}

ULONG CCoQDVideoMixer::AddRef() { return references.fetch_add(1, std::memory_order_relaxed) + 1; }

ULONG CCoQDVideoMixer::Release() {
    const ULONG left = references.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) OnLastRelease();
    return left;
}

bool CCoQDVideoMixer::AddRefUnlessGone() {
    ULONG count = references.load(std::memory_order_relaxed);
    while (count != 0 && count < kGone) {
        if (references.compare_exchange_weak(count, count + 1, std::memory_order_relaxed))
            return true;
    }
    return false;
}

void CCoQDVideoMixer::OnLastRelease() {
    references.store(kGone, std::memory_order_relaxed);
    if (!IsOwnThread()) {
        Dismantle();
        return;
    }
    // A neighbour let go last, in a call from one of the filter's threads, which are waited for.
    try {
        std::thread([this] { Dismantle(); }).detach();
    } catch (const std::exception&) {
        Trace("[Filter] no thread left to take it apart");
    }
}

bool CCoQDVideoMixer::IsOwnThread() const {
    if (outputPin && IsEngineThread()) return true;
    return std::any_of(inputs.begin(), inputs.end(), [](const Ref<InputStream>& stream) {
        return static_cast<const CCoQDVideoMixerIn*>(stream.Get())->IsSeekThread();
    });
}

void CCoQDVideoMixer::Dismantle() {
    (void)Stop();
    for (const Ref<InputStream>& stream : inputs)
        static_cast<CCoQDVideoMixerIn*>(stream.Get())->LeaveFilter();
    if (outputPin) outputPin->LeaveFilter();
    delete this;
}

HRESULT CCoQDVideoMixer::GetClassID(CLSID* classId) {
    if (!classId) return E_INVALIDARG;
    *classId = CLSID_QDVideoMixer;
    return S_OK;
}

HRESULT CCoQDVideoMixer::Stop() {
    HRESULT result = S_OK;
    {
        ScopedLock guard(filterLock);
        if (State() == PlayState::kRunning) result = Pause();
    }
    if (Succeeded(result)) {
        ScopedLock guard(filterLock);
        result = ChangeState(PlayState::kStopped, 0);
    }
    FinishSeeks();
    return result;
}

HRESULT CCoQDVideoMixer::Pause() {
    ScopedLock guard(filterLock);
    return ChangeState(PlayState::kPaused, 0);
}

HRESULT CCoQDVideoMixer::Run(REFERENCE_TIME start) {
    HRESULT result = S_OK;
    {
        ScopedLock guard(filterLock);
        if (State() == PlayState::kStopped) result = Pause();
    }
    if (Failed(result)) return result;
    ScopedLock guard(filterLock);
    return ChangeState(PlayState::kRunning, start);
}

HRESULT CCoQDVideoMixer::ChangeState(PlayState newState, REFERENCE_TIME start) {
    const PlayState present = State();
    if (present == PlayState::kStopped && newState != PlayState::kStopped)
        return StartFromStopped(newState, start);
    if (present != PlayState::kStopped && newState == PlayState::kStopped) return StopRunning();
    if (present == PlayState::kPaused && newState == PlayState::kRunning)
        GoRunning(start);
    else
        SetState(newState, start);
    return S_OK;
}

// With no lock held: a seek flushes the pins.
void CCoQDVideoMixer::FinishSeeks() {
    for (std::size_t i = 0;; ++i) {
        Ref<InputStream> stream;
        {
            SharedLockGuard guard(pinsLock, SharedLockGuard::Mode::kShared);
            if (i >= inputs.size()) return;
            stream = inputs[i];
        }
        static_cast<CCoQDVideoMixerIn*>(stream.Get())->FinishSeek();
    }
}

HRESULT CCoQDVideoMixer::GetState(DWORD /*timeoutMs*/, FILTER_STATE* out) {
    if (!out) return E_POINTER;
    *out = static_cast<FILTER_STATE>(State());
    return S_OK;
}

HRESULT CCoQDVideoMixer::SetSyncSource(IReferenceClock* newClock) {
    Ref<IReferenceClock> old(newClock);  // then the one before
    ScopedLock guard(clockLock);
    clock.Swap(old);
    return S_OK;
}

HRESULT CCoQDVideoMixer::GetSyncSource(IReferenceClock** out) {
    if (!out) return E_POINTER;
    ScopedLock guard(clockLock);
    clock.CopyTo(out);
    return S_OK;
}

ClockHandle CCoQDVideoMixer::Clock() const {
    ScopedLock guard(clockLock);
    return ClockOf(clock.Get());
}

bool CCoQDVideoMixer::ApplyDeferredLayout() {
    bool isApplied = false;
    (void)NoThrow([&] {
        isApplied = ApplyDeferredScene();
        return S_OK;
    });
    return isApplied;
}

HRESULT CCoQDVideoMixer::EnumPins(IEnumPins** pins) {
    if (!pins) return E_POINTER;
    return CComDSEnum<PinAccessor>::Make(PinAccessor(this), pins);
}

HRESULT CCoQDVideoMixer::FindPin(LPCOLESTR id, IPin** pin) {
    if (!id || !pin) return E_POINTER;
    *pin = nullptr;
    for (ULONG i = 0;; ++i) {
        Ref<IPin> candidate;
        const HRESULT result = GetPin(i, candidate.Put());
        if (Failed(result)) return result;
        if (result == S_FALSE) return VFW_E_NOT_FOUND;
        LPOLESTR name = nullptr;
        if (Failed(candidate->QueryId(&name))) continue;
        const bool isSame = std::u16string_view(name) == std::u16string_view(id);
        CoTaskMemFree(name);
        if (!isSame) continue;
        *pin = candidate.Detach();
        return S_OK;
    }
}

HRESULT CCoQDVideoMixer::QueryFilterInfo(FILTER_INFO* info) {
    if (!info) return E_INVALIDARG;
    *info = {};
    ScopedLock guard(graphLock);
    std::copy(filterName.begin(), filterName.end(), info->achName);
    info->pGraph = graph;
    if (graph) (void)graph->AddRef();
    return S_OK;
}

HRESULT CCoQDVideoMixer::JoinFilterGraph(IFilterGraph* newGraph, LPCOLESTR name) {
    ScopedLock states(filterLock);
    // Asked for before the lock that frame threads could meet; the reference is given back at once.
    IMediaEventSink* newSink = nullptr;
    if (newGraph) newSink = Ref<IFilterGraph>(newGraph).As<IMediaEventSink>().Get();
    ScopedLock guard(graphLock);
    if (graph && newGraph) return E_FAIL;
    graph = nullptr;
    eventSink = nullptr;
    filterName = {};
    if (!outputPin || inputs.empty()) return E_FAIL;
    graph = newGraph;
    eventSink = newSink;
    if (newGraph && name) {
        const std::u16string_view text(name);
        std::copy_n(text.begin(), std::min(text.size(), filterName.size() - 1), filterName.begin());
    }
    return S_OK;
}

HRESULT CCoQDVideoMixer::QueryVendorInfo(LPOLESTR* /*info*/) { return E_NOTIMPL; }

Ref<IFilterGraph> CCoQDVideoMixer::Graph() const {
    ScopedLock guard(graphLock);
    return Ref<IFilterGraph>(graph);
}

}  // namespace qdvm
