// One output frame: what is in it, its stamps, and what it costs.

#include "support/alloc_counter.h"
#include "support/fake_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

namespace qdvm::test {
namespace {

TEST(Stamps, FollowTheGridFromTheTimeOfTheRun) {
    FakeFilter filter;
    filter.hasClock = true;
    filter.clock->SetTime(5000 * kMs);
    ASSERT_EQ(filter.Pause(), S_OK);
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(filter.Send(0, 1, i), S_OK);
        ASSERT_TRUE(filter.output.WaitForFrames(static_cast<std::size_t>(i) + 1));
    }
    ASSERT_EQ(filter.Run(4700 * kMs), S_OK);
    for (int i = 2; i < 4; ++i) ASSERT_EQ(filter.Send(0, 1, i), S_OK);
    ASSERT_TRUE(filter.output.WaitForFrames(4));
    const std::vector<Delivered> frames = filter.output.Frames();
    const std::int64_t starts[] = {0, 0, 300 * kMs, 300 * kMs + kFrame};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(frames[i].start, starts[i]);
        EXPECT_EQ(frames[i].stop, starts[i] + kFrame);
        EXPECT_EQ(frames[i].mediaStart, i);
        EXPECT_EQ(frames[i].mediaStop, i + 1);
        EXPECT_EQ(frames[i].discontinuity, i == 0);
        EXPECT_TRUE(frames[i].syncPoint);
        EXPECT_FALSE(frames[i].preroll);
        EXPECT_EQ(frames[i].length, 64 * 32 * 4);
    }
}

TEST(Stamps, WithoutAClockTheRunBeginsAtMinusItsStart) {
    FakeFilter filter;
    ASSERT_EQ(filter.Run(3 * kFrame), S_OK);
    ASSERT_EQ(filter.Send(0, 1), S_OK);
    ASSERT_TRUE(filter.output.WaitForFrames(1));
    EXPECT_EQ(filter.output.Last().start, -3 * kFrame);
    filter.Stop();
    // A second start counts from 0 again.
    ASSERT_EQ(filter.Run(INT64_MIN), S_OK);
    ASSERT_EQ(filter.Send(0, 1), S_OK);
    ASSERT_TRUE(filter.output.WaitForFrames(2));
    EXPECT_TRUE(filter.output.Last().discontinuity);
    EXPECT_EQ(filter.output.Last().mediaStart, 0);
}

TEST(Stamps, AMastersFrameLendsItsOwn) {
    FakeFilter filter;
    ASSERT_EQ(filter.SetMasterStream(0), S_OK);
    ASSERT_EQ(filter.Run(), S_OK);
    const MediaFrame frame = MakeFrame(6, 12345, 67890);
    FakeSample::Of(frame).preroll = true;
    FakeSample::Of(frame).discontinuity = true;
    ASSERT_EQ(filter.SendFrame(0, frame), S_OK);
    // Delivered on this thread.
    ASSERT_EQ(filter.output.FrameCount(), 1u);
    const Delivered out = filter.output.Last();
    EXPECT_EQ(out.start, 12345);
    EXPECT_EQ(out.stop, 67890);
    EXPECT_FALSE(out.hasMediaTime);
    EXPECT_FALSE(out.syncPoint);
    EXPECT_TRUE(out.preroll);
    EXPECT_TRUE(out.discontinuity);
    EXPECT_EQ(out.At(5, 5), 6);
}

// Streams on one thread: stream 0 is the master.
class Composition : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(filter.SetMasterStream(0), S_OK);
        ASSERT_EQ(filter.Run(), S_OK);
    }
    void Place(LONG stream, RECT target) {
        VM_MIXING_RECT rect{};
        rect.rcSource = {0, 0, target.right - target.left, target.bottom - target.top};
        rect.rcTarget = target;
        rect.dblAlpha = 1;
        LONG number = 0;
        ASSERT_EQ(filter.SetInputRect(stream, &number, &rect), S_OK);
    }
    FakeFilter filter{2};
};

