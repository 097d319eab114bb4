#pragma once

// The filter as the media graph sees it: the mixer with its pins, its states and its place in a
// graph.

#include "config/persistence.h"
#include "config/properties.h"
#include "mixer/mixer_core.h"
#include "platform/object_root.h"
#include "scenes/scene.h"
#include "scenes/scene_control.h"

#include <qdvideomixer/create.h>
#include <qdvideomixer/media_graph.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace qdvm {

class CCoQDVideoMixerIn;
class CCoQDVideoMixerOut;

// Calls into other filters and into the graph are made with none of pinsLock and mixLock held, and
// those that reconnect the output with no lock at all: the graph takes its own lock before any of a
// filter's.
class CCoQDVideoMixer final : public ObjectRoot<IBaseFilter>,
                              public MixerCore,
                              public IQPropsImpl,
                              public SceneControl,
                              public IQPersistImpl {
public:
    CCoQDVideoMixer();
    ~CCoQDVideoMixer() override;

    // Makes the pins; to be called once on a new object.
    HRESULT CreatePins();

    // IUnknown
    HRESULT QueryInterface(REFIID iid, void** object) override;
    ULONG AddRef() override;
    ULONG Release() override;

    // For pins, which don't count their filter: false once the last reference has gone.
    bool AddRefUnlessGone();

    // IPersist, IMediaFilter
    HRESULT GetClassID(CLSID* classId) override;
    HRESULT Stop() override;
    HRESULT Pause() override;
    HRESULT Run(REFERENCE_TIME start) override;
    HRESULT GetState(DWORD timeoutMs, FILTER_STATE* out) override;
    HRESULT SetSyncSource(IReferenceClock* newClock) override;
    HRESULT GetSyncSource(IReferenceClock** out) override;

    // IBaseFilter
    HRESULT EnumPins(IEnumPins** pins) override;
    HRESULT FindPin(LPCOLESTR id, IPin** pin) override;
    HRESULT QueryFilterInfo(FILTER_INFO* info) override;
    HRESULT JoinFilterGraph(IFilterGraph* newGraph, LPCOLESTR name) override;
    HRESULT QueryVendorInfo(LPOLESTR* info) override;

    // IQDVideoMixer
    HRESULT SetOutputProps(const VM_VIDEO_PROPS* _pProps) override;

    // --- for the pins ---

    CCoQDVideoMixerOut& Output() const { return *outputPin; }

    // Whether a pin can take a type.
    bool CheckPinType(std::uint32_t pinId, const AM_MEDIA_TYPE& type) const;

    // After a pin has been connected: a new free pin if none is left, the output's format, and the
    // layout of before a change of format. The failure of making a pin.
    HRESULT CompleteInputConnection(std::uint32_t pinId);

    // Trims the free pins behind the highest connected one. `leavingPin` has just been
    // disconnected, and stays. Needs filterLock.
    void RemoveInputPins(std::uint32_t leavingPin);

    bool HasConnectedInput() const;

    // Keeps the present layout for CompleteInputConnection.
    void TakeSnapshot();

    // Work the output's format out anew and, if asked to, bring it to a connected output, which
    // must be asked with no lock held. The failure of the first half.
    HRESULT BuildOutputFormat(bool reconnect) override;

    // S_FALSE beyond the last.
    HRESULT GetPin(ULONG index, IPin** pin) const;
    HRESULT GetOfferedType(ULONG index, AM_MEDIA_TYPE** type) const;

protected:
    void* FindOther(REFIID iid) override;
    void OnLastRelease() override;

    ClockHandle Clock() const override;
    bool ApplyDeferredLayout() override;

    // IQPersistImpl
    HRESULT SaveConfiguration(const XMLParse::XMLNodePtr& document,
                              std::u16string_view place) override;
    HRESULT LoadConfiguration(const XMLParse::XMLNodePtr& document,
                              std::u16string_view place) override;
    std::atomic<bool>& DirtyMark() override { return dirty; }

private:
    HRESULT ChangeState(PlayState newState, REFERENCE_TIME start);
    HRESULT AddInputPin();
    void FinishSeeks();
    bool IsOwnThread() const;
    void Dismantle();
    Ref<IFilterGraph> Graph() const;

    // The configuration, in steps.
    struct PresentSetup;
    PresentSetup TakeSetup();
    bool LoadMaster(std::int32_t number, std::int32_t pinsWanted);
    void LoadPins(std::int32_t wanted, std::u16string_view orderText);
    void LoadSceneTable(const XMLParse::XMLNodePtr& document, std::u16string_view place);

    // The output's format, in steps.
    HRESULT RebuildOutput(MediaType* built);
    void FollowInputs(PIC_PROPS* picture) const;
    eVM_Interlace ChooseInterlace(const VM_VIDEO_PROPS& given) const;
    void RebuildOutputTypes(const MediaType& type, const VM_VIDEO_PROPS& given);
    HRESULT ReconnectOutput(const MediaType& type);
    HRESULT ChangeOutputProps(const VM_VIDEO_PROPS* wanted);
    HRESULT CompareOutputProps(const VM_VIDEO_PROPS* wanted) const;

    std::atomic<ULONG> references{1};
    CCoQDVideoMixerOut* outputPin = nullptr;  // outputStage; fixed once made

    // Taken before filterLock: one change of the wanted format at a time, with its reconnection.
    CriticalSection requestLock;

    mutable CriticalSection graphLock;
    std::array<OLECHAR, MAX_FILTER_NAME> filterName QDVM_GUARDED_BY(graphLock){};
    IFilterGraph* graph QDVM_GUARDED_BY(graphLock) = nullptr;         // not counted
    IMediaEventSink* eventSink QDVM_GUARDED_BY(graphLock) = nullptr;  // not counted

    // A leaf, so that frame threads never wait for a change of state.
    mutable CriticalSection clockLock;
    Ref<IReferenceClock> clock QDVM_GUARDED_BY(clockLock);

    // The layout across a change of format; it stays until the next one.
    mutable CriticalSection snapshotLock;
    Scene sceneSnapshot QDVM_GUARDED_BY(snapshotLock);
};

}  // namespace qdvm
