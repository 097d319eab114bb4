// When a frame is composed with several streams: who is waited for, and for how long.

#include "platform/settings_store.h"
#include "support/fake_filter.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <thread>
#include <tuple>

namespace qdvm::test {
namespace {

using Clock = std::chrono::steady_clock;

void ShowHalves(FakeFilter& filter) {
    for (LONG i = 0; i < 2; ++i) {
        VM_MIXING_RECT half{};
        half.rcSource = {0, 0, 32, 32};
        half.rcTarget = {i * 32, 0, i * 32 + 32, 32};
        half.dblAlpha = 1;
        LONG rect = 0;
        ASSERT_EQ(filter.SetInputRect(i, &rect, &half), S_OK);
    }
}

class LostPolicy : public ::testing::TestWithParam<std::tuple<eVM_LostShow, int>> {};

TEST_P(LostPolicy, AStalledStreamShowsItAfterItsWait) {
    const auto [show, shown] = GetParam();
    FakeFilter filter(2);
    ShowHalves(filter);
    ASSERT_EQ(filter.SetBackground(eVMB_Color, 0x404040, nullptr), S_OK);
    ASSERT_EQ(filter.SetStreamMaxWait(1, 3, show), S_OK);
    ASSERT_EQ(filter.Run(), S_OK);
    ASSERT_EQ(filter.Send(1, 7, 0), S_OK);
    const Clock::time_point stalled = Clock::now();
    ASSERT_EQ(filter.Send(0, 1, 0), S_OK);
    ASSERT_TRUE(filter.output.WaitForFrames(1));
    ASSERT_EQ(filter.Send(0, 2, 1), S_OK);
    ASSERT_TRUE(filter.output.WaitForFrames(2));
    EXPECT_GE(Clock::now() - stalled, std::chrono::milliseconds(3 * 40 - 15));
    BOOL isLost = 0;
    EXPECT_EQ(filter.IsStreamLost(1, &isLost, nullptr), S_OK);
    // No more waiting from here on.
    for (int i = 2; i < 30; ++i) ASSERT_EQ(filter.Send(0, 3, i), S_OK);
    ASSERT_TRUE(filter.output.WaitForFrames(30));
    EXPECT_EQ(filter.output.Last().At(0, 0), 3);
    EXPECT_EQ(filter.output.Last().At(40, 0), shown);

    // A frame brings the stream back.
    ASSERT_EQ(filter.Send(1, 8, 1), S_OK);
    EXPECT_EQ(filter.IsStreamLost(1, nullptr, nullptr), S_FALSE);
    ASSERT_EQ(filter.Send(0, 4, 30), S_OK);
    ASSERT_TRUE(WaitUntil([&] { return filter.output.Last().At(0, 0) == 4; }));
    EXPECT_EQ(filter.output.Last().At(40, 0), 8);
}

INSTANTIATE_TEST_SUITE_P(Rows, LostPolicy,
                         ::testing::Values(std::make_tuple(eVMLS_Hide, 0x40),
                                           std::make_tuple(eVMLS_Last, 7),
                                           std::make_tuple(eVMLS_Black, 0),
                                           std::make_tuple(eVMLS_White, 255)));

TEST(MixThread, AStreamThatNeverDeliversIsLostToo) {
    FakeFilter filter(2);
    ASSERT_EQ(filter.SetStreamMaxWait(-1, 2, eVMLS_Last), S_OK);
    ASSERT_EQ(filter.Run(), S_OK);
    ASSERT_EQ(filter.Send(0, 1, 0), S_OK);
    EXPECT_TRUE(filter.output.WaitForFrames(1));
    EXPECT_TRUE(filter.In(1).lost);
    EXPECT_FALSE(filter.In(0).lost);
}

TEST(MixThread, WithoutAWaitAStalledStreamStopsTheOutputUntilOneIsSet) {
    FakeFilter filter(2);
    ASSERT_EQ(filter.SetStreamMaxWait(1, 0, eVMLS_Last), S_OK);
    ASSERT_EQ(filter.Run(), S_OK);
    ASSERT_EQ(filter.Send(0, 1, 0), S_OK);
    EXPECT_FALSE(filter.output.WaitForFrames(1, 500));
    EXPECT_FALSE(filter.In(1).lost);
    ASSERT_EQ(filter.SetStreamMaxWait(1, 1, eVMLS_Last), S_OK);
    EXPECT_TRUE(filter.output.WaitForFrames(1));
}

TEST(MixThread, NothingIsLostInAPause) {
    FakeFilter filter(2);
    ASSERT_EQ(filter.SetStreamMaxWait(-1, 1, eVMLS_Last), S_OK);
    ASSERT_EQ(filter.Pause(), S_OK);
    ASSERT_EQ(filter.Send(0, 1, 0), S_OK);
    EXPECT_FALSE(filter.output.WaitForFrames(1, 300));
    EXPECT_FALSE(filter.In(1).lost);
    ASSERT_EQ(filter.Run(), S_OK);
    EXPECT_TRUE(filter.output.WaitForFrames(1));
}

TEST(MixThread, AStartGivesEveryStreamItsWholeWait) {
    FakeFilter filter(1);
    filter.In(0).waitLeftMs = 1;
    ASSERT_EQ(filter.Pause(), S_OK);
    EXPECT_EQ(filter.In(0).waitLeftMs, 8 * 40);
    // However short the frames, a wait has an end.
    FakeFilter::Connect(filter.In(0), kPicture, 1);
    EXPECT_EQ(filter.In(0).waitLeftMs, 1);
}

TEST(MixThread, AnEmptyTickCountsBeforeTheFirstFrameIfTheSettingSaysSo) {
    SettingsKey key;
    ASSERT_EQ(SettingsKey::OpenOrCreate(u"Software\\Quindarlux\\QDVideoMixer", key), S_OK);
    ASSERT_EQ(key.WriteU32(u"Mixer.SyncStart", 2), S_OK);
    FakeFilter filter(2);
    ASSERT_EQ(key.WriteU32(u"Mixer.SyncStart", 0), S_OK);
    ASSERT_EQ(filter.Run(), S_OK);
    std::thread late([&] { (void)filter.Send(1, 9, 3); });
    for (int i = 0; i < 4; ++i) ASSERT_EQ(filter.Send(0, 1, i), S_OK);
    late.join();
    EXPECT_TRUE(filter.output.WaitForFrames(4));
}

TEST(MixThread, TheLastFrameComesBeforeTheEnd) {
    FakeFilter filter;
    ASSERT_EQ(filter.LoopStream(0, 0, 0), S_OK);
    ASSERT_EQ(filter.Run(), S_OK);
    for (int i = 0; i < 5; ++i) ASSERT_EQ(filter.Send(0, static_cast<BYTE>(i), i), S_OK);
    filter.In(0).EndStream();
    ASSERT_TRUE(filter.output.WaitForEnd());
    EXPECT_EQ(filter.output.framesAtEnd, 5u);
    EXPECT_EQ(filter.output.Last().At(0, 0), 4);
    // The end is told again until the stop.
    EXPECT_TRUE(WaitUntil([&] { return filter.output.ends >= 3; }));
}

TEST(MixThread, TheEndComesByTheStreamsInOrder) {
    // Stream 1 alone may not end the output, stream 0 alone may.
    FakeFilter filter(2);
    for (LONG i = 0; i < 2; ++i) ASSERT_EQ(filter.LoopStream(i, 0, 1), S_OK);
    ASSERT_EQ(filter.Run(), S_OK);
    ASSERT_EQ(filter.Send(1, 1, 0), S_OK);
    filter.In(1).EndStream();
    for (int i = 0; i < 5; ++i) ASSERT_EQ(filter.Send(0, 1, i), S_OK);
    ASSERT_TRUE(filter.output.WaitForFrames(5));
    EXPECT_EQ(filter.output.ends, 0u);

    ASSERT_EQ(filter.FlushBuffers(1), S_OK);
    EXPECT_FALSE(filter.In(1).endOfStream);
    filter.In(0).EndStream();
    ASSERT_EQ(filter.Send(1, 1, 5), S_OK);
    EXPECT_TRUE(filter.output.WaitForEnd());
}

TEST(MixThread, ALoopedStreamStartsOverInsteadOfEnding) {
    FakeFilter filter;
    FakeInput& input = filter.In(0);
    input.canSeek = true;
    input.EndStream();
    EXPECT_EQ(input.seeks, 1);
    EXPECT_FALSE(input.endOfStream);
    input.canSeek = false;
    input.EndStream();
    EXPECT_TRUE(input.endOfStream);
    // Told to loop after its end.
    input.canSeek = true;
    ASSERT_EQ(filter.LoopStream(0, 1, 0), S_OK);
    EXPECT_EQ(input.seeks, 2);
}

TEST(MixThread, WithAllStreamsLostTheClockSetsThePace) {
    FakeFilter filter;
    filter.hasClock = true;
    filter.clock->SetTime(1000 * kMs);
    ASSERT_EQ(filter.SetStreamLost(0, eVMLS_White), S_OK);
    ASSERT_EQ(filter.Run(900 * kMs), S_OK);
    for (int i = 0; i < 3; ++i) {
        // A wait that runs out asks again with the next frame.
        std::int64_t due = 0;
        ASSERT_TRUE(WaitUntil([&] { return (due = filter.clock->NextDue()) != INT64_MAX; }));
        EXPECT_EQ((due - 900 * kMs + 20 * kMs - 100 * kMs) % kFrame, 0);
        filter.clock->SetTime(due);
    }
    ASSERT_TRUE(filter.output.WaitForFrames(3));
    for (const Delivered& frame : filter.output.Frames()) {
        EXPECT_EQ(frame.At(3, 3), 255);
        // 0 in the pause.
        EXPECT_TRUE(frame.start == 0 || frame.start % kFrame == 100 * kMs % kFrame);
    }
    filter.Stop();
    EXPECT_EQ(filter.clock->PendingAdvises(), 0u);
}

TEST(MixThread, AFrameThatCannotBeMadeIsTriedAgain) {
    FakeFilter filter;
    filter.output.adoptResult = VFW_E_INVALIDMEDIATYPE;
    ASSERT_EQ(filter.Run(), S_OK);
    ASSERT_EQ(filter.Send(0, 5), S_OK);
    EXPECT_FALSE(filter.output.WaitForFrames(1, 50));
    filter.output.adoptResult = S_FALSE;
    ASSERT_TRUE(filter.output.WaitForFrames(1));
    EXPECT_EQ(filter.output.Last().At(0, 0), 5);
}

}  // namespace
}  // namespace qdvm::test
