#include "config/xml_text.h"

#include <cstddef>
#include <cstdint>

namespace qdvm::XMLParse {
namespace {

struct Entity {
    std::u16string_view name;
    char16_t unit;
};

constexpr Entity kEntities[] = {
    {u"&lt;", u'<'},
    {u"&gt;", u'>'},
    {u"&amp;", u'&'},
    {u"&apos;", u'\''},
    {u"&quot;", u'"'},
    {u"&copy;", char16_t{0xA9}},
    {u"&reg;", char16_t{0xAE}},
};

constexpr std::u16string_view kProtectedBlank = u"&nbsp;";

std::uint32_t DigitValue(char16_t unit) {
    if (unit >= u'0' && unit <= u'9') return unit - u'0';
    const char16_t lower = unit | 0x20;
    return lower >= u'a' && lower <= u'f' ? lower - u'a' + 10u : 99u;
}

bool IsDigitAt(std::u16string_view text, std::size_t at, std::uint32_t base) {
    return at < text.size() && DigitValue(text[at]) < base;
}

bool IsHexMarkAt(std::u16string_view text, std::size_t at) {
    return at < text.size() && (text[at] | 0x20) == u'x';
}

// The number base of the reference at the start of the text, 0 if it is none; `at` moves to the
// first digit.
std::uint32_t NumberBase(std::u16string_view text, std::size_t& at) {
    if (text.substr(0, 2) != u"&#") return 0;
    at = 2;
    const bool isHex = text.size() > 2 && text[2] == u'x';
    if (isHex) ++at;
    const bool hasZero = at < text.size() && text[at] == u'0';
    if (hasZero && IsHexMarkAt(text, at + 1) && IsDigitAt(text, at + 2, 16)) {
        at += 2;
        return 16;
    }
    const std::uint32_t base = isHex ? 16 : hasZero ? 8 : 10;
    return IsDigitAt(text, at, base) ? base : 0;
}

// Decodes a reference by number at the start of the text; the number of characters taken, 0 if it
// is none. The character behind the digits goes with it, whatever it is.
std::size_t TakeNumber(std::u16string_view text, std::u16string& out) {
    std::size_t at = 0;
    const std::uint32_t base = NumberBase(text, at);
    if (base == 0) return 0;
    std::uint32_t value = 0;
    for (; IsDigitAt(text, at, base); ++at)
        if (value < 0x7FFFFFF) value = value * base + DigitValue(text[at]);
    const auto unit = static_cast<char16_t>(value);
    if (unit != 0) out.push_back(unit);
    return at < text.size() ? at + 1 : at;
}

std::size_t TakeEntity(std::u16string_view text, std::u16string& out) {
    for (const Entity& entity : kEntities) {
        if (text.substr(0, entity.name.size()) != entity.name) continue;
        out.push_back(entity.unit);
        return entity.name.size();
    }
    const std::size_t taken = TakeNumber(text, out);
    return taken != 0 ? taken : 1;
}

bool IsLineBreakOrTab(char16_t unit) { return unit == u'\r' || unit == u'\n' || unit == u'\t'; }

}  // namespace

std::u16string DecodeText(std::u16string_view text) {
    std::u16string out;
    out.reserve(text.size());
    bool isProtected = false;
    for (std::size_t at = 0; at < text.size();) {
        const char16_t unit = text[at];
        if (unit != u'&') {
            out.push_back(IsLineBreakOrTab(unit) ? u' ' : unit);
            ++at;
        } else if (text.substr(at, kProtectedBlank.size()) == kProtectedBlank) {
            isProtected = true;
            out.push_back(u' ');
            at += kProtectedBlank.size();
        } else {
            at += TakeEntity(text.substr(at), out);
        }
    }
    if (!isProtected && out.find_first_not_of(u' ') == std::u16string::npos) out.clear();
    return out;
}

void AppendEscaped(std::u16string& out, std::u16string_view text) {
    std::size_t from = 0;
    for (std::size_t at = text.find_first_of(u"<>&"); at != std::u16string_view::npos;
         at = text.find_first_of(u"<>&", from)) {
        out.append(text.substr(from, at - from));
        out.append(text[at] == u'<' ? u"&lt;" : text[at] == u'>' ? u"&gt;" : u"&amp;");
        from = at + 1;
    }
    out.append(text.substr(from));
}

}  // namespace qdvm::XMLParse
