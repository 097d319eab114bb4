#pragma once

// Upper and lower case of UTF-16 text, by the simple mappings of Unicode's basic plane; the same on
// every system and under every locale. Characters beyond the basic plane stay as they are.

#include <string>
#include <string_view>

namespace qdvm {

char16_t ToLowerBeyondAscii(char16_t unit);

inline char16_t ToLower(char16_t unit) {
    if (unit >= 0x80) return ToLowerBeyondAscii(unit);
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
}

std::u16string ToLower(std::u16string_view text);

// Whether both are the same text once lowered.
bool EqualsIgnoringCase(std::u16string_view a, std::u16string_view b);

}  // namespace qdvm
