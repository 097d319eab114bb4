// A frame on its way into a stream: the wait for its turn, the store, and what it sets off.

#include "mixer/mixer_core.h"
#include "mixer/time_math.h"
#include "platform/trace.h"

namespace qdvm {
namespace {

// Longest wait of a running stream for the mixer to take its last frame, ms.
constexpr std::uint32_t kLongestFreeWaitMs = 100000;

// A frame is let go this much ahead of its time, 100 ns (20 ms).
constexpr std::int64_t kPacingLead = 200000;

}  // namespace

HRESULT MixerCore::SubmitFrame(std::uint32_t pinId, const MediaFrame& frame,
                               std::uint32_t flushesSeen) {
    if (state == PlayState::kStopped) return VFW_E_NOT_RUNNING;
    if (pinId >= inputs.size()) return E_UNEXPECTED;
    Trace("[QDVideoMixer IN (Corrected) Pin:%02u] ", pinId);
    InputStream& stream = *inputs[pinId];
    PutFrame(stream, frame, flushesSeen);
    if (!frame) return S_OK;
    if (static_cast<std::int32_t>(pinId) == masterStream) {
        (void)MixFrame(frame, false);
        return S_OK;
    }
    return stream.keepRate ? PaceFrame(stream, frame, flushesSeen) : S_OK;
}

void MixerCore::PutFrame(InputStream& stream, const MediaFrame& frame, std::uint32_t flushesSeen) {
    stream.RestartWait();
    stream.lost = false;
    stream.OfferThumbnail(frame);
    // The only place that holds an input back. After the time-out the frame goes in all the same.
    if (masterStream < 0)
        (void)stream.freeEvent.WaitFor(state == PlayState::kRunning ? kLongestFreeWaitMs
                                                                    : kInfinite);
    if (!stream.StoreFrame(frame, flushesSeen)) return;
    if (frame) PrepareFrame(stream);
    ScopedLock guard(stream.streamLock);
    // A flush in between has nothing to announce any more.
    if (stream.flushCount != flushesSeen) return;
    // An empty tick of a stream that never had a frame doesn't count, so that the output begins
    // when every stream has its first one.
    if (!stream.currentFrame && stream.settings.syncStart <= 1) return;
    if (stream.endOfStream)
        stream.freeEvent.Set();
    else
        stream.freeEvent.Clear();
    stream.readyEvent.Set();
}

HRESULT MixerCore::PaceFrame(InputStream& stream, const MediaFrame& frame,
                             std::uint32_t flushesSeen) {
    const ClockHandle clock = Clock();
    if (state != PlayState::kRunning || !clock) return S_OK;
    std::int64_t start = 0;
    std::int64_t stop = 0;
    if (Failed(frame.GetTime(&start, &stop))) return S_OK;
    const std::int64_t now = clock.Now();
    // A flush with nobody waiting leaves the event set; one from here on wakes.
    stream.pacingEvent.Clear();
    if (stream.flushCount != flushesSeen) return S_OK;
    if (stream.clockOffset == kUnknownTime) stream.clockOffset = SubtractTimes(now, start);
    const std::int64_t offset = stream.clockOffset;
    const std::int64_t due = SubtractTimes(start, kPacingLead);
    if (due <= SubtractTimes(now, offset)) return S_OK;
    std::uintptr_t cookie = 0;
    const HRESULT result = clock.Advise(offset, due, stream.pacingEvent, &cookie);
    if (Failed(result)) return result;
    stream.pacingEvent.Wait();
    // Woken by a flush or stop the request is still open.
    (void)clock.Unadvise(cookie);
    return S_OK;
}

}  // namespace qdvm
