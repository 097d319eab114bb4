// The input pin as a pin: connections, flushes, ends and segments.

#include "graph/input_pin.h"

#include "graph/allocator_negotiation.h"
#include "graph/mixer_filter.h"
#include "graph/output_pin.h"
#include "graph/pin_accessors.h"
#include "graph/pin_selection.h"
#include "platform/no_throw.h"
#include "platform/trace.h"

#include <functional>
#include <string>
#include <utility>

namespace qdvm {
namespace {

std::u16string InputName(std::uint32_t number) {
    const std::string digits = std::to_string(number + 1);
    return u"Stream " + std::u16string(digits.begin(), digits.end()) + u" In";
}

// Empty if memory is short.
std::function<void()> SeekToStart(const Ref<IMediaSeeking>& seeking) {
    std::function<void()> seek;
    (void)NoThrow([&] {
        seek = [seeking] {
            LONGLONG start = 0;
            (void)seeking->SetPositions(&start, AM_SEEKING_AbsolutePositioning, nullptr,
                                        AM_SEEKING_NoPositioning);
        };
        return S_OK;
    });
    return seek;
}

}  // namespace

CCoQDVideoMixerIn::CCoQDVideoMixerIn(CCoQDVideoMixer& owner, std::uint32_t number)
    : Root(owner, number, PINDIR_INPUT, InputName(number)),
      InputStream(owner.LockOwner()),
      receiveLock(LockRank::Receive, owner.LockOwner()),
      seekLock(LockRank::Leaf, owner.LockOwner()) {}

CCoQDVideoMixerIn::~CCoQDVideoMixerIn() { FinishSeek(); }

HRESULT CCoQDVideoMixerIn::QueryInterface(REFIID iid, void** object) {
    return Root::QueryInterface(iid, object);
}

ULONG CCoQDVideoMixerIn::AddRef() { return Root::AddRef(); }

ULONG CCoQDVideoMixerIn::Release() { return Root::Release(); }

MediaType CCoQDVideoMixerIn::ConnectionType() const {
    ScopedLock guard(streamLock);
    return mediaType;
}

HRESULT CCoQDVideoMixerIn::Connect(IPin* /*receivePin*/, const AM_MEDIA_TYPE* /*type*/) {
    return E_NOTIMPL;
}

HRESULT CCoQDVideoMixerIn::ReceiveConnection(IPin* connector, const AM_MEDIA_TYPE* type) {
    if (!connector || !type) return E_POINTER;
    const Ref<CCoQDVideoMixer> mixer = Filter();
    if (!mixer) return E_UNEXPECTED;
    Trace("[ReceiveConnection MT] pin %u, %08X", pinId, type->subtype.Data1);
    const HRESULT result = CheckPeerDirection(*connector);
    if (Failed(result)) return result;
    return NoThrow([&] {
        if (mixer->State() == PlayState::kStopped) {
            ScopedLock state(mixer->filterLock);
            if (mixer->State() == PlayState::kStopped) {
                ScopedLock guard(pinLock);
                return ConnectStopped(*mixer, *connector, *type);
            }
        }
        return ChangeFormat(*mixer, *connector, *type);
    });
}

HRESULT CCoQDVideoMixerIn::ConnectStopped(CCoQDVideoMixer& mixer, IPin& connector,
                                          const AM_MEDIA_TYPE& type) {
    if (HasPeer()) return VFW_E_ALREADY_CONNECTED;
    if (!mixer.CheckPinType(pinId, type)) return VFW_E_TYPE_NOT_ACCEPTED;
    // What a neighbour of before left open, or a stranger began on the free pin.
    flushing = false;
    return TakeConnection(mixer, connector, type);
}

// The upstream filter changes its format while the filter works. The layout goes over to the new
// format; frames of the old one are dropped on both sides.
HRESULT CCoQDVideoMixerIn::ChangeFormat(CCoQDVideoMixer& mixer, IPin& connector,
                                        const AM_MEDIA_TYPE& type) {
    // A stream that joins now would not be waited for.
    if (!HasPeer()) return VFW_E_NOT_STOPPED;
    if (!mixer.CheckPinType(pinId, type)) return VFW_E_TYPE_NOT_ACCEPTED;
    FlushStream();
    mixer.Output().FlushOutputQueue();
    (void)mixer.Output().FlushDownstream();

    ScopedLock guard(pinLock);
    if (!HasPeer()) return VFW_E_NOT_CONNECTED;
    mixer.TakeSnapshot();
    return TakeConnection(mixer, connector, type);
}

HRESULT CCoQDVideoMixerIn::TakeConnection(CCoQDVideoMixer& mixer, IPin& connector,
                                          const AM_MEDIA_TYPE& type) {
    MediaType wanted;
    HRESULT result = wanted.Assign(&type);
    if (Failed(result)) return result;
    const MediaType saved = ConnectionType();
    const Ref<IPin> formerPeer = Peer();
    result = ApplyMediaType(&wanted);
    if (Succeeded(result)) {
        SetPeer(&connector);
        result = NoThrow([&] { return mixer.CompleteInputConnection(pinId); });
        if (Failed(result)) SetPeer(formerPeer.Get());
    }
    if (Failed(result)) {
        (void)ApplyMediaType(saved.HasMajorType() ? &saved : nullptr);
        // The free pin that came behind this one.
        if (!formerPeer) mixer.RemoveInputPins(pinId);
    }
    return result;
}

HRESULT CCoQDVideoMixerIn::Disconnect() {
    const Ref<CCoQDVideoMixer> mixer = Filter();
    if (!mixer) return S_FALSE;
    Ref<IMemAllocator> oldAllocator;
    Ref<IPin> oldPeer;
    {
        ScopedLock state(mixer->filterLock);
        ScopedLock guard(pinLock);
        if (!HasPeer()) return S_FALSE;
        if (mixer->State() != PlayState::kStopped) return VFW_E_NOT_STOPPED;
        oldAllocator = TakeAllocator();
        oldPeer = TakePeer();
        flushing = false;
        ResetSegment();
        (void)ApplyMediaType(nullptr);
        mixer->RemoveInputPins(pinId);
    }
    // Others are called, and the graph told to reconnect the output, with no lock held.
    if (oldAllocator) (void)oldAllocator->Decommit();
    // After the last input the format stays, so that one source can be exchanged for another
    // without the receiver being thrown back to a default in between.
    if (mixer->HasConnectedInput()) (void)mixer->BuildOutputFormat(true);
    return S_OK;
}

void CCoQDVideoMixerIn::LeaveFilter() {
    Root::LeaveFilter();
    Ref<IMemAllocator> oldAllocator;
    {
        ScopedLock guard(pinLock);
        oldAllocator = TakeAllocator();
    }
    if (oldAllocator) (void)oldAllocator->Decommit();
}

Ref<IMemAllocator> CCoQDVideoMixerIn::TakeAllocator() {
    allocatorProps = {};
    readOnly = false;
    return std::exchange(allocator, nullptr);
}

void CCoQDVideoMixerIn::ResetSegment() {
    segmentStart = segmentStop = 0;
    segmentRate = 1.0;
}

HRESULT CCoQDVideoMixerIn::EnumMediaTypes(IEnumMediaTypes** types) {
    if (!types) return E_POINTER;
    return CComDSEnum<InputTypeAccessor>::Make(InputTypeAccessor(this), types);
}

HRESULT CCoQDVideoMixerIn::EndOfStream() {
    {
        ScopedLock guard(pinLock);
        if (flushing) return E_UNEXPECTED;
    }
    EndStream();
    return S_OK;
}

HRESULT CCoQDVideoMixerIn::BeginFlush() {
    {
        ScopedLock guard(pinLock);
        flushing = true;
    }
    const Ref<CCoQDVideoMixer> mixer = Filter();
    if (!mixer) return S_OK;
    FlushStream();
    CCoQDVideoMixerOut& output = mixer->Output();
    if (!output.HasPeer()) return S_OK;
    output.FlushOutputQueue();
    return output.BeginFlushDownstream();
}

HRESULT CCoQDVideoMixerIn::EndFlush() {
    HRESULT result = S_OK;
    if (const Ref<CCoQDVideoMixer> mixer = Filter()) result = mixer->Output().EndFlushDownstream();
    ScopedLock guard(pinLock);
    flushing = false;
    ResetSegment();
    return result;
}

HRESULT CCoQDVideoMixerIn::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) {
    const Ref<CCoQDVideoMixer> mixer = Filter();
    ScopedLock guard(pinLock);
    segmentStart = start;
    segmentStop = stop;
    segmentRate = rate;
    if (mixer && mixer->Output().HasPeer()) gridSlot = 0;
    return S_OK;
}

