#include "platform/trace.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <shared_mutex>

namespace qdvm {

namespace {

struct TraceState {
    std::atomic<bool> isOn{false};
    // Shared while the hook runs, so that a replaced hook is known to be done.
    std::shared_mutex mutex;
    TraceHook hook = nullptr;
    void* context = nullptr;
};

TraceState& State() {
    // Never destroyed: threads may trace until the very end of the process.
    static TraceState& state = *new TraceState;
    return state;
}

}  // namespace

void SetTraceHook(TraceHook hook, void* context) {
    TraceState& state = State();
    const std::unique_lock guard(state.mutex);
    state.hook = hook;
    state.context = context;
    state.isOn.store(hook != nullptr, std::memory_order_relaxed);
}

bool IsTraceOn() { return State().isOn.load(std::memory_order_relaxed); }

void Trace(const char* format, ...) {
    if (!IsTraceOn()) {
        return;
    }
    std::array<char, 512> line{};
    std::va_list arguments;
    va_start(arguments, format);
    (void)std::vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
    TraceState& state = State();
    const std::shared_lock guard(state.mutex);
    if (state.hook != nullptr) {
        state.hook(state.context, line.data());
    }
}

namespace {

std::int64_t Microseconds() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

TraceTimer::TraceTimer(const char* stage) : label(IsTraceOn() ? stage : nullptr) {
    if (label) begin = Microseconds();
}

TraceTimer::~TraceTimer() {
    if (label) Trace("%s %lld us", label, static_cast<long long>(Microseconds() - begin));
}

}  // namespace qdvm
