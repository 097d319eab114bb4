// What comes out when all streams behave.

#include "gstreamer/mix_pipeline.h"

#include <gtest/gtest.h>

namespace qdvm::test {
namespace {

constexpr int kBlack = 0;

TEST(Mix, ShowsTwoStreamsSideBySideAndEndsWithThem) {
    MixPipeline mix(Caps(64, 32));
    Source left = mix.Add(Caps(32, 32));
    Source right = mix.Add(Caps(32, 32));
    right.Place(32, 0);
    left.SendMany(10, 50);
    right.SendMany(10, 150);
    left.End();
    right.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 10u);
    EXPECT_EQ(frames[0].pts, 0u);
    ExpectContinuous(frames);
    for (int i = 0; i < 10; ++i) {
        const Frame& frame = frames[static_cast<std::size_t>(i)];
        EXPECT_EQ(frame.At(0, 0), 50 + i);
        EXPECT_EQ(frame.At(31, 31), 50 + i);
        EXPECT_EQ(frame.At(32, 0), 150 + i);
        EXPECT_EQ(frame.At(63, 31), 150 + i);
    }
    EXPECT_EQ(left.Count("frames-in"), 10u);
    EXPECT_EQ(left.Count("frames-dropped"), 0u);
    EXPECT_EQ(left.Count("frames-repeated"), 0u);
    EXPECT_EQ(left.Health(), "ended");
}

// As a user would type it.
TEST(Mix, ShowsTwoTestSourcesFromADescription) {
    GError* error = nullptr;
    GstElement* other = gst_parse_launch(
        "qdvideomixer name=m sink_1::xpos=32 ! videoconvert ! "
        "video/x-raw,format=BGRx ! appsink name=out sync=false "
        "videotestsrc num-buffers=10 pattern=white ! video/x-raw,width=32,height=32 ! m.sink_0 "
        "videotestsrc num-buffers=10 pattern=red ! video/x-raw,width=32,height=32 ! m.sink_1",
        &error);
    ASSERT_EQ(error, nullptr) << error->message;
    GstElement* sink = gst_bin_get_by_name(GST_BIN(other), "out");
    (void)gst_element_set_state(other, GST_STATE_PLAYING);
    GstSample* sample = nullptr;
    g_signal_emit_by_name(sink, "pull-sample", &sample);
    ASSERT_NE(sample, nullptr);
    guint8 pixels[64 * 32 * 4] = {};
    (void)gst_buffer_extract(gst_sample_get_buffer(sample), 0, pixels, sizeof pixels);
    gst_sample_unref(sample);
    EXPECT_GT(pixels[0], 200);      // white
    EXPECT_LT(pixels[32 * 4], 60);  // red: little blue
    EXPECT_GT(pixels[32 * 4 + 2], 200);
    (void)gst_element_set_state(other, GST_STATE_NULL);
    gst_object_unref(sink);
    gst_object_unref(other);
}

TEST(Mix, HasRoomForAllStreamsAtTheFastestRateWhereDownstreamTakesAll) {
    MixPipeline mix("video/x-raw");
    Source slow = mix.Add(Caps(48, 24, "framerate=10/1"));
    Source fast = mix.Add(Caps(16, 16, "framerate=30000/1001"));
    fast.Place(40, 0);
    for (int i = 0; i < 3; ++i)
        slow.Send(1, static_cast<GstClockTime>(i) * 100 * GST_MSECOND, 100 * GST_MSECOND);
    for (guint64 i = 0; i < 9; ++i)
        fast.Send(2, gst_util_uint64_scale(i, 1001 * GST_SECOND, 30000),
                  gst_util_uint64_scale(1, 1001 * GST_SECOND, 30000));
    slow.End();
    fast.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 9u);
    EXPECT_EQ(GST_VIDEO_INFO_WIDTH(&frames[0].info), 56);
    EXPECT_EQ(GST_VIDEO_INFO_HEIGHT(&frames[0].info), 24);
    EXPECT_EQ(GST_VIDEO_INFO_FPS_N(&frames[0].info), 30000);
    EXPECT_EQ(frames[8].pts, gst_util_uint64_scale(8, 1001 * GST_SECOND, 30000));
    ExpectContinuous(frames);
    EXPECT_EQ(fast.Count("frames-dropped"), 0u);
    EXPECT_GT(slow.Count("frames-repeated"), 0u);
}

