#pragma once

// Counts the allocations of the whole test process, on every thread, while one of these lives.

#include <cstddef>

namespace qdvm::test {

// One at a time.
class AllocCounter {
public:
    AllocCounter();
    ~AllocCounter();
    AllocCounter(const AllocCounter&) = delete;
    AllocCounter& operator=(const AllocCounter&) = delete;

    // Allocations by operator new since it was made.
    std::size_t Count() const;
};

}  // namespace qdvm::test
