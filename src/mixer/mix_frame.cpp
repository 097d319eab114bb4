// One output frame, from an empty sample to its delivery.

#include "frames/format_table.h"
#include "mixer/mixer_core.h"
#include "mixer/rect_change.h"
#include "mixer/time_math.h"
#include "pixels/img_fill.h"
#include "pixels/stream_mix.h"
#include "platform/ticks.h"
#include "platform/trace.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace qdvm {
namespace {

constexpr std::uint32_t kOpaqueBlack = 0xFF000000u;

// All-lost pacing lets a frame go this much ahead of its time, 100 ns (20 ms), and waits for the
// clock no longer than this, ms.
constexpr std::int64_t kPacingLead = 200000;
constexpr std::uint32_t kLongestPacingWaitMs = 500;

// Pause after a frame whose last stream failed, ms.
constexpr std::uint32_t kFailedStreamPauseMs = 10;

// The background of one frame, which is painted only if something of it is seen.
class Ground final : public Underlay {
public:
    Ground(Background& painted, BYTE* target, const PIC_PROPS& props)
        : background(painted), frame(target), outProps(props) {}

    void Paint() override {
        if (std::exchange(isDue, false)) background.Paint(frame, outProps);
    }
    void Skip() override {
        if (std::exchange(isDue, false)) background.Pass();
    }

private:
    Background& background;
    BYTE* const frame;
    const PIC_PROPS& outProps;
    bool isDue = true;
};

bool HasNoGaps(const PIC_PROPS& props) {
    return RowWidth(props) == props.nWidth && props.nWidth % 2 == 0 && AbsHeight(props) % 2 == 0;
}

}  // namespace

HRESULT MixerCore::MixFrame(const MediaFrame& inFrame, bool allLost) {
    OutputStage& output = *outputStage;
    MediaFrame sample;
    HRESULT result = output.GetBuffer(&sample);
    if (Failed(result)) return result;
    if (!sample) return E_UNEXPECTED;
    result = output.AdoptSampleType(sample);
    if (Failed(result)) return result;
    TellListener();
    HRESULT lastStream = S_OK;
    PIC_PROPS picture{};
    result = FillSample(sample, inFrame, &lastStream, &picture);
    if (Failed(result)) return result;
    KeepLastFrame(sample, picture);
    if (allLost && !inFrame) PaceLostFrame(sample);
    if (inFrame) {
        Trace("[QDVideoMixer SEND OUT] ");
        (void)output.DeliverFrame(sample);
    } else {
        Trace("[QDVideoMixer PUT OUT] ");
        output.PutOutput(std::move(sample));
        if (Failed(lastStream)) {
            (void)stopEvent.WaitFor(kFailedStreamPauseMs);
            return S_OK;
        }
    }
    lastOutputTick = TickCountMs();
    ++framesDelivered;
    return S_OK;
}

void MixerCore::TellListener() {
    Ref<IQDVideoMixerFrameListener> listener;
    {
        ScopedLock guard(listenerLock);
        listener = frameListener;
    }
    if (listener) listener->BeforeFrame(framesMixed);
}

HRESULT MixerCore::SetFrameListener(IQDVideoMixerFrameListener* _pListener) {
    Ref<IQDVideoMixerFrameListener> listener(_pListener);
    ScopedLock guard(listenerLock);
    listener.Swap(frameListener);
    return S_OK;
}

// The finished picture with its stamps. *lastStream: the result of the last stream that was asked.
// *picture: what the frame looks like.
HRESULT MixerCore::FillSample(const MediaFrame& sample, const MediaFrame& inFrame,
                              HRESULT* lastStream, PIC_PROPS* picture) {
    BYTE* memory = nullptr;
    HRESULT result = sample.GetPointer(&memory);
    if (Failed(result) || !memory) return Failed(result) ? result : E_POINTER;

    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    SharedLockGuard mix(mixLock, SharedLockGuard::Mode::kShared);
    ScopedLock guard(composeLock);
    const VM_VIDEO_PROPS outProps = outputStage->OutputProps();
    *picture = outProps.picProps;
    std::uint32_t length = FrameBytes(outProps.picProps);
    const std::uint32_t room = static_cast<std::uint32_t>(std::max(sample.Size(), LONG{0}));
    // What nothing is painted on keeps what the frame before had there: only mixBuffer holds it.
    if (background.PaintsAll() && outputStage->HasOwnMemory() && room >= length &&
        HasNoGaps(outProps.picProps)) {
        *lastStream = ComposeFrame(memory, outProps);
        isMixBufferBehind = true;
    } else {
        result = ComposeInBuffer(outProps, lastStream);
        if (Failed(result)) return result;
        length = std::min(room, mixBuffer.Used());
        if (length != 0) std::memcpy(memory, mixBuffer.At(0), length);
    }
    StampFrame(sample, inFrame, static_cast<LONG>(length));
    ++framesMixed;
    return S_OK;
}

