#include "graph/pin_base.h"

#include "graph/mixer_filter.h"
#include "platform/counted_string.h"

#include <algorithm>
#include <utility>

namespace qdvm {

CPin::CPin(CCoQDVideoMixer& owner, std::uint32_t id, PIN_DIRECTION pinDirection,
           std::u16string name)
    : pinId(id),
      direction(pinDirection),
      pinName(std::move(name)),
      pinLock(pinDirection == PINDIR_INPUT ? LockRank::InputPin : LockRank::OutputPin,
              owner.LockOwner()),
      linkLock(LockRank::Leaf, owner.LockOwner()),
      filter(&owner) {}

Ref<IPin> CPin::Peer() const {
    ScopedLock guard(linkLock);
    return connectedPin;
}

Ref<CCoQDVideoMixer> CPin::Filter() const {
    ScopedLock guard(linkLock);
    if (!filter || !filter->AddRefUnlessGone()) return {};
    return Ref<CCoQDVideoMixer>::Adopt(filter);
}

void CPin::LeaveFilter() {
    {
        ScopedLock guard(linkLock);
        filter = nullptr;
    }
    (void)TakePeer();
}

void CPin::SetPeer(IPin* pin) {
    Ref<IPin> old(pin);  // then the one before
    ScopedLock guard(linkLock);
    connectedPin.Swap(old);
    isConnected = pin != nullptr;
}

Ref<IPin> CPin::TakePeer() {
    ScopedLock guard(linkLock);
    isConnected = false;
    return std::exchange(connectedPin, nullptr);
}

HRESULT CPin::CheckPeerDirection(IPin& pin) const {
    PIN_DIRECTION peers = direction;
    if (Failed(pin.QueryDirection(&peers)) || peers == direction) return VFW_E_INVALID_DIRECTION;
    return S_OK;
}

HRESULT CPin::GivePeer(IPin** pin) const {
    if (!pin) return E_POINTER;
    *pin = Peer().Detach();
    return *pin ? S_OK : VFW_E_NOT_CONNECTED;
}

HRESULT CPin::GiveConnectionType(AM_MEDIA_TYPE* type) const {
    if (!type) return E_POINTER;
    *type = {};
    ScopedLock guard(pinLock);
    return HasPeer() ? ConnectionType().CopyTo(type) : VFW_E_NOT_CONNECTED;
}

HRESULT CPin::GivePinInfo(PIN_INFO* info) const {
    if (!info) return E_POINTER;
    *info = {};
    info->pFilter = Filter().Detach();
    info->dir = direction;
    const std::size_t length = std::min(pinName.size(), static_cast<std::size_t>(MAX_PIN_NAME - 1));
    std::copy_n(pinName.begin(), length, info->achName);
    return S_OK;
}

HRESULT CPin::GiveDirection(PIN_DIRECTION* out) const {
    if (!out) return E_POINTER;
    *out = direction;
    return S_OK;
}

HRESULT CPin::GiveId(LPOLESTR* id) const { return CopyOutTaskText(pinName, id); }

HRESULT CPin::Accepts(const AM_MEDIA_TYPE* type) const {
    if (!type) return E_POINTER;
    const Ref<CCoQDVideoMixer> mixer = Filter();
    return mixer && mixer->CheckPinType(pinId, *type) ? S_OK : S_FALSE;
}

}  // namespace qdvm
