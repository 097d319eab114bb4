#pragma once

// A copy from and to memory that may not be there.

#include <cstddef>

namespace qdvm {

// Copies bytes between regions that do not overlap. False, instead of a fault, if either region
// can't be accessed; part of it may have been copied then. Costs a system call: for memory of
// others, not for our own frames.
bool GuardedCopy(void* dst, const void* src, std::size_t bytes);

}  // namespace qdvm
