#include "support/alloc_counter.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<bool> isCounting{false};
std::atomic<std::size_t> allocations{0};

struct Shortness {
    bool isShort = false;
    bool hasFailed = false;
    std::size_t left = 0;
};
thread_local Shortness shortness;

bool IsRefused() {
    if (!shortness.isShort) return false;
    if (shortness.left == 0) return shortness.hasFailed = true;
    --shortness.left;
    return false;
}

void* Allocate(std::size_t size) {
    if (IsRefused()) return nullptr;
    if (isCounting.load(std::memory_order_relaxed)) ++allocations;
    return std::malloc(size != 0 ? size : 1);
}

}  // namespace

void* operator new(std::size_t size) {
    if (void* const block = Allocate(size)) return block;
    throw std::bad_alloc();
}

void* operator new[](std::size_t size) { return operator new(size); }

void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }

void operator delete(void* block) noexcept { std::free(block); }

void operator delete[](void* block) noexcept { std::free(block); }

void operator delete(void* block, std::size_t) noexcept { std::free(block); }

void operator delete[](void* block, std::size_t) noexcept { std::free(block); }

namespace qdvm::test {

AllocCounter::AllocCounter() {
    allocations = 0;
    isCounting = true;
}

AllocCounter::~AllocCounter() { isCounting = false; }

std::size_t AllocCounter::Count() const { return allocations; }

ShortMemory::ShortMemory(std::size_t count) { shortness = {true, false, count}; }

ShortMemory::~ShortMemory() { shortness = {}; }

bool ShortMemory::HasFailed() const { return shortness.hasFailed; }

}  // namespace qdvm::test
