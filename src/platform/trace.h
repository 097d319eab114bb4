#pragma once

// Lines for the trace hook.

#include <qdvideomixer/trace.h>

namespace qdvm {

// Whether a hook is set, to save the work of gathering what a line tells.
bool IsTraceOn();

// Formats as printf does, cuts at 511 bytes, and hands the line to the hook. Costs one atomic read
// when there is no hook. Any thread.
[[gnu::format(printf, 1, 2)]] void Trace(const char* format, ...);

}  // namespace qdvm
