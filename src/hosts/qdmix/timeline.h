#pragma once

// What happens at which time of the mix: the common start, moves and other changes, stills, and the
// end.

#include "hosts/qdmix/gst_handles.h"
#include "hosts/qdmix/plan.h"
#include "hosts/qdmix/start_gate.h"

#include <atomic>
#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace qdvm::qdmix {

// Watches the pads of the mixer. Made, given its pads and destroyed by the thread that builds the
// pipeline, the latter while the pipeline is stopped; the rest from any thread.
class Timeline {
public:
    Timeline(const Plan& thePlan, GstElement* theMixer);
    ~Timeline();
    Timeline(const Timeline&) = delete;
    Timeline& operator=(const Timeline&) = delete;

    // The pad of the mixer that belongs to an input, in the order of the plan.
    void WatchInput(GstPad* pad);
    void WatchOutput(GstPad* pad);

    // On the thread of the main loop: ends the mix after the frame in progress; at once if none
    // comes.
    void FinishNow();

    // Lets everything that waits here go on, so that the pipeline can stop.
    void Release();

    // Where the frames of an input ended, in nanoseconds; nothing before its end.
    std::optional<std::int64_t> EndOf(std::size_t input) const;

    // Copies of the frames to capture that have come since the last call, in the order of the
    // plan's captures.
    std::vector<GstHandle<GstSample>> TakeStills();

    std::uint64_t Frames() const { return frames; }
    std::int64_t Time() const { return time; }  // of the end of the last frame, nanoseconds

private:
    struct Input {
        Timeline* timeline;
        std::size_t index;
        const PlannedInput* plan;
        GstHandle<GstPad> pad;
        GstSegment segment;                 // of the pad; its streaming thread only
        std::int64_t end = 0;               // where its last frame ends; its streaming thread only
        bool isCut = false;                 // ended by the timeline; its streaming thread only
        std::optional<std::int64_t> ended;  // guarded by mutex
    };

    static GstPadProbeReturn OnInput(GstPad* pad, GstPadProbeInfo* info, gpointer input);
    static GstPadProbeReturn OnOutput(GstPad* pad, GstPadProbeInfo* info, gpointer timeline);

    void TakeInputEvent(Input& input, GstEvent* event);
    GstPadProbeReturn TakeInputFrame(Input& input, GstBuffer* frame);
    void CutInput(Input& input);
    void EndInput(Input& input);
    static void OnBeforeFrame(GstElement* mixer, guint64 frameTime, gpointer timeline);
    void Make(const PlannedChange& change);
    GstPadProbeReturn TakeOutputFrame(GstBuffer* frame);
    void KeepStills(GstBuffer* frame, std::int64_t frameEnd);
    void SendEnd();

    static constexpr std::int64_t kNoEnd = std::numeric_limits<std::int64_t>::max();

    const Plan& plan;
    GstElement* mixer;
    std::int64_t period;
    StartGate gate;
    std::vector<std::unique_ptr<Input>> inputs;
    GstPad* output = nullptr;     // belongs to the mixer
    guint patience = 0;           // source of the main loop
    gulong frameHandler = 0;      // of the mixer's signal
    std::size_t changesMade = 0;  // the thread that composes only

    mutable std::mutex mutex;
    bool isReleased = false;                   // guarded by mutex
    std::size_t stillsKept = 0;                // guarded by mutex
    std::vector<GstHandle<GstSample>> stills;  // guarded by mutex
    std::size_t lastingInputs = 0;  // with an end that has not come yet; guarded by mutex
    std::int64_t lastEnd = 0;       // guarded by mutex

    std::atomic<std::int64_t> end{kNoEnd};  // the first time that is not in the mix
    std::atomic<bool> hasEnded{false};
    std::atomic<std::uint64_t> frames{0};
    std::atomic<std::int64_t> time{0};
};

}  // namespace qdvm::qdmix
