#include "support/guarded_memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>

namespace qdvm::test {

namespace {

std::size_t PageBytes() {
    static const std::size_t bytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return bytes;
}

}  // namespace

GuardedMemory::GuardedMemory(std::size_t bytes) {
    const std::size_t page = PageBytes();
    size = (bytes + page - 1) / page * page;
    void* mapping = mmap(nullptr, size + 2 * page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) std::abort();
    begin = static_cast<std::uint8_t*>(mapping) + page;
    if (mprotect(begin, size, PROT_READ | PROT_WRITE) != 0) std::abort();
}

GuardedMemory::~GuardedMemory() {
    const std::size_t page = PageBytes();
    munmap(begin - page, size + 2 * page);
}

}  // namespace qdvm::test
