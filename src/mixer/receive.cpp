// A frame on its way in: which slots of the output grid it fills.

#include "mixer/mixer_core.h"
#include "platform/trace.h"

#include <algorithm>
#include <atomic>

namespace qdvm {
namespace {

struct FrameTimes {
    std::int64_t start = 0;
    std::int64_t stop = 0;
    bool hasStart = false;
    bool hasStop = false;
};

FrameTimes TimesOf(const MediaFrame& frame) {
    FrameTimes times;
    const HRESULT result = frame.GetTime(&times.start, &times.stop);
    times.hasStart = Succeeded(result);
    times.hasStop = result == S_OK;
    if (!times.hasStop) times.stop = times.start + 1;
    return times;
}

// Learns how long the stream's frames are, from the first one that tells, or from two starts.
void MeasureFrameTime(InputStream& stream, const FrameTimes& times) {
    const std::int64_t last = stream.lastFrameStart;
    if (times.hasStop && times.stop != times.start + 1)
        stream.frameTime = times.stop - times.start;
    else if (last != kUnknownTime)
        stream.frameTime = std::max<std::int64_t>(times.start - last, 0);
}

// Whether the output grid is known, learning its period from the stream where it is not. The grid
// starts at 0 with the stream's first frame.
bool FindGrid(InputStream& stream, std::atomic<std::int64_t>& period, const FrameTimes& times) {
    if (stream.frameTime == 0) MeasureFrameTime(stream, times);
    if (period < 1) period = stream.frameTime.load();
    if (period < 1) return false;
    if (stream.lastFrameStart == kUnknownTime) stream.gridSlot = 0;
    return true;
}

bool HoldsFrame(const InputStream& stream) {
    ScopedLock guard(stream.streamLock);
    return static_cast<bool>(stream.currentFrame);
}

}  // namespace

HRESULT MixerCore::ReceiveFrame(std::uint32_t pinId, const MediaFrame& frame) {
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    if (pinId >= inputs.size()) return E_UNEXPECTED;
    if (!frame) return E_POINTER;
    Trace("[QDVideoMixer IN Pin:%u]", pinId);
    InputStream& stream = *inputs[pinId];
    if (frame.ActualLength() != 0) stream.hasData = true;
    const FrameTimes times = TimesOf(frame);
    if (masterStream >= 0 || stream.ignoreTime || !times.hasStart) return SubmitFrame(pinId, frame);
    if (!FindGrid(stream, outputFrameTime, times)) {
        const HRESULT result = SubmitFrame(pinId, frame);
        stream.lastFrameStart = times.start;
        return result;
    }
    const HRESULT result = RetimeFrame(stream, pinId, frame, times.start, times.stop);
    if (Failed(result)) return result;
    stream.lastFrameStart = times.start;
    return S_OK;
}

HRESULT MixerCore::RetimeFrame(InputStream& stream, std::uint32_t pinId, const MediaFrame& frame,
                               std::int64_t start, std::int64_t stop) {
    const std::uint32_t flushesSeen = stream.flushCount;
    const std::int64_t period = outputFrameTime;
    // A frame from before a flush fills no slot of after it.
    while (state != PlayState::kStopped && stream.flushCount == flushesSeen) {
        std::int64_t slot = stream.gridSlot;
        std::int64_t slotStart = slot * period;
        std::int64_t slotEnd = slotStart + period;
        if (stop <= slotStart) {
            ++stream.framesDropped;
            return S_OK;
        }
        if (start < slotEnd) {
            (void)frame.SetTime(&slotStart, &slotEnd);
            std::int64_t nextSlot = slot + 1;
            (void)frame.SetMediaTime(&slot, &nextSlot);
            const HRESULT result = SubmitFrame(pinId, frame);
            if (Failed(result)) return result;
            stream.gridSlot.compare_exchange_strong(slot, slot + 1);
            return S_OK;
        }
        (void)SubmitFrame(pinId, MediaFrame());
        // Ticks that count for nothing are taken at once, however late the first frame is.
        const bool countsForNothing = !HoldsFrame(stream) && stream.settings.syncStart <= 1;
        stream.gridSlot.compare_exchange_strong(slot, countsForNothing ? start / period : slot + 1);
    }
    return S_OK;
}

}  // namespace qdvm
