#include "config/file_path.h"

#include <cstddef>

namespace qdvm {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;

constexpr bool IsLetter(char16_t unit) {
    const char16_t lower = unit | 0x20;
    return lower >= u'a' && lower <= u'z';
}

constexpr bool IsSeparator(char16_t unit) { return unit == u'/' || unit == u'\\'; }

bool HasExtension(std::u16string_view text) {
    const std::size_t separator = text.find_last_of(u"/\\:");
    const std::u16string_view name = text.substr(separator == kNone ? 0 : separator + 1);
    const std::size_t dot = name.rfind(u'.');
    return dot != kNone && dot + 1 < name.size();
}

}  // namespace

bool IsAbsolutePath(std::u16string_view text) {
    if (text.find(u"://") != kNone) return true;
    if (text.size() > 1 && text[0] == u'/') return true;
    if (text.size() < 4) return false;
    if (IsLetter(text[0]) && text[1] == u':' && IsSeparator(text[2])) return true;
    return text.substr(0, 2) == u"\\\\" && (IsLetter(text[2]) || text[2] == u'.');
}

bool IsFilePath(std::u16string_view text) {
    constexpr std::size_t kMostLength = 2600;
    if (text.size() > kMostLength || text.find_first_of(u"?*\"<>|") != kNone) return false;
    return IsAbsolutePath(text) || HasExtension(text) || text.find_first_of(u"/\\") != kNone;
}

}  // namespace qdvm