TEST_F(Composition, LaterStreamsOfTheOrderLieOnTop) {
    Place(1, {16, 8, 48, 24});
    ASSERT_EQ(filter.Send(1, 20), S_OK);
    filter.Compose(1, 10);
    EXPECT_EQ(filter.output.Last().At(0, 0), 10);
    EXPECT_EQ(filter.output.Last().At(20, 10), 20);
    std::swap(filter.order[0], filter.order[1]);
    filter.Compose(1, 10);
    EXPECT_EQ(filter.output.Last().At(20, 10), 10);
    // The other stream's frame is replaced without a wait.
    std::swap(filter.order[0], filter.order[1]);
    for (const int value : {21, 22, 23}) ASSERT_EQ(filter.Send(1, static_cast<BYTE>(value)), S_OK);
    filter.Compose(1, 10);
    EXPECT_EQ(filter.output.Last().At(20, 10), 23);
}

TEST_F(Composition, BlackFillsAFrameInWhichNothingIsDrawnOnNothing) {
    ASSERT_EQ(filter.SetBackground(eVMB_Color, 0x112233, nullptr), S_OK);
    filter.Compose(1, 99);
    ASSERT_EQ(filter.SetBackground(eVMB_None, 0, nullptr), S_OK);
    filter.In(0).enabled = false;
    filter.Compose(1, 99);
    EXPECT_EQ(filter.output.Last().At(0, 0), 0);
    // A stream background leaves what was there.
    ASSERT_EQ(filter.SetBackground(eVMB_Stream, 0, nullptr), S_OK);
    filter.In(0).enabled = true;
    filter.Compose(1, 77);
    filter.In(0).enabled = false;
    filter.Compose(1, 99);
    EXPECT_EQ(filter.output.Last().At(0, 0), 77);
    // Disabled streams are taken all the same.
    EXPECT_TRUE(filter.In(0).freeEvent.IsSet());
}

TEST_F(Composition, FramesThatLieAreNotDrawn) {
    const MediaFrame small = MakeFrame(50);
    FakeSample::Of(small).bytes.resize(64 * 32 * 4 - 1);
    const MediaFrame lost = MakeFrame(60);
    FakeSample::Of(lost).hasMemory = false;
    for (const MediaFrame& frame : {small, lost}) {
        filter.Compose(1, 1);
        ASSERT_EQ(filter.SendFrame(0, frame), S_OK);
        EXPECT_EQ(filter.output.Last().At(0, 0), 0);
    }
    // An empty frame is a frame as long as nothing else came, and afterwards an empty tick.
    filter.Compose(1, 5);
    const MediaFrame empty = MakeFrame(40);
    FakeSample::Of(empty).length = 0;
    ASSERT_EQ(filter.SendFrame(0, empty), S_OK);
    EXPECT_EQ(filter.output.Last().At(0, 0), 5);
}

TEST_F(Composition, AHeldFrameKeepsTheFormatItCameIn) {
    ASSERT_EQ(filter.Send(1, 20), S_OK);
    FakeFilter::Connect(filter.In(1), {kFccRGB32, 512, 512, 512});
    filter.Compose(1, 10);
    EXPECT_EQ(filter.output.Last().At(63, 31), 20);
    // The lost picture is that of the new format.
    ASSERT_EQ(filter.SetStreamLost(1, eVMLS_White), S_OK);
    EXPECT_EQ(filter.In(1).lostPicture.Used(), 512u * 512 * 4);
    filter.Compose(1, 10);
    EXPECT_EQ(filter.output.Last().At(63, 31), 255);
    ASSERT_EQ(filter.SetStreamLost(1, eVMLS_Bars), S_OK);
    filter.Compose(1, 10);
    EXPECT_EQ(filter.output.Last().At(63, 31), 0xC0);
    EXPECT_TRUE(filter.In(1).lost);
}

TEST_F(Composition, AnOutputWithoutMemoryFailsThatFrameOnly) {
    for (const auto& sample : filter.output.pool) sample->hasMemory = false;
    filter.Compose(1);
    EXPECT_EQ(filter.output.FrameCount(), 0u);
    for (const auto& sample : filter.output.pool) sample->hasMemory = true;
    filter.Compose(1);
    EXPECT_EQ(filter.output.FrameCount(), 1u);
    // A smaller sample gets what fits.
    for (const auto& sample : filter.output.pool) sample->bytes.resize(100);
    filter.Compose(1);
    EXPECT_EQ(filter.output.Last().length, 100);
}

