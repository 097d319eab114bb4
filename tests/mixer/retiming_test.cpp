// Which slots of the output grid a frame fills.

#include "support/fake_filter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <thread>
#include <vector>

namespace qdvm::test {
namespace {

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

std::vector<int> ValuesOf(FakeFilter& filter) {
    std::vector<int> values;
    for (const Delivered& frame : filter.output.Frames()) values.push_back(frame.At(0, 0));
    return values;
}

VM_STREAM_STATUS StatusOf(FakeFilter& filter) {
    VM_STREAM_STATUS status{};
    EXPECT_EQ(filter.GetStreamStatus(0, &status), S_OK);
    return status;
}

TEST(Retiming, AFasterStreamLosesFrames) {
    FakeFilter filter;
    ASSERT_EQ(filter.Run(), S_OK);
    for (int i = 0; i < 6; ++i) {
        const MediaFrame frame =
            MakeFrame(static_cast<BYTE>(i + 1), i * kFrame / 2, (i + 1) * kFrame / 2);
        ASSERT_EQ(filter.SendFrame(0, frame), S_OK);
    }
    ASSERT_TRUE(filter.output.WaitForFrames(3));
    EXPECT_EQ(ValuesOf(filter), (std::vector<int>{1, 3, 5}));
    EXPECT_EQ(StatusOf(filter).nFramesDropped, 3u);
    EXPECT_EQ(StatusOf(filter).nFramesReceived, 3u);
}

TEST(Retiming, ASlowerStreamIsShownAgainInTheSlotsThatItMisses) {
    FakeFilter filter;
    filter.outputFrameTime = kFrame / 2;
    ASSERT_EQ(filter.Run(), S_OK);
    const MediaFrame last = MakeFrame(3, 2 * kFrame, 3 * kFrame);
    ASSERT_EQ(filter.Send(0, 1, 0), S_OK);
    ASSERT_EQ(filter.Send(0, 2, 1), S_OK);
    ASSERT_EQ(filter.SendFrame(0, last), S_OK);
    ASSERT_TRUE(filter.output.WaitForFrames(5));
    EXPECT_EQ(ValuesOf(filter), (std::vector<int>{1, 1, 2, 2, 3}));
    EXPECT_EQ(StatusOf(filter).nFramesRepeated, 2u);
    // The frame itself carries the slot that it fills.
    const FakeSample& sample = FakeSample::Of(last);
    EXPECT_EQ(sample.start, 2 * kFrame);
    EXPECT_EQ(sample.stop, 2 * kFrame + kFrame / 2);
    EXPECT_EQ(sample.mediaStart, 4);
    EXPECT_EQ(sample.mediaStop, 5);
}

TEST(Retiming, ALateFirstFrameMakesNoOutputBeforeIt) {
    FakeFilter filter;
    ASSERT_EQ(filter.Run(), S_OK);
    ASSERT_EQ(filter.Send(0, 9, 250), S_OK);
    ASSERT_TRUE(filter.output.WaitForFrames(1));
    EXPECT_EQ(filter.In(0).gridSlot, 251);
    ASSERT_EQ(filter.Send(0, 10, 251), S_OK);
    ASSERT_TRUE(filter.output.WaitForFrames(2));
    EXPECT_EQ(ValuesOf(filter), (std::vector<int>{9, 10}));
}

TEST(Retiming, TheFrameTimeIsLearned) {
    for (const bool hasStop : {false, true}) {
        FakeFilter filter;
        FakeFilter::Connect(filter.In(0), kPicture, 0);
        filter.outputFrameTime = 0;
        ASSERT_EQ(filter.Run(), S_OK);
        for (int i = 0; i < 2; ++i) {
            const std::int64_t start = i * kFrame;
            const MediaFrame frame = MakeFrame(1, start, start + (hasStop ? kFrame : 1));
            if (!hasStop && i == 1) FakeSample::Of(frame).timeResult = VFW_S_NO_STOP_TIME;
            ASSERT_EQ(filter.SendFrame(0, frame), S_OK);
            EXPECT_EQ(filter.In(0).frameTime, hasStop || i == 1 ? kFrame : 0);
        }
        EXPECT_EQ(filter.outputFrameTime, kFrame);
        EXPECT_TRUE(filter.output.WaitForFrames(2));
    }
}

TEST(Retiming, FramesWithoutUsefulTimesAreTakenAsTheyCome) {
    FakeFilter filter;
    ASSERT_EQ(filter.Run(), S_OK);
    const MediaFrame timeless = MakeFrame(1, 7 * kFrame, 8 * kFrame);
    FakeSample::Of(timeless).timeResult = VFW_E_SAMPLE_TIME_NOT_SET;
    ASSERT_EQ(filter.SendFrame(0, timeless), S_OK);
    ASSERT_EQ(filter.IgnoreTime(0, 1), S_OK);
    ASSERT_EQ(filter.Send(0, 2, 0), S_OK);
    ASSERT_EQ(filter.Send(0, 3, 0), S_OK);
    ASSERT_TRUE(filter.output.WaitForFrames(3));
    EXPECT_EQ(ValuesOf(filter), (std::vector<int>{1, 2, 3}));
}

TEST(Retiming, NoTimesStopTheMixer) {
    struct Times {
        std::int64_t start, stop, frameTime;
    };
    for (const Times times :
         {Times{kMax, kMax, kFrame}, Times{kMax - 1, kMax, 1}, Times{kMin, kMax, kFrame},
          Times{0, kMin, 0}, Times{kMin, 0, 0}, Times{kMin, kMax, 0},
          Times{kMax - kFrame, kMax, kMax}, Times{-kFrame, kFrame, kMax / 3}}) {
        FakeFilter filter;
        FakeFilter::Connect(filter.In(0), kPicture, times.frameTime);
        filter.outputFrameTime = times.frameTime;
        filter.hasClock = true;
        filter.In(0).keepRate = true;
        ASSERT_EQ(filter.Run(), S_OK);
        (void)filter.SendFrame(0, MakeFrame(1, times.start, times.stop));
        filter.FlushBuffers(0);
        filter.In(0).gridSlot = 0;
        EXPECT_EQ(filter.Send(0, 2), S_OK);
        EXPECT_TRUE(filter.output.WaitForFrames(1));
    }
}

TEST(Retiming, AStopEndsARunOfEmptyTicks) {
    FakeFilter filter;
    ASSERT_EQ(filter.Run(), S_OK);
    ASSERT_EQ(filter.Send(0, 1), S_OK);
    std::thread source([&] { (void)filter.Send(0, 2, kMax / kFrame - 2); });
    EXPECT_TRUE(filter.output.WaitForFrames(5));
    filter.Stop();
    source.join();
}

}  // namespace
}  // namespace qdvm::test
