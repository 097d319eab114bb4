#include "platform/text.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace qdvm {

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kNone = 0xFFFFFFFF;

constexpr bool IsHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool IsLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void AppendUtf16(std::u16string& out, char32_t point) {
    if (point < 0x10000) {
        out.push_back(static_cast<char16_t>(point));
        return;
    }
    const char32_t offset = point - 0x10000;
    out.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
    out.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
}

void AppendUtf8(std::string& out, char32_t point) {
    const auto put = [&](char32_t byte) { out.push_back(static_cast<char>(byte)); };
    const auto putTail = [&](char32_t bits) { put(0x80 | (bits & 0x3F)); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xC0 | (point >> 6));
        putTail(point);
    } else if (point < 0x10000) {
        put(0xE0 | (point >> 12));
        putTail(point >> 6);
        putTail(point);
    } else {
        put(0xF0 | (point >> 18));
        putTail(point >> 12);
        putTail(point >> 6);
        putTail(point);
    }
}

// The ASCII characters at the start of a text, eight bytes at a time: most of the text of
// documents.
template <class Unit>
std::size_t AsciiRun(std::basic_string_view<Unit> text) {
    constexpr std::uint64_t kBeyond = sizeof(Unit) == 1 ? 0x8080808080808080 : 0xFF80FF80FF80FF80;
    constexpr std::size_t kUnits = sizeof(kBeyond) / sizeof(Unit);
    std::size_t run = 0;
    for (; run + kUnits <= text.size(); run += kUnits) {
        std::uint64_t units = 0;
        std::memcpy(&units, text.data() + run, sizeof(units));
        if ((units & kBeyond) != 0) break;
    }
    // A char above 127 is negative, and so beyond as well.
    while (run < text.size() && static_cast<char32_t>(text[run]) < 0x80) ++run;
    return run;
}

// Takes the code point at position and moves past it; an unpaired surrogate is kReplacement.
char32_t TakeUtf16(std::u16string_view text, std::size_t& position) {
    const char32_t first = text[position++];
    if (!IsHighSurrogate(first) && !IsLowSurrogate(first)) {
        return first;
    }
    if (IsLowSurrogate(first) || position == text.size() || !IsLowSurrogate(text[position])) {
        return kReplacement;
    }
    const char32_t second = text[position++];
    return 0x10000 + ((first - 0xD800) << 10) + (second - 0xDC00);
}

// What the first byte of a sequence says: the bytes that follow it, its bits of the code point, and
// the range of the second byte, which is where overlong forms, surrogates and too large numbers
// show.
struct Utf8Lead {
    int following = -1;
    char32_t bits = 0;
    std::uint8_t secondLow = 0x80;
    std::uint8_t secondHigh = 0xBF;
};

Utf8Lead ReadLead(std::uint8_t byte) {
    if (byte < 0x80) {
        return {0, byte};
    }
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {1, byte & 0x1Fu};
    }
    if (byte >= 0xE0 && byte <= 0xEF) {
        const auto low = static_cast<std::uint8_t>(byte == 0xE0 ? 0xA0 : 0x80);
        const auto high = static_cast<std::uint8_t>(byte == 0xED ? 0x9F : 0xBF);
        return {2, byte & 0x0Fu, low, high};
    }
    if (byte >= 0xF0 && byte <= 0xF4) {
        const auto low = static_cast<std::uint8_t>(byte == 0xF0 ? 0x90 : 0x80);
        const auto high = static_cast<std::uint8_t>(byte == 0xF4 ? 0x8F : 0xBF);
        return {3, byte & 0x07u, low, high};
    }
    return {};
}

// Takes the code point at position and moves past it, or past the longest prefix of one, which
// gives kNone.
char32_t TakeUtf8(std::string_view text, std::size_t& position) {
    Utf8Lead lead = ReadLead(static_cast<std::uint8_t>(text[position++]));
    if (lead.following < 0) {
        return kNone;
    }
    char32_t point = lead.bits;
    for (int i = 0; i < lead.following; ++i) {
        if (position == text.size()) {
            return kNone;
        }
        const auto byte = static_cast<std::uint8_t>(text[position]);
        if (byte < lead.secondLow || byte > lead.secondHigh) {
            return kNone;
        }
        lead.secondLow = 0x80;
        lead.secondHigh = 0xBF;
        point = (point << 6) | (byte & 0x3Fu);
        ++position;
    }
    return point;
}

// Code points of the bytes 0x80 to 0x9F of the Western code page.
constexpr std::array<char16_t, 32> kWestern = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

char ToWestern(char32_t point) {
    if (point < 0x80 || (point >= 0xA0 && point <= 0xFF)) {
        return static_cast<char>(point);
    }
    const auto found = std::find(kWestern.begin(), kWestern.end(), point);
    return found != kWestern.end() ? static_cast<char>(0x80 + (found - kWestern.begin())) : '?';
}

