#include "config/xml_scanner.h"

#include "platform/letter_case.h"

#include <algorithm>
#include <array>

namespace qdvm::XMLParse {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;

bool IsNameEnd(char16_t unit) {
    switch (unit) {
        case u';':
        case u',':
        case u'<':
        case u'>':
        case u'/':
        case u'\\':
        case u'=':
            return true;
        default:
            return IsFullSpace(unit);
    }
}

template <class IsSpace>
std::u16string_view Trim(std::u16string_view text, IsSpace isSpace) {
    std::size_t start = 0;
    std::size_t end = text.size();
    while (start < end && isSpace(text[start])) ++start;
    while (end > start && isSpace(text[end - 1])) --end;
    return text.substr(start, end - start);
}

// For an `at` inside of the text.
bool StartsAt(std::u16string_view text, std::size_t at, std::u16string_view what) {
    return text[at] == what[0] && at + 1 < text.size() && text[at + 1] == what[1] &&
           text.substr(at, what.size()) == what;
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
    for (std::size_t at = start + 1; at < limit; ++at) {
        const char16_t unit = text[at];
        if (unit == u'"' || unit == u'\'') {
            do ++at;
            while (at < limit && text[at] != unit);
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

void SetLowered(std::u16string& name, std::u16string_view written) {
    name = written;
    for (char16_t& unit : name) unit = ToLower(unit);
}

void ReadAttributeText(std::u16string_view between, Tag& tag) {
    tag.contents = TrimFullSpace(between);
    tag.kind = TagKind::Opening;
    if (!tag.contents.empty() && tag.contents.back() == u'/') {
        tag.kind = TagKind::Empty;
        tag.contents = TrimFullSpace(tag.contents.substr(0, tag.contents.size() - 1));
    }
    if (tag.contents.size() == 1) tag.contents = {};
    ReadPairs(tag.contents, tag.pairs);
}

// Characters that mean nothing to any rule.
constexpr auto kPlain = [] {
    std::array<bool, 0x80> table{};
    for (char16_t unit = 0; unit < table.size(); ++unit)
        table[unit] = (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z') ||
                      (unit >= u'0' && unit <= u'9') || unit == u'-' || unit == u'_';
    return table;
}();

bool IsPlain(char16_t unit) { return unit < kPlain.size() && kPlain[unit]; }

// Reads a plain tag from its name on, and tells whether it is one: keys of plain characters with
// quoted values, or a name alone. The search for the end of a tag and the reading of its attributes
// take such a tag apart in the same way, so that one walk along it does for both.
bool ReadPlainTag(Cursor& cursor, bool isClosing, Tag& tag) {
    const auto takePlain = [&] { return cursor.TakeUntil([](char16_t c) { return !IsPlain(c); }); };
    const std::u16string_view name = takePlain();
    if (name.empty() || name.back() == u'-') return false;
    const char16_t* const start = cursor.at;
    tag.pairs.clear();
    cursor.SkipSpace();
    while (!cursor.IsAtEnd() && IsPlain(*cursor.at)) {
        const std::u16string_view key = takePlain();
        if (!cursor.IsAt(u'=')) return false;
        const char16_t quote = ++cursor.at != cursor.end ? *cursor.at : u'\0';
        if (quote != u'\'' && quote != u'"') return false;
        ++cursor.at;
        tag.pairs.push_back({key, cursor.TakeUntil([quote](char16_t c) { return c == quote; })});
        if (cursor.IsAtEnd()) return false;
        ++cursor.at;
        cursor.SkipSpace();
    }
    const bool isEmpty = cursor.IsAt(u'/');
    if (isEmpty) ++cursor.at;
    if (!cursor.IsAt(u'>')) return false;
    tag.contents = {start, static_cast<std::size_t>(cursor.at - start)};
    ++cursor.at;
    SetLowered(tag.name, name);
    tag.kind = isClosing ? TagKind::Closing : isEmpty ? TagKind::Empty : TagKind::Opening;
    return true;
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

    Cursor cursor{text.data() + at, text.data() + limit};
    if (ReadPlainTag(cursor, isClosing, tag)) {
        limit = static_cast<std::size_t>(cursor.at - text.data());
    } else {
        const std::size_t found = FindTagEnd(text, start, limit);
        const std::size_t end = found != kNone ? found : limit - 1;
        limit = end + 1;
        std::size_t nameEnd = std::min(at, end);
        while (nameEnd < end && !IsNameEnd(text[nameEnd])) ++nameEnd;
        if (nameEnd <= at) return false;
        SetLowered(tag.name, text.substr(at, nameEnd - at));
        if (isClosing)
            tag.kind = TagKind::Closing;
        else
            ReadAttributeText(text.substr(nameEnd, end - nameEnd), tag);
    }
    if (tag.name == u"br" || tag.name == u"tab") {
        tag.kind = TagKind::Empty;
        tag.contents = {};
        tag.pairs.clear();
    }
    return true;
}

}  // namespace qdvm::XMLParse
