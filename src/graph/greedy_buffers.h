#pragma once

// The buffer store of an allocator that keeps memory only for the buffers that are out.

#include <qdvideomixer/media_graph.h>
#include <qdvideomixer/object.h>

#include <cstddef>

namespace qdvm {

// Free entries form a stack. Two get memory at Commit; any other gets its own block when it is
// handed out, and the return of a buffer frees the block of the free entry below it. So the number
// of buffers is a ceiling, and a stream that is taken as fast as it comes lives on one or two
// blocks. Not safe for use by several threads at a time.
class CGreedArrayOnVirtualAlloc {
public:
    CGreedArrayOnVirtualAlloc() = default;
    ~CGreedArrayOnVirtualAlloc() { Decommit(); }
    CGreedArrayOnVirtualAlloc(const CGreedArrayOnVirtualAlloc&) = delete;
    CGreedArrayOnVirtualAlloc& operator=(const CGreedArrayOnVirtualAlloc&) = delete;

    // E_OUTOFMEMORY, with an empty store. No buffer may be out.
    HRESULT Commit(const ALLOCATOR_PROPERTIES& properties);
    void Decommit();

    // Where the data of a buffer starts, cbPrefix bytes into it; null if none is to be had.
    BYTE* Take();
    void Put(BYTE* data);

    LONG FreeCount() const { return freeCount; }

    // Buffers that have memory now.
    LONG BlockCount() const { return blockCount; }
    LONG Total() const { return total; }

private:
    struct Entry {
        BYTE* data;
        BYTE* block;  // null: no memory now
    };

    bool AllocateBlock(Entry& entry);
    void FreeBlock(Entry& entry);

    ALLOCATOR_PROPERTIES props{};
    std::size_t blockBytes = 0;
    Entry* entries = nullptr;  // pages, zeroed, so that entries never used cost nothing
    std::size_t entryBytes = 0;
    LONG total = 0;
    LONG freeCount = 0;
    LONG blockCount = 0;
};

}  // namespace qdvm
