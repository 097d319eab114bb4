// What the mixer tells about its output, its streams and what is going on.

#include "mixer/mixer_core.h"

#include "frames/media_type_map.h"

namespace qdvm {
namespace {

double RateOf(std::uint32_t frames, std::uint32_t fromTick, std::uint32_t toTick) {
    const std::uint32_t elapsed = toTick - fromTick;
    return elapsed == 0 ? 0 : frames * 1000.0 / elapsed;
}

}  // namespace

VM_VIDEO_PROPS MixerCore::GivenOutputProps() const {
    ScopedLock guard(propsLock);
    return givenOutputProps;
}

HRESULT MixerCore::GetOutputProps(BOOL _bGivenProps, VM_VIDEO_PROPS* _pProps) {
    if (!_pProps) return E_POINTER;
    *_pProps = _bGivenProps ? GivenOutputProps() : outputStage->OutputProps();
    if (outputStage->IsConnected())
        _pProps->dblStreamFPS = FramesPerSecondOf(outputStage->OutputTypeFrameTime());
    _pProps->dblRealFPS = RateOf(framesDelivered, startTick, lastOutputTick);
    return S_OK;
}

HRESULT MixerCore::GetStreamCount(LONG* _pnCount) {
    if (!_pnCount) return E_POINTER;
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    *_pnCount = static_cast<LONG>(inputs.size()) - 1;
    return S_OK;
}

HRESULT MixerCore::GetInputProps(LONG _nStreamNo, VM_VIDEO_PROPS* _pProps) {
    if (!_pProps) return E_POINTER;
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    const InputStream* stream = FindStream(_nStreamNo);
    if (!stream) return E_INVALIDARG;
    if (!stream->IsConnected()) return VFW_E_NOT_CONNECTED;
    *_pProps = stream->InputProps();
    _pProps->dblStreamFPS = FramesPerSecondOf(stream->frameTime);
    _pProps->dblRealFPS = RateOf(static_cast<std::uint32_t>(stream->framesReceived.load()),
                                 startTick, stream->lastReceiveTick);
    return S_OK;
}

HRESULT MixerCore::GetStreamStatus(LONG _nStreamNo, VM_STREAM_STATUS* _pStatus) {
    if (!_pStatus) return E_POINTER;
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    const InputStream* stream = FindStream(_nStreamNo);
    if (!stream) return E_INVALIDARG;
    const auto received = static_cast<std::uint32_t>(stream->framesReceived.load());
    *_pStatus = {stream->IsConnected() ? 1 : 0,
                 stream->lost ? 1 : 0,
                 stream->endOfStream ? 1 : 0,
                 received == 0 ? 1 : 0,
                 received,
                 stream->framesRepeated,
                 stream->framesDropped,
                 stream->gridLag};
    return S_OK;
}

HRESULT MixerCore::GetFramesMixed(std::uint64_t* _pnFrames) {
    if (!_pnFrames) return E_POINTER;
    *_pnFrames = framesMixed;
    return S_OK;
}

}  // namespace qdvm
