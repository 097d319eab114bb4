// The chroma key of a pad.

#include "gstreamer/mix_pipeline.h"

#include <qdvideomixer/chroma_key.h>
#include <qdvideomixer/video_mixer.h>

#include <gst/controller/gstdirectcontrolbinding.h>
#include <gst/controller/gstinterpolationcontrolsource.h>
#include <gtest/gtest.h>

#include <array>

namespace qdvm::test {
namespace {

constexpr int kSide = 16;
constexpr int kBelow = 100;  // every byte of what lies under the keyed stream

// A plain green picture with a red square in its middle, in the format of the caps.
GstBuffer* GreenScreen(const std::string& format) {
    GstVideoInfo info;
    (void)gst_video_info_set_format(&info, gst_video_format_from_string(format.c_str()), kSide,
                                    kSide);
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
    GstVideoFrame frame;
    EXPECT_TRUE(gst_video_frame_map(&frame, &info, buffer, GST_MAP_WRITE));
    constexpr std::array<int, 3> kGreen = {145, 54, 34};
    constexpr std::array<int, 3> kRed = {81, 90, 240};
    constexpr std::array<std::array<int, 3>, 2> kRgb = {{{0, 255, 0}, {255, 0, 0}}};
    for (guint c = 0; c < 3; ++c)
        for (int y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, c); ++y)
            for (int x = 0; x < GST_VIDEO_FRAME_COMP_WIDTH(&frame, c); ++x) {
                const int width = GST_VIDEO_FRAME_COMP_WIDTH(&frame, c);
                const int height = GST_VIDEO_FRAME_COMP_HEIGHT(&frame, c);
                const bool isRed =
                    x >= width / 4 && x < width * 3 / 4 && y >= height / 4 && y < height * 3 / 4;
                const int value =
                    GST_VIDEO_INFO_IS_RGB(&info) ? kRgb[isRed][c] : (isRed ? kRed : kGreen)[c];
                auto* data = static_cast<guint8*>(GST_VIDEO_FRAME_COMP_DATA(&frame, c));
                data[y * GST_VIDEO_FRAME_COMP_STRIDE(&frame, c) +
                     x * GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, c)] = static_cast<guint8>(value);
            }
    gst_video_frame_unmap(&frame);
    return buffer;
}

class Keyed : public testing::Test {
protected:
    MixPipeline mix{Caps(kSide, kSide)};
    Source below = mix.Add(Caps(kSide, kSide));

    Source AddScreen(const std::string& format) {
        return mix.Add("video/x-raw,format=" + format + ",width=16,height=16,framerate=25/1");
    }

    void Send(Source& screen, const std::string& format, int count, int from = 0) {
        for (int i = from; i < from + count; ++i) {
            below.Send(kBelow, static_cast<GstClockTime>(i) * kFrame);
            screen.SendBuffer(GreenScreen(format), static_cast<GstClockTime>(i) * kFrame);
        }
    }

    // Green or what lies below, and in the middle always red.
    static void ExpectKeyed(const Frame& frame, bool isKeyed) {
        if (isKeyed) {
            EXPECT_NEAR(frame.At(1, 1), kBelow, 1);
        } else {
            EXPECT_LT(frame.At(1, 1), 10);
        }
        EXPECT_LT(frame.At(8, 8), 16);
    }

    ChromaKeySettings KeyInMixer(LONG stream) {
        gpointer mixer = nullptr;
        g_object_get(mix.Mixer(), "mixer", &mixer, nullptr);
        auto* control = static_cast<IQDVideoMixer*>(mixer);
        IQDVideoMixerChromaKey* keys = nullptr;
        ChromaKeySettings settings{};
        EXPECT_EQ(
            control->QueryInterface(IID_IQDVideoMixerChromaKey, reinterpret_cast<void**>(&keys)),
            S_OK);
        EXPECT_EQ(control->SetStreamForChromaKey(stream), S_OK);
        EXPECT_EQ(keys->GetChromaKey(&settings), S_OK);
        keys->Release();
        return settings;
    }
};

