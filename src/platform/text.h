#pragma once

// Conversion between UTF-16, which text in memory is, and the encodings of files and systems.

#include <cstddef>
#include <string>
#include <string_view>

namespace qdvm {

// Both directions are strict: each ill-formed part (an unpaired surrogate; a UTF-8 sequence that is
// cut, overlong, a surrogate or past U+10FFFF, by the longest valid prefix) becomes one U+FFFD.
std::string ToUtf8(std::u16string_view text);
std::u16string FromUtf8(std::string_view text);

// Whether all of it is well-formed UTF-8.
bool IsUtf8(std::string_view text);

// One byte a character: the bytes are code points 0 to 255.
std::u16string FromLatin1(std::string_view text);

// One byte a character, by the Western code page 1252; its five unassigned bytes stay as they are.
std::u16string From1252(std::string_view text);

// Characters without a byte become '?', a surrogate pair one of them.
std::string To1252(std::u16string_view text);

// The first such unit from a position on, npos if there is none: quick over long texts without it.
std::size_t FindUnit(std::u16string_view text, char16_t unit, std::size_t from = 0);

// UTF-7 by RFC 2152. What can't be decoded (a bad character inside a run, bits left over) is
// U+FFFD; bytes above 127 count as Latin-1.
std::u16string FromUtf7(std::string_view text);

}  // namespace qdvm