TEST(Mix, DropsEverySecondFrameOfAStreamTwiceAsFast) {
    MixPipeline mix(Caps(16, 16));
    Source fast = mix.Add(Caps(16, 16, "framerate=50/1"));
    fast.SendMany(20, 100, 0, kFrame / 2);
    fast.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 10u);
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(frames[static_cast<std::size_t>(i)].At(0, 0), 100 + 2 * i);
    EXPECT_EQ(fast.Count("frames-dropped"), 10u);
}

TEST(Mix, LaterPadsLieAboveEarlierOnesWhateverTheOrderOfTheirRequests) {
    MixPipeline mix(Caps(16, 16));
    Source top = mix.Add(Caps(8, 8), "sink_7");
    Source bottom = mix.Add(Caps(16, 16), "sink_2");
    EXPECT_STREQ(GST_PAD_NAME(top.Pad()), "sink_7");
    top.SendMany(3, 200);
    bottom.SendMany(3, 100);
    top.End();
    bottom.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 3u);
    EXPECT_EQ(frames[1].At(0, 0), 201);
    EXPECT_EQ(frames[1].At(8, 8), 101);
}

TEST(Mix, CropsMovesAndHidesWhilePlaying) {
    MixPipeline mix(Caps(32, 32));
    Source base = mix.Add(Caps(32, 32));
    Source picture = mix.Add(Caps(16, 16));
    g_object_set(picture.Pad(), "crop-left", 8, "crop-bottom", 8, "xpos", 3, "ypos", 4, nullptr);
    base.SendMany(1, 10);
    picture.SendMany(1, 20);
    mix.Play();
    Frame frame = *mix.Pull();
    EXPECT_EQ(frame.At(3, 4), 10);
    EXPECT_EQ(frame.At(4, 4), 20);
    EXPECT_EQ(frame.At(11, 11), 20);
    EXPECT_EQ(frame.At(12, 11), 10);
    EXPECT_EQ(frame.At(11, 12), 10);
    picture.Set("visible", FALSE);
    base.SendMany(1, 10, 1);
    picture.SendMany(1, 20, 1);
    frame = *mix.Pull();
    EXPECT_EQ(frame.At(4, 4), 10);
}

TEST(Mix, PaintsTheBackground) {
    MixPipeline mix(Caps(32, 16));
    g_object_set(mix.Mixer(), "background-color", 0xFF102030u, nullptr);
    Source source = mix.Add(Caps(16, 16));
    source.SendMany(1, 99);
    source.End();
    mix.Play();
    const Frame frame = *mix.Pull();
    EXPECT_EQ(frame.At(0, 0), 99);
    const auto* pixel = &frame.data[16 * 4];
    EXPECT_EQ(pixel[0], 0x30);
    EXPECT_EQ(pixel[1], 0x20);
    EXPECT_EQ(pixel[2], 0x10);
}

TEST(Mix, BeginsWithTheEarliestStream) {
    MixPipeline mix(Caps(32, 16));
    Source early = mix.Add(Caps(16, 16));
    Source late = mix.Add(Caps(16, 16));
    late.Place(16, 0);
    early.SendMany(60, 10, 25);
    late.SendMany(50, 110, 35);
    early.End();
    late.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 60u);
    EXPECT_EQ(frames[0].pts, 25 * kFrame);
    EXPECT_EQ(frames[5].At(16, 0), kBlack);
    // Having joined in flight, it is in step.
    EXPECT_EQ(frames[45].At(16, 0), 145);
    EXPECT_EQ(frames[45].At(0, 0), 55);
}

TEST(Mix, AMasterDrivesTheOutputWithItsStamps) {
    MixPipeline mix(Caps(32, 16));
    g_object_set(mix.Mixer(), "master", "sink_1", nullptr);
    Source other = mix.Add(Caps(16, 16));
    Source master = mix.Add(Caps(16, 16));
    master.Place(16, 0);
    other.SendMany(20, 10);
    for (int i = 0; i < 5; ++i) master.Send(100 + i, (2 * static_cast<GstClockTime>(i)) * kFrame);
    master.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 5u);
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(frames[static_cast<std::size_t>(i)].At(16, 0), 100 + i);
        EXPECT_EQ(frames[static_cast<std::size_t>(i)].pts,
                  2 * static_cast<GstClockTime>(i) * kFrame);
    }
    // The others keep to the master's time rather than running through.
    EXPECT_LE(frames[4].At(0, 0), 10 + 9);
}

}  // namespace
}  // namespace qdvm::test
