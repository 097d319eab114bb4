#include "frames/blob_holder.h"

#include "platform/file.h"
#include "platform/pages.h"

#include <cstdlib>
#include <new>
#include <vector>

namespace qdvm {

namespace {

constexpr std::uint32_t kPageBytes = 4096;

BYTE* Given(void* block, std::uint32_t& size) {
    if (!block) size = 0;
    return static_cast<BYTE*>(block);
}

}  // namespace

BYTE* CNewAlloc::Allocate(std::uint32_t& size) {
    return Given(::operator new(size, std::nothrow), size);
}

void CNewAlloc::Free(BYTE* block, std::uint32_t) { ::operator delete(block); }

// The byte before the block holds the distance from the raw block, so that none of it need be
// remembered elsewhere.
BYTE* CHeapAlloc::Allocate(std::uint32_t& size) {
    const std::size_t rawBytes = (std::size_t{size} + 31) & ~std::size_t{7};
    auto* raw = Given(std::malloc(rawBytes), size);
    if (!raw) return nullptr;
    const auto address = reinterpret_cast<std::uintptr_t>(raw);
    const std::uintptr_t distance = ((address + 17) & ~std::uintptr_t{15}) - address;
    raw[distance - 1] = static_cast<BYTE>(distance);
    return raw + distance;
}

void CHeapAlloc::Free(BYTE* block, std::uint32_t capacity) {
    if (block && capacity != 0) std::free(block - block[-1]);
}

BYTE* CCoTaskAlloc::Allocate(std::uint32_t& size) { return Given(CoTaskMemAlloc(size), size); }

void CCoTaskAlloc::Free(BYTE* block, std::uint32_t) { CoTaskMemFree(block); }

BYTE* CVirtualAlloc::Allocate(std::uint32_t& size) {
    size = (size + kPageBytes - 1) / kPageBytes * kPageBytes;
    return Given(AllocatePages(size), size);
}

void CVirtualAlloc::Free(BYTE* block, std::uint32_t capacity) {
    if (block && capacity != 0) FreePages(block, capacity);
}

HRESULT LoadFileInto(CBLOBHolder<CNewAlloc>& holder, std::u16string_view path,
                     std::uint32_t extraZeroBytes, std::uint32_t maxBytes) {
    std::vector<std::uint8_t> contents;
    const HRESULT read = ReadFile(path, contents);
    if (Failed(read)) return read;
    const std::uint64_t room = maxBytes != 0 ? maxBytes : contents.size();
    if (room + extraZeroBytes > kMaxBlockBytes) return E_OUTOFMEMORY;
    const HRESULT grown =
        holder.Resize(static_cast<std::uint32_t>(room + extraZeroBytes), extraZeroBytes != 0);
    if (Failed(grown)) return grown;
    const auto bytes = static_cast<std::uint32_t>(std::min<std::uint64_t>(room, contents.size()));
    holder.CopyIn(contents.data(), bytes, 0);
    return holder.SetUsed(bytes);
}

}  // namespace qdvm
