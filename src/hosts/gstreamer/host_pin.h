#pragma once

// What the two kinds of pin that stand beside the filter have in common.

#include "frames/media_type.h"
#include "platform/lock.h"
#include "platform/ref.h"

#include <qdvideomixer/media_graph.h>

namespace qdvm {

// The connection of a pin that belongs to no filter. The host makes and breaks connections itself,
// so what a graph would ask for is not there.
class HostPin {
public:
    explicit HostPin(PIN_DIRECTION pinDirection) : ownDirection(pinDirection) {}
    HostPin(const HostPin&) = delete;
    HostPin& operator=(const HostPin&) = delete;

    // Takes a new peer and type, or none.
    void SetConnection(IPin* newPeer, const AM_MEDIA_TYPE* newType);
    Ref<IPin> Peer() const;
    MediaType Type() const;

    HRESULT GiveConnectedTo(IPin** pin) const;
    HRESULT GiveConnectionMediaType(AM_MEDIA_TYPE* out) const;
    HRESULT GivePinInfo(PIN_INFO* info) const;
    HRESULT GiveDirection(PIN_DIRECTION* out) const;
    HRESULT GiveId(LPOLESTR* id) const;

protected:
    ~HostPin() = default;

private:
    const PIN_DIRECTION ownDirection;
    mutable CriticalSection connectionLock{LockRank::Leaf};
    Ref<IPin> peer QDVM_GUARDED_BY(connectionLock);
    MediaType connectionType QDVM_GUARDED_BY(connectionLock);
};

}  // namespace qdvm
