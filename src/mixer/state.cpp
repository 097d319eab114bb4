// What the filter's states mean for the engine.

#include "mixer/mixer_core.h"
#include "mixer/time_math.h"
#include "platform/no_throw.h"
#include "platform/ticks.h"

#include <utility>

namespace qdvm {

HRESULT MixerCore::StartFromStopped(PlayState newState, std::int64_t startTimeGiven) {
    framesMixed = 0;
    timeBase = 0;
    const HRESULT reset = NoThrow([this] {
        ResetStreams();
        return S_OK;
    });
    if (Failed(reset)) return reset;
    lastOutputTick = startTick = TickCountMs();
    framesDelivered = 0;
    if (readyEvents.empty() || !outputStage->IsConnected()) return VFW_E_NOT_CONNECTED;
    HRESULT result = outputStage->CommitAllocator();
    if (Failed(result)) return result;
    // Before the threads, which stamp by it.
    SetState(newState, startTimeGiven);
    result = outputStage->StartDelivery();
    if (Succeeded(result) && masterStream < 0) result = StartMixThread();
    if (Failed(result)) (void)StopRunning();
    return Failed(result) ? result : S_OK;
}

// Readies every stream, notes what the composition waits for, and shows the first connected stream
// if nothing else would be shown.
void MixerCore::ResetStreams() {
    bool nothingShown = !ApplyDeferredLayout();
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    for (const Ref<InputStream>& stream : inputs) {
        stream->ResetStream();
        if (!stream->IsConnected() || !stream->enabled) continue;
        SharedLockGuard mix(mixLock, SharedLockGuard::Mode::kShared);
        ScopedLock guard(stream->streamLock);
        if (!stream->pixels.rects.empty()) nothingShown = false;
    }
    readyEvents.clear();
    for (const Ref<InputStream>& stream : inputs) {
        if (!stream->IsConnected()) continue;
        if (std::exchange(nothingShown, false)) ShowWhole(*stream);
        readyEvents.push_back(&stream->readyEvent);
    }
}

void MixerCore::ShowWhole(InputStream& stream) {
    stream.enabled = true;
    stream.hidePending = false;
    SharedLockGuard mix(mixLock, SharedLockGuard::Mode::kExclusive);
    if (!stream.pixels.rects.empty()) return;
    (void)SetRectLocked(stream, nullptr, nullptr, 0);
    dirty = true;
}

void MixerCore::GoRunning(std::int64_t startTimeGiven) {
    const std::int64_t now = Clock().Now();
    {
        // Between two frames: one composed before is counted, one composed after is stamped by it.
        SharedLockGuard mix(mixLock, SharedLockGuard::Mode::kExclusive);
        const auto mixed = static_cast<std::int64_t>(framesMixed.load());
        timeBase =
            SubtractTimes(SubtractTimes(now, startTimeGiven), TimesPeriod(mixed, outputFrameTime));
        SetState(PlayState::kRunning, startTimeGiven);
    }
    outputStage->FlushOutputQueue();
}

HRESULT MixerCore::StopRunning() {
    // First of all, so that frames under way find it.
    state = PlayState::kStopped;
    runMixThread = false;
    // A thread that waits for a buffer must get out, also when everything downstream is stuck.
    (void)outputStage->DecommitAllocator();
    if (masterStream < 0) StopMixThread();
    outputStage->StopDelivery();
    {
        SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
        for (const Ref<InputStream>& stream : inputs) stream->StopStream();
    }
    MediaFrame released;  // goes back to its allocator with the lock free
    ScopedLock guard(captureLock);
    released = std::exchange(lastFrame, MediaFrame());
    return S_OK;
}

void MixerCore::SetState(PlayState newState, std::int64_t startTimeGiven) {
    if (newState == PlayState::kRunning) startTime = startTimeGiven;
    state = newState;
}

}  // namespace qdvm
