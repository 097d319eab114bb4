#pragma once

// The pin behind a sink pad: upstream of one input of the filter.

#include "hosts/gstreamer/host_pin.h"
#include "platform/object_root.h"
#include "platform/ref.h"

#include <qdvideomixer/media_graph.h>

#include <gst/gst.h>

namespace qdvm {

// Connects to an input of the filter and hands it samples. Its seeking is what lets the filter
// start a looped stream over: a seek to the start goes up the pad.
//
// Thread-safety: as of a filter's pin; Attach and Detach on one thread at a time.
class UpstreamPin final : public ObjectRoot<IPin, IMediaSeeking>, public HostPin {
public:
    // The pad is held weakly: it may go while the filter still holds this pin.
    explicit UpstreamPin(GstPad* sinkPad);

    // Makes the filter's pin take this one as its upstream.
    HRESULT Attach(IPin* inputPin, const AM_MEDIA_TYPE* type);
    // Needs the stopped filter.
    void Detach();
    bool IsAttached() const { return static_cast<bool>(Input()); }

    // May block until the filter has taken the frame before.
    HRESULT Send(IMediaSample* sample);
    HRESULT SendEndOfStream();
    HRESULT SendNewSegment();

    HRESULT QueryInterface(REFIID iid, void** object) override;

    HRESULT Connect(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    HRESULT ReceiveConnection(IPin*, const AM_MEDIA_TYPE*) override { return E_NOTIMPL; }
    HRESULT Disconnect() override;
    HRESULT ConnectedTo(IPin** pin) override { return GiveConnectedTo(pin); }
    HRESULT ConnectionMediaType(AM_MEDIA_TYPE* type) override {
        return GiveConnectionMediaType(type);
    }
    HRESULT QueryPinInfo(PIN_INFO* info) override { return GivePinInfo(info); }
    HRESULT QueryDirection(PIN_DIRECTION* direction) override { return GiveDirection(direction); }
    HRESULT QueryId(LPOLESTR* id) override { return GiveId(id); }
    HRESULT QueryAccept(const AM_MEDIA_TYPE*) override { return S_OK; }
    HRESULT EnumMediaTypes(IEnumMediaTypes** types) override;
    HRESULT QueryInternalConnections(IPin**, ULONG*) override { return E_NOTIMPL; }
    HRESULT EndOfStream() override { return E_UNEXPECTED; }
    HRESULT BeginFlush() override { return E_UNEXPECTED; }
    HRESULT EndFlush() override { return E_UNEXPECTED; }
    HRESULT NewSegment(REFERENCE_TIME, REFERENCE_TIME, double) override { return E_UNEXPECTED; }

    HRESULT GetCapabilities(DWORD* capabilities) override;
    HRESULT CheckCapabilities(DWORD* capabilities) override;
    HRESULT IsFormatSupported(const GUID* format) override;
    HRESULT QueryPreferredFormat(GUID* format) override;
    HRESULT GetTimeFormat(GUID* format) override { return QueryPreferredFormat(format); }
    HRESULT IsUsingTimeFormat(const GUID* format) override { return IsFormatSupported(format); }
    HRESULT SetTimeFormat(const GUID* format) override;
    HRESULT GetDuration(LONGLONG*) override { return E_NOTIMPL; }
    HRESULT GetStopPosition(LONGLONG*) override { return E_NOTIMPL; }
    HRESULT GetCurrentPosition(LONGLONG*) override { return E_NOTIMPL; }
    HRESULT ConvertTimeFormat(LONGLONG*, const GUID*, LONGLONG, const GUID*) override {
        return E_NOTIMPL;
    }
    HRESULT SetPositions(LONGLONG* current, DWORD currentFlags, LONGLONG* stop,
                         DWORD stopFlags) override;
    HRESULT GetPositions(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT GetAvailable(LONGLONG*, LONGLONG*) override { return E_NOTIMPL; }
    HRESULT SetRate(double) override { return E_NOTIMPL; }
    HRESULT GetRate(double*) override { return E_NOTIMPL; }
    HRESULT GetPreroll(LONGLONG*) override { return E_NOTIMPL; }

private:
    ~UpstreamPin() override;

    Ref<IMemInputPin> Input() const;
    bool UpstreamSeeks();

    GWeakRef pad;
    mutable CriticalSection inputLock{LockRank::Leaf};
    Ref<IMemInputPin> input QDVM_GUARDED_BY(inputLock);
};

}  // namespace qdvm
