#include "platform/trace.h"

#include <algorithm>
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

std::int64_t Nanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void TellTime(const char* label, std::int64_t nanoseconds) {
    Trace("%s %lld us", label, static_cast<long long>(nanoseconds / 1000));
}

}  // namespace

TraceTimer::TraceTimer(const char* stage) : label(IsTraceOn() ? stage : nullptr) {
    if (label) begin = Nanoseconds();
}

TraceTimer::~TraceTimer() {
    if (label) TellTime(label, Nanoseconds() - begin);
}

TraceSum::TraceSum(const char* stage) : label(IsTraceOn() ? stage : nullptr) {}

TraceSum::~TraceSum() {
    if (label && total >= 0) TellTime(label, total);
}

TraceSum::Span::Span(TraceSum& added) : sum(added) {
    if (sum.label) begin = Nanoseconds();
}

TraceSum::Span::~Span() {
    if (sum.label) sum.total = std::max<std::int64_t>(sum.total, 0) + Nanoseconds() - begin;
}

}  // namespace qdvm
