#pragma once

// The frames of the output on the running time of the element.

#include <qdvideomixer/object.h>

#include <gst/gst.h>

#include <cstdint>

namespace qdvm {

// Frame n of a start of the filter is stamped from n and a rational rate, never from a running sum.
// The mixer counts in whole units of 100 ns, so for rates like 30000/1001 its grid and the true one
// drift apart by a fraction of a unit per frame; the two conversions here keep them together.
//
// A plain value; its owner guards it.
class TimeGrid {
public:
    TimeGrid() = default;

    // origin: running time of the first frame, ns. period: the mixer's, 100 ns.
    TimeGrid(GstClockTime originTime, int framesPerSecondNum, int framesPerSecondDen,
             REFERENCE_TIME mixerPeriod)
        : origin(originTime),
          rateNum(static_cast<guint64>(framesPerSecondNum)),
          rateDen(static_cast<guint64>(framesPerSecondDen)),
          period(mixerPeriod) {}

    // The mixer starts to count again at what would have been this frame, or leaves frames out.
    void Advance(std::uint64_t frames) { first += frames; }

    // Running time at which a frame begins, ns.
    GstClockTime StampOf(std::uint64_t frame) const {
        return origin + gst_util_uint64_scale(first + frame, rateDen * GST_SECOND, rateNum);
    }

    // ns.
    GstClockTime DurationOf(std::uint64_t frame) const {
        return StampOf(frame + 1) - StampOf(frame);
    }

    REFERENCE_TIME Period() const { return period; }

    // A running time (ns) as the mixer's time, in which frame n begins at n periods. Negative for
    // what lies before frame 0.
    REFERENCE_TIME ToMixer(GstClockTimeDiff runningTime) const {
        const GstClockTimeDiff distance = runningTime - static_cast<GstClockTimeDiff>(StampOf(0));
        const guint64 units = gst_util_uint64_scale_round(
            static_cast<guint64>(distance < 0 ? -distance : distance),
            static_cast<guint64>(period) * rateNum, rateDen * GST_SECOND);
        return distance < 0 ? -static_cast<REFERENCE_TIME>(units)
                            : static_cast<REFERENCE_TIME>(units);
    }

    // Time stamps of files are often rounded to a millisecond. A time this near to a slot's border
    // is meant to lie on it.
    REFERENCE_TIME Snap(REFERENCE_TIME time) const {
        constexpr REFERENCE_TIME kTolerance = 16;  // part of a period
        const REFERENCE_TIME past = ((time % period) + period) % period;
        if (past <= period / kTolerance) return time - past;
        if (period - past <= period / kTolerance) return time + (period - past);
        return time;
    }

private:
    GstClockTime origin = 0;
    std::uint64_t first = 0;
    guint64 rateNum = 25;
    guint64 rateDen = 1;
    REFERENCE_TIME period = 400000;
};

}  // namespace qdvm
