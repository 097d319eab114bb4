// The output pin as a pin: how a connection is made and broken.

#include "graph/output_pin.h"

#include "frames/format_table.h"
#include "graph/mixer_filter.h"
#include "graph/pin_accessors.h"
#include "platform/trace.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace qdvm {
namespace {

// A pin downstream may give types without end.
constexpr int kMostTypes = 4096;

}  // namespace

CCoQDVideoMixerOut::CCoQDVideoMixerOut(CCoQDVideoMixer& owner)
    : Root(owner, kOutputPinId, PINDIR_OUTPUT, u"Mixed Out"),
      OutputStage(owner.LockOwner()),
      connectionLock(LockRank::Leaf, owner.LockOwner()) {}

HRESULT CCoQDVideoMixerOut::QueryInterface(REFIID iid, void** object) {
    return Root::QueryInterface(iid, object);
}

ULONG CCoQDVideoMixerOut::AddRef() { return Root::AddRef(); }

ULONG CCoQDVideoMixerOut::Release() { return Root::Release(); }

namespace {

// Whether the pin is one of the mixer's own inputs: a picture of itself would wait for itself.
bool IsOwnInput(IPin& pin, CCoQDVideoMixer& mixer) {
    PIN_DIRECTION direction = PINDIR_OUTPUT;
    if (Failed(pin.QueryDirection(&direction)) || direction != PINDIR_INPUT) return false;
    PIN_INFO info{};
    if (Failed(pin.QueryPinInfo(&info))) return false;
    const Ref<IBaseFilter> filter = Ref<IBaseFilter>::Adopt(info.pFilter);
    return filter && IsSameObject(filter.Get(), static_cast<IBaseFilter*>(&mixer));
}

}  // namespace

HRESULT CCoQDVideoMixerOut::Connect(IPin* receivePin, const AM_MEDIA_TYPE* type) {
    if (!receivePin) return E_POINTER;
    const Ref<CCoQDVideoMixer> mixer = Filter();
    if (!mixer) return E_UNEXPECTED;
    if (IsOwnInput(*receivePin, *mixer)) return VFW_E_CIRCULAR_GRAPH;
    HRESULT result = S_OK;
    Connection broken;
    {
        ScopedLock state(mixer->filterLock);
        ScopedLock guard(pinLock);
        if (HasPeer()) return VFW_E_ALREADY_CONNECTED;
        result = CheckPeerDirection(*receivePin);
        if (Failed(result)) return result;
        if (mixer->State() != PlayState::kStopped) return VFW_E_NOT_STOPPED;
        result = FindCommonType(*mixer, *receivePin, type);
        if (Failed(result)) return result;
        result = AgreeOnAllocator(*receivePin);
        if (result == S_OK) return S_OK;
        broken = TakeConnection();
    }
    GiveUp(std::move(broken), *mixer);
    return Failed(result) ? result : VFW_E_NO_ACCEPTABLE_TYPES;
}

HRESULT CCoQDVideoMixerOut::FindCommonType(CCoQDVideoMixer& mixer, IPin& pin,
                                           const AM_MEDIA_TYPE* type) {
    if (type && type->majortype != GUID_NULL) return TryConnection(mixer, pin, *type);
    if (Succeeded(TryTypes(mixer, pin, pin))) return S_OK;
    if (Succeeded(TryTypes(mixer, pin, *this))) return S_OK;
    return VFW_E_NO_ACCEPTABLE_TYPES;
}

// Walks the types of `offering` until one works.
HRESULT CCoQDVideoMixerOut::TryTypes(CCoQDVideoMixer& mixer, IPin& pin, IPin& offering) {
    Ref<IEnumMediaTypes> types;
    const HRESULT result = offering.EnumMediaTypes(types.Put());
    if (Failed(result)) (void)types.Detach();
    if (!types) return VFW_E_NO_ACCEPTABLE_TYPES;
    (void)types->Reset();
    for (int i = 0; i < kMostTypes; ++i) {
        AM_MEDIA_TYPE* type = nullptr;
        ULONG fetched = 0;
        if (types->Next(1, &type, &fetched) != S_OK || !type) break;
        const HRESULT tried = TryConnection(mixer, pin, *type);
        DeleteMediaType(type);
        if (tried == S_OK) return S_OK;
    }
    return VFW_E_NO_ACCEPTABLE_TYPES;
}

