#pragma once

// A clock that the test moves.

#include "platform/event.h"
#include "platform/object_root.h"
#include "platform/semaphore.h"

#include <qdvideomixer/media_graph.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace qdvm::test {

// Starts at 0 and stands still until SetTime or Advance, which signal every request that falls due,
// in the order of time, before they return. Any thread.
class ManualClock final : public ObjectRoot<IReferenceClock> {
public:
    explicit ManualClock(REFERENCE_TIME start = 0) : now(start) {}

    void SetTime(REFERENCE_TIME time) {
        const std::lock_guard guard(mutex);
        now = time;
        SignalDue();
    }

    void Advance(REFERENCE_TIME step) {
        const std::lock_guard guard(mutex);
        now += step;
        SignalDue();
    }

    REFERENCE_TIME Now() const {
        const std::lock_guard guard(mutex);
        return now;
    }

    // Requests that are waiting for their time.
    std::size_t PendingAdvises() const {
        const std::lock_guard guard(mutex);
        return advises.size();
    }

    // Requests that were ever made.
    std::size_t TotalAdvises() const {
        const std::lock_guard guard(mutex);
        return lastCookie;
    }

    // Waits until at least that many requests are waiting; false after the limit.
    bool WaitForAdvises(std::size_t count, std::uint32_t limitMs = 10000) const {
        std::unique_lock guard(mutex);
        return changed.wait_for(guard, std::chrono::milliseconds(limitMs),
                                [&] { return advises.size() >= count; });
    }

    // Waits until at least that many requests have ever been made; false after the limit.
    bool WaitForTotalAdvises(std::size_t count, std::uint32_t limitMs = 10000) const {
        std::unique_lock guard(mutex);
        return changed.wait_for(guard, std::chrono::milliseconds(limitMs),
                                [&] { return lastCookie >= count; });
    }

    // The earliest time that a request waits for; the largest time if there is none.
    REFERENCE_TIME NextDue() const {
        const std::lock_guard guard(mutex);
        REFERENCE_TIME next = INT64_MAX;
        for (const Advise& advise : advises) {
            next = std::min(next, advise.due);
        }
        return next;
    }

    HRESULT GetTime(REFERENCE_TIME* time) override {
        if (time == nullptr) {
            return E_POINTER;
        }
        const std::lock_guard guard(mutex);
        *time = now;
        return S_OK;
    }

    HRESULT AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime, HEVENT event,
                       DWORD_PTR* cookie) override {
        return Add({baseTime + streamTime, 0, event, nullptr, 0}, cookie);
    }

    HRESULT AdvisePeriodic(REFERENCE_TIME startTime, REFERENCE_TIME periodTime,
                           HSEMAPHORE semaphore, DWORD_PTR* cookie) override {
        return Add({startTime, periodTime, nullptr, semaphore, 0}, cookie);
    }

    HRESULT Unadvise(DWORD_PTR cookie) override {
        const std::lock_guard guard(mutex);
        const auto removed =
            std::erase_if(advises, [&](const Advise& advise) { return advise.cookie == cookie; });
        return removed > 0 ? S_OK : S_FALSE;
    }

private:
    struct Advise {
        REFERENCE_TIME due;
        REFERENCE_TIME period;
        HEVENT event;
        HSEMAPHORE semaphore;
        DWORD_PTR cookie;
    };

    HRESULT Add(Advise advise, DWORD_PTR* cookie) {
        if (cookie == nullptr) {
            return E_POINTER;
        }
        const std::lock_guard guard(mutex);
        advise.cookie = ++lastCookie;
        *cookie = advise.cookie;
        advises.push_back(advise);
        SignalDue();
        changed.notify_all();
        return S_OK;
    }

    void SignalDue() {
        for (;;) {
            const auto next =
                std::min_element(advises.begin(), advises.end(),
                                 [](const Advise& a, const Advise& b) { return a.due < b.due; });
            if (next == advises.end() || next->due > now) {
                return;
            }
            if (next->event != nullptr) {
                (void)SetEvent(next->event);
                advises.erase(next);
            } else {
                (void)ReleaseSemaphore(next->semaphore, 1);
                next->due += next->period;
            }
        }
    }

    mutable std::mutex mutex;
    mutable std::condition_variable changed;
    REFERENCE_TIME now;
    std::vector<Advise> advises;
    DWORD_PTR lastCookie = 0;
};

}  // namespace qdvm::test
