// IQDVideoMixer: rects.

#include "frames/format_table.h"
#include "frames/rounding.h"
#include "mixer/mixer_core.h"
#include "mixer/rect_change.h"
#include "platform/no_throw.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace qdvm {
namespace {

bool HasArea(const RECT& rect) { return rect.right > rect.left && rect.bottom > rect.top; }

LONG EvenUp(LONG value) {
    return static_cast<LONG>(std::clamp<std::int64_t>((std::int64_t{value} + 1) & ~std::int64_t{1},
                                                      INT32_MIN, INT32_MAX - 1));
}
LONG EvenDown(LONG value) { return value & ~1; }

void ToEven(RECT& rect) {
    rect = {EvenUp(rect.left), EvenUp(rect.top), EvenDown(rect.right), EvenDown(rect.bottom)};
}

RECT WholeOf(const PIC_PROPS& picture) { return {0, 0, picture.nWidth, AbsHeight(picture)}; }

// Brings a record to what the mix can work with.
VM_MIXING_RECT Clean(const VM_MIXING_RECT* given, const PIC_PROPS& in, const PIC_PROPS& out) {
    VM_MIXING_RECT rect{};
    rect.dblAlpha = 1.0;
    if (given) rect = *given;
    if (!HasArea(rect.rcSource)) rect.rcSource = WholeOf(in);
    if (!HasArea(rect.rcTarget)) rect.rcTarget = WholeOf(out);
    ToEven(rect.rcSource);
    ToEven(rect.rcTarget);
    const std::int64_t width = std::int64_t{rect.rcTarget.right} - rect.rcTarget.left;
    const std::int64_t height = std::int64_t{rect.rcTarget.bottom} - rect.rcTarget.top;
    rect.nBorderWidth &= ~1;
    rect.nBorderWidth = static_cast<std::int32_t>(
        std::min<std::int64_t>(rect.nBorderWidth, std::min(width, height) / 2));
    const auto colour = static_cast<std::uint32_t>(rect.nBorderColor);
    if ((colour >> 24) == 0) rect.nBorderColor = static_cast<std::int32_t>(colour | 0xFF000000u);
    return rect;
}

bool IsRect(const InputStream& stream, LONG number) {
    return number >= 0 && static_cast<std::size_t>(number) < stream.pixels.rects.size();
}

VM_MIXING_RECT FromGL(const VM_MIXING_RECT_GL& gl) {
    return {gl.rcSource,          gl.rcTarget,       gl.dblAlpha,     gl.nBorderWidth,
            gl.nBorderColor,      gl.dblZOffset,     gl.dblHorzAngle, gl.dblVertAngle,
            gl.dblBlockThickness, gl.dblRotateAngle, gl.eProcess};
}

}  // namespace

// The duration of the fastest connected stream's frames, by which changes are counted.
std::int64_t MixerCore::ShortestFrameTime() const {
    std::int64_t shortest = INT64_MAX;
    for (const Ref<InputStream>& stream : inputs)
        if (stream->IsConnected()) shortest = std::min<std::int64_t>(shortest, stream->frameTime);
    return shortest == INT64_MAX || shortest <= 0 ? kDefaultFrameTime : shortest;
}

HRESULT MixerCore::SetRectLocked(InputStream& stream, LONG* rectNo, const VM_MIXING_RECT* given,
                                 std::int32_t milliseconds) {
    const std::int32_t frames = RectFrames(std::max(milliseconds, 0), ShortestFrameTime());
    const VM_VIDEO_PROPS out = outputStage->OutputProps();
    ScopedLock guard(stream.streamLock);
    const MixBlockState wanted = StateOf(Clean(given, stream.inputProps.picProps, out.picProps));
    std::vector<MixBlock>& rects = stream.pixels.rects;
    if (rectNo && IsRect(stream, *rectNo)) {
        MixBlock& rect = rects[static_cast<std::size_t>(*rectNo)];
        StartChange(rect, wanted, frames);
        rect.firstShow = !UpdateProjection(rect, stream.inputProps, out) && rect.firstShow;
        return S_OK;
    }
    MixBlock rect;
    StartChange(rect, wanted, frames);
    rect.firstShow = !UpdateProjection(rect, stream.inputProps, out);
    rects.push_back(std::move(rect));
    if (rectNo) *rectNo = static_cast<LONG>(rects.size()) - 1;
    return S_OK;
}

