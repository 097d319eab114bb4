#include "hosts/qdmix/timeline.h"

#include "hosts/qdmix/mixer_settings.h"

#include <algorithm>
#include <utility>

namespace qdvm::qdmix {

namespace {

constexpr std::int64_t kRounding = 1000;  // nanoseconds, of frame times

constexpr auto kWatched =
    static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_BUFFER | GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM);

// 0 for an unknown rate.
std::int64_t Period(Rate rate) {
    if (!rate.IsKnown()) {
        return 0;
    }
    return static_cast<std::int64_t>(gst_util_uint64_scale_int(GST_SECOND, rate.den, rate.num));
}

}  // namespace

Timeline::Timeline(const Plan& thePlan, GstElement* theMixer)
    : plan(thePlan), mixer(theMixer), period(Period(plan.rate)), gate(plan.inputs.size()) {
    end = plan.duration.value_or(kNoEnd);
    frameHandler = g_signal_connect(mixer, "before-frame", G_CALLBACK(OnBeforeFrame), this);
}

Timeline::~Timeline() {
    g_signal_handler_disconnect(mixer, frameHandler);
    if (patience != 0) {
        (void)g_source_remove(patience);
    }
}

void Timeline::WatchInput(GstPad* pad) {
    auto input = std::make_unique<Input>();
    input->timeline = this;
    input->index = inputs.size();
    input->plan = &plan.inputs[input->index];
    input->pad.reset(static_cast<GstPad*>(gst_object_ref(pad)));
    gst_segment_init(&input->segment, GST_FORMAT_TIME);
    if (!input->plan->spec.IsLive()) {
        gate.Await(input->index);
    }
    if (!input->plan->isEndless) {
        ++lastingInputs;
    }
    (void)gst_pad_add_probe(pad, kWatched, OnInput, input.get(), nullptr);
    inputs.push_back(std::move(input));
}

void Timeline::WatchOutput(GstPad* pad) {
    output = pad;
    (void)gst_pad_add_probe(pad, kWatched, OnOutput, this, nullptr);
}