// The value of a character of the base64 alphabet, -1 for others.
int Base64Value(char character) {
    if (character >= 'A' && character <= 'Z') {
        return character - 'A';
    }
    if (character >= 'a' && character <= 'z') {
        return character - 'a' + 26;
    }
    if (character >= '0' && character <= '9') {
        return character - '0' + 52;
    }
    if (character == '+') {
        return 62;
    }
    return character == '/' ? 63 : -1;
}

// Decodes a base64 run of UTF-16 units from position on; ends at the first character outside the
// alphabet, which is taken too if it is '-'.
void DecodeUtf7Run(std::string_view text, std::size_t& position, std::u16string& out) {
    const std::size_t runStart = out.size();
    std::uint32_t bits = 0;
    int bitCount = 0;
    for (; position < text.size(); ++position) {
        const int value = Base64Value(text[position]);
        if (value < 0) {
            break;
        }
        bits = (bits << 6) | static_cast<std::uint32_t>(value);
        bitCount += 6;
        if (bitCount >= 16) {
            bitCount -= 16;
            out.push_back(static_cast<char16_t>(bits >> bitCount));
            bits &= (1u << bitCount) - 1;
        }
    }
    const bool isComplete = bitCount < 6 && bits == 0;
    const bool isEmpty = out.size() == runStart && bitCount == 0;
    if (!isComplete || isEmpty) {
        out.push_back(static_cast<char16_t>(kReplacement));
    }
    if (position < text.size() && text[position] == '-') {
        ++position;
    }
}

void ReplaceUnpairedSurrogates(std::u16string& text) {
    std::u16string clean;
    clean.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        AppendUtf16(clean, TakeUtf16(text, position));
    }
    text = std::move(clean);
}

}  // namespace

std::string ToUtf8(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        AppendUtf8(out, TakeUtf16(text, position));
    }
    return out;
}

std::u16string FromUtf8(std::string_view text) {
    if (AsciiRun(text) == text.size()) return {text.begin(), text.end()};
    std::u16string out;
    out.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t run = AsciiRun(text.substr(position));
        const std::size_t start = out.size();
        out.resize(start + run);
        std::copy_n(text.begin() + position, run, out.begin() + start);
        position += run;
        if (position == text.size()) break;
        const char32_t point = TakeUtf8(text, position);
        AppendUtf16(out, point != kNone ? point : kReplacement);
    }
    return out;
}

bool IsUtf8(std::string_view text) {
    for (std::size_t position = AsciiRun(text); position < text.size();
         position += AsciiRun(text.substr(position))) {
        if (TakeUtf8(text, position) == kNone) {
            return false;
        }
    }
    return true;
}

std::u16string FromLatin1(std::string_view text) {
    std::u16string out(text.size(), u'\0');
    std::transform(text.begin(), text.end(), out.begin(), [](char byte) {
        return static_cast<char16_t>(static_cast<std::uint8_t>(byte));
    });
    return out;
}

std::u16string From1252(std::string_view text) {
    std::u16string out = FromLatin1(text);
    for (char16_t& unit : out) {
        if (unit >= 0x80 && unit <= 0x9F) {
            unit = kWestern[unit - 0x80u];
        }
    }
    return out;
}

std::string To1252(std::u16string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const std::size_t run = AsciiRun(text.substr(position));
        for (const char16_t unit : text.substr(position, run)) {
            out.push_back(static_cast<char>(unit));
        }
        position += run;
        if (position < text.size()) out.push_back(ToWestern(TakeUtf16(text, position)));
    }
    return out;
}

std::size_t FindUnit(std::u16string_view text, char16_t unit, std::size_t from) {
    // A block without a way out in the middle is looked at all at once.
    constexpr std::size_t kBlock = 32;
    const auto hasUnit = [&](std::size_t start) {
        std::uint16_t found = 0;
        for (std::size_t i = 0; i < kBlock; ++i)
            found |= static_cast<std::uint16_t>(-(text[start + i] == unit));
        return found != 0;
    };
    std::size_t at = from;
    while (at + kBlock <= text.size() && !hasUnit(at)) at += kBlock;
    while (at < text.size() && text[at] != unit) ++at;
    return at < text.size() ? at : std::u16string_view::npos;
}

std::u16string FromUtf7(std::string_view text) {
    std::u16string out;
    out.reserve(text.size());
    for (std::size_t position = 0; position < text.size();) {
        const char character = text[position++];
        if (character != '+') {
            out.push_back(static_cast<char16_t>(static_cast<std::uint8_t>(character)));
        } else if (position < text.size() && text[position] == '-') {
            out.push_back(u'+');
            ++position;
        } else {
            DecodeUtf7Run(text, position, out);
        }
    }
    ReplaceUnpairedSurrogates(out);
    return out;
}

}  // namespace qdvm
