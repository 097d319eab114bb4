#pragma once

// The text of elements: entities and escapes.

#include <string>
#include <string_view>

namespace qdvm::XMLParse {

// Line breaks and tabs become blanks, then entities become characters; an unknown one loses its
// "&". A character of number 0 is left out. Nothing but blanks is no text, unless "&nbsp;" stands
// in it.
std::u16string DecodeText(std::u16string_view text);

// Appends the text with "<", ">" and "&" as entities.
void AppendEscaped(std::u16string& out, std::u16string_view text);

}  // namespace qdvm::XMLParse
