#pragma once

// Alignment of frame buffers inside blocks of pages. Alignments are powers of two, in bytes.

#include "platform/pages.h"

#include <qdvideomixer/object.h>

#include <cstddef>
#include <cstdint>

namespace qdvm {

constexpr std::size_t AlignUp(std::size_t value, std::size_t align) {
    return (value + align - 1) & ~(align - 1);
}

inline BYTE* AlignUp(BYTE* address, std::size_t align) {
    const auto value = reinterpret_cast<std::uintptr_t>(address);
    return address + (AlignUp(value, align) - value);
}

// Bytes that a block needs beyond its contents for an alignment that pages don't have by
// themselves.
inline std::size_t ExcessAlign(std::size_t align) {
    const std::size_t granularity = PageGranularity();
    return align > granularity ? align - granularity : 0;
}

}  // namespace qdvm
