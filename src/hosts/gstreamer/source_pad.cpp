#include "hosts/gstreamer/source_pad.h"

#include "hosts/gstreamer/element.h"
#include "hosts/gstreamer/log.h"

#include <algorithm>
#include <vector>

namespace qdvm {
namespace {

// With a reference each.
std::vector<GstPad*> SinkPads(GstElement* element) {
    std::vector<GstPad*> pads;
    GST_OBJECT_LOCK(element);
    for (GList* entry = element->sinkpads; entry; entry = entry->next)
        pads.push_back(GST_PAD(gst_object_ref(entry->data)));
    GST_OBJECT_UNLOCK(element);
    return pads;
}

bool AnswerLatency(GstPad* pad, GstObject* parent, GstQuery* query) {
    if (!gst_pad_query_default(pad, parent, query)) return false;
    gboolean isLive = FALSE;
    GstClockTime min = 0;
    GstClockTime max = GST_CLOCK_TIME_NONE;
    gst_query_parse_latency(query, &isLive, &min, &max);
    GST_QD_VIDEO_MIXER(parent)->session->AddLatency(isLive, &min, &max);
    gst_query_set_latency(query, isLive, min, max);
    return true;
}

// As long as the longest input.
bool AnswerDuration(GstObject* parent, GstQuery* query) {
    GstFormat format = GST_FORMAT_UNDEFINED;
    gst_query_parse_duration(query, &format, nullptr);
    if (format != GST_FORMAT_TIME) return false;
    gint64 longest = -1;
    for (GstPad* sink : SinkPads(GST_ELEMENT(parent))) {
        gint64 duration = -1;
        if (gst_pad_peer_query_duration(sink, GST_FORMAT_TIME, &duration))
            longest = std::max(longest, duration);
        gst_object_unref(sink);
    }
    if (longest >= 0) gst_query_set_duration(query, GST_FORMAT_TIME, longest);
    return longest >= 0;
}

bool AnswerPosition(GstObject* parent, GstQuery* query) {
    GstFormat format = GST_FORMAT_UNDEFINED;
    gst_query_parse_position(query, &format, nullptr);
    GstClockTime position = 0;
    if (format != GST_FORMAT_TIME || !GST_QD_VIDEO_MIXER(parent)->session->Position(&position))
        return false;
    gst_query_set_position(query, GST_FORMAT_TIME, static_cast<gint64>(position));
    return true;
}

gboolean HandleQuery(GstPad* pad, GstObject* parent, GstQuery* query) {
    switch (GST_QUERY_TYPE(query)) {
        case GST_QUERY_LATENCY:
            return AnswerLatency(pad, parent, query);
        case GST_QUERY_DURATION:
            return AnswerDuration(parent, query);
        case GST_QUERY_POSITION:
            return AnswerPosition(parent, query);
        case GST_QUERY_CAPS: {
            GstCaps* filter = nullptr;
            gst_query_parse_caps(query, &filter);
            GstCaps* caps = gst_pad_get_current_caps(pad);
            if (!caps) caps = gst_pad_get_pad_template_caps(pad);
            if (filter) {
                GstCaps* both = gst_caps_intersect_full(filter, caps, GST_CAPS_INTERSECT_FIRST);
                gst_caps_unref(caps);
                caps = both;
            }
            gst_query_set_caps_result(query, caps);
            gst_caps_unref(caps);
            return TRUE;
        }
        default:
            return gst_pad_query_default(pad, parent, query);
    }
}

// To every input; done if one of them could.
bool SeekInputs(GstElement* element, GstEvent* event) {
    bool anyDone = false;
    for (GstPad* sink : SinkPads(element)) {
        if (gst_pad_push_event(sink, gst_event_ref(event))) anyDone = true;
        gst_object_unref(sink);
    }
    return anyDone;
}

bool Seek(GstPad* pad, GstObject* parent, GstEvent* event) {
    gdouble rate = 1;
    GstFormat format = GST_FORMAT_UNDEFINED;
    GstSeekFlags flags = GST_SEEK_FLAG_NONE;
    GstSeekType startType = GST_SEEK_TYPE_NONE;
    gint64 start = 0;
    gst_event_parse_seek(event, &rate, &format, &flags, &startType, &start, nullptr, nullptr);
    if (rate <= 0 || format != GST_FORMAT_TIME) return false;
    if ((flags & GST_SEEK_FLAG_FLUSH) == 0) return SeekInputs(GST_ELEMENT(parent), event);

    Session& session = *GST_QD_VIDEO_MIXER(parent)->session;
    const guint32 seqnum = gst_event_get_seqnum(event);
    GstEvent* flushStart = gst_event_new_flush_start();
    gst_event_set_seqnum(flushStart, seqnum);
    session.BeginSeek();
    (void)gst_pad_push_event(pad, flushStart);
    session.AwaitHalt();
    const bool isDone = SeekInputs(GST_ELEMENT(parent), event);
    GstEvent* flushStop = gst_event_new_flush_stop(TRUE);
    gst_event_set_seqnum(flushStop, seqnum);
    (void)gst_pad_push_event(pad, flushStop);
    const bool isPlaced = startType == GST_SEEK_TYPE_SET && start > 0;
    session.EndSeek(isPlaced ? static_cast<GstClockTime>(start) : 0);
    return isDone;
}

gboolean HandleEvent(GstPad* pad, GstObject* parent, GstEvent* event) {
    switch (GST_EVENT_TYPE(event)) {
        case GST_EVENT_SEEK: {
            const bool isDone = Seek(pad, parent, event);
            gst_event_unref(event);
            return isDone;
        }
        case GST_EVENT_QOS:
            // The grid is the same for every input: there is nothing to hurry.
            gst_event_unref(event);
            return TRUE;
        case GST_EVENT_NAVIGATION:
            gst_event_unref(event);
            return FALSE;
        default:
            return gst_pad_event_default(pad, parent, event);
    }
}

gboolean Activate(GstPad*, GstObject* parent, GstPadMode mode, gboolean active) {
    if (mode != GST_PAD_MODE_PUSH) return FALSE;
    Session& session = *GST_QD_VIDEO_MIXER(parent)->session;
    if (active) return session.Start();
    session.Stop();
    return TRUE;
}

}  // namespace

void PrepareSourcePad(GstPad* pad) {
    gst_pad_use_fixed_caps(pad);
    gst_pad_set_query_function(pad, HandleQuery);
    gst_pad_set_event_function(pad, HandleEvent);
    gst_pad_set_activatemode_function(pad, Activate);
}

}  // namespace qdvm
