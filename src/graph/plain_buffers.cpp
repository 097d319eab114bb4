#include "graph/plain_buffers.h"

#include "graph/buffer_align.h"
#include "platform/pages.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <utility>

namespace qdvm {
namespace {

constexpr std::size_t kLeastAlign = 16;

}  // namespace

HRESULT CBufferOnVirtualAlloc::Commit(const ALLOCATOR_PROPERTIES& properties) {
    Decommit();
    const auto count = static_cast<std::size_t>(properties.cBuffers);
    const auto prefix = static_cast<std::size_t>(properties.cbPrefix);
    const std::size_t size = static_cast<std::size_t>(properties.cbBuffer) + prefix;
    const std::size_t align = std::max(kLeastAlign, static_cast<std::size_t>(properties.cbAlign));
    const std::size_t stride = AlignUp(size, align);
    if (stride > (std::numeric_limits<std::size_t>::max() / 2) / count) return E_OUTOFMEMORY;

    blockBytes = size + stride * (count - 1) + ExcessAlign(align);
    block = static_cast<BYTE*>(AllocatePages(blockBytes));
    if (block) addresses = static_cast<BYTE**>(std::calloc(count, sizeof(BYTE*)));
    if (!addresses) {
        Decommit();
        return E_OUTOFMEMORY;
    }
    BYTE* const first = AlignUp(block, align) + prefix;
    for (std::size_t i = 0; i < count; ++i) addresses[i] = first + i * stride;
    total = freeCount = properties.cBuffers;
    return S_OK;
}

void CBufferOnVirtualAlloc::Decommit() {
    if (block) FreePages(std::exchange(block, nullptr), blockBytes);
    std::free(std::exchange(addresses, nullptr));
    total = freeCount = 0;
    blockBytes = 0;
}

BYTE* CBufferOnVirtualAlloc::Take() { return freeCount > 0 ? addresses[--freeCount] : nullptr; }

void CBufferOnVirtualAlloc::Put(BYTE* data) {
    if (freeCount < total) addresses[freeCount++] = data;
}

}  // namespace qdvm
