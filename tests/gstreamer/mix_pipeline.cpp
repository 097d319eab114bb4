#include "gstreamer/mix_pipeline.h"

#include "hosts/gstreamer/plugin.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>

namespace qdvm::test {
namespace {

// Before the first test, whichever runs first.
class GStreamer : public testing::Environment {
public:
    void SetUp() override {
        gst_init(nullptr, nullptr);
        ASSERT_TRUE(RegisterQdVideoMixerElement(nullptr));
    }
};

[[maybe_unused]] const auto* const kGStreamer = testing::AddGlobalTestEnvironment(new GStreamer);

Frame ReadFrame(GstSample* sample) {
    Frame frame;
    GstBuffer* buffer = gst_sample_get_buffer(sample);
    frame.pts = GST_BUFFER_PTS(buffer);
    frame.duration = GST_BUFFER_DURATION(buffer);
    frame.flags = GST_BUFFER_FLAGS(buffer);
    (void)gst_video_info_from_caps(&frame.info, gst_sample_get_caps(sample));
    frame.data.resize(GST_VIDEO_INFO_SIZE(&frame.info));
    (void)gst_buffer_extract(buffer, 0, frame.data.data(), frame.data.size());
    return frame;
}

}  // namespace

std::string Caps(int width, int height, const char* more) {
    return "video/x-raw,format=BGRx,width=" + std::to_string(width) +
           ",height=" + std::to_string(height) + "," + more;
}

Source::Source(GstElement* pipeline, GstElement* mixer, const std::string& caps,
               const std::string& padName) {
    appsrc = gst_element_factory_make("appsrc", nullptr);
    g_object_set(appsrc, "format", GST_FORMAT_TIME, "max-bytes", guint64{0}, nullptr);
    SetCaps(caps);
    (void)gst_bin_add(GST_BIN(pipeline), appsrc);
    pad = gst_element_request_pad_simple(mixer, padName.c_str());
    GstPad* out = gst_element_get_static_pad(appsrc, "src");
    EXPECT_EQ(gst_pad_link(out, pad), GST_PAD_LINK_OK);
    gst_object_unref(out);
    gst_object_unref(pad);  // the mixer holds it
}

void Source::SetCaps(const std::string& text) {
    if (text.empty()) return;
    GstCaps* caps = gst_caps_from_string(text.c_str());
    g_object_set(appsrc, "caps", caps, nullptr);
    gst_caps_unref(caps);
}

void Source::SendBuffer(GstBuffer* buffer, GstClockTime pts, GstClockTime duration) {
    GST_BUFFER_PTS(buffer) = pts;
    GST_BUFFER_DURATION(buffer) = duration;
    GstFlowReturn result = GST_FLOW_OK;
    g_signal_emit_by_name(appsrc, "push-buffer", buffer, &result);
    gst_buffer_unref(buffer);
}

void Source::Send(int value, GstClockTime pts, GstClockTime duration) {
    GstCaps* caps = nullptr;
    g_object_get(appsrc, "caps", &caps, nullptr);
    GstVideoInfo info;
    ASSERT_TRUE(gst_video_info_from_caps(&info, caps));
    gst_caps_unref(caps);
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
    (void)gst_buffer_memset(buffer, 0, static_cast<guint8>(value), GST_VIDEO_INFO_SIZE(&info));
    SendBuffer(buffer, pts, duration);
}

void Source::SendMany(int count, int first, int from, GstClockTime duration) {
    for (int i = 0; i < count; ++i)
        Send(first + i, static_cast<GstClockTime>(from + i) * duration, duration);
}

void Source::End() {
    GstFlowReturn result = GST_FLOW_OK;
    g_signal_emit_by_name(appsrc, "end-of-stream", &result);
}

std::string Source::Health() const {
    GValue value = G_VALUE_INIT;
    g_object_get_property(G_OBJECT(pad), "health", &value);
    auto* klass = static_cast<GEnumClass*>(g_type_class_peek(G_VALUE_TYPE(&value)));
    const std::string nick = g_enum_get_value(klass, g_value_get_enum(&value))->value_nick;
    g_value_unset(&value);
    return nick;
}

guint64 Source::Count(const char* property) const {
    guint64 count = 0;
    g_object_get(pad, property, &count, nullptr);
    return count;
}

MixPipeline::MixPipeline(const std::string& outputCaps, const std::string& between) {
    const std::string text = "qdvideomixer name=mixer ! " + between + " ! " + outputCaps +
                             " ! appsink name=sink sync=false max-buffers=4";
    GError* error = nullptr;
    pipeline = gst_parse_launch(text.c_str(), &error);
    EXPECT_EQ(error, nullptr) << error->message;
    mixer = gst_bin_get_by_name(GST_BIN(pipeline), "mixer");
    sink = gst_bin_get_by_name(GST_BIN(pipeline), "sink");
}

MixPipeline::~MixPipeline() {
    SetState(GST_STATE_NULL);
    gst_object_unref(sink);
    gst_object_unref(mixer);
    gst_object_unref(pipeline);
}

Source MixPipeline::Add(const std::string& caps, const std::string& padName) {
    const Source source(pipeline, mixer, caps, padName);
    (void)gst_element_sync_state_with_parent(source.Element());
    return source;
}

void MixPipeline::Remove(const Source& source) {
    // The pad first: it lets a thread go that waits in the mixer. From then on the pipeline, whose
    // own change of state may still be under way, must not start the source again.
    gst_element_release_request_pad(mixer, source.Pad());
    (void)gst_element_set_locked_state(source.Element(), TRUE);
    (void)gst_element_set_state(source.Element(), GST_STATE_NULL);
    (void)gst_bin_remove(GST_BIN(pipeline), source.Element());
}

void MixPipeline::Play() { SetState(GST_STATE_PLAYING); }

void MixPipeline::SetState(GstState state) {
    EXPECT_NE(gst_element_set_state(pipeline, state), GST_STATE_CHANGE_FAILURE);
}

std::optional<Frame> MixPipeline::Pull(std::chrono::milliseconds limit) {
    GstSample* sample = nullptr;
    g_signal_emit_by_name(sink, "try-pull-sample",
                          static_cast<guint64>(limit.count()) * GST_MSECOND, &sample);
    if (!sample) return std::nullopt;
    Frame frame = ReadFrame(sample);
    gst_sample_unref(sample);
    return frame;
}

std::vector<Frame> MixPipeline::PullMany(int count) {
    std::vector<Frame> frames;
    while (static_cast<int>(frames.size()) < count) {
        std::optional<Frame> frame = Pull();
        if (!frame) {
            ADD_FAILURE() << "the output stopped after " << frames.size() << " of " << count;
            break;
        }
        frames.push_back(std::move(*frame));
    }
    return frames;
}

std::vector<Frame> MixPipeline::PullAll() {
    std::vector<Frame> frames;
    while (std::optional<Frame> frame = Pull()) frames.push_back(std::move(*frame));
    EXPECT_TRUE(Ended());
    return frames;
}

bool MixPipeline::Ended() const {
    gboolean isOver = FALSE;
    g_object_get(sink, "eos", &isOver, nullptr);
    return isOver;
}

bool MixPipeline::WaitForHealth(const Source& source, const std::string& health) {
    GstBus* bus = gst_element_get_bus(pipeline);
    const auto limit = std::chrono::steady_clock::now() + kPatience;
    bool isFound = false;
    while (!isFound && std::chrono::steady_clock::now() < limit) {
        GstMessage* message =
            gst_bus_timed_pop_filtered(bus, 100 * GST_MSECOND, GST_MESSAGE_ELEMENT);
        if (!message) continue;
        const GstStructure* fields = gst_message_get_structure(message);
        isFound =
            gst_structure_has_name(fields, "qdvideomixer-health") &&
            health == gst_structure_get_string(fields, "health") &&
            std::strcmp(GST_PAD_NAME(source.Pad()), gst_structure_get_string(fields, "pad")) == 0;
        gst_message_unref(message);
    }
    gst_object_unref(bus);
    return isFound;
}

std::string MixPipeline::WaitForText(GstMessageType type) {
    GstBus* bus = gst_element_get_bus(pipeline);
    GstMessage* message = gst_bus_timed_pop_filtered(
        bus, static_cast<GstClockTime>(kPatience.count()) * GST_SECOND, type);
    gst_object_unref(bus);
    if (!message) return {};
    GError* error = nullptr;
    gchar* details = nullptr;
    if (type == GST_MESSAGE_ERROR)
        gst_message_parse_error(message, &error, &details);
    else
        gst_message_parse_warning(message, &error, &details);
    const std::string text = std::string(error->message) + ": " + (details ? details : "");
    g_error_free(error);
    g_free(details);
    gst_message_unref(message);
    return text;
}

void ExpectContinuous(const std::vector<Frame>& frames) {
    for (std::size_t i = 1; i < frames.size(); ++i) {
        const GstClockTime expected = frames[i - 1].pts + frames[i - 1].duration;
        const GstClockTimeDiff distance = GST_CLOCK_DIFF(expected, frames[i].pts);
        EXPECT_LE(distance < 0 ? -distance : distance, 1) << "frame " << i;
    }
}

bool Eventually(const std::function<bool()>& condition) {
    const auto limit = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= limit) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

}  // namespace qdvm::test
