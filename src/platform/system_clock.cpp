#include "platform/system_clock.h"

#include <qdvideomixer/create.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <ratio>

namespace qdvm {

namespace {

using HundredNs = std::chrono::duration<std::int64_t, std::ratio<1, 10'000'000>>;

constexpr REFERENCE_TIME kLatest = std::numeric_limits<REFERENCE_TIME>::max();

REFERENCE_TIME SteadyTime() {
    return std::chrono::duration_cast<HundredNs>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

SystemClock::~SystemClock() {
    {
        const std::lock_guard guard(mutex);
        isEnding = true;
        changed.notify_all();
    }
    timer.Join();
}

HRESULT SystemClock::GetTime(REFERENCE_TIME* time) {
    if (time == nullptr) {
        return E_POINTER;
    }
    const std::lock_guard guard(mutex);
    *time = SteadyTime();
    const bool isNew = *time != lastTime;
    lastTime = *time;
    return isNew ? S_OK : S_FALSE;
}

HRESULT SystemClock::AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime, HEVENT event,
                                DWORD_PTR* cookie) {
    if (cookie == nullptr) {
        return E_POINTER;
    }
    *cookie = 0;
    const bool isInRange = baseTime >= 0 && (streamTime >= 0 ? streamTime < kLatest - baseTime
                                                             : streamTime >= -baseTime);
    if (event == nullptr || !isInRange) {
        return E_INVALIDARG;
    }
    return Add({baseTime + streamTime, 0, event, nullptr, 0}, cookie);
}

HRESULT SystemClock::AdvisePeriodic(REFERENCE_TIME startTime, REFERENCE_TIME periodTime,
                                    HSEMAPHORE semaphore, DWORD_PTR* cookie) {
    if (cookie == nullptr) {
        return E_POINTER;
    }
    *cookie = 0;
    if (semaphore == nullptr || startTime < 0 || startTime == kLatest || periodTime < 1) {
        return E_INVALIDARG;
    }
    return Add({startTime, periodTime, nullptr, semaphore, 0}, cookie);
}

HRESULT SystemClock::Unadvise(DWORD_PTR cookie) {
    // Requests are signalled with the mutex held, so one that is gone from the list is done with.
    const std::lock_guard guard(mutex);
    const auto removed =
        std::erase_if(advises, [&](const Advise& advise) { return advise.cookie == cookie; });
    return removed > 0 ? S_OK : S_FALSE;
}

HRESULT SystemClock::Add(Advise advise, DWORD_PTR* cookie) {
    const std::lock_guard guard(mutex);
    if (!timer.IsRunning()) {
        const HRESULT result =
            timer.Start("graph clock", ThreadPriority::AboveNormal, [this] { RunTimer(); });
        if (Failed(result)) {
            return result;
        }
    }
    advise.cookie = ++lastCookie;
    *cookie = advise.cookie;
    Insert(advise);
    changed.notify_all();
    return S_OK;
}

// Behind the requests of the same time.
void SystemClock::Insert(const Advise& advise) {
    const auto place =
        std::upper_bound(advises.begin(), advises.end(), advise,
                         [](const Advise& a, const Advise& b) { return a.due < b.due; });
    advises.insert(place, advise);
}

void SystemClock::RunTimer() {
    constexpr HundredNs kLongestWait = std::chrono::hours(1);
    std::unique_lock guard(mutex);
    while (!isEnding) {
        const REFERENCE_TIME now = SteadyTime();
        SignalDue(now);
        if (advises.empty()) {
            changed.wait(guard);
            continue;
        }
        // Piecewise, since the farthest time is beyond what the system's clock can express.
        const REFERENCE_TIME wake =
            std::min(advises.front().due, now + static_cast<REFERENCE_TIME>(kLongestWait.count()));
        (void)changed.wait_until(guard, std::chrono::steady_clock::time_point(HundredNs(wake)));
    }
}

void SystemClock::SignalDue(REFERENCE_TIME now) {
    while (!advises.empty() && advises.front().due <= now) {
        Advise advise = advises.front();
        advises.erase(advises.begin());
        if (advise.event != nullptr) {
            (void)SetEvent(advise.event);
            continue;
        }
        // All the periods that have passed at once, or a short period would keep the thread here.
        const REFERENCE_TIME passed = (now - advise.due) / advise.period + 1;
        const auto releases =
            static_cast<LONG>(std::min<REFERENCE_TIME>(passed, std::numeric_limits<LONG>::max()));
        (void)ReleaseSemaphore(advise.semaphore, releases);
        if (advise.period < kLatest - now) {
            advise.due += passed * advise.period;
            Insert(advise);
        }
    }
}

HRESULT CreateSystemClock(REFIID iid, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    const Ref<SystemClock> clock = MakeObject<SystemClock>();
    return clock ? clock->QueryInterface(iid, object) : E_OUTOFMEMORY;
}

}  // namespace qdvm
