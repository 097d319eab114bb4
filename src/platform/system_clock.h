#pragma once

// The clock of a graph that has none of its own.

#include "platform/object_root.h"
#include "platform/thread.h"

#include <qdvideomixer/media_graph.h>

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <vector>

namespace qdvm {

// The system's steady time in 100 ns. One thread, started by the first request, signals requests in
// the order of their times.
//
// Results: GetTime S_FALSE for a time that was given before (by any caller); AdviseTime and
// AdvisePeriodic E_INVALIDARG for a null handle, a time below 0 or past the range, or a period
// below 1; a time in the past is signalled at once. Unadvise S_FALSE for a request that is over or
// was never made.
//
// Thread-safety: all operations can be called from any thread.
class SystemClock final : public ObjectRoot<IReferenceClock> {
public:
    SystemClock() = default;

    HRESULT GetTime(REFERENCE_TIME* time) override;
    HRESULT AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime, HEVENT event,
                       DWORD_PTR* cookie) override;
    HRESULT AdvisePeriodic(REFERENCE_TIME startTime, REFERENCE_TIME periodTime,
                           HSEMAPHORE semaphore, DWORD_PTR* cookie) override;
    HRESULT Unadvise(DWORD_PTR cookie) override;

private:
    // A request: an event once, or a semaphore each period.
    struct Advise {
        REFERENCE_TIME due = 0;
        REFERENCE_TIME period = 0;
        HEVENT event = nullptr;
        HSEMAPHORE semaphore = nullptr;
        DWORD_PTR cookie = 0;
    };

    ~SystemClock() override;

    HRESULT Add(Advise advise, DWORD_PTR* cookie);
    void Insert(const Advise& advise);
    void RunTimer();
    void SignalDue(REFERENCE_TIME now);

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Advise> advises;  // ordered by due, requests of one time as they came
    DWORD_PTR lastCookie = 0;
    REFERENCE_TIME lastTime = -1;
    bool isEnding = false;
    Thread timer;
};

}  // namespace qdvm
