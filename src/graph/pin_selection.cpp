#include "graph/pin_selection.h"

#include "frames/media_type.h"
#include "frames/media_type_map.h"
#include "platform/no_throw.h"

#include <algorithm>
#include <utility>

namespace qdvm {
namespace {

constexpr int kWalkTries = 16;

// Other filters may give pins without end, or stand in a circle.
constexpr int kMostPins = 4096;
constexpr int kMostFilters = 256;

// The unexpected positive results of others, so that callers only have to test for failure.
HRESULT FailureOf(HRESULT result) { return result > S_FALSE ? E_FAIL : result; }

HRESULT CheckDirection(IPin& pin, PIN_DIRECTION wanted) {
    PIN_DIRECTION direction = PINDIR_INPUT;
    const HRESULT result = pin.QueryDirection(&direction);
    if (Failed(result)) return result;
    return direction == wanted ? S_OK : S_FALSE;
}

HRESULT PeerOf(IPin& pin, Ref<IPin>* peer) {
    const HRESULT result = pin.ConnectedTo(peer->Put());
    if (Failed(result)) {
        (void)peer->Detach();
        return result;
    }
    return *peer ? S_OK : E_FAIL;
}

HRESULT ConnectionTypeOf(IPin& pin, MediaType* type) {
    AM_MEDIA_TYPE record{};
    const HRESULT result = pin.ConnectionMediaType(&record);
    if (Failed(result)) return result;
    const HRESULT copied = type->Assign(&record);
    FreeMediaTypeContents(&record);
    return copied;
}

std::int64_t ConnectionFrameTime(IPin& pin) {
    MediaType type;
    return Succeeded(ConnectionTypeOf(pin, &type)) ? AvgTimePerFrameOf(*type) : 0;
}

// The pin that feeds the filter of `pin`: the peer of its first connected video input.
Ref<IPin> NextUpstream(IPin& pin) {
    PIN_INFO info{};
    if (Failed(pin.QueryPinInfo(&info))) return {};
    const auto filter = Ref<IBaseFilter>::Adopt(info.pFilter);
    if (!filter) return {};
    CPinSelConnectedWithType inputs(PINDIR_INPUT, MEDIATYPE_Video, GUID_NULL);
    if (inputs.Select(filter.Get()) != S_OK) return {};
    Ref<IPin> peer;
    if (Failed(PeerOf(*inputs.pins.front(), &peer))) return {};
    return peer;
}

}  // namespace

HRESULT CPinSelection::Select(IUnknown* object) {
    pins.clear();
    Ref<IBaseFilter> filter;
    if (object) filter = Ref<IUnknown>(object).As<IBaseFilter>();
    if (!filter) return E_INVALIDARG;
    Ref<IEnumPins> enumerator;
    HRESULT result = FailureOf(filter->EnumPins(enumerator.Put()));
    if (Failed(result)) {
        (void)enumerator.Detach();
        return result;
    }
    if (!enumerator) return E_FAIL;

    std::vector<Ref<IPin>> taken;
    for (int i = 0; i < kWalkTries; ++i) {
        taken.clear();
        result = NoThrow([&] { return Walk(*enumerator, &taken); });
        if (result != VFW_E_ENUM_OUT_OF_SYNC) break;
    }
    if (Failed(result)) return result;
    pins = std::move(taken);
    return pins.empty() ? S_FALSE : S_OK;
}

HRESULT CPinSelection::Walk(IEnumPins& enumerator, std::vector<Ref<IPin>>* taken) {
    HRESULT result = enumerator.Reset();
    if (Failed(result)) return result;
    for (int i = 0; i < kMostPins; ++i) {
        Ref<IPin> pin;
        ULONG fetched = 0;
        result = FailureOf(enumerator.Next(1, pin.Put(), &fetched));
        if (result != S_OK) {
            (void)pin.Detach();
            return Failed(result) ? result : S_OK;
        }
        if (!pin) return E_FAIL;
        result = FailureOf(Accept(*pin, *taken));
        if (Failed(result)) return result;
        if (result == S_OK) taken->push_back(std::move(pin));
    }
    return E_FAIL;
}

HRESULT CPinSelection::Accept(IPin& pin, const std::vector<Ref<IPin>>& taken) {
    return std::find(taken.begin(), taken.end(), &pin) == taken.end() ? S_OK : S_FALSE;
}

HRESULT CPinSelStd::Accept(IPin& pin, const std::vector<Ref<IPin>>& taken) {
    HRESULT result = CPinSelection::Accept(pin, taken);
    if (result != S_OK) return result;
    result = CheckDirection(pin, direction);
    return result == S_OK ? ConnectedState(pin, connected) : result;
}

HRESULT CPinSelConnectedWithType::Accept(IPin& pin, const std::vector<Ref<IPin>>& taken) {
    HRESULT result = CPinSelection::Accept(pin, taken);
    if (result != S_OK) return result;
    result = CheckDirection(pin, direction);
    if (result != S_OK) return result;
    if (majorType == GUID_NULL && subType == GUID_NULL) return E_INVALIDARG;
    MediaType type;
    result = ConnectionTypeOf(pin, &type);
    // A pin without a connection has no type to match.
    if (result == VFW_E_NOT_CONNECTED) return S_FALSE;
    if (Failed(result)) return result;
    if (majorType != GUID_NULL && type->majortype != majorType) return S_FALSE;
    if (subType != GUID_NULL && type->subtype != subType) return S_FALSE;
    return S_OK;
}

HRESULT ConnectedState(IPin& pin, bool wanted) {
    Ref<IPin> peer;
    HRESULT result = PeerOf(pin, &peer);
    if (result == VFW_E_NOT_CONNECTED) return wanted ? S_FALSE : S_OK;
    if (Failed(result)) return result;
    Ref<IPin> back;
    result = PeerOf(*peer, &back);
    if (Failed(result)) return result;
    if (!IsSameObject(back.Get(), &pin)) return E_FAIL;
    return wanted ? S_OK : S_FALSE;
}

std::int64_t UpstreamFrameTime(IPin* pin) {
    Ref<IPin> at(pin);
    for (int i = 0; at && i < kMostFilters; ++i) {
        const std::int64_t frameTime = ConnectionFrameTime(*at);
        if (frameTime != 0) return frameTime;
        at = NextUpstream(*at);
    }
    return 0;
}

}  // namespace qdvm
