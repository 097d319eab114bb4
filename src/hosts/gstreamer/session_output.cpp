// The session's output: from the filter's samples to buffers on the source pad, and the task that
// pushes them.

#include "hosts/gstreamer/log.h"
#include "hosts/gstreamer/session.h"

#include <algorithm>
#include <cstring>

namespace qdvm {
namespace {

// Buffers that wait for the task.
constexpr std::size_t kQueueLength = 2;

// With fewer buffers than this left to the filter, downstream gets copies: an encoder that looks
// ahead must not stop the output.
constexpr LONG kLeastFreeBuffers = 3;

constexpr std::chrono::milliseconds kHealthPeriod{100};

constexpr REFERENCE_TIME kNsPerUnit = 100;

void ReleaseSample(gpointer sample) { (void)static_cast<IMediaSample*>(sample)->Release(); }

}  // namespace

// Memory of the sample, which goes back to its allocator when the buffer goes; a copy if the filter
// runs short. Null if memory is short.
GstBuffer* Session::MakeBuffer(IMediaSample* sample) {
    BYTE* data = nullptr;
    const LONG length = sample->GetActualDataLength();
    if (Failed(sample->GetPointer(&data)) || length < static_cast<LONG>(outputBytes))
        return nullptr;
    const bool mustCopy =
        (outputNeedsMeta && !downstreamReadsMeta) || outputPin->FreeBuffers() < kLeastFreeBuffers;
    if (mustCopy) return CopyOut(data, outputBytes);
    (void)sample->AddRef();
    // The filter keeps its last frame, so nobody may write into it.
    GstMemory* memory =
        gst_memory_new_wrapped(GST_MEMORY_FLAG_READONLY, data, static_cast<gsize>(length), 0,
                               outputBytes, sample, ReleaseSample);
    GstBuffer* buffer = gst_buffer_new();
    gst_buffer_append_memory(buffer, memory);
    if (outputNeedsMeta)
        (void)gst_buffer_add_video_meta_full(
            buffer, GST_VIDEO_FRAME_FLAG_NONE, GST_VIDEO_INFO_FORMAT(&output.info),
            static_cast<guint>(GST_VIDEO_INFO_WIDTH(&output.info)),
            static_cast<guint>(GST_VIDEO_INFO_HEIGHT(&output.info)),
            static_cast<guint>(outputPlaces.count), outputPlaces.offset, outputPlaces.stride);
    return buffer;
}

// In the layout that the caps alone tell.
GstBuffer* Session::CopyOut(const BYTE* data, gsize length) {
    const GstVideoInfo& info = output.info;
    const gsize size = outputNeedsMeta ? GST_VIDEO_INFO_SIZE(&info) : length;
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, size, nullptr);
    GstMapInfo map;
    if (!buffer || !gst_buffer_map(buffer, &map, GST_MAP_WRITE)) {
        gst_clear_buffer(&buffer);
        return nullptr;
    }
    if (!outputNeedsMeta) {
        std::memcpy(map.data, data, length);
    } else {
        for (int plane = 0; plane < outputPlaces.count; ++plane) {
            const int lines = GST_VIDEO_INFO_COMP_HEIGHT(&info, plane);
            const BYTE* from = data + outputPlaces.offset[plane];
            BYTE* to = map.data + GST_VIDEO_INFO_PLANE_OFFSET(&info, plane);
            const int toStride = GST_VIDEO_INFO_PLANE_STRIDE(&info, plane);
            const int rowBytes = std::min(outputPlaces.stride[plane], toStride);
            for (int line = 0; line < lines; ++line) {
                std::memcpy(to, from, static_cast<std::size_t>(rowBytes));
                from += outputPlaces.stride[plane];
                to += toStride;
            }
        }
    }
    gst_buffer_unmap(buffer, &map);
    return buffer;
}

void Session::MarkBuffer(GstBuffer* buffer) const {
    if (output.props.eInterlace == eVMI_Progressive) return;
    GST_BUFFER_FLAG_SET(buffer, GST_VIDEO_BUFFER_FLAG_INTERLACED);
    if (output.props.eInterlace != eVMI_Field2First)
        GST_BUFFER_FLAG_SET(buffer, GST_VIDEO_BUFFER_FLAG_TFF);
}

