#include "hosts/gstreamer/session.h"

#include "hosts/gstreamer/log.h"

#include <qdvideomixer/create.h>

#include <algorithm>

namespace qdvm {
namespace {

// What a frame lasts while the output's rate isn't known.
constexpr GstClockTime kUnknownDuration = 40 * GST_MSECOND;

}  // namespace

Session::Session(GstElement* ownElement, GstPad* sourcePad)
    : element(ownElement),
      srcPad(sourcePad),
      clock(MakeObject<ElementClock>(ownElement)),
      outputPin(MakeObject<DownstreamPin>(this)) {
    if (Failed(CreateQDVideoMixer(IID_IBaseFilter, filter.PutVoid()))) (void)filter.Detach();
    if (!filter) return;
    if (Failed(filter->QueryInterface(IID_IQDVideoMixer, mixer.PutVoid()))) (void)mixer.Detach();
    if (Failed(filter->QueryInterface(IID_IQDVideoMixerStatus, status.PutVoid())))
        (void)status.Detach();
    if (Failed(filter->QueryInterface(IID_IQDVideoMixerChromaKey, keys.PutVoid())))
        (void)keys.Detach();
    if (Failed(filter->QueryInterface(IID_IQDVideoMixerScene, scenes.PutVoid())))
        (void)scenes.Detach();
    if (!mixer || !status || !keys || !scenes) filter.Reset();
    if (!filter) return;
    (void)filter->SetSyncSource(clock.Get());
    Ref<IQDVideoMixerFrames> frames;
    const Ref<FrameHook> hook = MakeObject<FrameHook>(this);
    if (Succeeded(filter->QueryInterface(IID_IQDVideoMixerFrames, frames.PutVoid())))
        (void)frames->SetFrameListener(hook.Get());
}

Session::~Session() {
    Stop();
    for (const auto& stream : streams) gst_clear_buffer(&stream->lastFrame.buffer);
    Ref<IQDVideoMixerFrames> frames;
    if (filter && Succeeded(filter->QueryInterface(IID_IQDVideoMixerFrames, frames.PutVoid())))
        (void)frames->SetFrameListener(nullptr);
    if (filter) (void)filter->SetSyncSource(nullptr);
    clock->Detach();
}

ElementSettings Session::Settings() const {
    const Lock lock(mutex);
    return settings;
}

guint64 Session::FramesSkipped() const {
    const Lock lock(mutex);
    return framesSkipped;
}

PadStream* Session::AddPad(GstPad* pad, guint number) {
    auto stream = std::make_unique<PadStream>(pad, number);
    gst_segment_init(&stream->segment, GST_FORMAT_UNDEFINED);
    PadStream* const added = stream.get();
    const std::scoped_lock layout(layoutMutex);
    const Lock lock(mutex);
    const auto place = std::ranges::find_if(
        streams, [number](const auto& other) { return other->number > number; });
    streams.insert(place, std::move(stream));
    return added;
}

void Session::RemovePad(PadStream* stream) {
    Lock lock(mutex);
    stream->isLeaving = stream->isFlushing = true;
    changed.notify_all();
    WaitUntilOut(*stream, lock);
    // The task may be at work with it.
    changed.wait(lock, [&] { return mode != Mode::kChanging; });
    const int number = stream->streamNumber;
    if (number >= 0) {
        if (mode == Mode::kRunning) {
            lock.unlock();
            (void)mixer->LoopStream(number, 0, 0);
            (void)stream->pin->SendEndOfStream();
            (void)mixer->RemoveAllRects(number);
            lock.lock();
        }
        orphans.push_back(stream->pin);
    }
    if (stream == master) {
        master = nullptr;
        wantsRestart = true;
    }
    gst_clear_buffer(&stream->lastFrame.buffer);
    lock.unlock();
    const std::scoped_lock layout(layoutMutex);
    lock.lock();
    std::erase_if(streams, [stream](const auto& other) { return other.get() == stream; });
    changed.notify_all();
}

PadSettings Session::SettingsOf(const PadStream& stream) const {
    const Lock lock(mutex);
    return stream.settings;
}

int Session::StreamNumberOf(const PadStream& stream) const {
    const Lock lock(mutex);
    return stream.streamNumber;
}

// The format that the output has, or is likely to get.
const PixelFormat* Session::LikelyFormat() const {
    OutputWish wish;
    {
        const Lock lock(mutex);
        if (output.IsSet()) return output.pixels;
        wish = WishedOutput();
    }
    if (wish.fccType == 0) wish.fccType = PixelFormats().front().fccType;
    GstCaps* allowed = gst_pad_get_allowed_caps(srcPad);
    if (!allowed) allowed = NewTemplateCaps();
    GstCaps* chosen = ChooseOutputCaps(allowed, wish);
    gst_caps_unref(allowed);
    GstVideoInfo info;
    const bool isRead = chosen && gst_video_info_from_caps(&info, chosen);
    gst_clear_caps(&chosen);
    return isRead ? FindPixelFormat(GST_VIDEO_INFO_FORMAT(&info)) : nullptr;
}

GstCaps* Session::SinkCaps(const GstCaps* filterCaps) const {
    GstCaps* caps = NewTemplateCaps();
    if (const PixelFormat* preferred = LikelyFormat()) {
        GstCaps* first = gst_caps_copy(caps);
        gst_caps_set_simple(first, "format", G_TYPE_STRING,
                            gst_video_format_to_string(preferred->gst), nullptr);
        gst_caps_append(first, caps);
        caps = first;
    }
    if (!filterCaps) return caps;
    GstCaps* filtered =
        gst_caps_intersect_full(caps, const_cast<GstCaps*>(filterCaps), GST_CAPS_INTERSECT_FIRST);
    gst_caps_unref(caps);
    return filtered;
}

bool Session::Start() {
    {
        const Lock lock(mutex);
        isQuitting = isSeeking = false;
        mode = Mode::kGathering;
    }
    return gst_pad_start_task(srcPad, RunTask, this, nullptr);
}

void Session::Stop() {
    {
        const Lock lock(mutex);
        if (isQuitting) return;
        isQuitting = true;
        changed.notify_all();
    }
    (void)gst_pad_stop_task(srcPad);
    {
        const Lock lock(mutex);
        mode = Mode::kChanging;
    }
    CloseFilter();
    Lock lock(mutex);
    mode = Mode::kIdle;
    DropQueue();
    wantsRestart = isDrained = hasEnded = endIsPushed = isLive = false;
    capsArePushed = segmentIsPushed = false;
    nextIsDiscont = true;
    flow = GST_FLOW_OK;
    startDeadline.reset();
    gst_clear_caps(&outputCaps);
    output = {};
    master = nullptr;
    framesTaken = framesSkipped = segmentTime = 0;
    lastStamp = GST_CLOCK_TIME_NONE;
    for (const auto& stream : streams) {
        gst_clear_buffer(&stream->lastFrame.buffer);
        stream->format = {};
        stream->isConverted = stream->hasReadBorder = stream->isStillRefused = false;
        stream->borderColour.reset();
        stream->typeIsKnown = stream->hasEnded = stream->isUnlinked = stream->wasLost = false;
        stream->isAligned = stream->isHeld = stream->mayShift = false;
        stream->shift = stream->lastStop = 0;
        stream->counts = {};
        stream->health = PadHealth::kWaiting;
    }
    changed.notify_all();
}

// A flushing seek: the filter stops, and starts with what comes after it.
void Session::BeginSeek() {
    const Lock lock(mutex);
    if (isQuitting) return;
    isSeeking = true;
    changed.notify_all();
}

void Session::AwaitHalt() {
    Lock lock(mutex);
    changed.wait(lock, [&] { return isQuitting || mode == Mode::kGathering; });
    flow = GST_FLOW_OK;
}

void Session::EndSeek(GstClockTime position) {
    const Lock lock(mutex);
    DropQueue();
    isSeeking = hasEnded = endIsPushed = segmentIsPushed = false;
    nextIsDiscont = true;
    flow = GST_FLOW_OK;
    segmentTime = position;
    lastStamp = GST_CLOCK_TIME_NONE;
    startDeadline = std::chrono::steady_clock::now() + kStartPatience;
    changed.notify_all();
}

void Session::AddLatency(bool upstreamIsLive, GstClockTime* min, GstClockTime* max) {
    const Lock lock(mutex);
    if (!upstreamIsLive) return;
    const GstClockTime period = output.IsSet() ? grid.DurationOf(0) : kUnknownDuration;
    int longestWait = 0;
    for (const auto& stream : streams)
        longestWait = std::max(longestWait, stream->settings.maxWait);
    const GstClockTime own = period * static_cast<guint64>(1 + longestWait) + settings.latency;
    *min += own;
    if (GST_CLOCK_TIME_IS_VALID(*max)) *max += own;
}

bool Session::Position(GstClockTime* position) const {
    const Lock lock(mutex);
    if (!GST_CLOCK_TIME_IS_VALID(lastStamp)) return false;
    *position = lastStamp + segmentTime;
    return true;
}

}  // namespace qdvm
