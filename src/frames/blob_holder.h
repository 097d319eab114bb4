#pragma once

// Blocks of raw memory: every frame, working picture and file text that outlives one function.
//
// A holder owns one block with a used size and a capacity. It grows on demand, never carries
// contents over to a larger block and never shrinks, so that an owner asks for its size on every
// use and memory is taken only when a format grows. A pointer got from it is valid until the next
// operation that may grow it.
//
// Invariant: the used size is at most the capacity; both are 0 after failed growth.
// No lock of its own: the owner's lock guards it.

#include <qdvideomixer/object.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <type_traits>
#include <utility>

namespace qdvm {

struct BLOB {
    std::uint32_t cbSize;  // bytes in use
    BYTE* pBlobData;       // null if no block is there
};

// Larger blocks are refused as out of memory, whatever the machine could give.
inline constexpr std::uint32_t kMaxBlockBytes = std::numeric_limits<std::int32_t>::max();

// The allocation policies. Allocate gives `size` bytes and may raise `size` to what the block
// really holds; on failure it gives null and sets `size` to 0. Free takes the pointer and that
// size; null is allowed.

// Short-lived blocks on cold paths. Default alignment.
struct CNewAlloc {
    static BYTE* Allocate(std::uint32_t& size);
    static void Free(BYTE* block, std::uint32_t capacity);
};

// Imaging scratch that is not a frame. Aligned to 16 bytes.
struct CHeapAlloc {
    static BYTE* Allocate(std::uint32_t& size);
    static void Free(BYTE* block, std::uint32_t capacity);
};

// Blocks that can be given away whole: task memory.
struct CCoTaskAlloc {
    static BYTE* Allocate(std::uint32_t& size);
    static void Free(BYTE* block, std::uint32_t capacity);
};

// Long-lived frames: whole pages of 4096 bytes from the operating system, zeroed. The capacity is
// a multiple of the page.
struct CVirtualAlloc {
    static BYTE* Allocate(std::uint32_t& size);
    static void Free(BYTE* block, std::uint32_t capacity);
};

template <class Alloc>
class CBLOBHolder;
HRESULT LoadFileInto(CBLOBHolder<CNewAlloc>& holder, std::u16string_view path,
                     std::uint32_t extraZeroBytes, std::uint32_t maxBytes);

template <class Alloc>
class CBLOBHolder {
public:
    CBLOBHolder() = default;
    ~CBLOBHolder() { FreeBlock(); }
    CBLOBHolder(const CBLOBHolder&) = delete;
    CBLOBHolder& operator=(const CBLOBHolder&) = delete;
    CBLOBHolder(CBLOBHolder&& other) noexcept
        : blob(std::exchange(other.blob, BLOB{})), capacity(std::exchange(other.capacity, 0)) {}
    CBLOBHolder& operator=(CBLOBHolder&& other) noexcept {
        if (this != &other) {
            FreeBlock();
            blob = std::exchange(other.blob, BLOB{});
            capacity = std::exchange(other.capacity, 0);
        }
        return *this;
    }

    // Sets the used size, and takes a new block if the capacity is less. S_FALSE: the block stayed,
    // with its old bytes. S_OK: a new block, its bytes unset. E_OUTOFMEMORY: the old block is gone
    // too. `fill` sets the used bytes to fillByte; `used` >= 0 then becomes the used size, if the
    // capacity allows.
    HRESULT Resize(std::uint32_t size, bool fill = false, BYTE fillByte = 0,
                   std::int32_t used = -1) {
        const HRESULT result = Reserve(size);
        if (Failed(result)) return result;
        blob.cbSize = size;
        if (fill) Fill(fillByte, 0, -1);
        if (used >= 0) (void)SetUsed(static_cast<std::uint32_t>(used));
        return result;
    }

    // E_INVALIDARG beyond the capacity.
    HRESULT SetUsed(std::uint32_t size) {
        if (size > capacity) return E_INVALIDARG;
        blob.cbSize = size;
        return S_OK;
    }

    // The address of a byte, or null at the capacity and beyond.
    BYTE* At(std::uint32_t offset) { return offset < capacity ? blob.pBlobData + offset : nullptr; }
    const BYTE* At(std::uint32_t offset) const {
        return offset < capacity ? blob.pBlobData + offset : nullptr;
    }

    // The used size becomes 0; the block stays for reuse.
    void Clear() { blob.cbSize = 0; }
    bool HasData() const { return blob.cbSize != 0; }
    bool IsEmpty() const { return blob.cbSize == 0; }

    std::uint32_t Used() const { return blob.cbSize; }
    std::uint32_t Capacity() const { return capacity; }
    const BLOB& Blob() const { return blob; }

    // Sets bytes within the used size. A negative count, or one beyond the end, goes to the end.
    void Fill(BYTE value, std::uint32_t offset, std::int32_t count) {
        const std::uint32_t start = std::min(offset, blob.cbSize);
        const std::uint32_t rest = blob.cbSize - start;
        const std::uint32_t length =
            count >= 0 ? std::min(static_cast<std::uint32_t>(count), rest) : rest;
        if (length != 0) std::memset(blob.pBlobData + start, value, length);
    }

    // Copies as many of `count` bytes as fit between `offset` and the used size; none if the offset
    // lies beyond it.
    void CopyIn(const void* source, std::uint32_t count, std::uint32_t offset) {
        if (offset >= blob.cbSize) return;
        const std::uint32_t length = std::min(count, blob.cbSize - offset);
        if (length != 0 && source) std::memcpy(blob.pBlobData + offset, source, length);
    }

    // Takes over the other's used bytes. E_OUTOFMEMORY leaves the holder without a block.
    HRESULT Assign(const CBLOBHolder& other) requires std::is_same_v<Alloc, CVirtualAlloc> {
        if (this == &other) return S_FALSE;
        const HRESULT result = Resize(other.blob.cbSize);
        if (Failed(result)) return result;
        CopyIn(other.blob.pBlobData, other.blob.cbSize, 0);
        return S_OK;
    }

    // Gives up the present block and owns the given one (task memory). A null pointer empties.
    void Attach(BLOB given) requires std::is_same_v<Alloc, CCoTaskAlloc> {
        FreeBlock();
        blob = given.pBlobData ? given : BLOB{};
        capacity = blob.cbSize;
    }

    // The block becomes the receiver's (CoTaskMemFree), and the holder is without one.
    [[nodiscard]] BLOB Detach() requires std::is_same_v<Alloc, CCoTaskAlloc> {
        capacity = 0;
        return std::exchange(blob, BLOB{});
    }

    // Reads a file into the block. With maxBytes not 0 room is made for so many bytes and no more
    // are read; otherwise for the whole file. extraZeroBytes follow the file's bytes in the block,
    // outside the used size. The system's error as a result code if the file can't be read.
    HRESULT LoadFile(std::u16string_view path, std::uint32_t extraZeroBytes,
                     std::uint32_t maxBytes) requires std::is_same_v<Alloc, CNewAlloc> {
        return LoadFileInto(*this, path, extraZeroBytes, maxBytes);
    }

private:
    HRESULT Reserve(std::uint32_t size) {
        if (capacity >= size) return S_FALSE;
        FreeBlock();
        if (size <= kMaxBlockBytes) {
            capacity = size;
            blob.pBlobData = Alloc::Allocate(capacity);
        }
        return blob.pBlobData ? S_OK : E_OUTOFMEMORY;
    }

    void FreeBlock() {
        Alloc::Free(blob.pBlobData, capacity);
        blob = {};
        capacity = 0;
    }

    BLOB blob{};
    std::uint32_t capacity = 0;
};

}  // namespace qdvm
