// The thread that composes when no stream is the master: waits for the streams, declares those lost
// that stay away too long, and signals the end.

#include "mixer/mixer_core.h"

#include <algorithm>
#include <limits>

namespace qdvm {
namespace {

// Pause between two signals of the end, ms.
constexpr std::uint32_t kEndOfStreamPauseMs = 20;

// Pause after a frame that could not be made, ms: the streams stay ready, so nothing else holds the
// thread back.
constexpr std::uint32_t kFailedFramePauseMs = 10;

// The wait for the streams is looked after at least this often, ms, so that a change of state or of
// a stream's wait is noticed.
constexpr std::int32_t kWaitSliceMs = 100;

}  // namespace

HRESULT MixerCore::StartMixThread() {
    stopEvent.Clear();
    runMixThread = true;
    const HRESULT result =
        mixThread.Start("MixThread", ThreadPriority::AboveNormal, [this] { MixLoop(); });
    if (Failed(result)) runMixThread = false;
    return result;
}

void MixerCore::StopMixThread() {
    runMixThread = false;
    stopEvent.Set();
    lostPacingEvent.Set();
    for (Event* ready : readyEvents) ready->Set();
    mixThread.Join();
}

void MixerCore::MixLoop() {
    while (runMixThread) {
        const std::int32_t minLeft = ShortestWait();
        const std::int32_t slice = std::min(minLeft, kWaitSliceMs);
        const bool wasRunning = state == PlayState::kRunning;
        const bool allReady = WaitAll(readyEvents, static_cast<std::uint32_t>(slice));
        if (!runMixThread) return;
        if (allReady)
            MixRound();
        else if (wasRunning && state == PlayState::kRunning &&
                 minLeft != std::numeric_limits<std::int32_t>::max())
            AccountWait(slice);
    }
}

// The least time left of all connected streams that are waited for, ms; the largest number if none
// is.
std::int32_t MixerCore::ShortestWait() const {
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    std::int32_t shortest = std::numeric_limits<std::int32_t>::max();
    for (const Ref<InputStream>& stream : inputs) {
        const std::int32_t left = stream->waitLeftMs;
        if (left >= 1 && stream->IsConnected()) shortest = std::min(shortest, left);
    }
    return shortest;
}

void MixerCore::MixRound() {
    bool allLost = true;
    bool ended = true;
    {
        SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
        for (const Ref<InputStream>& stream : inputs)
            if (stream->IsConnected() && !stream->lost) allLost = false;
        for (const Ref<InputStream>& stream : inputs) {
            if (!stream->IsConnected()) continue;
            // The last frame of a stream is composed before its end counts.
            ended = stream->endOfStream && !stream->frameWaits;
            if (!ended || stream->stopAllForEOS) break;
        }
    }
    if (!ended) {
        if (Failed(MixFrame(MediaFrame(), allLost))) (void)stopEvent.WaitFor(kFailedFramePauseMs);
        return;
    }
    outputStage->PutOutput(MediaFrame());
    (void)stopEvent.WaitFor(kEndOfStreamPauseMs);
}

// Milliseconds have passed in which not every stream became ready.
void MixerCore::AccountWait(std::int32_t milliseconds) {
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    for (const Ref<InputStream>& stream : inputs) {
        if (!stream->IsConnected()) continue;
        // A frame that comes at this moment is in time, or comes to a lost stream.
        ScopedLock guard(stream->streamLock);
        if (stream->readyEvent.IsSet() || stream->frameWaits) {
            stream->RestartWait();
            continue;
        }
        if (stream->maxWaitFrames <= 0) continue;
        std::int32_t left = stream->waitLeftMs;
        if (left > milliseconds)
            stream->waitLeftMs.compare_exchange_strong(left, left - milliseconds);
        else
            (void)stream->MarkStreamLost(true, -1, nullptr);
    }
}

}  // namespace qdvm
