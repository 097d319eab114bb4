// The peer: GStreamer's compositor on the same pictures.

#include "bench.h"

#ifdef QDVM_BENCH_GSTREAMER

#include <gst/gst.h>
#include <gst/video/video.h>

#include <string>

namespace qdvm::bench {
namespace {

constexpr int kWarmUpFrames = 10;

// A source's still picture, twice for taking turns, and the time of its next frame.
struct Still {
    GstBuffer* pictures[kCopies] = {};
    int sent = 0;
    GstClockTime time = 0;
};

// fakesrc's empty buffers become the still picture, whose memory they share.
GstPadProbeReturn ShowStill(GstPad* /*pad*/, GstPadProbeInfo* info, gpointer data) {
    auto& still = *static_cast<Still*>(data);
    gst_buffer_unref(GST_PAD_PROBE_INFO_BUFFER(info));
    GstBuffer* const buffer = gst_buffer_copy(still.pictures[still.sent++ % kCopies]);
    GST_BUFFER_PTS(buffer) = still.time;
    GST_BUFFER_DURATION(buffer) = GST_SECOND / 25;
    still.time += GST_SECOND / 25;
    GST_PAD_PROBE_INFO_DATA(info) = buffer;
    return GST_PAD_PROBE_OK;
}

std::string CapsText(const char* format, std::int32_t width, std::int32_t height) {
    return std::string("video/x-raw,framerate=25/1,format=") + format +
           ",width=" + std::to_string(width) + ",height=" + std::to_string(height);
}

std::string PadText(const Shown& shown, std::size_t number) {
    const std::string pad = " sink_" + std::to_string(number) + "::";
    return pad + "xpos=" + std::to_string(shown.left) + pad + "ypos=" + std::to_string(shown.top) +
           pad + "width=" + std::to_string(shown.shownWidth) + pad +
           "height=" + std::to_string(shown.shownHeight) + pad +
           "alpha=" + std::to_string(shown.alpha);
}

std::string Describe(const Layout& layout, const char* format, int frames) {
    std::string text = "compositor name=mix background=black";
    for (std::size_t i = 0; i < layout.streams.size(); ++i) text += PadText(layout.streams[i], i);
    text += " ! " + CapsText(format, layout.outWidth, layout.outHeight) +
            " ! fakesink name=end sync=false";
    for (std::size_t i = 0; i < layout.streams.size(); ++i)
        text += " fakesrc name=src" + std::to_string(i) +
                " num-buffers=" + std::to_string(frames + kWarmUpFrames) +
                " format=time do-timestamp=false ! " +
                CapsText(format, layout.streams[i].width, layout.streams[i].height) +
                " ! mix.sink_" + std::to_string(i);
    return text;
}

GstBuffer* Picture(const Shown& shown, const char* format) {
    GstVideoInfo info;
    gst_video_info_set_format(&info, gst_video_format_from_string(format),
                              static_cast<guint>(shown.width), static_cast<guint>(shown.height));
    GstBuffer* const buffer = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
    gst_buffer_memset(buffer, 0, kPictureByte, GST_VIDEO_INFO_SIZE(&info));
    return buffer;
}

// Notes when the warm-up is over.
struct Counter {
    int frames = 0;
    double wall = 0;
    double cpu = 0;
};

GstPadProbeReturn Count(GstPad* /*pad*/, GstPadProbeInfo* /*info*/, gpointer data) {
    auto& counter = *static_cast<Counter*>(data);
    if (++counter.frames == kWarmUpFrames) {
        counter.wall = WallSeconds();
        counter.cpu = CpuSeconds();
    }
    return GST_PAD_PROBE_OK;
}

void Probe(GstElement* pipeline, const std::string& name, const char* padName,
           GstPadProbeCallback callback, gpointer data) {
    GstElement* const element = gst_bin_get_by_name(GST_BIN(pipeline), name.c_str());
    GstPad* const pad = gst_element_get_static_pad(element, padName);
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, callback, data, nullptr);
    gst_object_unref(pad);
    gst_object_unref(element);
}

}  // namespace

Spent MeasureCompositor(const Layout& layout, const char* format, int frames) {
    gst_init(nullptr, nullptr);
    GstElement* const pipeline =
        gst_parse_launch(Describe(layout, format, frames).c_str(), nullptr);
    if (!pipeline) return {};
    std::vector<Still> stills;
    for (const Shown& shown : layout.streams)
        stills.push_back({{Picture(shown, format), Picture(shown, format)}});
    for (std::size_t i = 0; i < stills.size(); ++i)
        Probe(pipeline, "src" + std::to_string(i), "src", ShowStill, &stills[i]);
    Counter counter;
    Probe(pipeline, "end", "sink", Count, &counter);
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstBus* const bus = gst_element_get_bus(pipeline);
    GstMessage* const message = gst_bus_timed_pop_filtered(
        bus, 120 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
    const bool isDone = message && GST_MESSAGE_TYPE(message) == GST_MESSAGE_EOS;
    const int counted = counter.frames - kWarmUpFrames;
    Spent spent{WallSeconds() - counter.wall, CpuSeconds() - counter.cpu};
    if (message) gst_message_unref(message);
    gst_object_unref(bus);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
    for (const Still& still : stills)
        for (GstBuffer* picture : still.pictures) gst_buffer_unref(picture);
    if (!isDone || counted < 1) return {};
    spent.wall *= static_cast<double>(frames) / counted;
    spent.cpu *= static_cast<double>(frames) / counted;
    return spent;
}

}  // namespace qdvm::bench

#else

namespace qdvm::bench {

Spent MeasureCompositor(const Layout&, const char*, int) { return {}; }

}  // namespace qdvm::bench

#endif
