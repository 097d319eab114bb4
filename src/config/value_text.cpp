#include "config/value_text.h"

#include "frames/rounding.h"
#include "platform/letter_case.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <limits>
#include <system_error>

namespace qdvm {
namespace {

constexpr bool IsBlank(char16_t unit) { return unit == u' ' || (unit >= u'\t' && unit <= u'\r'); }

constexpr int DigitValue(char16_t unit) {
    if (unit >= u'0' && unit <= u'9') return unit - u'0';
    if (unit >= u'a' && unit <= u'z') return unit - u'a' + 10;
    if (unit >= u'A' && unit <= u'Z') return unit - u'A' + 10;
    return 99;
}

std::size_t SkipBlanks(std::u16string_view text) {
    std::size_t at = 0;
    while (at < text.size() && IsBlank(text[at])) ++at;
    return at;
}

// Moves past a sign; whether it is a minus.
bool TakeSign(std::u16string_view text, std::size_t& at) {
    if (at == text.size() || (text[at] != u'-' && text[at] != u'+')) return false;
    return text[at++] == u'-';
}

bool IsHexPrefix(std::u16string_view text, std::size_t at) {
    return at + 2 < text.size() && text[at] == u'0' && (text[at + 1] | 0x20) == u'x' &&
           DigitValue(text[at + 2]) < 16;
}

// The number base of digits that start at `at`, which moves behind "0x".
int TakeBase(std::u16string_view text, std::size_t& at) {
    if (IsHexPrefix(text, at)) {
        at += 2;
        return 16;
    }
    return at < text.size() && text[at] == u'0' ? 8 : 10;
}

// Whether the characters at `at` begin a decimal number: words for infinity and the like do not.
bool IsDecimalStart(std::u16string_view text, std::size_t at) {
    if (at < text.size() && text[at] == u'.') ++at;
    return at < text.size() && DigitValue(text[at]) < 10;
}

bool IsNumberUnit(char16_t unit) {
    return DigitValue(unit) < 16 || unit == u'.' || unit == u'-' || unit == u'+' || unit == u'p' ||
           unit == u'P';
}

// What the number would be had it more range: huge, or too small to tell from 0.
double OutOfRange(std::string_view number, bool isHex) {
    const std::size_t mark = number.find_first_of(isHex ? "pP" : "eE");
    const std::string_view digits = number.substr(0, mark);
    const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
    const auto first =
        static_cast<std::int64_t>(std::min(digits.find_first_not_of("0."), digits.size()));
    // Both counted in digits, or in bits of hexadecimal ones.
    const std::int64_t place = (point - first) * (isHex ? 4 : 1);
    std::int64_t exponent = 0;
    if (mark != std::string_view::npos) {
        const std::size_t sign = number[mark + 1] == '+' ? 2 : 1;
        const auto read =
            std::from_chars(number.data() + mark + sign, number.data() + number.size(), exponent);
        if (read.ec == std::errc::result_out_of_range)
            return number[mark + 1] == '-' ? 0.0 : std::numeric_limits<double>::infinity();
    }
    return place + exponent < 0 ? 0.0 : std::numeric_limits<double>::infinity();
}

// The number at the start of the text; `end` is the position behind it, 0 if there is none.
double TakeDouble(std::u16string_view text, std::size_t& end) {
    end = 0;
    std::size_t at = SkipBlanks(text);
    const bool isNegative = TakeSign(text, at);
    const bool isHex = IsHexPrefix(text, at);
    if (isHex) at += 2;
    if (!isHex && !IsDecimalStart(text, at)) return 0.0;
    std::string digits;
    for (std::size_t i = at; i < text.size() && IsNumberUnit(text[i]); ++i)
        digits.push_back(static_cast<char>(text[i]));
    double value = 0.0;
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), value,
                                      isHex ? std::chars_format::hex : std::chars_format::general);
    end = at + static_cast<std::size_t>(read.ptr - digits.data());
    if (read.ec == std::errc::result_out_of_range)
        value = OutOfRange({digits.data(), read.ptr}, isHex);
    return isNegative ? -value : value;
}

std::u16string Widened(std::string_view text) { return {text.begin(), text.end()}; }

std::u16string FormatFixed(double value, int decimals) {
    std::array<char, 512> buffer{};
    const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                                       std::chars_format::fixed, decimals);
    return Widened({buffer.data(), static_cast<std::size_t>(written.ptr - buffer.data())});
}

std::u16string FormatHex(std::uint32_t value, std::size_t digits) {
    std::array<char, 8> buffer{};
    const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, 16);
    std::u16string text(buffer.data(), written.ptr);
    for (char16_t& unit : text) unit = unit >= u'a' ? static_cast<char16_t>(unit - 32) : unit;
    if (text.size() < digits) text.insert(0, digits - text.size(), u'0');
    return u"0x" + text;
}

constexpr std::uint32_t Code(const char* name) {
    std::uint32_t code = 0;
    for (int i = 3; i >= 0; --i) code = code << 8 | static_cast<unsigned char>(name[i]);
    return code;
}

struct NamedCode {
    std::u16string_view name;
    std::uint32_t value;
};

