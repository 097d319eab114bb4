// The table of pins: how it grows and shrinks, and what a pin takes.

#include "graph/input_pin.h"
#include "graph/mixer_filter.h"
#include "graph/output_pin.h"

#include "frames/format_table.h"
#include "frames/media_type_map.h"

#include <algorithm>
#include <new>
#include <utility>
#include <vector>

namespace qdvm {
namespace {

using Mode = SharedLockGuard::Mode;

bool IsAsked(std::int32_t wanted, std::int32_t present) { return wanted == 0 || wanted == present; }

}  // namespace

HRESULT CCoQDVideoMixer::CreatePins() {
    const HRESULT result = AddInputPin();
    if (Failed(result)) return result;
    Ref<CCoQDVideoMixerOut> output = MakeObject<CCoQDVideoMixerOut>(*this);
    if (!output) return E_OUTOFMEMORY;
    SharedLockGuard pins(pinsLock, Mode::kExclusive);
    outputPin = output.Get();
    outputStage = Ref<OutputStage>(std::move(output));
    return S_OK;
}

HRESULT CCoQDVideoMixer::AddInputPin() {
    SharedLockGuard pins(pinsLock, Mode::kExclusive);
    const auto number = static_cast<std::uint32_t>(inputs.size());
    Ref<CCoQDVideoMixerIn> pin = MakeObject<CCoQDVideoMixerIn>(*this, number);
    if (!pin) return E_OUTOFMEMORY;
    try {
        order.reserve(order.size() + 1);
        inputs.push_back(Ref<InputStream>(std::move(pin)));
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
    order.push_back(static_cast<std::int32_t>(number));
    return S_OK;
}

bool CCoQDVideoMixer::CheckPinType(std::uint32_t pinId, const AM_MEDIA_TYPE& type) const {
    const bool isOutput = pinId == kOutputPinId;
    {
        SharedLockGuard pins(pinsLock, Mode::kShared);
        const bool exists = isOutput ? outputPin != nullptr : pinId < inputs.size();
        if (!exists) return false;
    }
    PIC_PROPS picture{};
    if (type.majortype != MEDIATYPE_Video || ParseVideoMediaType(type, &picture) < 0) return false;
    if (!IsMixableFormat(picture, false)) return false;
    if (!isOutput) return true;
    const PIC_PROPS given = GivenOutputProps().picProps;
    return IsAsked(given.fccType, picture.fccType) && IsAsked(given.nWidth, picture.nWidth) &&
           IsAsked(AbsHeight(given), AbsHeight(picture));
}

HRESULT CCoQDVideoMixer::CompleteInputConnection(std::uint32_t pinId) {
    Ref<InputStream> stream;
    bool isFull = false;
    {
        SharedLockGuard pins(pinsLock, Mode::kShared);
        if (pinId >= inputs.size()) return S_OK;
        stream = inputs[pinId];
        isFull = std::all_of(inputs.begin(), inputs.end(),
                             [](const Ref<InputStream>& input) { return input->IsConnected(); });
    }
    if (isFull) {
        const HRESULT result = AddInputPin();
        if (Failed(result)) return result;
    }
    // Now that there is a peer, it can be asked.
    if (stream->frameTime == 0) stream->frameTime = stream->UpstreamFrameTime();
    const auto lostShow = static_cast<eVM_LostShow>(stream->lostShow.load());
    (void)stream->MarkStreamLost(false, -1, &lostShow);
    (void)BuildOutputFormat(false);
    {
        SharedLockGuard pins(pinsLock, Mode::kShared);
        SharedLockGuard layout(mixLock, Mode::kExclusive);
        FillEmptyRectsLocked(*stream);
    }

    Scene snapshot;
    {
        ScopedLock guard(snapshotLock);
        snapshot = sceneSnapshot;
    }
    if (snapshot.inputs.empty()) return S_OK;
    RunScene(*this, snapshot, 0, true);
    return S_OK;
}

void CCoQDVideoMixer::TakeSnapshot() {
    Scene snapshot;
    {
        SharedLockGuard pins(pinsLock, Mode::kShared);
        SharedLockGuard layout(mixLock, Mode::kShared);
        CaptureScene(*this, &snapshot);
    }
    ScopedLock guard(snapshotLock);
    std::swap(sceneSnapshot, snapshot);
}

void CCoQDVideoMixer::RemoveInputPins(std::uint32_t leavingPin) {
    for (;;) {
        Ref<InputStream> removed;  // let go of after the lock
        {
            SharedLockGuard pins(pinsLock, Mode::kExclusive);
            const std::size_t i = inputs.size() - 1;
            // The pin that leaves becomes the free one; what stands before it stays.
            if (i == 0 || i == leavingPin || inputs[i]->IsConnected()) return;
            if (i - 1 != leavingPin && inputs[i - 1]->IsConnected()) return;
            removed = std::move(inputs[i]);
            inputs.pop_back();
            std::erase(order, static_cast<std::int32_t>(i));
        }
        static_cast<CCoQDVideoMixerIn*>(removed.Get())->LeaveFilter();
    }
}

bool CCoQDVideoMixer::HasConnectedInput() const {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    return std::any_of(inputs.begin(), inputs.end(),
                       [](const Ref<InputStream>& input) { return input->IsConnected(); });
}

HRESULT CCoQDVideoMixer::GetPin(ULONG index, IPin** pin) const {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    *pin = nullptr;
    if (index > inputs.size()) return S_FALSE;
    if (index == inputs.size()) {
        *pin = outputPin;
    } else {
        *pin = static_cast<CCoQDVideoMixerIn*>(inputs[index].Get());
    }
    if (!*pin) return E_FAIL;
    (void)(*pin)->AddRef();
    return S_OK;
}

}  // namespace qdvm
