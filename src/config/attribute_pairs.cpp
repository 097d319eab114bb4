#include "config/attribute_pairs.h"

namespace qdvm::XMLParse {
namespace {

std::u16string_view TakeValue(Cursor& cursor) {
    const char16_t quote = *cursor.at;
    if (quote != u'\'' && quote != u'"') return cursor.TakeUntil(IsFullSpace);
    ++cursor.at;
    const std::u16string_view value = cursor.TakeUntil([quote](char16_t c) { return c == quote; });
    if (!cursor.IsAtEnd()) ++cursor.at;
    return value;
}

}  // namespace

void ReadPairs(std::u16string_view text, std::vector<AttrPair>& pairs) {
    pairs.clear();
    Cursor cursor{text.data(), text.data() + text.size()};
    for (cursor.SkipSpace(); !cursor.IsAtEnd(); cursor.SkipSpace()) {
        const std::u16string_view key =
            cursor.TakeUntil([](char16_t c) { return c == u'=' || IsFullSpace(c); });
        cursor.SkipSpace();
        if (!cursor.IsAt(u'=')) continue;
        ++cursor.at;
        cursor.SkipSpace();
        if (cursor.IsAtEnd()) break;
        pairs.push_back({key, TakeValue(cursor)});
    }
}

}  // namespace qdvm::XMLParse
