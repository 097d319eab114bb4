#pragma once

// Milliseconds since the system started.

#include <cstdint>

namespace qdvm {

// Steady, and wraps after 49.7 days: compare by the difference of two values as unsigned numbers.
std::uint32_t TickCountMs();

}  // namespace qdvm
