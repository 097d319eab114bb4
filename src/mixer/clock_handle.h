#pragma once

// How the mixer sees the graph's reference clock: a counted handle, as MediaFrame is for samples.

#include "platform/event.h"

#include <qdvideomixer/object.h>

#include <cstdint>
#include <utility>

namespace qdvm {

// All times in 100 ns.
struct ClockMethods {
    void (*hold)(void* clock);
    void (*drop)(void* clock);
    HRESULT (*getTime)(void* clock, std::int64_t* now);
    // Sets `event` when the clock reaches base + offset.
    HRESULT(*advise)
    (void* clock, std::int64_t base, std::int64_t offset, Event& event, std::uintptr_t* cookie);
    // Returns only when the event will not be touched any more.
    HRESULT (*unadvise)(void* clock, std::uintptr_t cookie);
};

class ClockHandle {
public:
    ClockHandle() = default;
    ClockHandle(void* held, const ClockMethods* table) : clock(held), methods(table) {
        if (clock) methods->hold(clock);
    }
    ClockHandle(const ClockHandle& other) : ClockHandle(other.clock, other.methods) {}
    ClockHandle(ClockHandle&& other) noexcept
        : clock(std::exchange(other.clock, nullptr)), methods(other.methods) {}
    ClockHandle& operator=(ClockHandle other) noexcept {
        std::swap(clock, other.clock);
        std::swap(methods, other.methods);
        return *this;
    }
    ~ClockHandle() {
        if (clock) methods->drop(clock);
    }

    explicit operator bool() const { return clock != nullptr; }

    // 0 without a clock, or if the clock does not answer.
    std::int64_t Now() const {
        std::int64_t now = 0;
        if (!clock || methods->getTime(clock, &now) < 0) return 0;
        return now;
    }
    HRESULT Advise(std::int64_t base, std::int64_t offset, Event& event,
                   std::uintptr_t* cookie) const {
        return methods->advise(clock, base, offset, event, cookie);
    }
    HRESULT Unadvise(std::uintptr_t cookie) const { return methods->unadvise(clock, cookie); }

private:
    void* clock = nullptr;
    const ClockMethods* methods = nullptr;
};

}  // namespace qdvm
