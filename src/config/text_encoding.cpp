#include "config/text_encoding.h"

#include "platform/text.h"

#include <algorithm>
#include <cstddef>

namespace qdvm::XMLParse {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf7Mark = "+/v";

enum class Declared { Nothing, Utf8, Utf7 };

char LowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

Declared FindDeclaration(std::string_view bytes) {
    constexpr std::size_t kLooksAt = 4095;
    std::string head(bytes.substr(0, kLooksAt));
    head.resize(std::min(head.find('\0'), head.size()));
    const std::size_t end = head.find("?>");
    if (end == std::string::npos) return Declared::Nothing;
    head.resize(end);
    std::transform(head.begin(), head.end(), head.begin(), LowerAscii);
    if (head.find("utf-8") != std::string::npos) return Declared::Utf8;
    return head.find("utf-7") != std::string::npos ? Declared::Utf7 : Declared::Nothing;
}

enum class Wide { No, Little, Big };

struct WideForm {
    Wide order = Wide::No;
    std::size_t markBytes = 0;
};

// A byte order mark, or the first zero byte among the pairs of the first nine tenths.
WideForm FindWideForm(std::string_view bytes) {
    const std::size_t size = bytes.size();
    if (size < 3) return {};
    if (bytes.substr(0, 2) == "\xFF\xFE") return {Wide::Little, 2};
    if (bytes.substr(0, 2) == "\xFE\xFF") return {Wide::Big, 2};
    const std::size_t most = (9 * size + 5) / 10 - 1;
    const std::size_t pairs = std::min(most, size - 1) / 2;
    const std::size_t zero = bytes.substr(0, 2 * pairs).find('\0');
    if (zero == std::string_view::npos) return {};
    return {zero % 2 == 0 ? Wide::Big : Wide::Little, 0};
}

std::u16string FromWide(std::string_view bytes, const WideForm& form) {
    const bool isBig = form.order == Wide::Big;
    std::u16string text;
    text.reserve(bytes.size() / 2);
    for (std::size_t i = form.markBytes; i + 1 < bytes.size(); i += 2) {
        const auto first = static_cast<unsigned char>(bytes[i]);
        const auto second = static_cast<unsigned char>(bytes[i + 1]);
        const auto unit = static_cast<char16_t>(isBig ? first << 8 | second : second << 8 | first);
        if (unit == 0) break;
        text.push_back(unit);
    }
    return text;
}

// Nothing if any of it is no UTF-8.
std::u16string FromStrictUtf8(std::string_view bytes) {
    return IsUtf8(bytes) ? FromUtf8(bytes) : std::u16string();
}

std::u16string FromStrictUtf7(std::string_view bytes) {
    const auto isWide = [](char c) { return static_cast<unsigned char>(c) > 127; };
    if (std::any_of(bytes.begin(), bytes.end(), isWide)) return {};
    std::u16string text = FromUtf7(bytes);
    if (text.find(char16_t{0xFFFD}) != std::u16string::npos) text.clear();
    return text;
}

std::u16string DecodeByForm(std::string_view bytes) {
    const Declared declared = FindDeclaration(bytes);
    const bool isLong = bytes.size() > 2;
    if ((isLong && bytes.substr(0, 3) == kUtf8Mark) || declared == Declared::Utf8)
        return FromStrictUtf8(bytes);
    if ((isLong && bytes.substr(0, 3) == kUtf7Mark) || declared == Declared::Utf7)
        return FromStrictUtf7(bytes);
    const WideForm form = FindWideForm(bytes);
    return form.order != Wide::No ? FromWide(bytes, form) : std::u16string();
}

std::string_view AsChars(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool IsAscii(std::u16string_view text) {
    return std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit < 0x80; });
}

}  // namespace

std::u16string DecodeBytes(std::span<const std::uint8_t> bytes) {
    const std::string_view chars = AsChars(bytes);
    std::u16string text = DecodeByForm(chars);
    if (text.empty()) text = FromStrictUtf8(chars);
    if (text.empty()) text = From1252(chars);
    return text;
}

std::vector<std::uint8_t> EncodeWide(std::u16string_view text) {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(2 * text.size());
    for (const char16_t unit : text) {
        bytes.push_back(static_cast<std::uint8_t>(unit));
        bytes.push_back(static_cast<std::uint8_t>(unit >> 8));
    }
    return bytes;
}

std::vector<std::uint8_t> EncodeBytes(std::u16string_view text) {
    if (IsAscii(text)) return {text.begin(), text.end()};
    std::string bytes = To1252(text);
    const bool isSame = From1252(bytes) == text;
    if (!isSame || IsUtf8(bytes)) bytes = std::string(kUtf8Mark) + ToUtf8(text);
    return {bytes.begin(), bytes.end()};
}

}  // namespace qdvm::XMLParse
