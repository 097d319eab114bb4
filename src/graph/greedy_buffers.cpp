#include "graph/greedy_buffers.h"

#include "graph/buffer_align.h"
#include "platform/pages.h"

#include <algorithm>
#include <utility>

namespace qdvm {

HRESULT CGreedArrayOnVirtualAlloc::Commit(const ALLOCATOR_PROPERTIES& properties) {
    Decommit();
    props = properties;
    props.cbAlign = std::max(props.cbAlign, 1);
    entryBytes = static_cast<std::size_t>(props.cBuffers) * sizeof(Entry);
    entries = static_cast<Entry*>(AllocatePages(entryBytes));
    if (!entries) return E_OUTOFMEMORY;
    total = freeCount = props.cBuffers;
    blockBytes = static_cast<std::size_t>(props.cbBuffer) +
                 static_cast<std::size_t>(props.cbPrefix) +
                 ExcessAlign(static_cast<std::size_t>(props.cbAlign));
    for (LONG i = std::max(total - 2, 0); i < total; ++i) {
        if (AllocateBlock(entries[i])) continue;
        Decommit();
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

void CGreedArrayOnVirtualAlloc::Decommit() {
    for (LONG i = 0; i < freeCount; ++i) FreeBlock(entries[i]);
    FreePages(std::exchange(entries, nullptr), entryBytes);
    total = freeCount = 0;
    blockBytes = 0;
}

BYTE* CGreedArrayOnVirtualAlloc::Take() {
    if (freeCount == 0) return nullptr;
    Entry& top = entries[freeCount - 1];
    if (!top.block && !AllocateBlock(top)) return nullptr;
    --freeCount;
    return top.data;
}

void CGreedArrayOnVirtualAlloc::Put(BYTE* data) {
    Entry* const inUse = entries + freeCount;
    Entry* const end = entries + total;
    Entry* const found =
        std::find_if(inUse, end, [data](const Entry& entry) { return entry.data == data; });
    if (found == end) return;
    const Entry returned = *found;
    *found = *inUse;
    *inUse = returned;
    ++freeCount;
    if (freeCount >= 2) FreeBlock(entries[freeCount - 2]);
}

bool CGreedArrayOnVirtualAlloc::AllocateBlock(Entry& entry) {
    entry.block = static_cast<BYTE*>(AllocatePages(blockBytes));
    if (!entry.block) return false;
    ++blockCount;
    entry.data = AlignUp(entry.block, static_cast<std::size_t>(props.cbAlign)) + props.cbPrefix;
    return true;
}

void CGreedArrayOnVirtualAlloc::FreeBlock(Entry& entry) {
    if (entry.block) {
        FreePages(entry.block, blockBytes);
        --blockCount;
    }
    entry = {};
}

}  // namespace qdvm
