#include "platform/lock.h"

#include "platform/thread.h"
#include "platform/thread_annotations.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace qdvm {
namespace {

// Holds a lock out of sight of the compiler's checks, which forbid what is tried here: to take a
// lock twice, or out of order.
class Held {
public:
    explicit Held(CriticalSection& lock) QDVM_NO_THREAD_SAFETY_ANALYSIS : section(lock) {
        section.Lock();
    }
    ~Held() QDVM_NO_THREAD_SAFETY_ANALYSIS { section.Unlock(); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

private:
    CriticalSection& section;
};

bool CanOtherThreadTake(CriticalSection& section) {
    bool wasFree = false;
    std::thread([&] {
        if (section.TryLock()) {
            section.Unlock();
            wasFree = true;
        }
    }).join();
    return wasFree;
}

TEST(CriticalSection, ItsThreadTakesItAgainOthersDont) {
    CriticalSection section(LockRank::Stream);
    const Held outer(section);
    { const Held inner(section); }
    EXPECT_FALSE(CanOtherThreadTake(section));
}

TEST(ScopedLock, CanBeGivenUpAndTakenAgain) {
    CriticalSection section(LockRank::Stream);
    {
        ScopedLock lock(section);
        lock.Unlock();
        EXPECT_TRUE(CanOtherThreadTake(section));
        lock.Lock();
        EXPECT_FALSE(CanOtherThreadTake(section));
        lock.Unlock();
    }
    EXPECT_TRUE(CanOtherThreadTake(section));
}

TEST(LockOrder, AcceptsTheDocumentedOrder) {
    CriticalSection filter(LockRank::Filter);
    CriticalSection inputPin(LockRank::InputPin);
    CriticalSection otherInputPin(LockRank::InputPin);
    CriticalSection mix(LockRank::Mix);
    CriticalSection leaf(LockRank::Leaf);
    const ScopedLock a(filter);
    const ScopedLock b(inputPin);
    const ScopedLock c(otherInputPin);
    const ScopedLock d(mix);
    const ScopedLock e(leaf);
    const Held again(filter);
}

TEST(LockOrder, LocksMayBeGivenUpInAnyOrder) {
    CriticalSection first(LockRank::Pins);
    CriticalSection second(LockRank::Mix);
    first.Lock();
    second.Lock();
    first.Unlock();
    second.Unlock();
    first.Lock();
    first.Unlock();
}

#ifdef QDVM_CHECK_LOCK_ORDER

using LockOrderDeathTest = ::testing::Test;

TEST(LockOrderDeathTest, LowerRankInsideHigherAborts) {
    CriticalSection outer(LockRank::Stream);
    CriticalSection inner(LockRank::Pins);
    const ScopedLock held(outer);
    EXPECT_DEATH(Held{inner}, "Pins taken while Stream is held");
    // Locks of another owner are another chain.
    int otherOwner = 0;
    CriticalSection foreign(LockRank::Filter, &otherOwner);
    const ScopedLock allowed(foreign);
}

TEST(LockOrderDeathTest, TwoLocksOfOneInnerRankAbort) {
    CriticalSection first(LockRank::Stream);
    CriticalSection second(LockRank::Stream);
    const ScopedLock held(first);
    EXPECT_DEATH(Held{second}, "Stream taken while Stream is held");
}

TEST(LockOrderDeathTest, SharedLocksNestButAreNotRaised) {
    const int lock = 0;
    LockOrder::Acquired(LockRank::Pins, &lock, LockOrder::Mode::Shared);
    LockOrder::Acquired(LockRank::Pins, &lock, LockOrder::Mode::Shared);
    EXPECT_DEATH(LockOrder::Acquired(LockRank::Pins, &lock), "exclusive inside shared");
    LockOrder::Released(LockRank::Pins, &lock);
    LockOrder::Released(LockRank::Pins, &lock);
    EXPECT_DEATH(LockOrder::Released(LockRank::Pins, &lock), "doesn't hold it");
}

#endif

TEST(Thread, RunsOnceUntilJoinedAndCanBeStartedAgain) {
    Thread thread;
    thread.Join();
    std::atomic<int> runs{0};
    for (int i = 1; i <= 2; ++i) {
        ASSERT_EQ(thread.Start("a name longer than systems allow", ThreadPriority::AboveNormal,
                               [&] { ++runs; }),
                  S_OK);
        EXPECT_EQ(thread.Start("second", ThreadPriority::Normal, [] {}), E_UNEXPECTED);
        thread.Join();
        EXPECT_FALSE(thread.IsRunning());
        EXPECT_EQ(runs, i);
    }
}

}  // namespace
}  // namespace qdvm
