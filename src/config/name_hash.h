#pragma once

// The identity of names: names with equal hashes are the same name.

#include <cstdint>
#include <string_view>

namespace qdvm {

// 64 bits of the low bytes of a name's characters; with foldCase "Width", "WIDTH" and "width" give
// the same. Bob Jenkins's mix of three 64-bit words, eight characters to a word. Lives in memory
// only and never gets into a file.
std::uint64_t NameHash(std::u16string_view name, bool foldCase);

// Whether two names are one once case is folded, told without a hash.
bool IsSameName(std::u16string_view a, std::u16string_view b);

}  // namespace qdvm
