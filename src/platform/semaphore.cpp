#include "platform/semaphore.h"

#include "platform/event.h"

#include <chrono>

namespace qdvm {

bool Semaphore::Release(LONG number) {
    const std::lock_guard guard(mutex);
    if (number < 1 || number > kMaxCount - count) {
        return false;
    }
    count += number;
    if (number == 1) {
        raised.notify_one();
    } else {
        raised.notify_all();
    }
    return true;
}

bool Semaphore::WaitFor(std::uint32_t timeoutMs) {
    std::unique_lock guard(mutex);
    const auto isRaised = [this] { return count > 0; };
    if (timeoutMs == kInfinite) {
        raised.wait(guard, isRaised);
    } else if (!raised.wait_for(guard, std::chrono::milliseconds(timeoutMs), isRaised)) {
        return false;
    }
    --count;
    return true;
}

}  // namespace qdvm

BOOL ReleaseSemaphore(HSEMAPHORE semaphore, LONG count) {
    return semaphore != nullptr && qdvm::Semaphore::FromHandle(semaphore)->Release(count) ? 1 : 0;
}