HRESULT MixerCore::ComposeInBuffer(const VM_VIDEO_PROPS& outProps, HRESULT* lastStream) {
    const HRESULT result = mixBuffer.Resize(FrameBytes(outProps.picProps));
    if (Failed(result)) return result;
    if (std::exchange(isMixBufferBehind, false) && !background.PaintsAll())
        TakeLastFrame(outProps.picProps);
    *lastStream = ComposeFrame(mixBuffer.At(0), outProps);
    return S_OK;
}

// Into mixBuffer; black where there is none of this format any more.
void MixerCore::TakeLastFrame(const PIC_PROPS& props) {
    MediaFrame last;
    {
        ScopedLock guard(captureLock);
        if (lastFrameProps == props) last = lastFrame;
    }
    BYTE* memory = nullptr;
    if (last && Succeeded(last.GetPointer(&memory)) && memory &&
        last.ActualLength() == static_cast<LONG>(mixBuffer.Used()))
        std::memcpy(mixBuffer.At(0), memory, mixBuffer.Used());
    else
        (void)Img_FillRect(mixBuffer.At(0), &props, kOpaqueBlack, nullptr, 255);
}

// Background and streams. The result of the last stream that was asked.
HRESULT MixerCore::ComposeFrame(BYTE* target, const VM_VIDEO_PROPS& outProps) {
    Ground ground(background, target, outProps.picProps);
    bool nothingDrawn = true;
    HRESULT result = S_OK;
    for (const std::int32_t number : order) {
        InputStream* const stream = FindStream(number);
        if (!stream || !stream->IsConnected()) continue;
        result = MixStream(*stream, target, outProps, ground);
        if (result != S_FALSE) nothingDrawn = false;
    }
    ground.Paint();
    if (nothingDrawn && background.Kind() == eVMB_None)
        (void)Img_FillRect(target, &outProps.picProps, kOpaqueBlack, nullptr, 255);
    return result;
}

void MixerCore::StampFrame(const MediaFrame& sample, const MediaFrame& inFrame, LONG length) {
    (void)sample.SetActualLength(length);
    std::int64_t start = 0;
    std::int64_t stop = 0;
    if (inFrame) {
        const HRESULT times = inFrame.GetTime(&start, &stop);
        (void)sample.SetTime(Succeeded(times) ? &start : nullptr, times == S_OK ? &stop : nullptr);
        (void)sample.SetMediaTime(nullptr, nullptr);
        (void)sample.SetSyncPoint(inFrame.IsSyncPoint());
        (void)sample.SetPreroll(inFrame.IsPreroll());
        (void)sample.SetDiscontinuity(inFrame.IsDiscontinuity());
        return;
    }
    auto number = static_cast<std::int64_t>(framesMixed.load());
    const std::int64_t period = outputFrameTime;
    start = state == PlayState::kPaused ? 0 : AddTimes(TimesPeriod(number, period), timeBase);
    stop = AddTimes(start, period);
    (void)sample.SetTime(&start, &stop);
    (void)sample.SetSyncPoint(true);
    (void)sample.SetPreroll(false);
    (void)sample.SetDiscontinuity(number == 0);
    std::int64_t next = number + 1;
    (void)sample.SetMediaTime(&number, &next);
}

void MixerCore::KeepLastFrame(const MediaFrame& sample, const PIC_PROPS& picture) {
    MediaFrame previous;  // goes back to its allocator with the lock free
    ScopedLock guard(captureLock);
    // After a stop has let the last frame go none may take its place.
    if (state == PlayState::kStopped) return;
    previous = std::exchange(lastFrame, sample);
    lastFrameProps = picture;
}

// With every stream lost nothing else holds the composing thread back.
void MixerCore::PaceLostFrame(const MediaFrame& sample) {
    const ClockHandle clock = Clock();
    std::int64_t start = 0;
    std::int64_t stop = 0;
    if (!clock || Failed(sample.GetTime(&start, &stop))) return;
    const std::int64_t base = startTime;
    const std::int64_t due = SubtractTimes(stop, kPacingLead);
    if (due <= SubtractTimes(clock.Now(), base)) return;
    lostPacingEvent.Clear();
    if (!runMixThread) return;  // a stop wakes by the event that was just cleared
    std::uintptr_t cookie = 0;
    if (Failed(clock.Advise(base, due, lostPacingEvent, &cookie))) return;
    (void)lostPacingEvent.WaitFor(kLongestPacingWaitMs);
    // When the time ran out first the request is still open.
    (void)clock.Unadvise(cookie);
}

