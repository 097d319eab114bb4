#include "config/xml_scanner.h"

#include "platform/letter_case.h"

#include <algorithm>

namespace qdvm::XMLParse {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;

bool IsNameEnd(char16_t unit) {
    constexpr std::u16string_view kDelimiters = u";,<>/\\=";
    return IsFullSpace(unit) || kDelimiters.find(unit) != kNone;
}

template <class IsSpace>
std::u16string_view Trim(std::u16string_view text, IsSpace isSpace) {
    std::size_t start = 0;
    std::size_t end = text.size();
    while (start < end && isSpace(text[start])) ++start;
    while (end > start && isSpace(text[end - 1])) --end;
    return text.substr(start, end - start);
}

bool StartsAt(std::u16string_view text, std::size_t at, std::u16string_view what) {
    return text.substr(std::min(at, text.size()), what.size()) == what;
}

// The "<" of the next tag, kNone if there is none.
std::size_t FindTagStart(std::u16string_view text, std::size_t from, std::size_t limit) {
    std::size_t at = text.find(u'<', from);
    while (at < limit) {
        const bool isComment = StartsAt(text, at, u"<!--");
        if (!isComment && !StartsAt(text, at, u"<?")) return at;
        const std::u16string_view closing = isComment ? u"-->" : u"?>";
        const std::size_t end = text.find(closing, at + (isComment ? 4 : 2));
        if (end == kNone) return kNone;
        at = text.find(u'<', end + closing.size());
    }
    return kNone;
}

// The ">" that closes the tag at start: outside quotes, and not the end of a comment inside the
// tag. kNone if there is none before the limit.
std::size_t FindTagEnd(std::u16string_view text, std::size_t start, std::size_t limit) {
    constexpr std::size_t kCommentMark = 4;
    char16_t quote = 0;
    for (std::size_t at = start + 1; at < limit; ++at) {
        const char16_t unit = text[at];
        if (quote != 0) {
            if (unit == quote) quote = 0;
        } else if (unit == u'"' || unit == u'\'') {
            quote = unit;
        } else if (unit == u'>') {
            const bool endsComment =
                at >= start + kCommentMark + 2 && text[at - 1] == u'-' && text[at - 2] == u'-';
            if (!endsComment) return at;
        }
    }
    return kNone;
}

// Content of character data whose name starts at nameStart. The mark that ends the name is the last
// "[" in front of the first delimiter.
void ReadCharacterData(std::u16string_view text, std::size_t nameStart, std::size_t& limit,
                       Tag& tag) {
    std::size_t end = nameStart;
    while (end + 1 < limit && !IsNameEnd(text[end])) ++end;
    const std::size_t mark = text.substr(0, end).rfind(u'[');
    const std::size_t start = mark + 1;
    constexpr std::u16string_view kClosing = u"]]>";
    const std::size_t closing = text.substr(0, limit).find(kClosing, start);
    tag.kind = TagKind::CharacterData;
    tag.name = text.substr(nameStart, start - nameStart);
    if (closing == kNone) {
        const std::size_t stop = std::max(start, limit - std::min(limit, kClosing.size()));
        tag.contents = text.substr(start, stop - start);
        return;
    }
    tag.contents = text.substr(start, closing - start);
    limit = closing + kClosing.size();
}

void ReadAttributeText(std::u16string_view between, Tag& tag) {
    tag.contents = TrimFullSpace(between);
    tag.kind = TagKind::Opening;
    if (!tag.contents.empty() && tag.contents.back() == u'/') {
        tag.kind = TagKind::Empty;
        tag.contents = TrimFullSpace(tag.contents.substr(0, tag.contents.size() - 1));
    }
    if (tag.contents.size() == 1) tag.contents = {};
}

}  // namespace

std::u16string_view TrimFullSpace(std::u16string_view text) { return Trim(text, IsFullSpace); }

std::u16string_view TrimLineSpace(std::u16string_view text) { return Trim(text, IsLineSpace); }

bool NextTag(std::u16string_view text, std::size_t from, std::size_t& limit, Tag& tag) {
    const std::size_t start = FindTagStart(text, from, limit);
    if (start == kNone) return false;
    tag.start = start;
    tag.contents = {};

    std::size_t at = start + 1;
    while (at < limit && IsFullSpace(text[at])) ++at;
    const bool isClosing = at < limit && text[at] == u'/';
    if (isClosing) ++at;
    while (at < limit && IsFullSpace(text[at])) ++at;
    // Character data is looked at before the end of the tag is searched for: quotes in it have no
    // meaning, and may lead the search to the end of the text time and again.
    if (at + 2 < limit && StartsAt(text, at, u"![")) {
        ReadCharacterData(text, at, limit, tag);
        return true;
    }

    const std::size_t found = FindTagEnd(text, start, limit);
    const std::size_t end = found != kNone ? found : limit - 1;
    limit = end + 1;
    std::size_t nameEnd = std::min(at, end);
    while (nameEnd < end && !IsNameEnd(text[nameEnd])) ++nameEnd;
    if (nameEnd <= at) return false;
    tag.name = ToLower(text.substr(at, nameEnd - at));
    if (tag.name == u"br" || tag.name == u"tab")
        tag.kind = TagKind::Empty;
    else if (isClosing)
        tag.kind = TagKind::Closing;
    else
        ReadAttributeText(text.substr(nameEnd, end - nameEnd), tag);
    return true;
}

}  // namespace qdvm::XMLParse
