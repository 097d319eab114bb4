#include "platform/pages.h"

#include <sys/mman.h>
#include <unistd.h>

namespace qdvm {

void* AllocatePages(std::size_t size) {
    if (size == 0) {
        return nullptr;
    }
    void* const block =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return block != MAP_FAILED ? block : nullptr;
}

void FreePages(void* block, std::size_t size) {
    if (block != nullptr) {
        (void)munmap(block, size);
    }
}

std::size_t PageGranularity() {
    static const auto granularity = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return granularity;
}

}  // namespace qdvm
