// Threads that the mixer holds, and what lets them go.

#include "support/fake_filter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>

namespace qdvm::test {
namespace {

// Stream 0 of two holds a frame that nobody takes, since stream 1 has none; a thread waits with the
// next.
class HeldInput : public ::testing::Test {
protected:
    void Block() {
        ASSERT_EQ(filter.Pause(), S_OK);
        ASSERT_EQ(filter.Send(0, 1, 0), S_OK);
        filter.In(0).waitLeftMs = 0;
        source = std::thread([this] { result = filter.Send(0, 2, 1); });
        ASSERT_TRUE(WaitUntil([&] { return filter.In(0).waitLeftMs != 0; }));
    }
    void TearDown() override {
        filter.Stop();
        if (source.joinable()) source.join();
    }

    FakeFilter filter{2};
    std::thread source;
    std::atomic<HRESULT> result{E_FAIL};
};

TEST_F(HeldInput, GoesOnWhenTheMixerHasTakenItsFrame) {
    Block();
    ASSERT_EQ(filter.Send(1, 1, 0), S_OK);
    source.join();
    EXPECT_EQ(result, S_OK);
    EXPECT_EQ(filter.In(0).framesReceived, 2);
}

TEST_F(HeldInput, AFlushLetsItGoAndItsFrameIsNotStored) {
    Block();
    ASSERT_EQ(filter.FlushBuffers(0), S_OK);
    source.join();
    EXPECT_EQ(filter.In(0).framesReceived, 1);
    EXPECT_FALSE(filter.In(0).currentFrame);
    EXPECT_FALSE(filter.In(0).readyEvent.IsSet());
    // The next one after the flush is stored at once.
    ASSERT_EQ(filter.Send(0, 3, 2), S_OK);
    EXPECT_TRUE(filter.In(0).currentFrame);
}

TEST_F(HeldInput, AStopLetsItGoAndItsFrameIsDropped) {
    Block();
    filter.Stop();
    source.join();
    EXPECT_FALSE(filter.In(0).currentFrame);
    EXPECT_EQ(filter.output.FreeBuffers(), 8u);
    filter.IgnoreTime(0, 1);
    EXPECT_EQ(filter.Send(0, 3), VFW_E_NOT_RUNNING);
}

TEST(Blocking, AStreamThatJoinsLateHoldsNobody) {
    FakeFilter filter;
    ASSERT_EQ(filter.Pause(), S_OK);
    FakeFilter::Connect(filter.AddInput(), kPicture);
    EXPECT_EQ(filter.Send(2, 1), S_OK);
    EXPECT_EQ(filter.Send(2, 1), S_OK);
    EXPECT_FALSE(filter.In(2).currentFrame);
}

TEST(Blocking, FlushesAmongFramesLoseNoWakeUp) {
    FakeFilter filter;
    filter.output.keepsFrames = false;
    // Paused, no lost policy would help a stream out.
    ASSERT_EQ(filter.Pause(), S_OK);
    ASSERT_EQ(filter.IgnoreTime(0, 1), S_OK);
    std::atomic<int> sent{0};
    std::thread source([&] {
        for (; sent < 3000; ++sent) (void)filter.Send(0, 1);
    });
    while (sent < 3000) {
        const int before = sent;
        for (int i = 0; i < 20; ++i) (void)filter.FlushBuffers(-1);
        // Between two bursts every frame must come through by itself.
        ASSERT_TRUE(WaitUntil([&] { return sent >= 3000 || sent > before + 1; }));
    }
    source.join();
}

TEST(Blocking, AFullOutputHoldsTheSourceAndNothingIsLost) {
    FakeFilter filter(1, 2);
    filter.output.gate.Clear();
    ASSERT_EQ(filter.Run(), S_OK);
    std::thread source([&] {
        for (int i = 0; i < 10; ++i) (void)filter.Send(0, static_cast<BYTE>(i), i);
    });
    ASSERT_TRUE(WaitUntil([&] { return filter.output.FreeBuffers() == 0; }));
    EXPECT_LT(filter.In(0).framesReceived, 6);
    filter.output.gate.Set();
    ASSERT_TRUE(filter.output.WaitForFrames(10));
    source.join();
    for (int i = 0; i < 10; ++i) EXPECT_EQ(filter.output.Frames()[i].At(0, 0), i);
}

// A stream that keeps its rate: its first frame sets the time, the next waits for its own.
class Pacing : public ::testing::Test {
protected:
    void Block() {
        filter.hasClock = true;
        filter.clock->SetTime(500 * kMs);
        ASSERT_EQ(filter.KeepStreamRate(0, 1), S_OK);
        ASSERT_EQ(filter.Run(), S_OK);
        // Leaves the pacing event set with nobody waiting.
        ASSERT_EQ(filter.FlushBuffers(0), S_OK);
        ASSERT_EQ(filter.Send(0, 1, 0), S_OK);
        source = std::thread([this] {
            (void)filter.Send(0, 2, 1);
            isThrough = true;
        });
        ASSERT_TRUE(filter.clock->WaitForAdvises(1));
    }
    void TearDown() override {
        filter.Stop();
        if (source.joinable()) source.join();
        EXPECT_EQ(filter.clock->PendingAdvises(), 0u);
    }

    FakeFilter filter;
    std::thread source;
    std::atomic<bool> isThrough{false};
};

TEST_F(Pacing, HoldsAFrameUntil20MsBeforeItsTime) {
    Block();
    EXPECT_EQ(filter.clock->NextDue(), 520 * kMs);
    filter.clock->SetTime(520 * kMs - 1);
    EXPECT_FALSE(isThrough);
    filter.clock->SetTime(520 * kMs);
    source.join();
}

TEST_F(Pacing, AFlushEndsTheWaitAndTimesStartAnew) {
    Block();
    ASSERT_EQ(filter.FlushBuffers(0), S_OK);
    source.join();
    filter.In(0).gridSlot = 0;
    filter.clock->SetTime(900 * kMs);
    ASSERT_EQ(filter.Send(0, 1, 0), S_OK);
    EXPECT_EQ(filter.In(0).clockOffset, 900 * kMs);
}

TEST_F(Pacing, AStopEndsTheWait) {
    Block();
    filter.Stop();
    source.join();
    EXPECT_EQ(filter.In(0).clockOffset, kUnknownTime);
}

}  // namespace
}  // namespace qdvm::test
