// IQDVideoMixer: streams, their timing and their lost policy.

#include "mixer/mixer_core.h"

#include "frames/media_type_map.h"

#include <algorithm>

namespace qdvm {
namespace {

using Mode = SharedLockGuard::Mode;

// The answer to a yes-or-no question.
HRESULT Answer(bool is, BOOL* out) {
    if (out) *out = is ? 1 : 0;
    return is ? S_OK : S_FALSE;
}

}  // namespace

InputStream* MixerCore::FindStream(LONG number) const {
    if (number < 0 || static_cast<std::size_t>(number) >= inputs.size()) return nullptr;
    return inputs[static_cast<std::size_t>(number)].Get();
}

HRESULT MixerCore::EnableStream(LONG _nStreamNo, BOOL _bEnable) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    // Two that hide a stream each must not both count on the other's.
    SharedLockGuard mix(mixLock, Mode::kExclusive);
    InputStream* stream = FindStream(_nStreamNo);
    if (!stream) return E_INVALIDARG;
    if (!_bEnable) {
        // The last shown stream stays on.
        const auto isAnotherShown = [&](const Ref<InputStream>& other) {
            return other.Get() != stream && other->IsConnected() && other->IsShown();
        };
        if (std::none_of(inputs.begin(), inputs.end(), isAnotherShown)) return S_FALSE;
    }
    stream->enabled = _bEnable != 0;
    stream->hidePending = false;
    dirty = true;
    return S_OK;
}

HRESULT MixerCore::IsStreamEnabled(LONG _nStreamNo, BOOL* _pbEnabled) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    const InputStream* stream = FindStream(_nStreamNo);
    return stream ? Answer(stream->IsShown(), _pbEnabled) : E_INVALIDARG;
}

HRESULT MixerCore::IgnoreTime(LONG _nStreamNo, BOOL _bIgnore) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    InputStream* stream = FindStream(_nStreamNo);
    if (!stream) return E_INVALIDARG;
    stream->ignoreTime = _bIgnore != 0;
    dirty = true;
    return S_OK;
}

HRESULT MixerCore::IsIgnoreTime(LONG _nStreamNo, BOOL* _pbIgnore) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    const InputStream* stream = FindStream(_nStreamNo);
    return stream ? Answer(stream->ignoreTime, _pbIgnore) : E_INVALIDARG;
}

HRESULT MixerCore::KeepStreamRate(LONG _nStreamNo, BOOL _bKeep) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    InputStream* stream = FindStream(_nStreamNo);
    if (!stream) return E_INVALIDARG;
    stream->keepRate = _bKeep != 0;
    dirty = true;
    return S_OK;
}

HRESULT MixerCore::IsKeepStreamRate(LONG _nStreamNo, BOOL* _pbKeeped) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    const InputStream* stream = FindStream(_nStreamNo);
    return stream ? Answer(stream->keepRate, _pbKeeped) : E_INVALIDARG;
}

HRESULT MixerCore::LoopStream(LONG _nStreamNo, BOOL _bLoop, BOOL _bStopAllForEOS) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    InputStream* stream = FindStream(_nStreamNo);
    if (!stream) return E_INVALIDARG;
    stream->loop = _bLoop != 0;
    stream->stopAllForEOS = _bStopAllForEOS != 0;
    dirty = true;
    // A stream that has ended and is told to loop starts over.
    if (stream->endOfStream) stream->EndStream();
    return S_OK;
}

HRESULT MixerCore::IsStreamLooped(LONG _nStreamNo, BOOL* _pbLooped, BOOL* _pbStopAllForEOS) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    const InputStream* stream = FindStream(_nStreamNo);
    if (!stream) return E_INVALIDARG;
    if (_pbStopAllForEOS) *_pbStopAllForEOS = stream->stopAllForEOS ? 1 : 0;
    return Answer(stream->loop, _pbLooped);
}

HRESULT MixerCore::SetStreamLost(LONG _nStreamNo, eVM_LostShow _eLostShow) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    InputStream* stream = FindStream(_nStreamNo);
    return stream ? stream->MarkStreamLost(true, -1, &_eLostShow) : E_INVALIDARG;
}

