// States, seeks, errors, latency, properties.

#include "gstreamer/mix_pipeline.h"

#include <qdvideomixer/video_mixer.h>

#include <gst/check/gsttestclock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>

namespace qdvm::test {
namespace {

TEST(Lifecycle, CanBeUsedAgainAfterReady) {
    MixPipeline mix(Caps(32, 16));
    Source left = mix.Add(Caps(16, 16));
    Source right = mix.Add(Caps(16, 16));
    right.Place(16, 0);
    for (int round = 0; round < 4; ++round) {
        mix.Play();
        left.SendMany(5, 10);
        right.SendMany(5, 20);
        const std::vector<Frame> frames = mix.PullMany(5);
        ASSERT_EQ(frames.size(), 5u) << "round " << round;
        EXPECT_EQ(frames[0].pts, 0u);
        EXPECT_EQ(frames[4].At(0, 0), 14);
        EXPECT_EQ(frames[4].At(16, 0), 24);
        EXPECT_NE(frames[0].flags & GST_BUFFER_FLAG_DISCONT, 0u);
        EXPECT_EQ(frames[1].flags & GST_BUFFER_FLAG_DISCONT, 0u);
        mix.SetState(GST_STATE_READY);
        EXPECT_EQ(left.Health(), "waiting");
        EXPECT_EQ(left.Count("frames-in"), 0u);
    }
}

TEST(Lifecycle, EndsAgainAfterAnEndAndReady) {
    GstElement* whole = gst_parse_launch(
        "qdvideomixer name=m ! fakesink videotestsrc num-buffers=5 ! m. "
        "videotestsrc num-buffers=5 ! m.",
        nullptr);
    GstBus* bus = gst_element_get_bus(whole);
    for (int round = 0; round < 3; ++round) {
        (void)gst_element_set_state(whole, GST_STATE_PLAYING);
        GstMessage* message = gst_bus_timed_pop_filtered(
            bus, static_cast<GstClockTime>(kPatience.count()) * GST_SECOND, GST_MESSAGE_EOS);
        ASSERT_NE(message, nullptr) << "round " << round;
        gst_message_unref(message);
        (void)gst_element_set_state(whole, GST_STATE_READY);
    }
    (void)gst_element_set_state(whole, GST_STATE_NULL);
    gst_object_unref(bus);
    gst_object_unref(whole);
}

TEST(Lifecycle, StopsWhileEveryThreadIsBlocked) {
    MixPipeline mix(Caps(16, 16));
    Source first = mix.Add(Caps(16, 16));
    Source second = mix.Add(Caps(16, 16));
    Source dead = mix.Add(Caps(16, 16));
    dead.Set("max-wait", 0);
    first.SendMany(100, 10);
    second.SendMany(100, 10);
    mix.Play();
    EXPECT_TRUE(Eventually([&] { return first.Count("frames-in") > 1; }));
    mix.SetState(GST_STATE_NULL);
}

TEST(Lifecycle, PrerollsWithAPadThatNeverDelivers) {
    MixPipeline mix(Caps(16, 16));
    Source steady = mix.Add(Caps(16, 16));
    (void)mix.Add("");
    steady.SendMany(50, 10);
    mix.SetState(GST_STATE_PAUSED);
    EXPECT_EQ(gst_element_get_state(mix.Whole(), nullptr, nullptr,
                                    static_cast<GstClockTime>(kPatience.count()) * GST_SECOND),
              GST_STATE_CHANGE_SUCCESS);
}

TEST(Lifecycle, PassesAnErrorOfDownstreamOn) {
    MixPipeline mix(Caps(16, 16), "identity error-after=3");
    Source source = mix.Add(Caps(16, 16));
    source.SendMany(50, 10);
    mix.Play();
    EXPECT_NE(mix.WaitForError(), "");
    mix.SetState(GST_STATE_NULL);
}

TEST(Lifecycle, SaysWhatDownstreamDoesNotTake) {
    MixPipeline mix("video/x-raw,format=I420,width=17,height=16");
    Source source = mix.Add("video/x-raw,format=I420,width=16,height=16,framerate=25/1");
    source.Send(1, 0);
    mix.Play();
    const std::string error = mix.WaitForError();
    EXPECT_NE(error.find("even"), std::string::npos) << error;
}

// A source that can seek, on a new pad.
GstPad* AddTestSource(MixPipeline& mix, int frames) {
    GstElement* source = gst_element_factory_make("videotestsrc", nullptr);
    GstElement* filter = gst_element_factory_make("capsfilter", nullptr);
    GstCaps* caps = gst_caps_from_string(Caps(16, 16).c_str());
    g_object_set(source, "num-buffers", frames, nullptr);
    g_object_set(filter, "caps", caps, nullptr);
    gst_caps_unref(caps);
    gst_bin_add_many(GST_BIN(mix.Whole()), source, filter, nullptr);
    EXPECT_TRUE(gst_element_link(source, filter));
    GstPad* pad = gst_element_request_pad_simple(mix.Mixer(), "sink_%u");
    GstPad* out = gst_element_get_static_pad(filter, "src");
    EXPECT_EQ(gst_pad_link(out, pad), GST_PAD_LINK_OK);
    gst_object_unref(out);
    gst_object_unref(pad);
    return pad;
}

TEST(Lifecycle, SeeksAllInputsWithOneFlush) {
    MixPipeline mix(Caps(32, 16));
    // More than they can make before the seek reaches them.
    (void)AddTestSource(mix, 100000);
    (void)AddTestSource(mix, 100000);
    mix.Play();
    std::vector<Frame> frames = mix.PullMany(10);
    ASSERT_TRUE(gst_element_seek_simple(mix.Whole(), GST_FORMAT_TIME, GST_SEEK_FLAG_FLUSH,
                                        static_cast<gint64>(2 * GST_SECOND)));
    frames = mix.PullMany(5);
    ASSERT_EQ(frames.size(), 5u);
    EXPECT_EQ(frames[0].pts, 0u);
    ExpectContinuous(frames);
    gint64 position = 0;
    ASSERT_TRUE(gst_element_query_position(mix.Mixer(), GST_FORMAT_TIME, &position));
    EXPECT_GE(position, static_cast<gint64>(2 * GST_SECOND));
    EXPECT_LT(position, static_cast<gint64>(3 * GST_SECOND));
}

TEST(Lifecycle, LoopsASeekableStream) {
    MixPipeline mix(Caps(16, 16));
    GstPad* pad = AddTestSource(mix, 10);
    g_object_set(pad, "loop", TRUE, nullptr);
    mix.Play();
    ExpectContinuous(mix.PullMany(35));
}

TEST(Lifecycle, AddsItsWaitsToTheLatencyOfLiveInputs) {
    MixPipeline mix(Caps(16, 16));
    Source source = mix.Add(Caps(16, 16));
    g_object_set(source.Element(), "is-live", TRUE, "min-latency",
                 static_cast<gint64>(10 * GST_MSECOND), nullptr);
    g_object_set(mix.Mixer(), "latency", static_cast<guint64>(5 * GST_MSECOND), nullptr);
    source.Set("max-wait", 3);
    source.SendMany(3, 10);
    mix.Play();
    (void)mix.PullMany(3);
    GstQuery* query = gst_query_new_latency();
    GstPad* pad = gst_element_get_static_pad(mix.Mixer(), "src");
    ASSERT_TRUE(gst_pad_query(pad, query));
    gboolean isLive = FALSE;
    GstClockTime min = 0;
    gst_query_parse_latency(query, &isLive, &min, nullptr);
    EXPECT_TRUE(isLive);
    EXPECT_EQ(min, 10 * GST_MSECOND + kFrame + 3 * kFrame + 5 * GST_MSECOND);
    gst_object_unref(pad);
    gst_query_unref(query);
}

// The clock stands still but where the test moves it.
TEST(Lifecycle, ALiveOutputThatFallsBehindLeavesFramesOut) {
    MixPipeline mix(Caps(16, 16));
    GstClock* clock = gst_test_clock_new_with_start_time(0);
    gst_pipeline_use_clock(GST_PIPELINE(mix.Whole()), clock);
    Source source = mix.Add(Caps(16, 16));
    g_object_set(source.Element(), "is-live", TRUE, nullptr);
    source.SendMany(5, 10);
    mix.Play();
    EXPECT_EQ(mix.PullMany(5).back().pts, 4 * kFrame);
    constexpr int kLater = 250;
    gst_test_clock_set_time(GST_TEST_CLOCK(clock), kLater * kFrame);
    source.SendMany(20, 100, kLater);
    std::vector<Frame> frames = mix.PullMany(20);
    guint64 skipped = 0;
    g_object_get(mix.Mixer(), "frames-skipped", &skipped, nullptr);
    EXPECT_GT(skipped, 200u);
    const auto jump = std::ranges::find_if(
        frames, [](const Frame& f) { return (f.flags & GST_BUFFER_FLAG_DISCONT) != 0; });
    ASSERT_NE(jump, frames.end());
    EXPECT_GT(jump->pts, 200 * kFrame);
    // From there on as before.
    ExpectContinuous({jump, frames.end()});
    EXPECT_TRUE(Eventually([&] { return mix.Pull()->At(0, 0) == 119; }));
    mix.SetState(GST_STATE_NULL);
    gst_object_unref(clock);
}

TEST(Lifecycle, TheControlInterfaceActsOnThePadsStream) {
    MixPipeline mix(Caps(32, 16));
    Source left = mix.Add(Caps(16, 16));
    Source right = mix.Add(Caps(16, 16));
    right.Place(16, 0);
    left.SendMany(1, 10);
    right.SendMany(1, 20);
    mix.Play();
    (void)mix.PullMany(1);
    gpointer pointer = nullptr;
    g_object_get(mix.Mixer(), "mixer", &pointer, nullptr);
    auto* mixer = static_cast<IQDVideoMixer*>(pointer);
    ASSERT_NE(mixer, nullptr);
    gint number = -1;
    g_object_get(right.Pad(), "stream-number", &number, nullptr);
    ASSERT_EQ(mixer->EnableStream(number, 0), S_OK);
    left.SendMany(1, 11, 1);
    right.SendMany(1, 21, 1);
    const Frame frame = *mix.Pull();
    EXPECT_EQ(frame.At(0, 0), 11);
    EXPECT_EQ(frame.At(16, 0), 0);
}

TEST(Lifecycle, GapEventsLetTheOthersGoOn) {
    MixPipeline mix(Caps(32, 16));
    Source steady = mix.Add(Caps(16, 16));
    Source sparse = mix.Add(Caps(16, 16));
    sparse.Place(16, 0);
    sparse.Set("max-wait", 0);  // only the gaps speak for it
    steady.SendMany(10, 10);
    sparse.SendMany(2, 100);
    mix.Play();
    std::vector<Frame> frames = mix.PullMany(2);
    GstPad* upstream = gst_pad_get_peer(sparse.Pad());
    for (GstClockTime i = 2; i < 9; ++i)
        EXPECT_TRUE(gst_pad_push_event(upstream, gst_event_new_gap(i * kFrame, kFrame)));
    gst_object_unref(upstream);
    frames = mix.PullMany(7);
    EXPECT_EQ(frames.back().At(0, 0), 18);
    EXPECT_EQ(frames.back().At(16, 0), 101);
}

// Settings, pads and states from several threads at once, for a bounded number of steps.
TEST(Lifecycle, BearsChangesFromOtherThreads) {
    MixPipeline mix(Caps(64, 32));
    Source first = mix.Add(Caps(32, 32));
    Source second = mix.Add(Caps(32, 32));
    first.SendMany(1000, 0);
    second.SendMany(1000, 0);
    mix.Play();
    std::atomic<bool> isOver = false;
    std::thread reader([&] {
        while (!isOver) (void)mix.Pull(std::chrono::milliseconds(10));
    });
    std::thread setter([&] {
        for (int i = 0; i < 200; ++i) {
            second.Place(i % 32, i % 16);
            second.Set("visible", i % 3 != 0);
            if (i % 4 == 0) g_signal_emit_by_name(mix.Mixer(), "begin-changes");
            const std::string rect = "rect-" + std::to_string(1 + i % 3);
            gst_child_proxy_set(GST_CHILD_PROXY(second.Pad()), (rect + "::xpos").c_str(), i % 64,
                                (rect + "::ypos").c_str(), i % 32, nullptr);
            if (i % 4 == 2) g_signal_emit_by_name(mix.Mixer(), "commit-changes");
            gboolean isDone = FALSE;
            if (i % 10 == 9)
                g_signal_emit_by_name(mix.Mixer(), "remove-rect", second.Pad(), 2u, &isDone);
            if (i % 60 == 59) first.Set("zorder", i);
            second.Set("max-wait", 1 + i % 8);
            (void)second.Health();
            (void)second.Count("frames-dropped");
            g_object_set(mix.Mixer(), "background-color", static_cast<guint>(i), nullptr);
        }
    });
    for (int i = 0; i < 10; ++i) {
        Source guest = mix.Add(Caps(16, 16));
        guest.SendMany(50, 0);
        std::this_thread::yield();
        mix.Remove(guest);
    }
    setter.join();
    mix.SetState(GST_STATE_PAUSED);
    mix.SetState(GST_STATE_PLAYING);
    mix.SetState(GST_STATE_READY);
    isOver = true;
    reader.join();
}

}  // namespace
}  // namespace qdvm::test
