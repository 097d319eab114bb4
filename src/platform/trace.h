#pragma once

// Lines for the trace hook.

#include <qdvideomixer/trace.h>

#include <cstdint>

namespace qdvm {

// Whether a hook is set, to save the work of gathering what a line tells.
bool IsTraceOn();

// Formats as printf does, cuts at 511 bytes, and hands the line to the hook. Costs one atomic read
// when there is no hook. Any thread.
[[gnu::format(printf, 1, 2)]] void Trace(const char* format, ...);

// Tells how long a stage took, in microseconds, when it goes out of scope. The label must outlive
// it. Costs as little as Trace when there is no hook.
class TraceTimer {
public:
    explicit TraceTimer(const char* stage);
    ~TraceTimer();
    TraceTimer(const TraceTimer&) = delete;
    TraceTimer& operator=(const TraceTimer&) = delete;

private:
    const char* const label;  // null when nobody listens
    std::int64_t begin = 0;
};

}  // namespace qdvm
