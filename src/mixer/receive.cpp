// A frame on its way in: which slots of the output grid it fills.

#include "mixer/mixer_core.h"
#include "mixer/time_math.h"
#include "platform/trace.h"

#include <atomic>
#include <limits>

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
    if (!times.hasStop) times.stop = AddTimes(times.start, 1);
    return times;
}

// Learns how long the stream's frames are, from the first one that tells, or from two starts.
void MeasureFrameTime(InputStream& stream, const FrameTimes& times) {
    const std::int64_t last = stream.lastFrameStart;
    std::int64_t measured = 0;
    if (times.hasStop && times.stop != AddTimes(times.start, 1))
        measured = SubtractTimes(times.stop, times.start);
    else if (last != kUnknownTime)
        measured = SubtractTimes(times.start, last);
    if (measured > 0) stream.frameTime = measured;
}

// The period of the output grid, 0 while unknown, learning it from the stream where nobody has told
// it. The grid starts at 0 with the stream's first frame. The period is read once for a frame: a
// change of another stream's format can take it away at any moment.
std::int64_t FindGrid(InputStream& stream, std::atomic<std::int64_t>& outputPeriod,
                      const FrameTimes& times) {
    if (stream.frameTime == 0) MeasureFrameTime(stream, times);
    std::int64_t period = outputPeriod;
    if (period < 1) {
        // Of two streams that tell at once one sets the period for both.
        const std::int64_t learned = stream.frameTime;
        if (outputPeriod.compare_exchange_strong(period, learned)) period = learned;
    }
    if (period < 1) return 0;
    if (stream.lastFrameStart == kUnknownTime) stream.gridSlot = 0;
    return period;
}

bool HoldsFrame(const InputStream& stream) {
    ScopedLock guard(stream.streamLock);
    return static_cast<bool>(stream.currentFrame);
}

}  // namespace

HRESULT MixerCore::ReceiveFrame(std::uint32_t pinId, const MediaFrame& frame,
                                std::uint32_t flushesSeen) {
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    if (pinId >= inputs.size()) return E_UNEXPECTED;
    if (!frame) return E_POINTER;
    Trace("[QDVideoMixer IN Pin:%u]", pinId);
    InputStream& stream = *inputs[pinId];
    if (frame.ActualLength() != 0) stream.hasData = true;
    const FrameTimes times = TimesOf(frame);
    if (masterStream >= 0 || stream.ignoreTime || !times.hasStart)
        return SubmitFrame(pinId, frame, flushesSeen);
    const std::int64_t period = FindGrid(stream, outputFrameTime, times);
    if (period < 1) {
        const HRESULT result = SubmitFrame(pinId, frame, flushesSeen);
        stream.lastFrameStart = times.start;
        return result;
    }
    const HRESULT result =
        RetimeFrame(stream, pinId, frame, {times.start, times.stop, period}, flushesSeen);
    if (Failed(result)) return result;
    stream.lastFrameStart = times.start;
    return S_OK;
}

HRESULT MixerCore::RetimeFrame(InputStream& stream, std::uint32_t pinId, const MediaFrame& frame,
                               TimeSpan time, std::uint32_t flushesSeen) {
    const std::int64_t period = time.period;
    // A new segment may have begun meanwhile, which counts from its own start.
    const auto goTo = [&](std::int64_t from, std::int64_t to) {
        if (stream.flushCount == flushesSeen) stream.gridSlot.compare_exchange_strong(from, to);
    };
    // A frame from before a flush fills no slot of after it.
    while (state != PlayState::kStopped && stream.flushCount == flushesSeen) {
        std::int64_t slot = stream.gridSlot;
        std::int64_t slotStart = TimesPeriod(slot, period);
        std::int64_t slotEnd = AddTimes(slotStart, period);
        if (time.stop <= slotStart) {
            ++stream.framesDropped;
            return S_OK;
        }
        if (time.start < slotEnd || slotEnd == std::numeric_limits<std::int64_t>::max()) {
            (void)frame.SetTime(&slotStart, &slotEnd);
            std::int64_t nextSlot = slot + 1;
            (void)frame.SetMediaTime(&slot, &nextSlot);
            const HRESULT result = SubmitFrame(pinId, frame, flushesSeen);
            if (Failed(result)) return result;
            goTo(slot, nextSlot);
            return S_OK;
        }
        (void)SubmitFrame(pinId, MediaFrame(), flushesSeen);
        // Ticks that count for nothing are taken at once, however late the first frame is.
        const bool countsForNothing = !HoldsFrame(stream) && stream.settings.syncStart <= 1;
        goTo(slot, countsForNothing ? time.start / period : slot + 1);
    }
    return S_OK;
}

}  // namespace qdvm
