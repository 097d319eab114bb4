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
// it; a null one is never told. Costs as little as Trace when there is no hook.
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

// The same for a stage that takes turns with others, as those that work on a picture row by row do:
// adds up the time of its spans. Tells nothing where it had none.
class TraceSum {
public:
    explicit TraceSum(const char* stage);
    ~TraceSum();
    TraceSum(const TraceSum&) = delete;
    TraceSum& operator=(const TraceSum&) = delete;

    class Span {
    public:
        explicit Span(TraceSum& added);
        ~Span();
        Span(const Span&) = delete;
        Span& operator=(const Span&) = delete;

    private:
        TraceSum& sum;
        std::int64_t begin = 0;
    };

private:
    const char* const label;  // null when nobody listens
    std::int64_t total = -1;  // nanoseconds, -1 before the first span
};

}  // namespace qdvm
