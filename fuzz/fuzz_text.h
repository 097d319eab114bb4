#pragma once

// Text out of a fuzzer's bytes.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace qdvm::fuzz {

// The bytes as UTF-16, whatever they are.
inline std::u16string WideText(const std::uint8_t* data, std::size_t size) {
    std::u16string text(size / sizeof(char16_t), u'\0');
    if (!text.empty()) std::memcpy(text.data(), data, text.size() * sizeof(char16_t));
    return text;
}

// One character for each byte: reaches more of what readers look for.
inline std::u16string NarrowText(const std::uint8_t* data, std::size_t size) {
    return {data, data + size};
}

// A promise that every input must keep.
inline void Require(bool holds) {
    if (!holds) __builtin_trap();
}

}  // namespace qdvm::fuzz