// Whatever the format, also those that the mixer can't key itself.
TEST_F(Keyed, ShowsWhatLiesBelowFromTheFirstFrameInEveryFormat) {
    for (const char* format : {"BGRx", "BGRA", "BGR", "YUY2", "UYVY", "YVYU", "I420", "YV12"}) {
        SCOPED_TRACE(format);
        MixPipeline pipeline(Caps(kSide, kSide));
        Source under = pipeline.Add(Caps(kSide, kSide));
        Source screen = pipeline.Add(std::string("video/x-raw,format=") + format +
                                     ",width=16,height=16,framerate=25/1");
        g_object_set(screen.Pad(), "key", "green", nullptr);
        for (int i = 0; i < 2; ++i) {
            under.Send(kBelow, static_cast<GstClockTime>(i) * kFrame);
            screen.SendBuffer(GreenScreen(format), static_cast<GstClockTime>(i) * kFrame);
        }
        pipeline.Play();
        for (const Frame& frame : pipeline.PullMany(2)) ExpectKeyed(frame, true);
    }
}

TEST_F(Keyed, GoesOnAndOffBetweenTwoFrames) {
    Source screen = AddScreen("I420");
    mix.Play();
    const char* const keys[] = {"none", "green", "blue,softness=0", "none", "#00FF00"};
    int sent = 0;
    for (const char* key : keys) {
        g_object_set(screen.Pad(), "key", key, nullptr);
        Send(screen, "I420", 1, sent++);
        const auto frame = mix.Pull();
        ASSERT_TRUE(frame);
        SCOPED_TRACE(key);
        ExpectKeyed(*frame, key[0] == 'g' || key[0] == '#');
    }
}

// A key that comes after the last frame of its stream, whose picture stays: in a format that the
// mixer keys, and in others; with and without a master; after an end and while the stream is lost.
TEST_F(Keyed, ChangesAPictureThatStays) {
    for (const char* format : {"I420", "YVYU", "UYVY"})
        for (const char* key : {"green", "auto"})
            for (const char* how : {"ended", "lost", "ended under a master"}) {
                const std::string health = std::string(how).substr(0, std::string(how).find(' '));
                const char* const master = health == how ? "" : "sink_0";
                SCOPED_TRACE(std::string(format) + " " + key + " " + how);
                MixPipeline pipeline(Caps(kSide, kSide));
                g_object_set(pipeline.Mixer(), "master", master, nullptr);
                Source under = pipeline.Add(Caps(kSide, kSide));
                Source screen = pipeline.Add(std::string("video/x-raw,format=") + format +
                                             ",width=16,height=16,framerate=25/1");
                int sent = 0;
                const auto next = [&] {
                    under.Send(kBelow, static_cast<GstClockTime>(sent++) * kFrame);
                    return pipeline.Pull().value_or(Frame());
                };
                // Frames until the wall is seen, or is gone; the last one.
                const auto await = [&](bool isKeyed) {
                    constexpr int kMostFrames = 500;
                    Frame frame = next();
                    while (sent < kMostFrames && !frame.data.empty() &&
                           (frame.At(1, 1) > kBelow / 2) != isKeyed)
                        frame = next();
                    return frame;
                };
                screen.SendBuffer(GreenScreen(format), 0);
                screen.Set("max-wait", 1);
                if (health == "ended") screen.End();
                pipeline.Play();
                ExpectKeyed(await(false), false);
                EXPECT_TRUE(Eventually([&] {
                    (void)next();
                    return screen.Health() == health;
                }));
                g_object_set(screen.Pad(), "key", key, nullptr);
                ExpectKeyed(await(true), true);
                g_object_set(screen.Pad(), "key", "none", nullptr);
                ExpectKeyed(await(false), false);
                g_object_set(screen.Pad(), "key", key, nullptr);
                ExpectKeyed(await(true), true);
                EXPECT_EQ(screen.Health(), health);
                // What is shown on after the mixer has started anew is the keyed picture.
                Source third = pipeline.Add(Caps(kSide, kSide));
                third.Set("zorder", 9);
                third.Place(8, 8);
                third.Send(0, 0);
                third.End();
                EXPECT_TRUE(Eventually([&] {
                    (void)next();
                    return third.Health() == "ended";
                }));
                ExpectKeyed(await(true), true);
            }
}

