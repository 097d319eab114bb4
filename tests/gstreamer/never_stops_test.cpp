// The output goes on whatever one input does, with its layout and without a break in its stamps.

#include "gstreamer/mix_pipeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

namespace qdvm::test {
namespace {

constexpr int kBlack = 0;

// A stream on the left and room for another on the right.
class NeverStops : public testing::Test {
protected:
    MixPipeline mix{Caps(64, 32)};
    Source steady = mix.Add(Caps(32, 32));

    // However slow the machine is.
    NeverStops() { steady.Set("max-wait", 1000); }

    Source AddOther(const std::string& caps = Caps(32, 32)) {
        Source other = mix.Add(caps);
        other.Place(32, 0);
        return other;
    }

    // The frames of the steady stream from frame `from` on come one by one, with their stamps.
    std::vector<Frame> ExpectSteady(int count, int from = 0) {
        std::vector<Frame> frames = mix.PullMany(count);
        ExpectContinuous(frames);
        for (std::size_t i = 0; i < frames.size(); ++i) {
            EXPECT_EQ(frames[i].pts, (static_cast<GstClockTime>(from) + i) * kFrame);
            EXPECT_EQ(frames[i].At(0, 0), (10 + from + static_cast<int>(i)) % 256);
        }
        return frames;
    }
};

TEST_F(NeverStops, ForAPadThatIsLinkedAndNeverDelivers) {
    Source dead = AddOther();
    steady.SendMany(30, 10);
    mix.Play();
    const std::vector<Frame> frames = ExpectSteady(30);
    EXPECT_EQ(frames.back().At(32, 0), kBlack);
    EXPECT_TRUE(mix.WaitForHealth(dead, "lost"));
    EXPECT_EQ(dead.Health(), "lost");
}

TEST_F(NeverStops, ForAPadThatNeverSendsCaps) {
    Source dead = AddOther("");
    steady.SendMany(30, 10);
    mix.Play();
    (void)ExpectSteady(30);
    EXPECT_EQ(dead.Health(), "lost");
}

TEST_F(NeverStops, ForAPadWhoseCapsComeLateAndWhoThenJoinsWithoutABreak) {
    Source late = AddOther("");
    steady.SendMany(10, 10);
    mix.Play();
    (void)ExpectSteady(10);
    late.Set("max-wait", 1000);
    late.SetCaps(Caps(32, 32));
    late.SendMany(30, 100, 10);
    // A lost stream isn't waited for, and nothing here runs by a clock.
    EXPECT_TRUE(Eventually([&] { return late.Health() == "live"; }));
    steady.SendMany(30, 20, 10);
    const std::vector<Frame> frames = ExpectSteady(30, 10);
    EXPECT_EQ(frames.back().At(32, 0), 129);
    EXPECT_EQ(late.Health(), "live");
}

TEST_F(NeverStops, ForAPadThatStallsAndComesBack) {
    Source other = AddOther();
    other.SendMany(5, 100);
    steady.SendMany(20, 10);
    mix.Play();
    std::vector<Frame> frames = ExpectSteady(20);
    EXPECT_EQ(frames[4].At(32, 0), 104);
    EXPECT_EQ(frames[19].At(32, 0), 104);  // shown on
    EXPECT_TRUE(mix.WaitForHealth(other, "lost"));
    EXPECT_GT(other.Count("frames-repeated"), 10u);
    other.SendMany(20, 120, 20);
    EXPECT_TRUE(mix.WaitForHealth(other, "live"));
    steady.SendMany(20, 30, 20);
    frames = ExpectSteady(20, 20);
    EXPECT_EQ(frames[19].At(32, 0), 139);
}

TEST_F(NeverStops, ForALostPadThatShowsWhite) {
    Source other = AddOther();
    gst_util_set_object_arg(G_OBJECT(other.Pad()), "lost-show", "white");
    other.Set("max-wait", 6);
    other.SendMany(2, 100);
    steady.SendMany(10, 10);
    mix.Play();
    const std::vector<Frame> frames = ExpectSteady(10);
    EXPECT_EQ(frames[1].At(32, 0), 101);
    EXPECT_EQ(frames[9].At(32, 0), 0xFF);
}

TEST_F(NeverStops, ForAPadThatEnds) {
    Source other = AddOther();
    other.SendMany(3, 100);
    other.End();
    steady.SendMany(30, 10);
    steady.End();
    mix.Play();
    const std::vector<Frame> frames = ExpectSteady(30);
    EXPECT_EQ(frames[2].At(32, 0), 102);
    EXPECT_EQ(frames[29].At(32, 0), 102);
    EXPECT_EQ(other.Health(), "ended");
    EXPECT_TRUE(mix.PullAll().empty());
}

TEST_F(NeverStops, ForAPadThatEndsWithoutEverHavingBegun) {
    Source other = AddOther();
    other.End();
    steady.SendMany(3, 10);
    steady.End();
    mix.Play();
    EXPECT_EQ(mix.PullAll().size(), 3u);
}

TEST_F(NeverStops, ForAPadThatIsFlushed) {
    Source other = AddOther();
    other.SendMany(10, 100);
    steady.SendMany(10, 10);
    mix.Play();
    (void)ExpectSteady(10);
    GstPad* upstream = gst_pad_get_peer(other.Pad());
    EXPECT_TRUE(gst_pad_push_event(upstream, gst_event_new_flush_start()));
    steady.SendMany(20, 20, 10);
    (void)ExpectSteady(10, 10);
    EXPECT_TRUE(gst_pad_push_event(upstream, gst_event_new_flush_stop(TRUE)));
    gst_object_unref(upstream);
    (void)ExpectSteady(10, 20);
}

TEST_F(NeverStops, ForAPadThatIsUnlinkedAndLinkedAgain) {
    Source other = AddOther();
    other.SendMany(5, 100);
    steady.SendMany(20, 10);
    mix.Play();
    (void)ExpectSteady(5);
    GstPad* upstream = gst_pad_get_peer(other.Pad());
    EXPECT_TRUE(gst_pad_unlink(upstream, other.Pad()));
    (void)ExpectSteady(15, 5);
    EXPECT_EQ(other.Health(), "lost");
    EXPECT_EQ(gst_pad_link(upstream, other.Pad()), GST_PAD_LINK_OK);
    gst_object_unref(upstream);
}

TEST_F(NeverStops, ForAPadThatJoinsWhilePlaying) {
    steady.SendMany(100, 10);
    mix.Play();
    (void)ExpectSteady(5);
    Source late = AddOther();
    late.SendMany(120, 80);
    std::vector<Frame> frames = mix.PullMany(80);
    // While the mixer starts anew a frame of the others may be left out, never a stamp.
    ExpectContinuous(frames);
    EXPECT_EQ(frames[0].pts, 5 * kFrame);
    EXPECT_EQ(frames[79].At(0, 0), 10 + 84);
    EXPECT_EQ(frames[79].At(32, 0), 80 + 84);
    EXPECT_EQ(frames[79].At(31, 31), frames[79].At(0, 0));
}

TEST_F(NeverStops, ForAPadThatLeavesWhilePlaying) {
    Source first = AddOther();
    Source second = mix.Add(Caps(16, 16));
    second.Place(48, 16);
    first.SendMany(100, 100);
    second.SendMany(100, 150);
    steady.SendMany(100, 10);
    mix.Play();
    (void)ExpectSteady(10);
    mix.Remove(first);
    const std::vector<Frame> frames = mix.PullMany(50);
    ExpectContinuous(frames);
    EXPECT_EQ(frames[0].pts, 10 * kFrame);
    EXPECT_EQ(frames[49].At(0, 0), 10 + 59);
    EXPECT_EQ(frames[49].At(32, 0), kBlack);
    EXPECT_EQ(frames[49].At(48, 16), 150 + 59);
}

TEST_F(NeverStops, ForPadsThatComeAndGoInTurn) {
    constexpr int kFrames = 2000;
    steady.SendMany(kFrames, 10);
    mix.Play();
    std::vector<Frame> frames = mix.PullMany(2);
    const auto pullUntil = [&](const std::function<bool(const Frame&)>& condition) {
        while (static_cast<int>(frames.size()) < kFrames - 20) {
            frames.push_back(mix.PullMany(1).at(0));
            if (condition(frames.back())) return true;
        }
        return false;
    };
    for (int round = 0; round < 5; ++round) {
        Source guest = AddOther();
        guest.Set("max-wait", 1000);
        const int now = static_cast<int>(frames.size());
        guest.SendMany(kFrames - now, 10 + now, now);
        EXPECT_TRUE(Eventually([&] { return guest.Count("frames-in") > 0; }));
        const auto showsBoth = [](const Frame& frame) {
            return frame.At(32, 0) == frame.At(0, 0) && frame.At(0, 0) != kBlack;
        };
        EXPECT_TRUE(pullUntil(showsBoth)) << "round " << round;
        mix.Remove(guest);
        EXPECT_TRUE(pullUntil([](const Frame& frame) {
            return frame.At(32, 0) == kBlack && frame.At(0, 0) != kBlack;
        })) << "round "
            << round;
    }
    ExpectContinuous(frames);
}

TEST_F(NeverStops, ForAnEndedPadWhosePictureStaysWhenAnotherJoins) {
    Source ended = AddOther(Caps(16, 16));
    ended.SendMany(1, 222);
    ended.End();
    steady.SendMany(60, 10);
    mix.Play();
    (void)ExpectSteady(3);
    Source late = mix.Add(Caps(16, 16));
    late.Place(48, 16);
    late.SendMany(60, 100);
    const std::vector<Frame> frames = mix.PullMany(40);
    ExpectContinuous(frames);
    EXPECT_EQ(frames.back().At(32, 0), 222);
    EXPECT_EQ(frames.back().At(48, 16), 142);
}

TEST_F(NeverStops, ForAGapInAStream) {
    Source other = AddOther();
    other.SendMany(3, 100);
    other.SendMany(10, 150, 50);
    steady.SendMany(60, 10);
    mix.Play();
    const std::vector<Frame> frames = ExpectSteady(60);
    EXPECT_EQ(frames[30].At(32, 0), 102);
    EXPECT_EQ(frames[49].At(32, 0), 102);
    EXPECT_EQ(frames[50].At(32, 0), 150);
    EXPECT_EQ(frames[59].At(32, 0), 159);
}

// Whose slots must not all be composed at once when the mixer starts anew.
TEST_F(NeverStops, ForAPadThatJoinsDuringTheGapOfAnother) {
    Source sparse = AddOther(Caps(16, 16));
    sparse.SendMany(3, 100);
    sparse.SendMany(10, 150, 500);
    steady.SendMany(600, 10);
    mix.Play();
    std::vector<Frame> frames = ExpectSteady(10);
    Source late = mix.Add(Caps(16, 16));
    late.Set("max-wait", 1000);
    late.Place(48, 16);
    late.SendMany(600, 10);
    frames = mix.PullMany(495);
    ExpectContinuous(frames);
    std::vector<int> shown;
    std::ranges::transform(frames, std::back_inserter(shown),
                           [](const Frame& f) { return f.At(32, 0); });
    std::vector<int> expected(490, 102);
    for (int i = 0; i < 5; ++i) expected.push_back(150 + i);
    EXPECT_EQ(shown, expected);
    EXPECT_EQ(frames[480].At(48, 16), frames[480].At(0, 0));
    EXPECT_EQ(frames[480].At(0, 0), (10 + 490) % 256);
    EXPECT_EQ(frames[494].At(32, 0), 154);
}

TEST_F(NeverStops, ForAllPadsAtOnce) {
    gst_util_set_object_arg(G_OBJECT(steady.Pad()), "lost-show", "hide");
    steady.Set("max-wait", 2);
    steady.SendMany(3, 10);
    mix.Play();
    (void)ExpectSteady(3);
    // By the clock from here on, with what the lost policy shows.
    const std::vector<Frame> frames = mix.PullMany(5);
    ExpectContinuous(frames);
    EXPECT_EQ(frames[0].pts, 3 * kFrame);
    EXPECT_EQ(frames[4].At(0, 0), kBlack);
}

TEST_F(NeverStops, ForADownstreamThatKeepsItsBuffers) {
    GstElement* sink = gst_bin_get_by_name(GST_BIN(mix.Whole()), "sink");
    steady.SendMany(60, 10);
    steady.End();
    mix.Play();
    std::vector<GstSample*> kept;
    for (;;) {
        GstSample* sample = nullptr;
        g_signal_emit_by_name(sink, "pull-sample", &sample);
        if (!sample) break;
        kept.push_back(sample);
    }
    gst_object_unref(sink);
    EXPECT_EQ(kept.size(), 60u);
    for (std::size_t i = 0; i < kept.size(); ++i) {
        guint8 value = 0;
        (void)gst_buffer_extract(gst_sample_get_buffer(kept[i]), 0, &value, 1);
        EXPECT_EQ(value, 10 + i);
        gst_sample_unref(kept[i]);
    }
}

}  // namespace
}  // namespace qdvm::test
