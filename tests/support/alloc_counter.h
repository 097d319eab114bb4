#pragma once

// What tests do with the allocations of the process, which go through operators of their own.

#include <cstddef>

namespace qdvm::test {

// Counts the allocations of the whole test process, on every thread, while one of these lives. One
// at a time.
class AllocCounter {
public:
    AllocCounter();
    ~AllocCounter();
    AllocCounter(const AllocCounter&) = delete;
    AllocCounter& operator=(const AllocCounter&) = delete;

    // Allocations by operator new since it was made.
    std::size_t Count() const;
};

// While one of these lives this thread gets so many allocations by operator new and no more. One at
// a time on a thread.
class ShortMemory {
public:
    explicit ShortMemory(std::size_t allocations);
    ~ShortMemory();
    ShortMemory(const ShortMemory&) = delete;
    ShortMemory& operator=(const ShortMemory&) = delete;

    // Whether an allocation has failed since it was made.
    bool HasFailed() const;
};

}  // namespace qdvm::test
