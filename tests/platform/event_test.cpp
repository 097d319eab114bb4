#include "platform/event.h"

#include "platform/semaphore.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

namespace qdvm {
namespace {

constexpr std::uint32_t kLimitMs = 20000;
constexpr std::uint32_t kShortMs = 20;

class EventSet {
public:
    EventSet(std::size_t count, Event::Reset reset) {
        for (std::size_t i = 0; i < count; ++i) {
            owned.push_back(std::make_unique<Event>(reset));
            events.push_back(owned.back().get());
        }
    }

    Event& operator[](std::size_t i) { return *events[i]; }
    std::size_t Size() const { return events.size(); }
    bool Wait(std::uint32_t timeoutMs) { return WaitAll(events, timeoutMs); }

    std::size_t CountSet() const {
        std::size_t count = 0;
        for (const Event* event : events) {
            count += event->IsSet() ? 1 : 0;
        }
        return count;
    }

private:
    std::vector<std::unique_ptr<Event>> owned;
    std::vector<Event*> events;
};

TEST(Event, ManualStaysSetUntilCleared) {
    Event event(Event::Reset::Manual);
    EXPECT_FALSE(event.WaitFor(0));
    event.Set();
    event.Set();
    EXPECT_TRUE(event.WaitFor(0));
    EXPECT_TRUE(event.WaitFor(kInfinite));
    event.Clear();
    EXPECT_FALSE(event.WaitFor(kShortMs));
    EXPECT_TRUE(Event(Event::Reset::Manual, true).IsSet());
}

TEST(Event, AutomaticLetsOneWaitThrough) {
    Event event(Event::Reset::Automatic);
    event.Set();
    event.Set();
    EXPECT_TRUE(event.IsSet());
    EXPECT_TRUE(event.WaitFor(0));
    EXPECT_FALSE(event.WaitFor(0));
}

TEST(Event, TimedOutWaitLeavesNothingBehind) {
    Event event(Event::Reset::Automatic);
    EXPECT_FALSE(event.WaitFor(kShortMs));
    event.Set();
    EXPECT_TRUE(event.IsSet()) << "a wait that is over took the signal";
}

TEST(Event, ManualWakesAllThreadsAutomaticEachOnce) {
    for (const Event::Reset reset : {Event::Reset::Manual, Event::Reset::Automatic}) {
        constexpr int kThreads = 8;
        Event event(reset);
        std::atomic<int> woken{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&] {
                EXPECT_TRUE(event.WaitFor(kLimitMs));
                ++woken;
            });
        }
        if (reset == Event::Reset::Manual) {
            event.Set();
        } else {
            for (int i = 0; i < kThreads; ++i) {
                while (woken < i) {
                    std::this_thread::yield();
                }
                event.Set();
            }
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(woken, kThreads);
        EXPECT_EQ(event.IsSet(), reset == Event::Reset::Manual);
    }
}

TEST(Event, HandleSignalsTheEvent) {
    Event event(Event::Reset::Manual);
    EXPECT_EQ(Event::FromHandle(event.Handle()), &event);
    EXPECT_TRUE(SetEvent(event.Handle()));
    EXPECT_TRUE(event.IsSet());
    EXPECT_FALSE(SetEvent(nullptr));
}

TEST(WaitAll, EmptyListIsTrueAtOnce) { EXPECT_TRUE(WaitAll({}, 0)); }

TEST(WaitAll, ConsumesAutomaticEventsOnlyWhenAllAreSet) {
    EventSet events(3, Event::Reset::Automatic);
    events[0].Set();
    events[2].Set();
    EXPECT_FALSE(events.Wait(0));
    EXPECT_FALSE(events.Wait(kShortMs));
    EXPECT_TRUE(events[0].IsSet());
    EXPECT_TRUE(events[2].IsSet());
    events[1].Set();
    EXPECT_TRUE(events.Wait(0));
    EXPECT_EQ(events.CountSet(), 0u);
}

TEST(WaitAll, NeedsAllAtOneMoment) {
    EventSet events(3, Event::Reset::Manual);
    std::atomic<bool> isDone{false};
    std::thread waiter([&] {
        EXPECT_TRUE(events.Wait(kLimitMs));
        isDone = true;
    });
    // Each has been set at some time, but never all of them.
    for (int round = 0; round < 50; ++round) {
        for (std::size_t i = 0; i < events.Size(); ++i) {
            events[i].Set();
            std::this_thread::yield();
            events[i].Clear();
        }
    }
    EXPECT_FALSE(isDone);
    for (std::size_t i = events.Size(); i > 0; --i) {
        events[i - 1].Set();
    }
    waiter.join();
}

TEST(WaitAll, TakesMoreEventsThanAnyFixedLimit) {
    EventSet events(200, Event::Reset::Automatic);
    for (int round = 0; round < 20; ++round) {
        std::thread setter([&] {
            // In an order that makes the waiting thread move from event to event.
            for (std::size_t i = 0; i < events.Size(); ++i) {
                events[(i * 77) % events.Size()].Set();
            }
        });
        EXPECT_TRUE(events.Wait(kLimitMs));
        setter.join();
        EXPECT_EQ(events.CountSet(), 0u);
    }
}

TEST(WaitAll, ThreadsThatShareEventsLoseNoSignal) {
    // Two threads hand tokens round through pairs of events while a third keeps timing out on the
    // same events.
    constexpr int kRounds = 3000;
    Event a(Event::Reset::Automatic);
    Event b(Event::Reset::Automatic);
    Event both(Event::Reset::Automatic, true);
    std::atomic<bool> stop{false};
    std::thread setterA([&] {
        for (int i = 0; i < kRounds; ++i) {
            EXPECT_TRUE(both.WaitFor(kLimitMs));
            a.Set();
            b.Set();
        }
    });
    std::thread disturber([&] {
        Event never(Event::Reset::Manual);
        Event* const events[] = {&a, &never, &b};
        while (!stop) {
            EXPECT_FALSE(WaitAll(events, 1));
        }
    });
    Event* const pair[] = {&b, &a};
    for (int i = 0; i < kRounds; ++i) {
        ASSERT_TRUE(WaitAll(pair, kLimitMs)) << "round " << i;
        both.Set();
    }
    stop = true;
    setterA.join();
    disturber.join();
}

TEST(Semaphore, CountsReleasesAndRefusesTooMany) {
    Semaphore semaphore(1);
    EXPECT_TRUE(semaphore.WaitFor(0));
    EXPECT_FALSE(semaphore.WaitFor(kShortMs));
    EXPECT_FALSE(semaphore.Release(0));
    EXPECT_TRUE(ReleaseSemaphore(semaphore.Handle(), 2));
    EXPECT_FALSE(semaphore.Release(Semaphore::kMaxCount));
    EXPECT_TRUE(semaphore.WaitFor(0));
    EXPECT_TRUE(semaphore.WaitFor(0));
    EXPECT_FALSE(semaphore.WaitFor(0));
}

}  // namespace
}  // namespace qdvm
