// What users set on pads and their rects, and when it is seen.

#include "gstreamer/mix_pipeline.h"

#include <qdvideomixer/video_mixer.h>

#include <gst/controller/gstdirectcontrolbinding.h>
#include <gst/controller/gstinterpolationcontrolsource.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace qdvm::test {
namespace {

constexpr int kBlack = 0;

// One 64x32 output and a 16x16 stream on it, of which frame n has the value 100 + n.
class RectTest : public testing::Test {
protected:
    MixPipeline mix{Caps(64, 32)};
    Source source = mix.Add(Caps(16, 16));

    GObject* Child(const char* name) {
        GObject* child = gst_child_proxy_get_child_by_name(GST_CHILD_PROXY(source.Pad()), name);
        if (child) g_object_unref(child);  // the pad holds it
        return child;
    }

    void Set(const char* child, const char* property, int value) {
        gst_child_proxy_set(
            GST_CHILD_PROXY(mix.Mixer()),
            (std::string(GST_PAD_NAME(source.Pad())) + "::" + child + "::" + property).c_str(),
            value, nullptr);
    }

    std::vector<Frame> MixAll(int count) {
        source.SendMany(count, 100);
        source.End();
        mix.Play();
        std::vector<Frame> frames = mix.PullAll();
        EXPECT_EQ(frames.size(), static_cast<std::size_t>(count));
        return frames;
    }

    // What the mixer knows of a rect of the stream.
    VM_MIXING_RECT RectInMixer(LONG number) {
        gpointer mixer = nullptr;
        g_object_get(mix.Mixer(), "mixer", &mixer, nullptr);
        VM_MIXING_RECT rect{};
        EXPECT_EQ(static_cast<IQDVideoMixer*>(mixer)->GetInputRect(0, number, &rect), S_OK);
        return rect;
    }