HRESULT MixerCore::RemoveRectLocked(InputStream& stream, LONG rectNo, std::int32_t milliseconds) {
    const std::int32_t frames = RectFrames(std::max(milliseconds, 0), ShortestFrameTime());
    const VM_VIDEO_PROPS out = outputStage->OutputProps();
    ScopedLock guard(stream.streamLock);
    std::vector<MixBlock>& rects = stream.pixels.rects;
    if (rectNo < 0) {
        rects.clear();
        (void)stream.CloseIfFadedOut();
        return S_OK;
    }
    if (!IsRect(stream, rectNo)) return E_INVALIDARG;
    MixBlock& rect = rects[static_cast<std::size_t>(rectNo)];
    if (frames >= 1 && StartRemoval(rect, frames)) {
        (void)UpdateProjection(rect, stream.inputProps, out);
        return S_OK;
    }
    rects.erase(rects.begin() + rectNo);
    (void)stream.CloseIfFadedOut();
    return S_OK;
}

void MixerCore::FillEmptyRectsLocked(InputStream& stream) {
    const VM_VIDEO_PROPS out = outputStage->OutputProps();
    ScopedLock guard(stream.streamLock);
    const PIC_PROPS& picture = stream.inputProps.picProps;
    const auto fill = [&](MixBlockState& values) {
        if (values[kSourceRight] > values[kSourceLeft] &&
            values[kSourceBottom] > values[kSourceTop])
            return;
        values[kSourceLeft] = values[kSourceTop] = 0;
        values[kSourceRight] = EvenDown(picture.nWidth);
        values[kSourceBottom] = EvenDown(AbsHeight(picture));
    };
    for (MixBlock& rect : stream.pixels.rects) {
        fill(rect.current);
        if (!rect.target.IsZero()) fill(rect.target);
        rect.firstShow = !UpdateProjection(rect, stream.inputProps, out) && rect.firstShow;
    }
}

void MixerCore::ReadRect(const MixBlock& block, VM_MIXING_RECT* rect) {
    const MixBlockState& state = block.target.IsZero() ? block.current : block.target;
    const auto edge = [&](RectValue value) { return RoundToInt32(state[value]); };
    const auto channel = [&](RectValue value, unsigned shift) {
        return (static_cast<std::uint32_t>(RoundToInt32(state[value])) & 0xFFu) << shift;
    };
    rect->rcSource = {edge(kSourceLeft), edge(kSourceTop), edge(kSourceRight), edge(kSourceBottom)};
    rect->rcTarget = {edge(kTargetLeft), edge(kTargetTop), edge(kTargetRight), edge(kTargetBottom)};
    rect->dblAlpha = state[kAlpha];
    rect->nBorderWidth = state[kBorderAlpha] == 0 ? 0 : state.nBorderWidth;
    rect->nBorderColor =
        static_cast<std::int32_t>(channel(kBorderRed, 0) | channel(kBorderGreen, 8) |
                                  channel(kBorderBlue, 16) | channel(kBorderAlpha, 24));
    rect->dblViewAngle = state[kViewAngle];
    rect->dblHorzAngle = state[kHorzAngle];
    rect->dblVertAngle = state[kVertAngle];
    rect->dblHorzOffset = state[kHorzOffset];
    rect->dblVertOffset = state[kVertOffset];
    rect->eProcess = static_cast<eVM_Process>(state.eProcess);
}

HRESULT MixerCore::GetInputRectCount(LONG _nStreamNo, LONG* _pnCount) {
    if (!_pnCount) return E_POINTER;
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    const InputStream* stream = FindStream(_nStreamNo);
    if (!stream) return E_INVALIDARG;
    ScopedLock guard(stream->streamLock);
    *_pnCount = static_cast<LONG>(stream->pixels.rects.size());
    return S_OK;
}

