#pragma once

// The plain buffer store of an allocator: one block for all buffers.

#include <qdvideomixer/media_graph.h>
#include <qdvideomixer/object.h>

#include <cstddef>

namespace qdvm {

// Allocates at Commit and moves nothing until Decommit. Not safe for use by several threads at a
// time.
class CBufferOnVirtualAlloc {
public:
    CBufferOnVirtualAlloc() = default;
    ~CBufferOnVirtualAlloc() { Decommit(); }
    CBufferOnVirtualAlloc(const CBufferOnVirtualAlloc&) = delete;
    CBufferOnVirtualAlloc& operator=(const CBufferOnVirtualAlloc&) = delete;

    // E_OUTOFMEMORY, with an empty store. No buffer may be out.
    HRESULT Commit(const ALLOCATOR_PROPERTIES& properties);
    void Decommit();

    // Where the data of a buffer starts, cbPrefix bytes into it; null if none is free. The buffer
    // that came back last goes out first.
    BYTE* Take();
    void Put(BYTE* data);

    LONG FreeCount() const { return freeCount; }
    LONG Total() const { return total; }

private:
    BYTE* block = nullptr;
    std::size_t blockBytes = 0;
    BYTE** addresses = nullptr;  // the free ones come first
    LONG total = 0;
    LONG freeCount = 0;
};

}  // namespace qdvm
