#include "hosts/qdmix/raw_writer.h"

#include "hosts/qdmix/gst_handles.h"

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace qdvm::qdmix {

namespace {

constexpr guint kWaitingFrames = 2;

bool WritePlane(const GstVideoFrame& frame, guint plane) {
    // Components share a size with the plane of their number in all formats of the mixer.
    const auto rowBytes = static_cast<std::size_t>(GST_VIDEO_FRAME_COMP_WIDTH(&frame, plane)) *
                          GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, plane);
    const auto* row = static_cast<const guint8*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, plane));
    for (int y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, plane); ++y) {
        if (std::fwrite(row, 1, rowBytes, stdout) != rowBytes) {
            return false;
        }
        row += GST_VIDEO_FRAME_PLANE_STRIDE(&frame, plane);
    }
    return true;
}

bool WriteFrame(GstSample* sample) {
    GstVideoInfo info;
    GstVideoFrame frame;
    if (!gst_video_info_from_caps(&info, gst_sample_get_caps(sample)) ||
        !gst_video_frame_map(&frame, &info, gst_sample_get_buffer(sample), GST_MAP_READ)) {
        return false;
    }
    bool isWritten = true;
    for (guint plane = 0; isWritten && plane < GST_VIDEO_FRAME_N_PLANES(&frame); ++plane) {
        isWritten = WritePlane(frame, plane);
    }
    gst_video_frame_unmap(&frame);
    return isWritten;
}

GstFlowReturn OnSample(GstAppSink* sink, gpointer) {
    const GstHandle<GstSample> sample(gst_app_sink_pull_sample(sink));
    if (!sample) {
        return GST_FLOW_EOS;
    }
    if (!WriteFrame(sample.get())) {
        GST_ELEMENT_ERROR(sink, RESOURCE, WRITE, ("%s", std::strerror(errno)), (nullptr));
        return GST_FLOW_ERROR;
    }
    return GST_FLOW_OK;
}

}  // namespace

GstElement* MakeRawWriter() {
    GstElement* sink = MakeElement("appsink");
    if (sink != nullptr) {
        g_object_set(sink, "sync", FALSE, "max-buffers", kWaitingFrames, nullptr);
        GstAppSinkCallbacks callbacks = {};
        callbacks.new_sample = OnSample;
        gst_app_sink_set_callbacks(GST_APP_SINK(sink), &callbacks, nullptr, nullptr);
    }
    return sink;
}

}  // namespace qdvm::qdmix
