#pragma once

// A count that threads wait for.

#include <qdvideomixer/media_graph.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace qdvm {

// Each wait takes one off the count and blocks while it is 0.
//
// Thread-safety: every operation can be called from any thread. Not to be destroyed while a thread
// waits.
class Semaphore {
public:
    static constexpr LONG kMaxCount = 0x7FFFFFFF;

    explicit Semaphore(LONG initialCount = 0) : count(initialCount) {}
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    // Raises the count; false, with nothing done, for a number below 1 or a count past the limit.
    bool Release(LONG number = 1);

    // False if the time (milliseconds, kInfinite for none) passed first.
    bool WaitFor(std::uint32_t timeoutMs);

    // The handle that a clock releases, and back. The handle is valid as long as the semaphore.
    HSEMAPHORE Handle() { return reinterpret_cast<HSEMAPHORE>(this); }
    static Semaphore* FromHandle(HSEMAPHORE handle) { return reinterpret_cast<Semaphore*>(handle); }

private:
    std::mutex mutex;
    std::condition_variable raised;
    LONG count;
};

}  // namespace qdvm