HRESULT CCoQDVideoMixerIn::Notify(IBaseFilter* /*self*/, Quality /*quality*/) { return E_NOTIMPL; }

HRESULT CCoQDVideoMixerIn::SetSink(IQualityControl* sink) {
    ScopedLock guard(pinLock);
    qualitySink = sink;
    return S_OK;
}

std::int64_t CCoQDVideoMixerIn::UpstreamFrameTime() {
    const Ref<IPin> peer = Peer();
    return peer ? qdvm::UpstreamFrameTime(peer.Get()) : 0;
}

bool CCoQDVideoMixerIn::SeekUpstreamToStart() {
    const Ref<IPin> peer = Peer();
    const Ref<IMediaSeeking> seeking = peer.As<IMediaSeeking>();
    if (!seeking) return false;
    // Somebody waits for one that is under way, which does for this end too.
    if (!seekLock.TryLock()) return true;
    bool isSeeking = seekThread.IsRunning();
    if (!isSeeking) {
        seekThread.Join();
        // A thread of its own: the one that delivers the end may be the one that the seek stops.
        std::function<void()> seek = SeekToStart(seeking);
        isSeeking = seek && Succeeded(seekThread.Start("qdvm-seek", ThreadPriority::Normal,
                                                       std::move(seek)));
    }
    seekLock.Unlock();
    return isSeeking;
}

// Asked by a thread about itself, so what it finds can't change meanwhile.
bool CCoQDVideoMixerIn::IsSeekThread() const { return seekThread.IsCurrent(); }

void CCoQDVideoMixerIn::FinishSeek() {
    ScopedLock guard(seekLock);
    seekThread.Join();
}

}  // namespace qdvm