HRESULT MixerCore::IsStreamLost(LONG _nStreamNo, BOOL* _pbLost, eVM_LostShow* _peLostShow) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    const InputStream* stream = FindStream(_nStreamNo);
    if (!stream) return E_INVALIDARG;
    if (_peLostShow) *_peLostShow = static_cast<eVM_LostShow>(stream->lostShow.load());
    return Answer(stream->lost, _pbLost);
}

HRESULT MixerCore::SetStreamMaxWait(LONG _nStreamNo, LONG _nMaxWaitFrames,
                                    eVM_LostShow _eLostShow) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    if (_nStreamNo < 0) {
        for (const Ref<InputStream>& stream : inputs)
            (void)stream->MarkStreamLost(false, _nMaxWaitFrames, &_eLostShow);
        return S_OK;
    }
    InputStream* stream = FindStream(_nStreamNo);
    return stream ? stream->MarkStreamLost(false, _nMaxWaitFrames, &_eLostShow) : E_INVALIDARG;
}

HRESULT MixerCore::GetStreamMaxWait(LONG _nStreamNo, LONG* _pnMaxWaitFrames,
                                    eVM_LostShow* _peLostShow) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    const InputStream* stream = FindStream(_nStreamNo);
    if (!stream) return E_INVALIDARG;
    if (_pnMaxWaitFrames) *_pnMaxWaitFrames = stream->maxWaitFrames;
    if (_peLostShow) *_peLostShow = static_cast<eVM_LostShow>(stream->lostShow.load());
    return S_OK;
}

HRESULT MixerCore::SetMasterStream(LONG _nStreamNo) {
    {
        ScopedLock guard(filterLock);
        if (_nStreamNo == masterStream) return S_FALSE;
        if (State() != PlayState::kStopped) return VFW_E_NOT_STOPPED;
        SharedLockGuard pins(pinsLock, Mode::kShared);
        const InputStream* stream = FindStream(_nStreamNo);
        if (_nStreamNo >= 0 && !(stream && stream->IsConnected())) return VFW_E_NOT_CONNECTED;
        masterStream = _nStreamNo;
        dirty = true;
    }
    // With no lock held, since the graph reconnects the output.
    (void)BuildOutputFormat(true);
    return S_OK;
}

HRESULT MixerCore::GetMasterStream(LONG* _pnStreamNo) {
    const std::int32_t number = masterStream;
    if (_pnStreamNo) *_pnStreamNo = number;
    return number >= 0 ? S_OK : S_FALSE;
}

HRESULT MixerCore::SetStreamForChromaKey(LONG _nStreamNo) {
    chromaKeyStream = _nStreamNo;
    return S_OK;
}

HRESULT MixerCore::GetStreamForChromaKey(LONG* _pnStreamNo) {
    if (!_pnStreamNo) return E_POINTER;
    *_pnStreamNo = chromaKeyStream;
    return S_OK;
}

HRESULT MixerCore::FlushBuffers(LONG _nStream) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    InputStream* one = FindStream(_nStream);
    if (one) {
        one->FlushStream();
    } else {
        for (const Ref<InputStream>& stream : inputs) stream->FlushStream();
    }
    return S_OK;
}

std::int64_t MixerCore::ComputeOutputFrameTime(std::int32_t excludedStream) const {
    const auto typeFrameTime = [](const InputStream& stream) {
        ScopedLock guard(stream.streamLock);
        return AvgTimePerFrameOf(*stream.mediaType);
    };
    const InputStream* master = FindStream(masterStream);
    if (master && master->IsConnected() && masterStream != excludedStream)
        return typeFrameTime(*master);
    const double wanted = GivenOutputProps().dblStreamFPS;
    if (wanted != 0) return FrameTimeOf(wanted);
    std::int64_t shortest = INT64_MAX;
    for (std::size_t i = 0; i < inputs.size(); ++i)
        if (static_cast<std::int32_t>(i) != excludedStream && inputs[i]->IsConnected())
            shortest = std::min(shortest, typeFrameTime(*inputs[i]));
    return shortest == INT64_MAX ? 0 : shortest;
}

}  // namespace qdvm