TEST_F(Composition, TheLastFrameIsKeptUntilTheStop) {
    LONG bitmap = 0;
    EXPECT_EQ(filter.CaptureBitmap(&bitmap, 0), VFW_E_WRONG_STATE);
    EXPECT_EQ(filter.CaptureBitmap(nullptr, 0), E_POINTER);
    filter.Compose(3);
    EXPECT_EQ(filter.output.FreeBuffers(), 7u);
    EXPECT_NE(filter.CaptureBitmap(&bitmap, 0), VFW_E_WRONG_STATE);
    filter.Stop();
    EXPECT_EQ(filter.output.FreeBuffers(), 8u);
    EXPECT_EQ(filter.CaptureBitmap(&bitmap, 0), VFW_E_WRONG_STATE);
}

TEST_F(Composition, RatesAndStatusTellWhatHappened) {
    filter.startTick = filter.startTick - 1000;
    filter.Compose(5);
    VM_VIDEO_PROPS props{};
    ASSERT_EQ(filter.GetOutputProps(0, &props), S_OK);
    EXPECT_EQ(props.picProps, kPicture);
    EXPECT_DOUBLE_EQ(props.dblStreamFPS, 25);
    EXPECT_NEAR(props.dblRealFPS, 5, 4.5);
    EXPECT_GT(props.dblRealFPS, 0);
    ASSERT_EQ(filter.GetInputProps(0, &props), S_OK);
    EXPECT_DOUBLE_EQ(props.dblStreamFPS, 25);
    EXPECT_GT(props.dblRealFPS, 0);
    ASSERT_EQ(filter.GetInputProps(1, &props), S_OK);
    EXPECT_EQ(props.dblRealFPS, 0);
    EXPECT_EQ(filter.GetInputProps(2, &props), VFW_E_NOT_CONNECTED);
    EXPECT_EQ(filter.GetInputProps(3, &props), E_INVALIDARG);
    VM_STREAM_STATUS status{};
    ASSERT_EQ(filter.GetStreamStatus(0, &status), S_OK);
    EXPECT_EQ(status.nFramesReceived, 5u);
    EXPECT_EQ(status.bWaiting, 0);
    ASSERT_EQ(filter.GetStreamStatus(1, &status), S_OK);
    EXPECT_EQ(status.bWaiting, 1);
    std::uint64_t mixed = 0;
    ASSERT_EQ(filter.GetFramesMixed(&mixed), S_OK);
    EXPECT_EQ(mixed, 5u);
    LONG streams = 0;
    ASSERT_EQ(filter.GetStreamCount(&streams), S_OK);
    EXPECT_EQ(streams, 2);
}

// Layouts that cover the frame, let the background be seen or leave what was there, in turns.
TEST(ComposedInPlace, FramesAreThoseOfTheMixersBuffer) {
    FakeFilter inPlace(2);
    FakeFilter buffered(2);
    buffered.output.hasOwnMemory = false;
    FakeFilter* const filters[] = {&inPlace, &buffered};
    for (FakeFilter* filter : filters) {
        ASSERT_EQ(filter->SetMasterStream(0), S_OK);
        ASSERT_EQ(filter->Run(), S_OK);
        for (const auto& sample : filter->output.pool)
            std::fill(sample->bytes.begin(), sample->bytes.end(), BYTE{0xEE});
    }
    constexpr RECT kTargets[] = {{0, 0, 64, 32}, {0, 0, 64, 30}, {-8, -8, 72, 40}, {20, 4, 44, 28}};
    constexpr eVM_Background kKinds[] = {eVMB_None, eVMB_Color, eVMB_Stream};
    std::mt19937 random(3);
    const auto pick = [&random](int count) {
        return static_cast<std::size_t>(random() % static_cast<unsigned>(count));
    };
    for (int frame = 0; frame < 200; ++frame) {
        const eVM_Background kind = kKinds[pick(3)];
        const bool newGround = pick(4) == 0;
        const auto colour = static_cast<LONG>(pick(0x1000000));
        const LONG fade = pick(2) ? 120 : 0;
        const LONG stream = static_cast<LONG>(pick(2));
        const RECT target = kTargets[pick(4)];
        const double alpha = pick(3) ? 1 : 0.5;
        const BOOL enabled = pick(3) != 0;
        for (FakeFilter* filter : filters) {
            if (newGround) {
                ASSERT_EQ(filter->SetBackground2(kind, colour, nullptr, fade), S_OK);
            }
            VM_MIXING_RECT rect{};
            rect.rcTarget = target;
            rect.dblAlpha = alpha;
            rect.nBorderWidth = frame % 3;
            LONG number = 0;
            ASSERT_EQ(filter->SetInputRect(stream, &number, &rect), S_OK);
            (void)filter->EnableStream(stream, enabled);
            ASSERT_EQ(filter->Send(1, static_cast<BYTE>(100 + frame)), S_OK);
            filter->Compose(1, static_cast<BYTE>(frame));
        }
        ASSERT_EQ(inPlace.output.Last().bytes, buffered.output.Last().bytes) << "frame " << frame;
    }
}

