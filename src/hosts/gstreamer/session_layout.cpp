// The session's settings as the mixer knows them, and what it tells about its streams.

#include "frames/format_table.h"
#include "hosts/gstreamer/health.h"
#include "hosts/gstreamer/log.h"
#include "hosts/gstreamer/pad_rect.h"
#include "hosts/gstreamer/session.h"

#include <algorithm>
#include <tuple>

namespace qdvm {
namespace {

// A stream that has sent nothing for this many of its frames, and at least this long, stalls.
constexpr gint64 kStallFrames = 3;
constexpr gint64 kShortestStall = 150 * 1000;  // us

constexpr gint64 kUnitsPerUs = 10;

// Alpha, red, green, blue from the top to alpha, blue, green, red.
LONG MixerColour(guint32 argb) {
    return static_cast<LONG>((argb & 0xFF00FF00u) | (argb & 0xFF) << 16 | (argb >> 16 & 0xFF));
}

}  // namespace

void Session::ApplyStreamPolicy(int number, const PadSettings& pad) {
    (void)mixer->IgnoreTime(number, pad.ignoresTime);
    (void)mixer->KeepStreamRate(number, pad.keepsRate);
    (void)mixer->LoopStream(number, pad.loops, pad.stopsAll);
    (void)mixer->SetStreamMaxWait(number, pad.maxWait, pad.lostShow);
}

// Needs layoutMutex.
void Session::ApplyRect(const PadStream& stream, guint changeTimeMs) {
    PadSettings pad;
    PIC_PROPS picture{};
    int number = -1;
    {
        const Lock lock(mutex);
        pad = stream.settings;
        picture = (stream.format.IsSet() ? stream.format : output).props.picProps;
        number = stream.streamNumber;
    }
    if (number < 0) return;
    VM_MIXING_RECT rect;
    LONG rectNumber = 0;
    if (RectOfPad(pad, picture.nWidth, AbsHeight(picture), &rect))
        (void)mixer->SetInputRect2(number, &rectNumber, &rect, static_cast<LONG>(changeTimeMs));
    else
        (void)mixer->RemoveAllRects(number);
}

void Session::ApplyBackground() {
    const ElementSettings now = Settings();
    if (!mixer) return;
    const HRESULT result = mixer->SetBackground2(now.background, MixerColour(now.backgroundColor),
                                                 nullptr, static_cast<LONG>(now.changeTimeMs));
    if (Failed(result))
        GST_WARNING_OBJECT(element, "the background can't be set: 0x%08x",
                           static_cast<unsigned>(result));
}

void Session::SetSettings(const ElementSettings& newSettings) {
    bool setsBackground = false;
    {
        const Lock lock(mutex);
        setsBackground = newSettings.background != settings.background ||
                         newSettings.backgroundColor != settings.backgroundColor;
        const bool setsMaster = newSettings.master != settings.master;
        settings = newSettings;
        if (setsMaster && mode == Mode::kRunning) wantsRestart = true;
        setsBackground = setsBackground && mode == Mode::kRunning;
        changed.notify_all();
    }
    if (setsBackground) ApplyBackground();
}

void Session::SetPadSettings(PadStream& stream, const PadSettings& newSettings) {
    const std::scoped_lock layout(layoutMutex);
    PadSettings before;
    int number = -1;
    guint changeTimeMs = 0;
    {
        const Lock lock(mutex);
        before = std::exchange(stream.settings, newSettings);
        number = stream.streamNumber;
        changeTimeMs = settings.changeTimeMs;
    }
    if (number < 0) return;
    const auto policy = [](const PadSettings& pad) {
        return std::tuple(pad.loops, pad.stopsAll, pad.ignoresTime, pad.keepsRate, pad.maxWait,
                          pad.lostShow);
    };
    const auto rect = [](const PadSettings& pad) {
        return std::tuple(pad.x, pad.y, pad.width, pad.height, pad.cropLeft, pad.cropTop,
                          pad.cropRight, pad.cropBottom, pad.alpha, pad.isVisible);
    };
    if (policy(before) != policy(newSettings)) ApplyStreamPolicy(number, newSettings);
    if (rect(before) != rect(newSettings)) ApplyRect(stream, changeTimeMs);
}

Session::KeptLayout Session::LayoutOf(int number) const {
    KeptLayout layout;
    LONG count = 0;
    (void)mixer->GetInputRectCount(number, &count);
    for (LONG i = 0; i < count; ++i) {
        VM_MIXING_RECT rect;
        if (Succeeded(mixer->GetInputRect(number, i, &rect))) layout.rects.push_back(rect);
    }
    layout.isEnabled = mixer->IsStreamEnabled(number, nullptr) == S_OK;
    return layout;
}

void Session::SetLayout(int number, const KeptLayout& layout) {
    (void)mixer->RemoveAllRects(number);
    (void)mixer->EnableStream(number, layout.isEnabled);
    for (const VM_MIXING_RECT& rect : layout.rects)
        (void)mixer->SetInputRect2(number, nullptr, &rect, 0);
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
    if (mode == Mode::kRunning && !stream.isHeld && StatusOf(stream.streamNumber).bLost)
        return PadHealth::kLost;
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