HRESULT CCoQDVideoMixerOut::TryConnection(CCoQDVideoMixer& mixer, IPin& pin,
                                          const AM_MEDIA_TYPE& type) {
    if (!mixer.CheckPinType(pinId, type)) return VFW_E_TYPE_NOT_ACCEPTED;
    MediaType offer;
    HRESULT result = offer.Assign(&type);
    if (Failed(result)) return result;
    const MediaType saved = OutputType();
    result = SetOutputType(&offer);
    if (Succeeded(result)) {
        SetPeer(&pin);
        result = pin.ReceiveConnection(this, offer.operator->());
        // The other pin may have thought better of it in the same call.
        if (result == S_OK && HasPeer()) return S_OK;
    }
    Trace("[NOT ACCEPTED] %08X", static_cast<unsigned>(type.subtype.Data1));
    (void)TakePeer();
    (void)SetOutputType(saved.HasMajorType() ? &saved : nullptr);
    return Failed(result) ? result : VFW_E_TYPE_NOT_ACCEPTED;
}

HRESULT CCoQDVideoMixerOut::AgreeOnAllocator(IPin& pin) {
    const Ref<IMemInputPin> input = Ref<IPin>(&pin).As<IMemInputPin>();
    if (!input) return E_NOINTERFACE;
    const std::uint32_t bytes =
        std::max(OutputType()->lSampleSize, FrameBytes(OutputProps().picProps));
    if (bytes > static_cast<std::uint32_t>(std::numeric_limits<LONG>::max())) return E_OUTOFMEMORY;
    AgreedAllocator found;
    const HRESULT result = NegotiateAllocator(*input, static_cast<LONG>(bytes), &found);
    if (Failed(result)) return result;
    ScopedLock guard(connectionLock);
    connectedInput = input;
    agreed = std::move(found);
    isCommitted = false;
    return S_OK;
}

HRESULT CCoQDVideoMixerOut::ReceiveConnection(IPin* /*connector*/, const AM_MEDIA_TYPE* /*type*/) {
    return E_NOTIMPL;
}

HRESULT CCoQDVideoMixerOut::Disconnect() {
    const Ref<CCoQDVideoMixer> mixer = Filter();
    if (!mixer) return S_FALSE;
    Connection broken;
    {
        ScopedLock state(mixer->filterLock);
        ScopedLock guard(pinLock);
        if (!HasPeer()) return S_FALSE;
        if (mixer->State() != PlayState::kStopped) return VFW_E_NOT_STOPPED;
        broken = TakeConnection();
    }
    GiveUp(std::move(broken), *mixer);
    return S_OK;
}

CCoQDVideoMixerOut::Connection CCoQDVideoMixerOut::TakeConnection() {
    Connection taken;
    taken.peer = TakePeer();
    ScopedLock guard(connectionLock);
    taken.agreed = std::exchange(agreed, {});
    taken.input = std::exchange(connectedInput, nullptr);
    isCommitted = false;
    return taken;
}

void CCoQDVideoMixerOut::GiveUp(Connection connection, CCoQDVideoMixer& mixer) {
    if (connection.agreed.allocator) (void)connection.agreed.allocator->Decommit();
    if (connection.peer) (void)connection.peer->Disconnect();
    (void)mixer.BuildOutputFormat(false);
}

void CCoQDVideoMixerOut::LeaveFilter() {
    const Connection old = TakeConnection();
    if (old.agreed.allocator) (void)old.agreed.allocator->Decommit();
    Root::LeaveFilter();
}

HRESULT CCoQDVideoMixerOut::EnumMediaTypes(IEnumMediaTypes** types) {
    if (!types) return E_POINTER;
    return CComDSEnum<OutputTypesAccessor>::Make(OutputTypesAccessor(this), types);
}

HRESULT CCoQDVideoMixerOut::EndOfStream() { return E_NOTIMPL; }

HRESULT CCoQDVideoMixerOut::BeginFlush() { return E_NOTIMPL; }

HRESULT CCoQDVideoMixerOut::EndFlush() { return E_NOTIMPL; }

HRESULT CCoQDVideoMixerOut::NewSegment(REFERENCE_TIME /*start*/, REFERENCE_TIME /*stop*/,
                                       double /*rate*/) {
    return E_NOTIMPL;
}

HRESULT CCoQDVideoMixerOut::Notify(IBaseFilter* /*self*/, Quality /*quality*/) { return S_OK; }

HRESULT CCoQDVideoMixerOut::SetSink(IQualityControl* /*sink*/) { return E_NOTIMPL; }

}  // namespace qdvm
