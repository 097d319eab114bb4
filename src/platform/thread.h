#pragma once

// Named threads.

#include <qdvideomixer/object.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace qdvm {

enum class ThreadPriority { Normal, AboveNormal };

// One thread that is started and joined. The destructor joins, so what makes the thread's function
// return must have happened before.
//
// Thread-safety: Start and Join by the owner, one at a time; IsRunning by any thread.
class Thread {
public:
    Thread() = default;
    ~Thread();
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    // Runs body on a new thread. The name shows in debuggers, cut to what the system allows. A
    // raised priority is asked for and not insisted on. E_UNEXPECTED if a started thread hasn't
    // been joined; E_OUTOFMEMORY if the system has no thread or no memory left.
    HRESULT Start(const std::string& name, ThreadPriority priority, std::function<void()> body);

    // Waits for the body to return. Does nothing if no thread was started, and nothing on the
    // thread itself.
    void Join();

    // Whether the body has been started and hasn't returned.
    bool IsRunning() const { return isRunning.load(std::memory_order_acquire); }

    // Whether the caller is the thread itself. Any thread.
    bool IsCurrent() const { return runner.load() == std::this_thread::get_id(); }

private:
    std::thread thread;
    std::atomic<bool> isRunning{false};
    std::atomic<std::thread::id> runner{};  // while the body runs
};

// These touch the operating system and affect the calling thread.
void SetCurrentThreadName(const std::string& name);
void RaiseCurrentThreadPriority();

}  // namespace qdvm
