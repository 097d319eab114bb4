#pragma once

// Memory with an inaccessible page right before and right behind it, so that any read or write
// beyond its ends stops the test at the place of the fault.

#include <cstddef>
#include <cstdint>

namespace qdvm::test {

class GuardedMemory {
public:
    // At least `bytes` bytes, rounded up to whole pages.
    explicit GuardedMemory(std::size_t bytes);
    ~GuardedMemory();
    GuardedMemory(const GuardedMemory&) = delete;
    GuardedMemory& operator=(const GuardedMemory&) = delete;

    std::uint8_t* Begin() const { return begin; }
    std::uint8_t* End() const { return begin + size; }
    std::size_t Size() const { return size; }

private:
    std::uint8_t* begin;
    std::size_t size;
};

}  // namespace qdvm::test
