#pragma once

// The encodings of document files.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm::XMLParse {

// Finds out the encoding by byte order marks, by what the text declares ("utf-8" or "utf-7" in
// front of a "?>" in its first 4095 bytes), and by zero bytes in its first nine tenths, which stand
// for UTF-16. All else is UTF-8 or, where it isn't well-formed, the Western code page. A UTF-8 mark
// comes through as U+FEFF, those of UTF-16 don't. UTF-16 ends at its first zero character.
std::u16string DecodeBytes(std::span<const std::uint8_t> bytes);

// UTF-16, little-endian, without a mark.
std::vector<std::uint8_t> EncodeWide(std::u16string_view text);

// A byte for each character of the Western code page; a text that has others, or that would be
// taken for UTF-8 when it is read, is UTF-8 with a mark, so that nothing is lost.
std::vector<std::uint8_t> EncodeBytes(std::u16string_view text);

}  // namespace qdvm::XMLParse
