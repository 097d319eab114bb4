#pragma once

// A common start: inputs that are ready wait for those that are still opening.

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace qdvm::qdmix {

// Any thread.
class StartGate {
public:
    explicit StartGate(std::size_t inputs) : isAwaited(inputs, false) {}

    // Before the start: the gate waits for this input.
    void Await(std::size_t input) {
        const std::lock_guard lock(mutex);
        isAwaited[input] = true;
        ++missing;
    }

    // The input is there, or will never come.
    void Arrive(std::size_t input) {
        const std::lock_guard lock(mutex);
        if (isAwaited[input]) {
            isAwaited[input] = false;
            if (--missing == 0) {
                opened.notify_all();
            }
        }
    }

    // Until all are there, the gate is opened for good, or its time is up.
    void Pass() {
        std::unique_lock lock(mutex);
        (void)opened.wait_for(lock, kTimeLimit, [this] { return missing == 0 || isOpen; });
        isOpen = true;
    }

    void OpenForGood() {
        const std::lock_guard lock(mutex);
        isOpen = true;
        opened.notify_all();
    }

private:
    static constexpr std::chrono::seconds kTimeLimit{10};

    std::mutex mutex;
    std::condition_variable opened;
    std::vector<bool> isAwaited;
    std::size_t missing = 0;
    bool isOpen = false;
};

}  // namespace qdvm::qdmix