    LONG CountInMixer() {
        gpointer mixer = nullptr;
        g_object_get(mix.Mixer(), "mixer", &mixer, nullptr);
        LONG count = -1;
        EXPECT_EQ(static_cast<IQDVideoMixer*>(mixer)->GetInputRectCount(0, &count), S_OK);
        return count;
    }
};

TEST_F(RectTest, GivesTheMixerWhatIsSet) {
    g_object_set(source.Pad(), "xpos", 4, "ypos", 2, "width", 40, "height", 20, "crop-left", 2,
                 "alpha", 0.5, "border-width", 2, "border-color", 0x80102030u, "border-alpha", 0.5,
                 "flip-horizontal", TRUE, "one-field", TRUE, "horizontal-angle", 30.0,
                 "vertical-offset", -0.5, nullptr);
    gst_util_set_object_arg(G_OBJECT(source.Pad()), "sizing-policy", "keep-aspect-ratio");
    source.Send(1, 0);
    mix.Play();
    (void)mix.PullMany(1);
    const VM_MIXING_RECT rect = RectInMixer(0);
    EXPECT_EQ(rect.rcSource.left, 2);
    EXPECT_EQ(rect.rcSource.right, 16);
    EXPECT_EQ(rect.rcTarget.left, 4);
    EXPECT_EQ(rect.rcTarget.right, 44);
    EXPECT_EQ(rect.rcTarget.bottom, 22);
    EXPECT_EQ(rect.dblAlpha, 0.5);
    EXPECT_EQ(rect.nBorderWidth, 2);
    EXPECT_EQ(static_cast<std::uint32_t>(rect.nBorderColor), 0x40302010u);
    EXPECT_EQ(rect.eProcess, eVMP_FlipHorz | eVMP_OneField | eVMP_AR_LetterBox);
    EXPECT_EQ(rect.dblViewAngle, 40);
    EXPECT_EQ(rect.dblHorzAngle, 30);
    EXPECT_EQ(rect.dblVertOffset, -0.5);
}

TEST_F(RectTest, ShowsTheStreamAgainByChildrenThatComeAndGo) {
    Set("rect-2", "xpos", 16);
    Set("rect-1", "xpos", 32);
    EXPECT_EQ(gst_child_proxy_get_children_count(GST_CHILD_PROXY(source.Pad())), 2u);
    EXPECT_EQ(Child("rect-x"), nullptr);
    EXPECT_EQ(Child("rect-0"), nullptr);
    EXPECT_EQ(Child("rect-01"), nullptr);
    source.SendMany(1, 100);
    mix.Play();
    Frame frame = *mix.Pull();
    for (const int x : {0, 16, 32}) EXPECT_EQ(frame.At(x, 0), 100) << x;
    EXPECT_EQ(frame.At(48, 0), kBlack);

    Set("rect-3", "xpos", 48);
    gboolean isDone = FALSE;
    g_signal_emit_by_name(mix.Mixer(), "remove-rect", source.Pad(), 2u, &isDone);
    EXPECT_TRUE(isDone);
    g_signal_emit_by_name(mix.Mixer(), "remove-rect", source.Pad(), 2u, &isDone);
    EXPECT_FALSE(isDone);
    Set("rect-1", "ypos", 16);
    source.SendMany(1, 101, 1);
    frame = *mix.Pull();
    EXPECT_EQ(frame.At(0, 0), 101);
    EXPECT_EQ(frame.At(16, 0), kBlack);
    EXPECT_EQ(frame.At(32, 0), kBlack);
    EXPECT_EQ(frame.At(32, 16), 101);
    EXPECT_EQ(frame.At(48, 0), 101);
    EXPECT_EQ(CountInMixer(), 3);
}

TEST_F(RectTest, ChildrenStayThroughReadyAndWithPadsThatJoin) {
    Set("rect-1", "xpos", 32);
    for (int round = 0; round < 2; ++round) {
        mix.Play();
        source.SendMany(1, 100);
        EXPECT_EQ(mix.Pull()->At(32, 0), 100);
        mix.SetState(GST_STATE_READY);
    }
    mix.Play();
    source.SendMany(200, 0);
    (void)mix.PullMany(3);
    // Below the first one, so that its stream has to take another number.
    Source other = mix.Add(Caps(16, 16));
    other.Set("zorder", 0);
    source.Set("zorder", 1);
    other.Place(32, 0);
    other.SendMany(200, 0);
    EXPECT_TRUE(Eventually([&] { return other.Count("frames-in") > 0; }));
    const std::vector<Frame> frames = mix.PullMany(60);
    ExpectContinuous(frames);
    EXPECT_NE(frames.back().At(0, 0), kBlack);
    EXPECT_EQ(frames.back().At(32, 0), frames.back().At(0, 0));
    EXPECT_EQ(CountInMixer(), 1);
}

TEST_F(RectTest, DrawsByTheOrderThatIsSet) {
    Source above = mix.Add(Caps(8, 8));
    source.Set("zorder", 5);
    above.SendMany(200, 50);
    source.SendMany(200, 0);
    mix.Play();
    EXPECT_EQ(mix.PullMany(3).back().At(0, 0), 2);
    const auto numbers = [&] {
        int first = -1;
        int second = -1;
        g_object_get(source.Pad(), "stream-number", &first, nullptr);
        g_object_get(above.Pad(), "stream-number", &second, nullptr);
        return std::pair(first, second);
    };
    const std::pair before = numbers();
    above.Set("zorder", 6);
    const std::vector<Frame> frames = mix.PullMany(60);
    ExpectContinuous(frames);
    EXPECT_EQ(numbers(), before);  // the filter goes on as it is
    EXPECT_EQ(frames.back().At(0, 0), 50 + 62);
    EXPECT_EQ(frames.back().At(8, 8), 62);
}

TEST_F(RectTest, SeveralChangesLandOnOneFrame) {
    Source other = mix.Add(Caps(16, 16));
    other.Place(0, 16);
    Set("rect-1", "xpos", 16);
    constexpr int kShown = 200;
    for (guint64 i = 0; i < 1000; ++i) {
        source.Send(kShown, i * kFrame);
        other.Send(kShown, i * kFrame);
    }
    mix.Play();
    std::vector<Frame> frames = mix.PullMany(2);
    for (int i = 1; i <= 20; ++i) {
        const int x = i % 2 == 0 ? 0 : 32;
        g_signal_emit_by_name(mix.Mixer(), "begin-changes");
        source.Place(x, 0);
        // The frames that come meanwhile have nothing of it.
        std::ranges::move(mix.PullMany(2), std::back_inserter(frames));
        Set("rect-1", "xpos", x + 16);
        other.Place(x, 16);
        g_object_set(mix.Mixer(), "background-color", 0xFF000000u + static_cast<guint>(x), nullptr);
        g_signal_emit_by_name(mix.Mixer(), "commit-changes");
        // The mixer may be ahead by all that lies between it and here.
        do frames.push_back(mix.PullMany(1).at(0));
        while ((frames.back().At(0, 0) != kShown) != (i % 2 != 0) && frames.size() < 900);
    }
    int moves = 0;
    bool wasRight = false;
    for (const Frame& frame : frames) {
        const bool isRight = frame.At(0, 0) != kShown;
        const int shown = isRight ? 32 : 0;
        for (const int y : {0, 16}) {
            EXPECT_EQ(frame.At(shown, y), kShown);
            EXPECT_EQ(frame.At(32 - shown, y), isRight ? 32 : kBlack);
        }
        EXPECT_EQ(frame.At(shown + 16, 0), kShown);
        moves += isRight != wasRight ? 1 : 0;
        wasRight = isRight;
    }
    EXPECT_EQ(moves, 20);
}

// A position that a controller gives for the time of each frame is the one that the frame shows.
TEST_F(RectTest, FollowsControllersToTheFrame) {
    const auto control = [](GObject* object, const char* property, double from, double to) {
        GstControlSource* values = gst_interpolation_control_source_new();
        g_object_set(values, "mode", GST_INTERPOLATION_MODE_LINEAR, nullptr);
        auto* points = GST_TIMED_VALUE_CONTROL_SOURCE(values);
        (void)gst_timed_value_control_source_set(points, 0, from);
        (void)gst_timed_value_control_source_set(points, 8 * kFrame, to);
        (void)gst_object_add_control_binding(
            GST_OBJECT(object),
            gst_direct_control_binding_new_absolute(GST_OBJECT(object), property, values));
        gst_object_unref(values);
    };
    control(G_OBJECT(source.Pad()), "xpos", 0, 16);
    Set("rect-1", "ypos", 16);
    control(Child("rect-1"), "xpos", 48, 32);
    // Nothing of it is a change that takes time, or that waits for others.
    g_object_set(mix.Mixer(), "change-time", 1000u, nullptr);
    g_signal_emit_by_name(mix.Mixer(), "begin-changes");
    const std::vector<Frame> frames = MixAll(10);
    for (int i = 0; i < 10; ++i) {
        const Frame& frame = frames.at(static_cast<std::size_t>(i));
        const int left = 2 * std::min(i, 8);
        for (const auto& [x, y] : {std::pair(left, 0), std::pair(48 - left, 16)}) {
            EXPECT_EQ(frame.At(x, y), 100 + i) << i;
            EXPECT_EQ(frame.At(x + 15, y), 100 + i) << i;
            if (x > 0) {
                EXPECT_EQ(frame.At(x - 1, y), kBlack) << i;
            }
            if (x < 48) {
                EXPECT_EQ(frame.At(x + 16, y), kBlack) << i;
            }
        }
    }
}

TEST_F(RectTest, AStreamThatGrowsIsShownWholeFromItsFirstLargerFrame) {
    source.SendMany(3, 100);
    source.SetCaps(Caps(48, 32));
    source.SendMany(3, 103, 3);
    source.End();
    mix.Play();
    const std::vector<Frame> frames = mix.PullAll();
    ASSERT_EQ(frames.size(), 6u);
    EXPECT_EQ(frames[2].At(15, 15), 102);
    EXPECT_EQ(frames[2].At(16, 16), kBlack);
    EXPECT_EQ(frames[3].At(47, 31), 103);
    EXPECT_EQ(frames[3].At(48, 31), kBlack);
}

// 25 frames a second: a change of 200 ms has 5 steps.
TEST_F(RectTest, ChangesTakeTheTimeThatIsSet) {
    source.SendMany(1, 100);
    mix.Play();
    (void)mix.PullMany(1);
    g_object_set(mix.Mixer(), "change-time", 200u, nullptr);
    source.Place(20, 0);
    g_object_set(mix.Mixer(), "change-time", 0u, nullptr);
    source.SendMany(6, 101, 1);
    const std::vector<Frame> frames = mix.PullMany(6);
    for (int i = 0; i < 6; ++i) {
        const Frame& frame = frames.at(static_cast<std::size_t>(i));
        const int left = 4 * std::min(i + 1, 5);
        EXPECT_EQ(frame.At(left - 1, 0), kBlack) << i;
        EXPECT_EQ(frame.At(left, 0), 101 + i) << i;
    }
}

}  // namespace
}  // namespace qdvm::test
