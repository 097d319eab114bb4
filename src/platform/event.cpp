#include "platform/event.h"

#include <cassert>
#include <chrono>
#include <condition_variable>
#include <mutex>

namespace qdvm {

// One waiting thread. It stands in the list of one event at a time: an event that it misses. When
// that one is set the thread that sets it looks for another missing event; if there is none, it
// grants the wait. So a wait for any number of events needs no memory for each, and no thread wakes
// before its wait is over.
struct EventWaiter {
    std::span<Event* const> events;
    Event* missing = nullptr;
    EventWaiter* next = nullptr;
    EventWaiter* previous = nullptr;
    std::condition_variable granted;
};

struct EventDispatcher {
    // One mutex for all events, since a wait for several must see them at one moment. It is held
    // for a few pointer moves only, and no other lock is taken under it.
    static std::mutex& Mutex() {
        // Never destroyed: threads may outlive the statics of the process.
        static std::mutex& mutex = *new std::mutex;
        return mutex;
    }

    static Event* FindMissing(std::span<Event* const> events) {
        for (Event* event : events) {
            if (!event->isSet) {
                return event;
            }
        }
        return nullptr;
    }

    static void Consume(std::span<Event* const> events) {
        for (Event* event : events) {
            if (event->reset == Event::Reset::Automatic) {
                event->isSet = false;
            }
        }
    }

    static void Enlist(EventWaiter& waiter, Event& event) {
        waiter.missing = &event;
        waiter.next = nullptr;
        waiter.previous = event.lastWaiter;
        (event.lastWaiter != nullptr ? event.lastWaiter->next : event.firstWaiter) = &waiter;
        event.lastWaiter = &waiter;
    }

    static void Delist(EventWaiter& waiter) {
        Event& event = *waiter.missing;
        (waiter.previous != nullptr ? waiter.previous->next : event.firstWaiter) = waiter.next;
        (waiter.next != nullptr ? waiter.next->previous : event.lastWaiter) = waiter.previous;
        waiter.missing = nullptr;
    }

    // The event has just been set: serves the threads that missed it, longest waiting first, as
    // long as it stays set.
    static void Serve(Event& event) {
        EventWaiter* waiter = event.firstWaiter;
        while (waiter != nullptr && event.isSet) {
            EventWaiter* const following = waiter->next;
            Delist(*waiter);
            if (Event* const missing = FindMissing(waiter->events)) {
                Enlist(*waiter, *missing);
            } else {
                Consume(waiter->events);
                // With the mutex held, since the waiter goes as soon as its thread sees the grant.
                waiter->granted.notify_one();
            }
            waiter = following;
        }
    }

    static bool Wait(std::span<Event* const> events, std::uint32_t timeoutMs) {
        std::unique_lock guard(Mutex());
        Event* const missing = FindMissing(events);
        if (missing == nullptr) {
            Consume(events);
            return true;
        }
        if (timeoutMs == 0) {
            return false;
        }
        EventWaiter waiter;
        waiter.events = events;
        Enlist(waiter, *missing);
        const auto isGranted = [&] { return waiter.missing == nullptr; };
        if (timeoutMs == kInfinite) {
            waiter.granted.wait(guard, isGranted);
            return true;
        }
        if (waiter.granted.wait_for(guard, std::chrono::milliseconds(timeoutMs), isGranted)) {
            return true;
        }
        Delist(waiter);
        return false;
    }
};

Event::Event(Reset kind, bool initiallySet) : reset(kind), isSet(initiallySet) {}

Event::~Event() { assert(firstWaiter == nullptr); }

void Event::Set() {
    const std::lock_guard guard(EventDispatcher::Mutex());
    if (!isSet) {
        isSet = true;
        EventDispatcher::Serve(*this);
    }
}

void Event::Clear() {
    const std::lock_guard guard(EventDispatcher::Mutex());
    isSet = false;
}

bool Event::IsSet() const {
    const std::lock_guard guard(EventDispatcher::Mutex());
    return isSet;
}

void Event::Wait() { (void)WaitFor(kInfinite); }

bool Event::WaitFor(std::uint32_t timeoutMs) {
    Event* const self = this;
    return EventDispatcher::Wait({&self, 1}, timeoutMs);
}

bool WaitAll(std::span<Event* const> events, std::uint32_t timeoutMs) {
    return EventDispatcher::Wait(events, timeoutMs);
}

}  // namespace qdvm

BOOL SetEvent(HEVENT event) {
    if (event == nullptr) {
        return 0;
    }
    qdvm::Event::FromHandle(event)->Set();
    return 1;
}
