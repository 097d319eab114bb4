#include "hosts/gstreamer/upstream_pin.h"

namespace qdvm {
namespace {

constexpr DWORD kCapabilities = AM_SEEKING_CanSeekAbsolute;
constexpr GstClockTime kNsPerUnit = 100;

}  // namespace

UpstreamPin::UpstreamPin(GstPad* sinkPad) : HostPin(PINDIR_OUTPUT) {
    g_weak_ref_init(&pad, sinkPad);
}

UpstreamPin::~UpstreamPin() { g_weak_ref_clear(&pad); }

// A stream whose upstream can't seek ends where it ends.
HRESULT UpstreamPin::QueryInterface(REFIID iid, void** object) {
    if (object && iid == IID_IMediaSeeking && !UpstreamSeeks()) {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    return ObjectRoot::QueryInterface(iid, object);
}

bool UpstreamPin::UpstreamSeeks() {
    auto* sinkPad = static_cast<GstPad*>(g_weak_ref_get(&pad));
    if (!sinkPad) return false;
    GstQuery* query = gst_query_new_seeking(GST_FORMAT_TIME);
    gboolean seekable = FALSE;
    if (gst_pad_peer_query(sinkPad, query))
        gst_query_parse_seeking(query, nullptr, &seekable, nullptr, nullptr);
    gst_query_unref(query);
    gst_object_unref(sinkPad);
    return seekable;
}

HRESULT UpstreamPin::Attach(IPin* inputPin, const AM_MEDIA_TYPE* type) {
    Ref<IMemInputPin> frames = Ref<IPin>(inputPin).As<IMemInputPin>();
    if (!frames) return E_NOINTERFACE;
    SetConnection(inputPin, type);
    const HRESULT result = inputPin->ReceiveConnection(this, type);
    if (result != S_OK) {
        SetConnection(nullptr, nullptr);
        return Failed(result) ? result : E_FAIL;
    }
    ScopedLock guard(inputLock);
    input = std::move(frames);
    return S_OK;
}

void UpstreamPin::Detach() {
    if (const Ref<IPin> other = Peer()) (void)other->Disconnect();
    SetConnection(nullptr, nullptr);
    Ref<IMemInputPin> released;
    ScopedLock guard(inputLock);
    released.Swap(input);
}

Ref<IMemInputPin> UpstreamPin::Input() const {
    ScopedLock guard(inputLock);
    return input;
}

HRESULT UpstreamPin::Send(IMediaSample* sample) {
    const Ref<IMemInputPin> receiver = Input();
    return receiver ? receiver->Receive(sample) : VFW_E_NOT_CONNECTED;
}

HRESULT UpstreamPin::SendEndOfStream() {
    const Ref<IPin> other = Peer();
    return other ? other->EndOfStream() : VFW_E_NOT_CONNECTED;
}

HRESULT UpstreamPin::SendNewSegment() {
    const Ref<IPin> other = Peer();
    return other ? other->NewSegment(0, G_MAXINT64, 1.0) : VFW_E_NOT_CONNECTED;
}

HRESULT UpstreamPin::Disconnect() { return Peer() ? S_OK : S_FALSE; }

HRESULT UpstreamPin::EnumMediaTypes(IEnumMediaTypes** types) {
    if (!types) return E_POINTER;
    *types = nullptr;
    return E_NOTIMPL;
}

HRESULT UpstreamPin::GetCapabilities(DWORD* capabilities) {
    if (!capabilities) return E_POINTER;
    *capabilities = kCapabilities;
    return S_OK;
}

HRESULT UpstreamPin::CheckCapabilities(DWORD* capabilities) {
    if (!capabilities) return E_POINTER;
    const DWORD asked = *capabilities;
    *capabilities = asked & kCapabilities;
    if (*capabilities == asked) return S_OK;
    return *capabilities != 0 ? S_FALSE : E_FAIL;
}

HRESULT UpstreamPin::IsFormatSupported(const GUID* format) {
    if (!format) return E_POINTER;
    return *format == TIME_FORMAT_MEDIA_TIME ? S_OK : S_FALSE;
}

HRESULT UpstreamPin::QueryPreferredFormat(GUID* format) {
    if (!format) return E_POINTER;
    *format = TIME_FORMAT_MEDIA_TIME;
    return S_OK;
}

HRESULT UpstreamPin::SetTimeFormat(const GUID* format) {
    const HRESULT result = IsFormatSupported(format);
    return result == S_FALSE ? E_INVALIDARG : result;
}

HRESULT UpstreamPin::SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG*, DWORD) {
    if ((currentFlags & AM_SEEKING_PositioningBitsMask) != AM_SEEKING_AbsolutePositioning)
        return E_NOTIMPL;
    if (!current) return E_POINTER;
    auto* sinkPad = static_cast<GstPad*>(g_weak_ref_get(&pad));
    if (!sinkPad) return E_UNEXPECTED;
    const auto position = static_cast<gint64>(*current * static_cast<LONGLONG>(kNsPerUnit));
    const gboolean done = gst_pad_push_event(
        sinkPad, gst_event_new_seek(1.0, GST_FORMAT_TIME, GST_SEEK_FLAG_FLUSH, GST_SEEK_TYPE_SET,
                                    position, GST_SEEK_TYPE_NONE, -1));
    gst_object_unref(sinkPad);
    return done ? S_OK : E_FAIL;
}

}  // namespace qdvm
