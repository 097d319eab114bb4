// The session's sink side: from a buffer on a pad to a sample in the filter, at its place in time.

#include "frames/format_table.h"
#include "hosts/gstreamer/log.h"
#include "hosts/gstreamer/session.h"

#include <algorithm>

namespace qdvm {
namespace {

constexpr GstClockTime kNsPerUnit = 100;

// A stream that is late for this long is shown late rather than not at all, us.
constexpr gint64 kLongestLateness = 2 * G_USEC_PER_SEC;

constexpr std::chrono::milliseconds kPoll{5};
constexpr std::chrono::milliseconds kHoldPoll{20};

std::int64_t FloorDiv(std::int64_t value, std::int64_t divisor) {
    const std::int64_t quotient = value / divisor;
    return value % divisor < 0 ? quotient - 1 : quotient;
}

// The filter was stopped while the sample was on its way; no fault of the stream.
bool IsStopped(HRESULT result) {
    return result == VFW_E_WRONG_STATE || result == VFW_E_NOT_RUNNING ||
           result == VFW_E_NOT_CONNECTED;
}

}  // namespace

bool Session::TakeCaps(PadStream& stream, GstCaps* caps) {
    StreamFormat format;
    std::string reason;
    if (!ReadCaps(caps, &format, &reason)) {
        gchar* text = gst_caps_to_string(caps);
        GST_ELEMENT_ERROR(element, STREAM, FORMAT,
                          ("%s: can't mix this video", GST_PAD_NAME(stream.pad)),
                          ("%s: %s", reason.c_str(), text));
        g_free(text);
        return false;
    }
    const Lock lock(mutex);
    stream.format = format;
    stream.typeIsKnown = false;
    if (!startDeadline && mode == Mode::kGathering)
        startDeadline = std::chrono::steady_clock::now() + kStartPatience;
    changed.notify_all();
    return true;
}

bool Session::TakeSegment(PadStream& stream, const GstSegment& segment) {
    if (segment.format != GST_FORMAT_TIME) {
        GST_ELEMENT_ERROR(element, STREAM, FORMAT,
                          ("%s: the stream is not in time", GST_PAD_NAME(stream.pad)),
                          ("segment in %s", gst_format_get_name(segment.format)));
        return false;
    }
    if (segment.rate < 0) {
        GST_ELEMENT_ERROR(element, STREAM, FAILED,
                          ("%s: can't mix a stream that runs backwards", GST_PAD_NAME(stream.pad)),
                          ("rate %f", segment.rate));
        return false;
    }
    const Lock lock(mutex);
    stream.segment = segment;
    return true;
}

FrameSpan Session::SpanOf(PadStream& stream, GstBuffer* buffer, bool* isInside) const {
    const GstSegment& segment = stream.segment;
    GstClockTime start = GST_BUFFER_PTS(buffer);
    GstClockTime duration = GST_BUFFER_DURATION(buffer);
    if (!GST_CLOCK_TIME_IS_VALID(duration) || duration == 0)
        duration = static_cast<GstClockTime>(stream.format.period) * kNsPerUnit;
    *isInside = true;
    FrameSpan span{stream.lastStop, stream.lastStop};
    if (GST_CLOCK_TIME_IS_VALID(start) && segment.format == GST_FORMAT_TIME) {
        guint64 stop = start + duration;
        if (!gst_segment_clip(&segment, GST_FORMAT_TIME, start, std::max(stop, start + 1), &start,
                              &stop)) {
            *isInside = false;
            return span;
        }
        span.start = static_cast<GstClockTimeDiff>(
            gst_segment_to_running_time(&segment, GST_FORMAT_TIME, start));
        span.stop = static_cast<GstClockTimeDiff>(
            gst_segment_to_running_time(&segment, GST_FORMAT_TIME, stop));
    } else {
        span.stop = span.start + static_cast<GstClockTimeDiff>(duration);
    }
    return span;
}

GstFlowReturn Session::TakeBuffer(PadStream& stream, GstBuffer* buffer) {
    GstFlowReturn result = GST_FLOW_OK;
    if (!stream.format.IsSet()) {
        result = GST_FLOW_NOT_NEGOTIATED;
    } else {
        bool isInside = false;
        const FrameSpan span = SpanOf(stream, buffer, &isInside);
        if (isInside) {
            stream.lastStop = span.stop;
            result = Deliver(stream, buffer, span);
        }
    }
    gst_buffer_unref(buffer);
    return result;
}

GstFlowReturn Session::TakeGap(PadStream& stream, GstClockTime start, GstClockTime duration) {
    const GstSegment& segment = stream.segment;
    if (!stream.format.IsSet() || segment.format != GST_FORMAT_TIME) return GST_FLOW_OK;
    const guint64 begin = gst_segment_to_running_time(&segment, GST_FORMAT_TIME, start);
    if (!GST_CLOCK_TIME_IS_VALID(begin)) return GST_FLOW_OK;
    if (!GST_CLOCK_TIME_IS_VALID(duration))
        duration = static_cast<GstClockTime>(stream.format.period) * kNsPerUnit;
    const FrameSpan span{static_cast<GstClockTimeDiff>(begin),
                         static_cast<GstClockTimeDiff>(begin + duration)};
    stream.lastStop = span.stop;
    return Deliver(stream, nullptr, span);
}

std::optional<GstFlowReturn> Session::WayOut(const PadStream& stream) const {
    if (isQuitting || stream.isFlushing) return GST_FLOW_FLUSHING;
    if (flow != GST_FLOW_OK) return flow;
    return std::nullopt;
}

// A frame, or no buffer for the sign that none comes for a while. Returns when the filter has taken
// it in, or when there is a reason to give up.
GstFlowReturn Session::Deliver(PadStream& stream, GstBuffer* buffer, FrameSpan span) {
    Lock lock(mutex);
    if (buffer) ++stream.counts.in;
    stream.lastArrival = g_get_monotonic_time();
    HRESULT result = S_OK;
    for (bool isFilling = true; isFilling;) {
        stream.pending = span;
        changed.notify_all();
        const std::optional<Placement> placement = AwaitPlace(stream, lock);
        stream.pending.reset();
        stream.isHeld = false;
        if (!placement) return *WayOut(stream);
        if (placement == Placement::kDrop) {
            ++stream.counts.dropped;
            return GST_FLOW_OK;
        }
        if (placement == Placement::kAlign) {
            stream.isAligned = true;
            stream.mayShift = false;
            stream.baseFrame = NextFrame();
            stream.nextSlot = 0;
        }
        isFilling = IsFarAhead(stream, span);
        if (isFilling) ++stream.counts.repeated;
        stream.isInReceive = true;
        const std::uint64_t slot = stream.nextSlot;
        lock.unlock();
        if (placement == Placement::kAlign) (void)stream.pin->SendNewSegment();
        if (isFilling) {
            SendHeld(stream, slot);
        } else {
            result = Send(stream, buffer, span);
        }
        lock.lock();
        stream.isInReceive = false;
        stream.lastArrival = g_get_monotonic_time();
        changed.notify_all();
        if (const auto out = WayOut(stream)) return *out;
    }
    const bool isRefused = Failed(result) && !IsStopped(result);
    if (isRefused) ++stream.counts.dropped;
    const bool isNews = isRefused && !stream.isRefused;
    stream.isRefused = isRefused;
    lock.unlock();
    // A frame that can't be used is no reason to stop the others.
    if (isNews)
        GST_ELEMENT_WARNING(
            element, STREAM, MUX,
            ("%s: a frame can't be mixed and is left out", GST_PAD_NAME(stream.pad)),
            ("result 0x%08x, %" G_GSIZE_FORMAT " bytes", static_cast<unsigned>(result),
             buffer ? gst_buffer_get_size(buffer) : 0));
    return GST_FLOW_OK;
}

// Waits until the pending frame can go in or has to go; none if there is a reason to give up.
std::optional<Session::Placement> Session::AwaitPlace(PadStream& stream, Lock& lock) {
    while (!WayOut(stream)) {
        if (mode != Mode::kRunning || stream.streamNumber < 0) {
            if (mode == Mode::kRunning && !wantsRestart) {
                wantsRestart = true;
                changed.notify_all();
            }
            changed.wait(lock);
            continue;
        }
        if (stream.isInReceive) {
            // The picture from before is being keyed anew.
            changed.wait(lock);
            continue;
        }
        const Placement placement = Place(stream, *stream.pending);
        if (placement != Placement::kHold) return placement;
        Hold(stream, lock);
    }
    return std::nullopt;
}

// Where the frame belongs. Needs the mutex.
Session::Placement Session::Place(PadStream& stream, const FrameSpan& span) {
    if (stream.settings.ignoresTime) return Placement::kDeliver;
    const REFERENCE_TIME period = grid.Period();
    const REFERENCE_TIME start = grid.Snap(grid.ToMixer(span.start + stream.shift));
    const REFERENCE_TIME stop = grid.Snap(grid.ToMixer(span.stop + stream.shift));
    if (master) {
        // The master's stamps drive the output; the others keep up with it.
        const bool isAhead = &stream != master && start >= masterPosition + period;
        return isAhead && !master->hasEnded ? Placement::kHold : Placement::kDeliver;
    }
    const auto next = static_cast<std::int64_t>(NextFrame());
    const std::int64_t slot = FloorDiv(start, period);
    const VM_STREAM_STATUS now = StatusOf(stream.streamNumber);
    if (stream.isAligned && !stream.isHeld && !now.bLost) {
        // Output frames that went by between the look at the grid and the store.
        if (now.nGridLag > static_cast<std::int64_t>(stream.baseFrame))
            stream.baseFrame = static_cast<std::uint64_t>(now.nGridLag);
        const auto ownNext = static_cast<std::int64_t>(stream.baseFrame + stream.nextSlot);
        if (next <= ownNext + 1) {
            stream.lateSince = 0;
            return Placement::kDeliver;
        }
    }
    if (stop <= next * period) {
        if (!ShiftIfLate(stream, next * period - start)) return Placement::kDrop;
        return Placement::kAlign;
    }
    stream.lateSince = 0;
    // With a picture to show meanwhile the stream stays in step up to this one.
    return slot > next && !stream.hasPicture ? Placement::kHold : Placement::kAlign;
}

// Whether slots are left out before the frame. They are filled one by one with the picture from
// before: a frame that waited in the filter for a slot far ahead would have all slots up to there
// composed at once when the filter is drained. Needs the mutex.
bool Session::IsFarAhead(const PadStream& stream, const FrameSpan& span) const {
    if (!stream.hasPicture || master || stream.settings.ignoresTime) return false;
    const REFERENCE_TIME start = grid.Snap(grid.ToMixer(span.start + stream.shift));
    const auto own = static_cast<REFERENCE_TIME>(stream.baseFrame + stream.nextSlot);
    return start >= (own + 1) * grid.Period();
}

// Whether a stream whose frames come too late is shown all the same from here on. Needs the mutex.
bool Session::ShiftIfLate(PadStream& stream, REFERENCE_TIME late) {
    const gint64 now = g_get_monotonic_time();
    if (!stream.mayShift && stream.lateSince == 0) stream.lateSince = now;
    if (!stream.mayShift && now - stream.lateSince < kLongestLateness) return false;
    const auto shift = static_cast<GstClockTimeDiff>(late) * static_cast<int>(kNsPerUnit);
    GST_INFO_OBJECT(stream.pad, "shown %" GST_STIME_FORMAT " later than stamped",
                    GST_STIME_ARGS(shift));
    stream.shift += shift;
    stream.lateSince = 0;
    return true;
}

// The output has to reach the frame first; the others go on meanwhile.
void Session::Hold(PadStream& stream, Lock& lock) {
    if (!stream.isHeld && !master) {
        stream.isHeld = true;
        const int number = stream.streamNumber;
        const eVM_LostShow show = stream.settings.lostShow;
        lock.unlock();
        (void)mixer->SetStreamLost(number, show);
        lock.lock();
        return;
    }
    (void)changed.wait_for(lock, kHoldPoll);
}

void Session::FollowFields(PadStream& stream, GstBuffer* buffer) {
    const eVM_Interlace fields = InterlaceOf(stream.format.info, buffer);
    if (fields == stream.format.props.eInterlace) return;
    const Lock lock(mutex);
    stream.format.props.eInterlace = fields;
    stream.typeIsKnown = false;
}

// Outside of the mutex, with the stream marked as in Receive.
HRESULT Session::Send(PadStream& stream, GstBuffer* buffer, FrameSpan span) {
    if (buffer) FollowFields(stream, buffer);
    if (buffer) FollowKey(stream);
    std::int32_t rowWidth = stream.typeRowWidth;
    HeldFrame frame;
    const Ref<WrappedSample> sample = WrapBuffer(stream, buffer, &rowWidth, &frame);
    if (!sample) {
        gst_clear_buffer(&frame.buffer);
        return VFW_E_BUFFER_OVERFLOW;
    }
    const bool changesType = buffer && (!stream.typeIsKnown || rowWidth != stream.typeRowWidth);
    if (changesType) {
        MediaType type;
        HRESULT result = BuildStreamType(MixedFormatOf(stream), rowWidth, &type);
        if (Succeeded(result))
            result = sample->SetMediaType(const_cast<AM_MEDIA_TYPE*>(&type.Get()));
        if (Failed(result)) {
            gst_clear_buffer(&frame.buffer);
            return result;
        }
    }
    REFERENCE_TIME start = 0;
    REFERENCE_TIME stop = 0;
    {
        const Lock lock(mutex);
        const REFERENCE_TIME base =
            master ? 0 : static_cast<REFERENCE_TIME>(stream.baseFrame) * grid.Period();
        start = grid.Snap(grid.ToMixer(span.start + stream.shift)) - base;
        stop = std::max(grid.Snap(grid.ToMixer(span.stop + stream.shift)) - base, start + 2);
        if (changesType && !stream.typeIsKnown)
            FollowSize(stream, master ? 0 : stream.baseFrame + stream.nextSlot);
        stream.typeIsKnown = stream.typeIsKnown || changesType;
        if (changesType) stream.typeRowWidth = rowWidth;
    }
    (void)sample->SetTime(&start, &stop);
    if (buffer)
        (void)sample->SetDiscontinuity(GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DISCONT));
    const HRESULT result = stream.pin->Send(sample.Get());
    if (Succeeded(result)) {
        const Lock lock(mutex);
        if (CountSlot(stream, sample.Get()) && buffer) {
            stream.hasPicture = true;
            std::swap(frame, stream.lastFrame);
        }
    }
    gst_clear_buffer(&frame.buffer);
    return result;
}

