#include "platform/counted_string.h"

#include <qdvideomixer/object.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

// Bytes before the first character: the length in bytes in the last four, padded so that the
// characters stay aligned as the block is.
constexpr std::size_t kHeaderSize = 16;
constexpr UINT kMaxLength = (0x7FFFFFFF - 2 * kHeaderSize) / sizeof(OLECHAR);

std::size_t LengthOf(const OLECHAR* text) { return std::char_traits<OLECHAR>::length(text); }

}  // namespace

BSTR SysAllocString(const OLECHAR* text) {
    if (text == nullptr) {
        return nullptr;
    }
    const std::size_t length = LengthOf(text);
    return length <= kMaxLength ? SysAllocStringLen(text, static_cast<UINT>(length)) : nullptr;
}

BSTR SysAllocStringLen(const OLECHAR* text, UINT length) {
    if (length > kMaxLength) {
        return nullptr;
    }
    const std::uint32_t size = length * static_cast<UINT>(sizeof(OLECHAR));
    auto* const block = static_cast<BYTE*>(std::malloc(kHeaderSize + size + sizeof(OLECHAR)));
    if (block == nullptr) {
        return nullptr;
    }
    std::memcpy(block + kHeaderSize - sizeof(size), &size, sizeof(size));
    auto* const characters = reinterpret_cast<OLECHAR*>(block + kHeaderSize);
    if (text != nullptr) {
        std::memcpy(characters, text, size);
    }
    characters[length] = 0;
    return characters;
}

void SysFreeString(BSTR text) {
    if (text != nullptr) {
        std::free(reinterpret_cast<BYTE*>(text) - kHeaderSize);
    }
}

UINT SysStringLen(BSTR text) {
    if (text == nullptr) {
        return 0;
    }
    std::uint32_t size = 0;
    std::memcpy(&size, reinterpret_cast<const BYTE*>(text) - sizeof(size), sizeof(size));
    return size / static_cast<UINT>(sizeof(OLECHAR));
}

void* CoTaskMemAlloc(std::size_t size) { return std::malloc(size != 0 ? size : 1); }

void* CoTaskMemRealloc(void* block, std::size_t size) {
    return std::realloc(block, size != 0 ? size : 1);
}

void CoTaskMemFree(void* block) { std::free(block); }

namespace qdvm {

HRESULT CopyOut(std::u16string_view text, BSTR* out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = CountedString(text).Detach();
    return *out != nullptr ? S_OK : E_OUTOFMEMORY;
}

HRESULT CopyOutTaskText(std::u16string_view text, LPOLESTR* out) {
    if (out == nullptr) {
        return E_POINTER;
    }
    auto* const copy = static_cast<OLECHAR*>(CoTaskMemAlloc((text.size() + 1) * sizeof(OLECHAR)));
    *out = copy;
    if (copy == nullptr) {
        return E_OUTOFMEMORY;
    }
    (void)text.copy(copy, text.size());
    copy[text.size()] = 0;
    return S_OK;
}

}  // namespace qdvm