HRESULT MixerCore::SetInputRect(LONG _nStreamNo, LONG* _pnRectNo, const VM_MIXING_RECT* _pVMRect) {
    return SetInputRect2(_nStreamNo, _pnRectNo, _pVMRect, 0);
}

HRESULT MixerCore::SetInputRect2(LONG _nStreamNo, LONG* _pnRectNo, const VM_MIXING_RECT* _pVMRect,
                                 LONG _nMSecToChange) {
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    SharedLockGuard mix(mixLock, SharedLockGuard::Mode::kExclusive);
    InputStream* stream = FindStream(_nStreamNo);
    if (!stream) return E_INVALIDARG;
    const HRESULT result =
        NoThrow([&] { return SetRectLocked(*stream, _pnRectNo, _pVMRect, _nMSecToChange); });
    if (Succeeded(result)) dirty = true;
    return result;
}

HRESULT MixerCore::GetInputRect(LONG _nStreamNo, LONG _nRectNo, VM_MIXING_RECT* _pVMRect) {
    if (!_pVMRect) return E_POINTER;
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    const InputStream* stream = FindStream(_nStreamNo);
    if (!stream) return E_INVALIDARG;
    ScopedLock guard(stream->streamLock);
    if (!IsRect(*stream, _nRectNo)) return E_INVALIDARG;
    ReadRect(stream->pixels.rects[static_cast<std::size_t>(_nRectNo)], _pVMRect);
    return S_OK;
}

HRESULT MixerCore::RemoveInputRect(LONG _nStreamNo, LONG _nRectNo) {
    return RemoveInputRect2(_nStreamNo, _nRectNo, 0);
}

HRESULT MixerCore::RemoveInputRect2(LONG _nStreamNo, LONG _nRectNo, LONG _nMSecToChange) {
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    SharedLockGuard mix(mixLock, SharedLockGuard::Mode::kExclusive);
    InputStream* stream = FindStream(_nStreamNo);
    if (!stream) return E_INVALIDARG;
    if (_nRectNo < 0) return RemoveAllRects(_nStreamNo);
    const HRESULT result = RemoveRectLocked(*stream, _nRectNo, _nMSecToChange);
    if (Succeeded(result)) dirty = true;
    return result;
}

HRESULT MixerCore::RemoveAllRects(LONG _nStreamNo) {
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    SharedLockGuard mix(mixLock, SharedLockGuard::Mode::kExclusive);
    if (_nStreamNo >= 0 && !FindStream(_nStreamNo)) return E_INVALIDARG;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        if (_nStreamNo >= 0 && i != static_cast<std::size_t>(_nStreamNo)) continue;
        (void)RemoveRectLocked(*inputs[i], -1, 0);
    }
    dirty = true;
    return S_OK;
}

HRESULT MixerCore::SetInputRectGL(LONG _nStreamNo, LONG* _pnRectNo,
                                  const VM_MIXING_RECT_GL* _pVMRect, LONG _nMSecToChange) {
    if (!_pVMRect) return E_POINTER;
    const VM_MIXING_RECT rect = FromGL(*_pVMRect);
    return SetInputRect2(_nStreamNo, _pnRectNo, &rect, _nMSecToChange);
}

HRESULT MixerCore::GetInputRectGL(LONG _nStreamNo, LONG _nRectNo, VM_MIXING_RECT_GL* _pVMRect) {
    if (!_pVMRect) return E_POINTER;
    VM_MIXING_RECT rect{};
    const HRESULT result = GetInputRect(_nStreamNo, _nRectNo, &rect);
    if (Failed(result)) return result;
    *_pVMRect = {rect.rcSource,      rect.rcTarget,      rect.dblAlpha,     rect.nBorderWidth,
                 rect.nBorderColor,  rect.dblViewAngle,  rect.dblHorzAngle, rect.dblVertAngle,
                 rect.dblHorzOffset, rect.dblVertOffset, rect.eProcess,     _pVMRect->bsParams};
    return S_OK;
}

}  // namespace qdvm