// Whether the filter has stored the sample, and which slot is next. Needs the mutex.
bool Session::CountSlot(PadStream& stream, IMediaSample* sample) const {
    // Without a place on the grid none is told.
    if (master || stream.settings.ignoresTime) return true;
    LONGLONG slot = 0;
    LONGLONG nextSlot = 0;
    if (Failed(sample->GetMediaTime(&slot, &nextSlot))) return false;
    stream.nextSlot = static_cast<std::uint64_t>(nextSlot);
    return true;
}

// A sample in the format that the mixer is told of. rowWidth is set to that of the layout, frame to
// the memory, with a reference.
Ref<WrappedSample> Session::WrapBuffer(PadStream& stream, GstBuffer* buffer, std::int32_t* rowWidth,
                                       HeldFrame* frame) {
    Ref<WrappedSample> sample = WrapAsItIs(stream, buffer, rowWidth, frame);
    if (!sample || !buffer) return sample;
    PIC_PROPS picture = stream.format.props.picProps;
    picture.nRowWidth = *rowWidth;
    ReadKeyColour(stream, sample.Get(), picture);
    if (!stream.isConverted) return sample;
    *rowWidth = picture.nWidth;
    return ConvertForKey(stream, sample.Get(), picture, frame);
}

// A sample over the buffer's own memory where the mixer can express its layout, over a copy
// otherwise.
Ref<WrappedSample> Session::WrapAsItIs(PadStream& stream, GstBuffer* buffer, std::int32_t* rowWidth,
                                       HeldFrame* frame) {
    Ref<WrappedSample> sample = stream.samples->Take();
    if (!sample || !buffer) return sample;
    PIC_PROPS picture = stream.format.props.picProps;
    const PlanePlaces places = PlacesOf(buffer, stream.format.info);
    if (const auto found = RowWidthOf(stream.format, places)) {
        picture.nRowWidth = *found;
        if (sample->Wrap(buffer, places.offset[0], FrameBytes(picture))) {
            *rowWidth = *found;
            *frame = {gst_buffer_ref(buffer), places.offset[0], FrameBytes(picture)};
            return sample;
        }
    }
    GST_LOG_OBJECT(stream.pad, "copying a frame into the mixer's layout");
    GstBuffer* copy = CopyToMixerLayout(stream, buffer);
    if (!copy) return {};
    picture.nRowWidth = picture.nWidth;
    const bool isWrapped = sample->Wrap(copy, 0, FrameBytes(picture));
    *frame = {copy, 0, FrameBytes(picture)};
    *rowWidth = picture.nWidth;
    return isWrapped ? sample : Ref<WrappedSample>();
}

