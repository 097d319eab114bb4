#include "hosts/gstreamer/host_pin.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace qdvm {
namespace {

constexpr std::u16string_view kNames[] = {u"Host In", u"Host Out"};

}  // namespace

void HostPin::SetConnection(IPin* newPeer, const AM_MEDIA_TYPE* newType) {
    Ref<IPin> previous(newPeer);
    MediaType copy;
    if (newType) (void)copy.Assign(newType);
    ScopedLock guard(connectionLock);
    previous.Swap(peer);
    std::swap(connectionType, copy);
}

Ref<IPin> HostPin::Peer() const {
    ScopedLock guard(connectionLock);
    return peer;
}

MediaType HostPin::Type() const {
    ScopedLock guard(connectionLock);
    return connectionType;
}

HRESULT HostPin::GiveConnectedTo(IPin** pin) const {
    if (!pin) return E_POINTER;
    const Ref<IPin> other = Peer();
    other.CopyTo(pin);
    return other ? S_OK : VFW_E_NOT_CONNECTED;
}

HRESULT HostPin::GiveConnectionMediaType(AM_MEDIA_TYPE* out) const {
    if (!out) return E_POINTER;
    *out = {};
    return Peer() ? Type().CopyTo(out) : VFW_E_NOT_CONNECTED;
}

HRESULT HostPin::GivePinInfo(PIN_INFO* info) const {
    if (!info) return E_POINTER;
    *info = {.pFilter = nullptr, .dir = ownDirection, .achName = {}};
    std::ranges::copy(kNames[ownDirection], info->achName);
    return S_OK;
}

HRESULT HostPin::GiveDirection(PIN_DIRECTION* out) const {
    if (!out) return E_POINTER;
    *out = ownDirection;
    return S_OK;
}

HRESULT HostPin::GiveId(LPOLESTR* id) const {
    if (!id) return E_POINTER;
    const std::u16string_view name = kNames[ownDirection];
    *id = static_cast<LPOLESTR>(CoTaskMemAlloc((name.size() + 1) * sizeof(OLECHAR)));
    if (!*id) return E_OUTOFMEMORY;
    *std::ranges::copy(name, *id).out = u'\0';
    return S_OK;
}

}  // namespace qdvm
