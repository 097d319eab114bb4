// The session's settings as the mixer knows them, and what it tells about its streams.

#include "hosts/gstreamer/colours.h"
#include "hosts/gstreamer/health.h"
#include "hosts/gstreamer/log.h"
#include "hosts/gstreamer/session.h"
#include "platform/counted_string.h"
#include "platform/text.h"

#include <algorithm>
#include <tuple>

namespace qdvm {
namespace {

// A stream that has sent nothing for this many of its frames, and at least this long, stalls.
constexpr gint64 kStallFrames = 3;
constexpr gint64 kShortestStall = 150 * 1000;  // us

constexpr gint64 kUnitsPerUs = 10;

}  // namespace

void Session::ApplyStreamPolicy(int number, const PadSettings& pad) {
    (void)mixer->IgnoreTime(number, pad.ignoresTime);
    (void)mixer->KeepStreamRate(number, pad.keepsRate);
    (void)mixer->LoopStream(number, pad.loops, pad.stopsAll);
    (void)mixer->SetStreamMaxWait(number, pad.maxWait, pad.lostShow);
}

void Session::ApplyBackground(guint changeTimeMs) {
    const ElementSettings now = Settings();
    const bool isPicture = now.background == eVMB_Image;
    // The picture may still be on its way.
    if (!mixer || (isPicture && now.backgroundPicture.empty())) return;
    const CountedString name(FromUtf8(now.backgroundPicture));
    const HRESULT result =
        mixer->SetBackground2(now.background, MixerColour(now.backgroundColor),
                              isPicture ? name.Get() : nullptr, static_cast<LONG>(changeTimeMs));
    if (Succeeded(result)) return;
    GST_ELEMENT_WARNING(element, RESOURCE, OPEN_READ,
                        ("no background can be made of \"%s\"", now.backgroundPicture.c_str()),
                        ("result 0x%08x", static_cast<unsigned>(result)));
}

void Session::SetSettings(const ElementSettings& newSettings) {
    const Lock lock(mutex);
    const auto background = [](const ElementSettings& given) {
        return std::tie(given.background, given.backgroundColor, given.backgroundPicture);
    };
    const bool setsBackground = background(newSettings) != background(settings);
    if (newSettings.master != settings.master && mode == Mode::kRunning) wantsRestart = true;
    settings = newSettings;
    if (setsBackground) Mark(backgroundChange);
    changed.notify_all();
}

void Session::SetPadSettings(PadStream& stream, const PadSettings& newSettings) {
    PadSettings before;
    int number = -1;
    {
        const Lock lock(mutex);
        before = std::exchange(stream.settings, newSettings);
        number = stream.streamNumber;
        if (before.isVisible != newSettings.isVisible)
            for (StreamRect& rect : stream.rects) Mark(rect.change);
        const bool isNewKey = before.keyTimesSet != newSettings.keyTimesSet;
        if (isNewKey) {
            stream.borderColour.reset();
            stream.hasReadBorder = false;
        }
        if (isNewKey || before.key != newSettings.key) {
            Mark(stream.keyChange);
            stream.isStillRefused = false;
        }
        if (before.zOrder != newSettings.zOrder) Mark(orderChange);
        changed.notify_all();
    }
    const auto policy = [](const PadSettings& pad) {
        return std::tuple(pad.loops, pad.stopsAll, pad.ignoresTime, pad.keepsRate, pad.maxWait,
                          pad.lostShow);
    };
    if (number >= 0 && policy(before) != policy(newSettings))
        ApplyStreamPolicy(number, newSettings);
}

VM_STREAM_STATUS Session::StatusOf(int number) const {
    VM_STREAM_STATUS now{};
    if (number >= 0 && status) (void)status->GetStreamStatus(number, &now);
    return now;
}

std::uint64_t Session::NextFrame() const {
    std::uint64_t frames = 0;
    (void)status->GetFramesMixed(&frames);
    return frames;
}

// Needs the mutex.
PadHealth Session::MeasureHealth(const PadStream& stream) const {
    if (stream.hasEnded) return PadHealth::kEnded;
    if (stream.isUnlinked) return PadHealth::kLost;
    const VM_STREAM_STATUS now =
        mode == Mode::kRunning ? StatusOf(stream.streamNumber) : VM_STREAM_STATUS{};
    // Before the thread that brought the end has come back with it.
    if (now.bEnded) return PadHealth::kEnded;
    if (now.bLost && !stream.isHeld) return PadHealth::kLost;
    if (stream.counts.in == 0) return PadHealth::kWaiting;
    const bool isWithFilter = stream.isInReceive || stream.pending;
    const gint64 patience =
        std::max(kShortestStall, kStallFrames * stream.format.period / kUnitsPerUs);
    const bool isQuiet = g_get_monotonic_time() - stream.lastArrival > patience;
    return isQuiet && !isWithFilter ? PadHealth::kStalled : PadHealth::kLive;
}

// Needs the mutex.
PadCounts Session::MeasureCounts(const PadStream& stream) const {
    PadCounts counts = stream.counts;
    if (mode != Mode::kRunning) return counts;
    const VM_STREAM_STATUS now = StatusOf(stream.streamNumber);
    counts.repeated += now.nFramesRepeated;
    counts.dropped += now.nFramesDropped;
    return counts;
}

// At a stop of the filter, whose own counts begin again with the next start. Needs the mutex.
void Session::CarryCounts(PadStream& stream) {
    if (mode != Mode::kRunning && mode != Mode::kChanging) return;
    const VM_STREAM_STATUS now = StatusOf(stream.streamNumber);
    stream.counts.repeated += now.nFramesRepeated;
    stream.counts.dropped += now.nFramesDropped;
}

PadHealth Session::HealthOf(PadStream& stream) {
    const Lock lock(mutex);
    return MeasureHealth(stream);
}

PadCounts Session::CountsOf(PadStream& stream) {
    const Lock lock(mutex);
    return MeasureCounts(stream);
}

// Posts what has changed since the last time.
void Session::ReportHealth() {
    std::vector<GstMessage*> messages;
    {
        const Lock lock(mutex);
        for (const auto& stream : streams) {
            const PadHealth now = MeasureHealth(*stream);
            if (now == stream->health || mode == Mode::kChanging) continue;
            stream->health = now;
            const PadCounts counts = MeasureCounts(*stream);
            GST_INFO_OBJECT(stream->pad, "now %s", HealthName(now));
            if (!settings.postsHealth) continue;
            messages.push_back(gst_message_new_element(
                GST_OBJECT(element),
                gst_structure_new("qdvideomixer-health", "pad", G_TYPE_STRING,
                                  GST_PAD_NAME(stream->pad), "health", G_TYPE_STRING,
                                  HealthName(now), "frames-in", G_TYPE_UINT64, counts.in,
                                  "frames-repeated", G_TYPE_UINT64, counts.repeated,
                                  "frames-dropped", G_TYPE_UINT64, counts.dropped, nullptr)));
        }
    }
    for (GstMessage* message : messages) (void)gst_element_post_message(element, message);
}

}  // namespace qdvm