// The frame's place in time. False if it lies before the output's begin. Needs the mutex.
bool Session::Stamp(GstBuffer* buffer, IMediaSample* sample) {
    LONGLONG number = 0;
    LONGLONG nextNumber = 0;
    if (Succeeded(sample->GetMediaTime(&number, &nextNumber))) {
        const auto frame = static_cast<std::uint64_t>(number);
        SkipIfLate(frame);
        GST_BUFFER_PTS(buffer) = grid.StampOf(frame);
        GST_BUFFER_DURATION(buffer) = grid.DurationOf(frame);
        framesTaken = frame + 1;
    } else {
        // A master's frame has no number, but the master's times.
        REFERENCE_TIME start = 0;
        REFERENCE_TIME stop = 0;
        if (Failed(sample->GetTime(&start, &stop)) || start < 0) return false;
        GST_BUFFER_PTS(buffer) = grid.StampOf(0) + static_cast<guint64>(start * kNsPerUnit);
        GST_BUFFER_DURATION(buffer) = static_cast<guint64>((stop - start) * kNsPerUnit);
        masterPosition = stop;
        framesTaken = static_cast<std::uint64_t>((stop + grid.Period() / 2) / grid.Period());
    }
    if (std::exchange(nextIsDiscont, false)) GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DISCONT);
    return true;
}

// A live output that has fallen behind for good leaves frames out rather than staying late. Needs
// the mutex.
void Session::SkipIfLate(std::uint64_t frame) {
    if (!isLive || !clock->IsPlaying()) return;
    GstClockTime allowed = upstreamLatency + settings.latency + grid.DurationOf(frame);
    for (const auto& stream : streams)
        allowed = std::max(allowed, upstreamLatency + settings.latency +
                                        grid.DurationOf(frame) *
                                            static_cast<guint64>(1 + stream->settings.maxWait));
    const GstClockTime due = grid.StampOf(frame) + allowed;
    const GstClockTime now = clock->RunningTime();
    if (now <= due + grid.DurationOf(frame)) return;
    const guint64 frames = (now - due) / grid.DurationOf(frame);
    GST_INFO_OBJECT(element, "late, leaving out %" G_GUINT64_FORMAT " frames", frames);
    grid.Advance(frames);
    framesSkipped += frames;
    nextIsDiscont = true;
}

HRESULT Session::TakeFrame(IMediaSample* sample) {
    GstBuffer* buffer = MakeBuffer(sample);
    Lock lock(mutex);
    changed.wait(lock, [&] {
        return queue.size() < kQueueLength || mode != Mode::kRunning || isQuitting || isSeeking ||
               flow != GST_FLOW_OK;
    });
    const bool isWanted = !isQuitting && !isSeeking && flow == GST_FLOW_OK;
    if (!buffer || !isWanted || !Stamp(buffer, sample)) {
        lock.unlock();
        gst_clear_buffer(&buffer);
        return isWanted ? S_OK : S_FALSE;
    }
    MarkBuffer(buffer);
    queue.push_back(buffer);
    changed.notify_all();
    return S_OK;
}

void Session::TakeEnd() {
    const Lock lock(mutex);
    if (mode == Mode::kChanging) {
        isDrained = true;
    } else {
        // The last pad to leave ends nothing: another may come.
        hasEnded = hasEnded || std::ranges::any_of(streams, [](const auto& stream) {
                       return stream->streamNumber >= 0 && stream->hasEnded;
                   });
    }
    changed.notify_all();
}

void Session::DropQueue() {
    for (GstBuffer* buffer : queue) gst_buffer_unref(buffer);
    queue.clear();
}

void Session::RunTask(gpointer session) { static_cast<Session*>(session)->RunStep(); }

void Session::RunStep() {
    Lock lock(mutex);
    const Step step = NextStep(lock);
    lock.unlock();
    switch (step) {
        case Step::kNothing:
            break;
        case Step::kPush:
            PushNext();
            break;
        case Step::kStart:
            (void)StartFilter();
            break;
        case Step::kRestart:
            Restart();
            break;
        case Step::kKeyStill:
            KeyStills();
            break;
        case Step::kHalt:
            Halt();
            break;
        case Step::kEnd:
            PushEnd();
            break;
        case Step::kQuit:
            (void)gst_pad_pause_task(srcPad);
            return;
    }
    ReportHealth();
}

