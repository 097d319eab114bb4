#pragma once

// The form that attributes have in a tag, and as a text of their own: keys, "=" and values,
// separated by white space.

#include <cstddef>
#include <string_view>
#include <vector>

namespace qdvm::XMLParse {

// White space of names, attributes and tags; characters from U+FDEF up count too, and with them the
// byte order mark.
constexpr bool IsFullSpace(char16_t unit) {
    if (unit > u' ') return unit >= 0xFDEF;
    return unit == u' ' || unit == u'\n' || unit == u'\r' || unit == u'\t';
}

// One as it stands in a document.
struct AttrPair {
    std::u16string_view name;
    std::u16string_view value;
};

// Walks along a text that it doesn't leave.
struct Cursor {
    const char16_t* at;
    const char16_t* end;

    bool IsAtEnd() const { return at == end; }
    bool IsAt(char16_t unit) const { return at != end && *at == unit; }

    void SkipSpace() {
        while (at != end && IsFullSpace(*at)) ++at;
    }

    // What stands in front of the first unit that `isEnd`, or of the end.
    template <class IsEnd>
    std::u16string_view TakeUntil(IsEnd isEnd) {
        const char16_t* const start = at;
        while (at != end && !isEnd(*at)) ++at;
        return {start, static_cast<std::size_t>(at - start)};
    }
};

// Replaces `pairs` by those of a text; they are views of it. A value in quotes ends with the next
// such quote, any other with white space, and all end with the text. Bare words are dropped.
void ReadPairs(std::u16string_view text, std::vector<AttrPair>& pairs);

}  // namespace qdvm::XMLParse