constexpr NamedCode kReadable[] = {
    {u"ARGB32", 0x773C9AC0}, {u"RGB32", 0xE436EB7E},  {u"RGB24", 0xE436EB7D},
    {u"YUY2", Code("YUY2")}, {u"YVYU", Code("YVYU")}, {u"UYVY", Code("UYVY")},
    {u"YV12", Code("YV12")}, {u"HDYC", Code("HDYC")}, {u"I420", Code("I420")},
    {u"Y422", Code("Y422")}, {u"NV12", Code("NV12")}, {u"Y444", Code("Y444")},
    {u"v210", Code("v210")}, {u"r210", Code("r210")}, {u"RGB565", 0xE436EB7B},
    {u"RGB555", 0xE436EB7C},
};

constexpr NamedCode kUnprintable[] = {
    {u"BI_RGB", 0},
    {u"BI_RLE8", 1},
    {u"BI_RLE4", 2},
    {u"BI_BITFIELDS", 3},
    {u"RGB1", 0xE436EB78},
    {u"RGB4", 0xE436EB79},
    {u"RGB8", 0xE436EB7A},
    {u"RGB565", 0xE436EB7B},
    {u"RGB555", 0xE436EB7C},
    {u"RGB24", 0xE436EB7D},
    {u"RGB32", 0xE436EB7E},
    {u"ARGB1555", 0x297C55AF},
    {u"ARGB4444", 0x6E6415E6},
    {u"ARGB32", 0x773C9AC0},
};

}  // namespace

bool ParseBool(std::u16string_view text) {
    constexpr std::u16string_view kTrue[] = {u"true", u"yes", u"only", u"on", u"y"};
    const auto isText = [&](std::u16string_view word) { return EqualsIgnoringCase(text, word); };
    return std::any_of(std::begin(kTrue), std::end(kTrue), isText) || ParseNumber(text) > 0;
}

std::int64_t ParseNumber(std::u16string_view text) {
    constexpr std::uint64_t kMax = std::numeric_limits<std::int64_t>::max();
    std::size_t at = SkipBlanks(text);
    const bool isNegative = TakeSign(text, at);
    const int base = TakeBase(text, at);
    const std::uint64_t limit = isNegative ? kMax + 1 : kMax;
    std::uint64_t value = 0;
    for (; at < text.size() && DigitValue(text[at]) < base; ++at) {
        const auto digit = static_cast<std::uint64_t>(DigitValue(text[at]));
        const auto factor = static_cast<std::uint64_t>(base);
        value = value > (limit - digit) / factor ? limit : value * factor + digit;
    }
    return static_cast<std::int64_t>(isNegative ? 0 - value : value);
}

double ParseDouble(std::u16string_view text) {
    std::size_t end = 0;
    const double value = TakeDouble(text, end);
    return end < text.size() && text[end] == u'%' ? value / 100 : value;
}

SizeValue ParseSize(std::u16string_view text) {
    std::size_t end = 0;
    const double value = TakeDouble(text, end);
    const std::u16string_view unit = text.substr(end);
    if (unit.substr(0, 1) == u"%") return {value, kSizePercent};
    if (unit.substr(0, 2) == u"px") return {value, kSizePixels};
    if (unit.substr(0, 2) == u"pt") return {value, kSizePoints};
    return {value, kSizePlain};
}

std::u16string FormatDouble(double value) { return FormatDouble(value, 6); }

std::u16string FormatDouble(double value, int decimals) {
    std::u16string text = FormatFixed(value, std::clamp(decimals, 0, 60));
    const std::size_t point = text.find(u'.');
    if (decimals < 3 || point == std::u16string::npos) return text;
    const std::size_t last = text.find_last_not_of(u'0');
    text.resize(std::max(last, point + 1) + 1);
    return text;
}

std::u16string FormatSize(const SizeValue& size) {
    switch (size.unit) {
        case kSizePercent:
            return FormatFixed(size.value, 3) + u"%";
        case kSizePixels:
            return FormatInt(RoundToInt32(size.value)) + u"px";
        case kSizePoints:
            return FormatInt(RoundToInt32(size.value)) + u"pt";
        default:
            return FormatFixed(size.value, 2);
    }
}

std::u16string FormatInt(std::int64_t value) {
    std::array<char, 24> buffer{};
    const auto written = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    return {buffer.data(), written.ptr};
}

std::u16string FormatHex32(std::uint32_t value) { return FormatHex(value, 8); }

double SizeToValue(const SizeValue& size, double base) {
    return size.unit == kSizePercent && base != 0 ? size.value * base / 100 : size.value;
}

SizeValue SizeFromValue(double value, double base) {
    if (base == 0) return {value, kSizePlain};
    return {value * 100 / base, kSizePercent};
}

std::uint32_t ParseFourCC(std::u16string_view text) {
    for (const NamedCode& code : kReadable)
        if (EqualsIgnoringCase(text, code.name)) return code.value;
    return 0;
}

std::u16string FormatFourCC(std::uint32_t value) {
    std::u16string characters;
    for (int shift = 0; shift < 32; shift += 8)
        characters.push_back(static_cast<char16_t>((value >> shift) & 0xFF));
    const auto isPrintable = [](char16_t unit) { return unit >= 0x20 && unit < 0x7F; };
    if (std::all_of(characters.begin(), characters.end(), isPrintable)) return characters;
    for (const NamedCode& code : kUnprintable)
        if (code.value == value) return std::u16string(code.name);
    return FormatHex(value, 0);
}

}  // namespace qdvm
