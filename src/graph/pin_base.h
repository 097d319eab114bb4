#pragma once

// What the input pins and the output pin have in common.

#include "frames/media_type.h"
#include "platform/lock.h"
#include "platform/object_root.h"
#include "platform/ref.h"

#include <qdvideomixer/media_graph.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace qdvm {

class CCoQDVideoMixer;

// The output pin's id; an input pin's is its stream number.
inline constexpr std::uint32_t kOutputPinId = 0x10000000;

// State and operations of a pin, without its interfaces. Thread-safety: pinLock guards changes of
// the connection as a whole; the peer and the filter can be asked for without it, so that frame
// threads never wait for a connection.
class CPin {
public:
    CPin(const CPin&) = delete;
    CPin& operator=(const CPin&) = delete;

    bool HasPeer() const { return isConnected; }
    Ref<IPin> Peer() const;

    // Null once the filter has let go of the pin, or is about to go itself.
    Ref<CCoQDVideoMixer> Filter() const;

    // The filter drops the pin, which lets go of its peer: a pin that outlives its filter must not
    // keep a chain of others alive.
    virtual void LeaveFilter();

protected:
    // The pin belongs to `owner`, which it doesn't count; name: up to 127 characters.
    CPin(CCoQDVideoMixer& owner, std::uint32_t id, PIN_DIRECTION pinDirection, std::u16string name);
    virtual ~CPin() = default;

    // The type of the connection, empty if there is none.
    virtual MediaType ConnectionType() const = 0;

    void SetPeer(IPin* pin);
    // Without a peer afterwards; gives the one that was.
    Ref<IPin> TakePeer();

    // VFW_E_INVALID_DIRECTION unless `pin` is of the other direction.
    HRESULT CheckPeerDirection(IPin& pin) const;

    HRESULT GivePeer(IPin** pin) const;
    HRESULT GiveConnectionType(AM_MEDIA_TYPE* type) const;
    HRESULT GivePinInfo(PIN_INFO* info) const;
    HRESULT GiveDirection(PIN_DIRECTION* out) const;
    HRESULT GiveId(LPOLESTR* id) const;
    HRESULT Accepts(const AM_MEDIA_TYPE* type) const;

    const std::uint32_t pinId;
    const PIN_DIRECTION direction;
    const std::u16string pinName;
    mutable CriticalSection pinLock;

private:
    mutable CriticalSection linkLock;
    Ref<IPin> connectedPin QDVM_GUARDED_BY(linkLock);
    CCoQDVideoMixer* filter QDVM_GUARDED_BY(linkLock);
    std::atomic<bool> isConnected{false};
};

// The interface operations that both kinds of pin answer alike.
template <class... Others>
class CPinBase : public ObjectRoot<IPin, IQualityControl, Others...>, public CPin {
public:
    HRESULT ConnectedTo(IPin** pin) override { return GivePeer(pin); }
    HRESULT ConnectionMediaType(AM_MEDIA_TYPE* type) override { return GiveConnectionType(type); }
    HRESULT QueryPinInfo(PIN_INFO* info) override { return GivePinInfo(info); }
    HRESULT QueryDirection(PIN_DIRECTION* out) override { return GiveDirection(out); }
    HRESULT QueryId(LPOLESTR* id) override { return GiveId(id); }
    HRESULT QueryAccept(const AM_MEDIA_TYPE* type) override { return Accepts(type); }
    HRESULT QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }

protected:
    using CPin::CPin;
    ~CPinBase() override = default;
};

}  // namespace qdvm