GstBuffer* Session::CopyToMixerLayout(PadStream& stream, GstBuffer* buffer) {
    const PIC_PROPS& picture = stream.format.props.picProps;
    GstBuffer* copy = gst_buffer_new_allocate(nullptr, FrameBytes(picture), nullptr);
    GstVideoFrame from;
    GstMapInfo to;
    if (!copy || !gst_video_frame_map(&from, const_cast<GstVideoInfo*>(&stream.format.info), buffer,
                                      GST_MAP_READ)) {
        gst_clear_buffer(&copy);
        return nullptr;
    }
    if (gst_buffer_map(copy, &to, GST_MAP_WRITE)) {
        CopyFrame(stream.format, from, to.data, MixerPlaces(stream.format, picture.nWidth));
        gst_buffer_unmap(copy, &to);
    } else {
        gst_clear_buffer(&copy);
    }
    gst_video_frame_unmap(&from);
    return copy;
}

void Session::ForgetPicture(PadStream& stream) {
    HeldFrame frame;
    {
        const Lock lock(mutex);
        std::swap(frame, stream.lastFrame);
    }
    gst_clear_buffer(&frame.buffer);
}

void Session::TakeEndOfStream(PadStream& stream) {
    Lock lock(mutex);
    changed.wait(lock, [&] { return !stream.isInReceive || WayOut(stream); });
    if (WayOut(stream)) return;
    const int number = stream.streamNumber;
    if (mode == Mode::kRunning && number >= 0) {
        stream.isInReceive = true;
        lock.unlock();
        (void)stream.pin->SendEndOfStream();
        lock.lock();
        stream.isInReceive = false;
        // A stream that is started over has no end.
        stream.hasEnded = StatusOf(number).bEnded != 0 || mode != Mode::kRunning;
    } else {
        stream.hasEnded = true;
    }
    if (&stream == master) hasEnded = true;
    changed.notify_all();
}

