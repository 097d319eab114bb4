#include "platform/event.h"
#include "platform/ref.h"
#include "platform/semaphore.h"
#include "support/manual_clock.h"

#include <qdvideomixer/create.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <thread>

namespace qdvm {
namespace {

constexpr std::uint32_t kLimitMs = 20000;
constexpr REFERENCE_TIME kMs = 10'000;
constexpr REFERENCE_TIME kHour = 3600 * 1000 * kMs;

class SystemClockTest : public ::testing::Test {
protected:
    SystemClockTest() { EXPECT_EQ(CreateSystemClock(IID_IReferenceClock, clock.PutVoid()), S_OK); }

    REFERENCE_TIME Now() {
        REFERENCE_TIME time = 0;
        EXPECT_TRUE(Succeeded(clock->GetTime(&time)));
        return time;
    }

    Ref<IReferenceClock> clock;
};

TEST_F(SystemClockTest, NeverRunsBackwards) {
    REFERENCE_TIME last = Now();
    for (int i = 0; i < 10000; ++i) {
        REFERENCE_TIME time = 0;
        const HRESULT result = clock->GetTime(&time);
        EXPECT_EQ(result, time == last ? S_FALSE : S_OK);
        EXPECT_GE(time, last);
        last = time;
    }
    EXPECT_EQ(clock->GetTime(nullptr), E_POINTER);
}

TEST_F(SystemClockTest, SignalsAtItsTimeNotBefore) {
    Event event(Event::Reset::Automatic);
    DWORD_PTR cookie = 0;
    const REFERENCE_TIME base = Now();
    ASSERT_EQ(clock->AdviseTime(base, 30 * kMs, event.Handle(), &cookie), S_OK);
    EXPECT_TRUE(event.WaitFor(kLimitMs));
    EXPECT_GE(Now(), base + 30 * kMs);
    EXPECT_EQ(clock->Unadvise(cookie), S_FALSE);
    // A time that is over.
    ASSERT_EQ(clock->AdviseTime(base, 0, event.Handle(), &cookie), S_OK);
    EXPECT_TRUE(event.WaitFor(kLimitMs));
}

TEST_F(SystemClockTest, AnEarlierRequestOvertakesALaterOne) {
    Event far(Event::Reset::Manual);
    Event near(Event::Reset::Manual);
    DWORD_PTR farCookie = 0;
    DWORD_PTR nearCookie = 0;
    ASSERT_EQ(clock->AdviseTime(Now(), kHour, far.Handle(), &farCookie), S_OK);
    ASSERT_EQ(clock->AdviseTime(Now(), 5 * kMs, near.Handle(), &nearCookie), S_OK);
    EXPECT_TRUE(near.WaitFor(kLimitMs));
    EXPECT_FALSE(far.IsSet());
    EXPECT_EQ(clock->Unadvise(farCookie), S_OK);
    EXPECT_EQ(clock->Unadvise(farCookie), S_FALSE);
}

TEST_F(SystemClockTest, AWithdrawnRequestTouchesNothing) {
    // The event goes right after Unadvise; a sanitizer sees a late signal.
    for (int i = 0; i < 300; ++i) {
        auto event = std::make_unique<Event>(Event::Reset::Manual);
        DWORD_PTR cookie = 0;
        ASSERT_EQ(clock->AdviseTime(Now(), i % 3, event->Handle(), &cookie), S_OK);
        (void)clock->Unadvise(cookie);
    }
}

TEST_F(SystemClockTest, PeriodicReleasesUntilWithdrawn) {
    Semaphore semaphore;
    DWORD_PTR cookie = 0;
    const REFERENCE_TIME start = Now();
    ASSERT_EQ(clock->AdvisePeriodic(start, 2 * kMs, semaphore.Handle(), &cookie), S_OK);
    for (int i = 0; i < 5; ++i) {
        EXPECT_TRUE(semaphore.WaitFor(kLimitMs));
    }
    EXPECT_GE(Now(), start + 8 * kMs);
    EXPECT_EQ(clock->Unadvise(cookie), S_OK);
}

TEST_F(SystemClockTest, RefusesWhatMakesNoSense) {
    constexpr REFERENCE_TIME kLatest = std::numeric_limits<REFERENCE_TIME>::max();
    Event event(Event::Reset::Manual);
    Semaphore semaphore;
    DWORD_PTR cookie = 0;
    EXPECT_EQ(clock->AdviseTime(0, 0, event.Handle(), nullptr), E_POINTER);
    EXPECT_EQ(clock->AdviseTime(0, 0, nullptr, &cookie), E_INVALIDARG);
    EXPECT_EQ(clock->AdviseTime(-1, 0, event.Handle(), &cookie), E_INVALIDARG);
    EXPECT_EQ(clock->AdviseTime(1, -2, event.Handle(), &cookie), E_INVALIDARG);
    EXPECT_EQ(clock->AdviseTime(kLatest, kLatest, event.Handle(), &cookie), E_INVALIDARG);
    EXPECT_EQ(clock->AdvisePeriodic(0, 0, semaphore.Handle(), &cookie), E_INVALIDARG);
    // The farthest time is a long wait and no overflow.
    ASSERT_EQ(clock->AdviseTime(kLatest - 2, 1, event.Handle(), &cookie), S_OK);
    EXPECT_EQ(clock->Unadvise(cookie), S_OK);
}

TEST_F(SystemClockTest, GoesWithRequestsPending) {
    Event event(Event::Reset::Manual);
    DWORD_PTR cookie = 0;
    ASSERT_EQ(clock->AdviseTime(Now(), kHour, event.Handle(), &cookie), S_OK);
    clock.Reset();
    EXPECT_FALSE(event.IsSet());
}

TEST(ManualClock, MovesOnlyByTheTest) {
    const Ref<test::ManualClock> clock = MakeObject<test::ManualClock>(100);
    Event event(Event::Reset::Manual);
    std::thread waiter([&] {
        DWORD_PTR cookie = 0;
        EXPECT_EQ(clock->AdviseTime(100, 50, event.Handle(), &cookie), S_OK);
        EXPECT_TRUE(event.WaitFor(kLimitMs));
    });
    EXPECT_TRUE(clock->WaitForAdvises(1));
    EXPECT_EQ(clock->NextDue(), 150);
    clock->Advance(49);
    EXPECT_FALSE(event.IsSet());
    clock->SetTime(150);
    waiter.join();
    EXPECT_EQ(clock->PendingAdvises(), 0u);
}

}  // namespace
}  // namespace qdvm
