#pragma once

// Finds the tags of a document, whatever state the document is in.

#include "config/attribute_pairs.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm::XMLParse {

// White space without the blank: what is trimmed off texts.
constexpr bool IsLineSpace(char16_t unit) { return unit != u' ' && IsFullSpace(unit); }

std::u16string_view TrimFullSpace(std::u16string_view text);
std::u16string_view TrimLineSpace(std::u16string_view text);

enum class TagKind {
    Closing = -1,       // </name>
    Empty = 0,          // <name/>, and every tag named "br" or "tab"
    Opening = 1,        // <name ...>
    CharacterData = 2,  // <![CDATA[ ... ]]>
};

struct Tag {
    std::size_t start = 0;         // of its "<"
    std::u16string name;           // lowered, but for character data
    std::u16string_view contents;  // attribute text, or the character data
    std::vector<AttrPair> pairs;   // of the attribute text
    TagKind kind = TagKind::Opening;
};

// Finds the first tag from `from` on that begins before `limit`. Comments and processing
// instructions are passed over. A tag that isn't closed ends with the character before the limit.
// Moves the limit behind the tag, also behind one without a name, which gives false like no tag at
// all. limit is at most the text's size. Takes time linear in what it moves past.
bool NextTag(std::u16string_view text, std::size_t from, std::size_t& limit, Tag& tag);

}  // namespace qdvm::XMLParse