// Waits for something to do, not for ever: health changes by silence too.
Session::Step Session::NextStep(Lock& lock) {
    const auto limit = std::chrono::steady_clock::now() + kHealthPeriod;
    for (;;) {
        if (isQuitting) return Step::kQuit;
        const bool isRunning = mode == Mode::kRunning;
        if (isSeeking || flow != GST_FLOW_OK) {
            if (isRunning) return Step::kHalt;
        } else {
            // First, since a queue that is filled as fast as it is emptied never runs empty.
            if (isRunning && wantsRestart) return Step::kRestart;
            if (FindStillToKey()) return Step::kKeyStill;
            if (!queue.empty()) return Step::kPush;
            if (mode == Mode::kGathering && StartIsDue()) return Step::kStart;
            if (hasEnded && !endIsPushed) return Step::kEnd;
        }
        auto until = limit;
        if (mode == Mode::kGathering && startDeadline) until = std::min(until, *startDeadline);
        if (changed.wait_until(lock, until) == std::cv_status::timeout) return Step::kNothing;
    }
}

// What comes before the first buffer.
void Session::PushHead() {
    if (!capsArePushed) {
        gchar* id = g_strdup_printf("qdvideomixer-%08x%08x", g_random_int(), g_random_int());
        GstEvent* start = gst_event_new_stream_start(id);
        gst_event_set_group_id(start, gst_util_group_id_next());
        g_free(id);
        (void)gst_pad_push_event(srcPad, start);
        if (!gst_pad_push_event(srcPad, gst_event_new_caps(outputCaps)) &&
            !GST_PAD_IS_FLUSHING(srcPad))
            GST_WARNING_OBJECT(element, "downstream refused the output's caps");
        capsArePushed = true;
        GstQuery* query = gst_query_new_allocation(outputCaps, FALSE);
        downstreamReadsMeta =
            gst_pad_peer_query(srcPad, query) &&
            gst_query_find_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
        gst_query_unref(query);
    }
    if (!segmentIsPushed) {
        GstSegment segment;
        gst_segment_init(&segment, GST_FORMAT_TIME);
        {
            const Lock lock(mutex);
            segment.time = segmentTime;
        }
        (void)gst_pad_push_event(srcPad, gst_event_new_segment(&segment));
        segmentIsPushed = true;
    }
}

void Session::PushNext() {
    GstBuffer* buffer = nullptr;
    {
        const Lock lock(mutex);
        if (queue.empty()) return;
        buffer = queue.front();
        queue.pop_front();
        lastStamp = GST_BUFFER_PTS(buffer);
        changed.notify_all();
    }
    TakeFlow(gst_pad_push(srcPad, buffer));
}

void Session::PushEnd() {
    {
        const Lock lock(mutex);
        endIsPushed = true;
    }
    if (!capsArePushed && outputCaps) PushHead();
    (void)gst_pad_push_event(srcPad, gst_event_new_eos());
}

// What downstream said to the last buffer.
void Session::TakeFlow(GstFlowReturn result) {
    if (result >= GST_FLOW_OK) return;
    {
        const Lock lock(mutex);
        // A flush that the session itself has sent is over by the time of the next start.
        if (isQuitting || isSeeking) return;
        flow = result;
        changed.notify_all();
    }
    const bool isFailure = result == GST_FLOW_NOT_LINKED || result <= GST_FLOW_NOT_NEGOTIATED;
    if (isFailure) GST_ELEMENT_FLOW_ERROR(element, result);
    // Downstream that has had enough, too, waits for the end to be told by the one who drives it.
    if (isFailure || result == GST_FLOW_EOS) (void)gst_pad_push_event(srcPad, gst_event_new_eos());
}

void Session::Fail(const char* what, HRESULT result) {
    GST_ELEMENT_ERROR(element, STREAM, FAILED, ("%s", what),
                      ("result 0x%08x", static_cast<unsigned>(result)));
    const Lock lock(mutex);
    flow = GST_FLOW_ERROR;
    changed.notify_all();
}

}  // namespace qdvm