TEST(Start, NeedsAnInputAndAnOutputAndTheAllocator) {
    FakeFilter unconnected(0);
    EXPECT_EQ(unconnected.Pause(), VFW_E_NOT_CONNECTED);
    FakeFilter filter;
    filter.output.connected = false;
    EXPECT_EQ(filter.Pause(), VFW_E_NOT_CONNECTED);
    filter.output.connected = true;
    filter.output.commitResult = E_OUTOFMEMORY;
    EXPECT_EQ(filter.Pause(), E_OUTOFMEMORY);
    EXPECT_EQ(filter.State(), PlayState::kStopped);
    filter.output.commitResult = S_OK;
    EXPECT_EQ(filter.Pause(), S_OK);
}

TEST(Start, ShowsTheFirstStreamIfNothingElseIsShown) {
    FakeFilter filter(2);
    for (const LONG i : {0, 1}) {
        filter.In(static_cast<std::size_t>(i)).enabled = false;
        ASSERT_EQ(filter.RemoveAllRects(i), S_OK);
    }
    filter.dirty = false;
    ASSERT_EQ(filter.Pause(), S_OK);
    EXPECT_EQ(filter.IsStreamEnabled(0, nullptr), S_OK);
    EXPECT_EQ(filter.IsStreamEnabled(1, nullptr), S_FALSE);
    VM_MIXING_RECT rect{};
    ASSERT_EQ(filter.GetInputRect(0, 0, &rect), S_OK);
    EXPECT_EQ(rect.rcTarget.right, 64);
    EXPECT_TRUE(filter.dirty);

    FakeFilter second(2);
    second.In(0).enabled = false;
    ASSERT_EQ(second.Pause(), S_OK);
    EXPECT_EQ(second.IsStreamEnabled(0, nullptr), S_FALSE);
}

TEST(Allocation, SteadyFramesAllocateNothing) {
    for (const LONG master : {-1, 0}) {
        FakeFilter filter(2);
        ASSERT_EQ(filter.SetMasterStream(master), master < 0 ? S_FALSE : S_OK);
        ASSERT_EQ(filter.SetBackground2(eVMB_Color, 0xFF, nullptr, 100000), S_OK);
        LONG number = 0;
        ASSERT_EQ(filter.SetInputRect2(0, &number, nullptr, 100000), S_OK);
        filter.output.keepsFrames = false;
        ASSERT_EQ(filter.Run(), S_OK);
        std::vector<MediaFrame> frames;
        for (int i = 0; i < 240; ++i)
            frames.push_back(MakeFrame(1, i / 2 * kFrame, i / 2 * kFrame + kFrame));
        const auto send = [&](std::size_t from, std::size_t to) {
            for (std::size_t i = from; i < to; ++i) {
                ASSERT_EQ(filter.SendFrame(1 - i % 2, frames[i]), S_OK);
            }
            ASSERT_TRUE(filter.output.WaitForFrames(to / 2));
        };
        send(0, 40);
        const AllocCounter counter;
        send(40, 240);
        EXPECT_EQ(counter.Count(), 0u);
    }
}

}  // namespace
}  // namespace qdvm::test