// An upstream begins, or begins again.
void Session::BeginStream(PadStream& stream) {
    Lock lock(mutex);
    if (!stream.hasEnded && !stream.isUnlinked) return;
    stream.hasEnded = stream.isUnlinked = false;
    stream.isAligned = stream.isHeld = stream.hasPicture = false;
    const int number = stream.streamNumber;
    const PadSettings pad = stream.settings;
    lock.unlock();
    if (number < 0) return;
    (void)mixer->FlushBuffers(number);
    ApplyStreamPolicy(number, pad);
}

void Session::BeginFlush(PadStream& stream) {
    Lock lock(mutex);
    stream.isFlushing = true;
    changed.notify_all();
    WaitUntilOut(stream, lock);
}

void Session::EndFlush(PadStream& stream, bool begins) {
    Lock lock(mutex);
    stream.isFlushing = false;
    stream.hasEnded = stream.isUnlinked = false;
    stream.isAligned = stream.isHeld = stream.hasPicture = false;
    stream.mayShift = !isSeeking && !begins;
    if (isSeeking || begins) stream.shift = 0;
    stream.lateSince = 0;
    stream.lastStop = 0;
    stream.pending.reset();
    const int number = mode == Mode::kRunning ? stream.streamNumber : -1;
    lock.unlock();
    ForgetPicture(stream);
    if (number >= 0) (void)mixer->FlushBuffers(number);
}

// The streaming thread of the pad leaves the filter; needs the reason for that to be set.
void Session::WaitUntilOut(PadStream& stream, Lock& lock) {
    while (stream.isInReceive) {
        const int number = stream.streamNumber;
        lock.unlock();
        if (number >= 0) (void)mixer->FlushBuffers(number);
        lock.lock();
        if (stream.isInReceive) (void)changed.wait_for(lock, kPoll);
    }
}

void Session::Unlink(PadStream& stream) {
    Lock lock(mutex);
    if (stream.isUnlinked) return;
    stream.isUnlinked = true;
    const int number = mode == Mode::kRunning ? stream.streamNumber : -1;
    const PadSettings pad = stream.settings;
    changed.notify_all();
    lock.unlock();
    if (number < 0) return;
    // Nobody is there any more who could start it over.
    (void)mixer->LoopStream(number, 0, pad.stopsAll);
    (void)stream.pin->SendEndOfStream();
    (void)mixer->SetStreamLost(number, pad.lostShow);
}

}  // namespace qdvm
