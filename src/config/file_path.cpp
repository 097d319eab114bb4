#include "config/file_path.h"

#include "platform/file.h"

#include <algorithm>
#include <cstddef>

namespace qdvm {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;
constexpr std::u16string_view kSeparators = u"/\\";

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

// What stands between the directories of an absolute path. Behind a "/" in front a backslash is
// part of a name.
std::u16string_view SeparatorsOf(std::u16string_view path) {
    return kSeparators.substr(0, path.substr(0, 1) == u"/" ? 1 : 2);
}

// The last separator in front of `end`.
std::size_t SeparatorBefore(std::u16string_view path, std::size_t end) {
    return end == 0 ? kNone : path.find_last_of(SeparatorsOf(path), end - 1);
}

// The path from "/" on, without "." and "..".
std::u16string WithoutSteps(std::u16string_view path) {
    std::u16string plain;
    while (!path.empty()) {
        path.remove_prefix(1);
        const std::u16string_view name = path.substr(0, path.find(u'/'));
        path.remove_prefix(name.size());
        if (name == u"..")
            plain.erase(std::min(plain.rfind(u'/'), plain.size()));
        else if (!name.empty() && name != u".")
            plain.append(u"/").append(name);
    }
    return plain.empty() ? u"/" : plain;
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

std::u16string MakeAbsolutePath(std::u16string_view base, std::u16string_view path) {
    std::u16string_view rest = path;
    const auto dropSeparators = [&] {
        while (!rest.empty() && IsSeparator(rest.front())) rest.remove_prefix(1);
    };
    dropSeparators();
    std::size_t end = SeparatorBefore(base, base.size());
    while (end != kNone && rest.size() > 2 && rest.substr(0, 2) == u".." && IsSeparator(rest[2])) {
        rest.remove_prefix(3);
        end = SeparatorBefore(base, end);
    }
    if (end == kNone || rest.empty()) return std::u16string(path);
    std::u16string absolute(base.substr(0, end + 1));
    absolute.append(rest);
    if (base.front() == u'/')
        std::replace(absolute.end() - static_cast<std::ptrdiff_t>(rest.size()), absolute.end(),
                     u'\\', u'/');
    return absolute;
}

std::u16string MakeRelativePath(std::u16string_view base, std::u16string_view path) {
    const auto differ = std::mismatch(base.begin(), base.end(), path.begin(), path.end());
    const std::size_t common =
        SeparatorBefore(base, static_cast<std::size_t>(differ.first - base.begin()));
    if (common == kNone) return std::u16string(path);
    const std::u16string_view steps = base.substr(common + 1);
    const std::u16string_view step = base[common] == u'/' ? u"../" : u"..\\";
    std::u16string relative;
    const std::u16string_view separators = SeparatorsOf(base);
    for (const char16_t unit : steps)
        if (separators.find(unit) != kNone) relative += step;
    relative += path.substr(common + 1);
    // A backslash in a name, a name of dots, nothing at all.
    return MakeAbsolutePath(base, relative) == path ? relative : std::u16string(path);
}

std::u16string AbsoluteFileName(std::u16string_view name) {
    if (name.empty()) return {};
    if (name.front() == u'/') return WithoutSteps(name);
    if (IsAbsolutePath(name)) return std::u16string(name);
    const std::u16string directory = WorkingDirectory();
    return directory.empty() ? std::u16string(name)
                             : WithoutSteps(directory + u'/' + std::u16string(name));
}

std::u16string PathInDocument(std::u16string_view place, std::u16string_view path) {
    if (path.empty() || IsAbsolutePath(path) || !IsAbsolutePath(place)) return std::u16string(path);
    std::u16string beside = MakeAbsolutePath(place, path);
    if (!FileExists(beside) && FileExists(path)) return std::u16string(path);
    return beside;
}

}  // namespace qdvm
