#pragma once

// Memory straight from the system, in whole pages.

#include <cstddef>

namespace qdvm {

// At least size bytes (rounded up to pages), zeroed, readable and writable, aligned to
// PageGranularity. Null if size is 0 or memory is short. Owned by the caller.
void* AllocatePages(std::size_t size);

// Gives the block back to the system; size is what was asked for. Null is allowed.
void FreePages(void* block, std::size_t size);

// Alignment that every block of AllocatePages has, in bytes; a power of two.
std::size_t PageGranularity();

}  // namespace qdvm