TEST_F(Keyed, PlainPropertiesAreWordsOfTheSameKey) {
    Source screen = AddScreen("BGRx");
    g_object_set(screen.Pad(), "key-spill", 0.0, "key-tolerance", 20, "key-color", 0x00F010u,
                 "key-softness", 2, nullptr);
    gchar* text = nullptr;
    g_object_get(screen.Pad(), "key", &text, nullptr);
    EXPECT_STREQ(text, "#00F010,tolerance=20,softness=2,spill=0");
    g_free(text);
    g_object_set(screen.Pad(), "key", "green+blue,spill=0.75", nullptr);
    g_object_set(screen.Pad(), "key-spill", 0.25, nullptr);
    g_object_get(screen.Pad(), "key", &text, nullptr);
    EXPECT_STREQ(text, "green,spill=0.25+blue,spill=0.25");
    g_free(text);
}

TEST_F(Keyed, FollowsAControllerToTheFrame) {
    Source screen = AddScreen("BGRx");
    g_object_set(screen.Pad(), "key", "#00A000", nullptr);
    GstControlSource* values = gst_interpolation_control_source_new();
    g_object_set(values, "mode", GST_INTERPOLATION_MODE_NONE, nullptr);
    auto* points = GST_TIMED_VALUE_CONTROL_SOURCE(values);
    (void)gst_timed_value_control_source_set(points, 0, 4);
    (void)gst_timed_value_control_source_set(points, 2 * kFrame, 110);
    (void)gst_object_add_control_binding(
        GST_OBJECT(screen.Pad()),
        gst_direct_control_binding_new_absolute(GST_OBJECT(screen.Pad()), "key-tolerance", values));
    gst_object_unref(values);
    Send(screen, "BGRx", 4);
    mix.Play();
    const std::vector<Frame> frames = mix.PullMany(4);
    for (std::size_t i = 0; i < 4; ++i) ExpectKeyed(frames[i], i >= 2);
}

TEST_F(Keyed, RefusesWordsThatItDoesNotKnow) {
    Source screen = AddScreen("BGRx");
    mix.Play();
    g_object_set(screen.Pad(), "key", "green", nullptr);
    g_object_set(screen.Pad(), "key", "green,softnes=2", nullptr);
    const std::string warning = mix.WaitForWarning();
    EXPECT_NE(warning.find(GST_PAD_NAME(screen.Pad())), std::string::npos) << warning;
    EXPECT_NE(warning.find("softnes"), std::string::npos) << warning;
    Send(screen, "BGRx", 1);
    ExpectKeyed(*mix.Pull(), true);
}

TEST_F(Keyed, ReadsTheColourOfTheBorderOrSaysWhyNot) {
    Source screen = AddScreen("I420");
    g_object_set(screen.Pad(), "key", "auto", nullptr);
    g_object_set(below.Pad(), "key", "auto", nullptr);
    Send(screen, "I420", 2);
    mix.Play();
    for (const Frame& frame : mix.PullMany(2)) ExpectKeyed(frame, true);
    const std::string warning = mix.WaitForWarning();
    EXPECT_NE(warning.find(GST_PAD_NAME(below.Pad())), std::string::npos) << warning;
    EXPECT_NE(warning.find("#646464"), std::string::npos) << warning;
}

TEST_F(Keyed, StaysWithItsPadWhenAnotherJoinsBelow) {
    Source screen = AddScreen("I420");
    g_object_set(screen.Pad(), "key", "green", "zorder", 5u, nullptr);
    Send(screen, "I420", 100);
    mix.Play();
    ExpectKeyed(*mix.Pull(), true);
    Source other = mix.Add(Caps(kSide, kSide));
    other.Set("zorder", 3);
    other.SendMany(100, 50);
    EXPECT_TRUE(Eventually([&] { return other.Count("frames-in") > 0; }));
    const std::vector<Frame> frames = mix.PullMany(60);
    ASSERT_FALSE(frames.empty());
    ExpectContinuous(frames);
    EXPECT_GE(frames.back().At(1, 1), 40);
    EXPECT_LT(frames.back().At(8, 8), 16);
    EXPECT_EQ(KeyInMixer(2).keyType, eVMK_YUV);
    EXPECT_EQ(KeyInMixer(1).keyType, eVMK_None);
}

}  // namespace
}  // namespace qdvm::test
