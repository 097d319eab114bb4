#pragma once

// Events to wait for.

#include <qdvideomixer/media_graph.h>

#include <cstdint>
#include <span>

namespace qdvm {

// A time-out that never passes, in milliseconds.
inline constexpr std::uint32_t kInfinite = 0xFFFFFFFF;

struct EventWaiter;

// A flag that threads can wait for. An event with automatic reset lets one wait through and is then
// clear again; one with manual reset stays set until Clear. Waiting allocates nothing.
//
// Thread-safety: every operation can be called from any thread. An event must not be destroyed
// while a thread waits for it.
class Event {
public:
    enum class Reset { Manual, Automatic };

    explicit Event(Reset kind, bool initiallySet = false);
    ~Event();
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    // Everything that a thread did before Set is seen by the threads that it lets through.
    void Set();
    void Clear();

    // Doesn't consume an automatic event.
    bool IsSet() const;

    void Wait();

    // False if the time (milliseconds) passed first. 0 asks without waiting, and consumes an
    // automatic event that is set.
    bool WaitFor(std::uint32_t timeoutMs);

    // The handle that a clock signals, and back. The handle is valid as long as the event.
    HEVENT Handle() { return reinterpret_cast<HEVENT>(this); }
    static Event* FromHandle(HEVENT handle) { return reinterpret_cast<Event*>(handle); }

private:
    friend struct EventDispatcher;

    const Reset reset;
    bool isSet;                          // guarded by the dispatcher's mutex, like the list
    EventWaiter* firstWaiter = nullptr;  // waits for which this event is the missing one
    EventWaiter* lastWaiter = nullptr;
};

// Waits until all events are set at one moment and consumes the automatic ones then, not before.
// Any number of events; an empty list is a true at once. False if the time (milliseconds) passed
// first. The list must not change and the events must live until the call returns.
bool WaitAll(std::span<Event* const> events, std::uint32_t timeoutMs);

}  // namespace qdvm