GstPadProbeReturn Timeline::OnInput(GstPad*, GstPadProbeInfo* info, gpointer data) {
    Input& input = *static_cast<Input*>(data);
    if ((GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
        return input.timeline->TakeInputFrame(input, GST_PAD_PROBE_INFO_BUFFER(info));
    }
    input.timeline->TakeInputEvent(input, GST_PAD_PROBE_INFO_EVENT(info));
    return GST_PAD_PROBE_OK;
}

void Timeline::TakeInputEvent(Input& input, GstEvent* event) {
    switch (GST_EVENT_TYPE(event)) {
        case GST_EVENT_CAPS:
            gate.Arrive(input.index);
            gate.Pass();
            break;
        case GST_EVENT_SEGMENT:
            gst_event_copy_segment(event, &input.segment);
            break;
        case GST_EVENT_EOS:
            gate.Arrive(input.index);
            EndInput(input);
            break;
        default:
            break;
    }
}

GstPadProbeReturn Timeline::TakeInputFrame(Input& input, GstBuffer* frame) {
    if (!GST_BUFFER_PTS_IS_VALID(frame)) {
        return GST_PAD_PROBE_OK;
    }
    const guint64 start =
        gst_segment_to_running_time(&input.segment, GST_FORMAT_TIME, GST_BUFFER_PTS(frame));
    if (!GST_CLOCK_TIME_IS_VALID(start)) {
        return GST_PAD_PROBE_OK;
    }
    if (static_cast<std::int64_t>(start) >= end) {
        CutInput(input);
        return GST_PAD_PROBE_DROP;
    }
    const std::int64_t length = GST_BUFFER_DURATION_IS_VALID(frame)
                                    ? static_cast<std::int64_t>(GST_BUFFER_DURATION(frame))
                                    : Period(input.plan->probed.rate);
    input.end = static_cast<std::int64_t>(start) + length;
    return GST_PAD_PROBE_OK;
}

// Ends an input where the mix ends, so that nothing is mixed for nobody.
void Timeline::CutInput(Input& input) {
    input.isCut = true;
    g_object_set(input.pad.get(), "loop", FALSE, nullptr);
    (void)gst_pad_send_event(input.pad.get(), gst_event_new_eos());
}

// With nothing left that has an end of its own, the mix ends where the longest of them did.
void Timeline::EndInput(Input& input) {
    const std::lock_guard lock(mutex);
    if (input.isCut) {
        return;
    }
    input.ended = input.end;
    if (input.plan->isEndless || lastingInputs == 0) {
        return;
    }
    lastEnd = std::max(lastEnd, input.end);
    const auto isEndless = [](const PlannedInput& other) { return other.isEndless; };
    if (--lastingInputs == 0 && std::any_of(plan.inputs.begin(), plan.inputs.end(), isEndless)) {
        end = std::min<std::int64_t>(end, lastEnd);
    }
}

// A change begins with the first frame of its time, and that frame shows it.
void Timeline::OnBeforeFrame(GstElement*, guint64 frameTime, gpointer data) {
    Timeline& timeline = *static_cast<Timeline*>(data);
    const std::vector<PlannedChange>& changes = timeline.plan.changes;
    const std::int64_t now = static_cast<std::int64_t>(frameTime) + kRounding;
    while (timeline.changesMade < changes.size() &&
           changes[timeline.changesMade].span.start <= now) {
        timeline.Make(changes[timeline.changesMade++]);
    }
}

void Timeline::Make(const PlannedChange& change) {
    if (!change.input) {
        SetChangeTime(mixer, change.span.take);
        SetBackground(mixer, change.background);
        return;
    }
    // The mixer counts the frames of a rect's change by its fastest input, and takes one step for
    // each frame of the mix.
    SetChangeTime(
        mixer, static_cast<std::int64_t>(static_cast<double>(change.span.take) *
                                         plan.rate.PerSecond() / plan.FastestRate().PerSecond()));
    const Input& input = *inputs[*change.input];
    SetRect(input.pad.get(), change.rect, change.values, input.plan->probed.evenSize);
}

GstPadProbeReturn Timeline::OnOutput(GstPad*, GstPadProbeInfo* info, gpointer data) {
    Timeline& timeline = *static_cast<Timeline*>(data);
    if ((GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) != 0) {
        return timeline.TakeOutputFrame(GST_PAD_PROBE_INFO_BUFFER(info));
    }
    const bool isEnd = GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_EOS;
    const bool isSecondEnd = isEnd && timeline.hasEnded.exchange(true);
    return isSecondEnd ? GST_PAD_PROBE_DROP : GST_PAD_PROBE_OK;
}

GstPadProbeReturn Timeline::TakeOutputFrame(GstBuffer* frame) {
    const auto start = static_cast<std::int64_t>(GST_BUFFER_PTS(frame));
    // A frame belongs to the mix if at least half of it does.
    if (!hasEnded && end != kNoEnd && start + period / 2 >= end) {
        SendEnd();
    }
    if (hasEnded) {
        return GST_PAD_PROBE_DROP;
    }
    ++frames;
    KeepStills(frame, start + period);
    const std::lock_guard lock(mutex);
    time = start + period;
    return GST_PAD_PROBE_OK;
}

// The frame itself goes back to the mixer's allocator, which has few of them.
void Timeline::KeepStills(GstBuffer* frame, std::int64_t frameEnd) {
    const std::lock_guard lock(mutex);
    while (stillsKept < plan.captures.size() && plan.captures[stillsKept].time < frameEnd) {
        const GstHandle<GstCaps> caps(gst_pad_get_current_caps(output));
        GstBuffer* copy = gst_buffer_copy_deep(frame);
        stills.emplace_back(gst_sample_new(copy, caps.get(), nullptr, nullptr));
        gst_buffer_unref(copy);
        ++stillsKept;
    }
}

std::vector<GstHandle<GstSample>> Timeline::TakeStills() {
    const std::lock_guard lock(mutex);
    return std::exchange(stills, {});
}

std::optional<std::int64_t> Timeline::EndOf(std::size_t input) const {
    const std::lock_guard lock(mutex);
    return inputs[input]->ended;
}

void Timeline::SendEnd() {
    if (!hasEnded.exchange(true)) {
        const GstHandle<GstPad> next(gst_pad_get_peer(output));
        if (next) {
            (void)gst_pad_send_event(next.get(), gst_event_new_eos());
        }
    }
}

void Timeline::Release() { gate.OpenForGood(); }

void Timeline::FinishNow() {
    end = 0;
    Release();
    // Where no frame comes any more, nobody else would send the end.
    constexpr guint kPatienceMs = 1000;
    patience = g_timeout_add(
        kPatienceMs,
        [](gpointer data) -> gboolean {
            auto* timeline = static_cast<Timeline*>(data);
            timeline->patience = 0;
            gst_element_call_async(
                timeline->mixer,
                [](GstElement*, gpointer self) { static_cast<Timeline*>(self)->SendEnd(); },
                timeline, nullptr);
            return G_SOURCE_REMOVE;
        },
        this);
}

}  // namespace qdvm::qdmix
