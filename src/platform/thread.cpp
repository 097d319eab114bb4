#include "platform/thread.h"

#include <exception>
#include <utility>

namespace qdvm {

Thread::~Thread() { Join(); }

HRESULT Thread::Start(const std::string& name, ThreadPriority priority,
                      std::function<void()> body) {
    if (thread.joinable()) {
        return E_UNEXPECTED;
    }
    isRunning.store(true, std::memory_order_release);
    try {
        thread = std::thread([this, name, priority, run = std::move(body)] {
            runner.store(std::this_thread::get_id());
            SetCurrentThreadName(name);
            if (priority == ThreadPriority::AboveNormal) {
                RaiseCurrentThreadPriority();
            }
            run();
            runner.store(std::thread::id());
            isRunning.store(false, std::memory_order_release);
        });
    } catch (const std::exception&) {
        isRunning.store(false, std::memory_order_release);
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

void Thread::Join() {
    if (thread.joinable() && thread.get_id() != std::this_thread::get_id()) {
        thread.join();
    }
}

}  // namespace qdvm