namespace {

// Steps the rects of one stream during its mix.
class StreamAnimator final : public RectAnimator {
public:
    StreamAnimator(InputStream& animated, const VM_VIDEO_PROPS& in, const VM_VIDEO_PROPS& out)
        : stream(animated), inProps(in), outProps(out) {}

    Outcome StepRect(std::size_t index) override {
        std::vector<MixBlock>& rects = stream.pixels.rects;
        MixBlock& rect = rects[index];
        if (rect.step.IsZero()) return Outcome::kShow;
        const bool isOver = StepChange(rect);
        if (isOver && rect.removing) {
            rects.erase(rects.begin() + static_cast<std::ptrdiff_t>(index));
            return stream.CloseIfFadedOut() ? Outcome::kStreamClosed : Outcome::kErased;
        }
        (void)UpdateProjection(rect, inProps, outProps);
        return Outcome::kShow;
    }

private:
    InputStream& stream;
    const VM_VIDEO_PROPS& inProps;
    const VM_VIDEO_PROPS& outProps;
};

// What a stream shows in this frame; null data for nothing.
struct Picture {
    BYTE* data = nullptr;
    std::uint32_t bytes = 0;
    bool isFrame = false;
};

// Needs the stream's lock.
HRESULT ChoosePicture(InputStream& stream, Picture* picture) {
    if (stream.lost && stream.lostShow != eVMLS_Last) {
        if (stream.lostShow != eVMLS_Hide && stream.lostPicture.HasData())
            *picture = {stream.lostPicture.At(0), stream.lostPicture.Used(), false};
        return S_OK;
    }
    if (!stream.currentFrame || stream.currentFrame.ActualLength() == 0) return S_OK;
    BYTE* data = nullptr;
    const HRESULT result = stream.currentFrame.GetPointer(&data);
    if (Failed(result) || !data) return Failed(result) ? result : E_UNEXPECTED;
    const LONG size = stream.currentFrame.Size();
    *picture = {data, size > 0 ? static_cast<std::uint32_t>(size) : 0, true};
    return S_OK;
}

// Needs the stream's lock.
HRESULT DrawStream(InputStream& stream, BYTE* target, const VM_VIDEO_PROPS& outProps,
                   Underlay& underlay) {
    if (!stream.enabled) return S_FALSE;
    Picture picture;
    const HRESULT result = ChoosePicture(stream, &picture);
    if (Failed(result)) return result;
    const VM_VIDEO_PROPS& props = picture.isFrame ? stream.frameProps : stream.inputProps;
    if (!picture.data || picture.bytes < FrameBytes(props.picProps)) return S_FALSE;
    if (picture.isFrame && !stream.frameWaits) ++stream.framesRepeated;
    stream.pixels.inputProps = props;
    StreamAnimator animator(stream, props, outProps);
    return MixRects(stream.pixels, picture.data, target, outProps, animator, &underlay);
}

}  // namespace

void MixerCore::PrepareFrame(InputStream& stream) {
    constexpr std::int32_t kAlphaOnly = 1;
    const std::int32_t wanted = stream.settings.inputProcessing;
    if (wanted == 0) return;
    SharedLockGuard mix(mixLock, SharedLockGuard::Mode::kShared);
    const VM_VIDEO_PROPS outProps = outputStage->OutputProps();
    if (outProps.picProps.fccType == 0) return;
    ScopedLock guard(stream.streamLock);
    Picture picture;
    if (!stream.enabled || Failed(ChoosePicture(stream, &picture)) || !picture.isFrame) return;
    if (!picture.data || picture.bytes < FrameBytes(stream.frameProps.picProps)) return;
    stream.pixels.inputProps = stream.frameProps;
    (void)PrepareStream(stream.pixels, picture.data, outProps, wanted == kAlphaOnly);
}

HRESULT MixerCore::MixStream(InputStream& stream, BYTE* target, const VM_VIDEO_PROPS& outProps,
                             Underlay& underlay) {
    ScopedLock guard(stream.streamLock);
    const HRESULT result = DrawStream(stream, target, outProps, underlay);
    std::int64_t slot = 0;
    std::int64_t nextSlot = 0;
    if (stream.frameWaits && Succeeded(stream.currentFrame.GetMediaTime(&slot, &nextSlot)))
        stream.gridLag = static_cast<std::int64_t>(framesMixed.load()) - slot;
    stream.ReleaseFrame();
    return result;
}

}  // namespace qdvm
