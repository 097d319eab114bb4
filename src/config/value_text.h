#pragma once

// Typed values from text and back: the forms that attributes have in documents. All of them are the
// same under every locale. Reading never fails: what fits at the start of the text counts, the rest
// is left, and a text that doesn't start with a value gives 0.

#include <cstdint>
#include <string>
#include <string_view>

namespace qdvm {

// What a length is measured in.
enum SizeUnit : std::int32_t {
    kSizePlain = 0,
    kSizePercent = 1,
    kSizePixels = 2,
    kSizePoints = 3,
};

struct SizeValue {
    double value = 0.0;
    std::int32_t unit = kSizePlain;

    friend bool operator==(const SizeValue&, const SizeValue&) = default;
};

// "true", "yes", "only", "on", "y" in any case, and numbers greater than 0, are true.
bool ParseBool(std::u16string_view text);

// White space, a sign, digits: hexadecimal after "0x", octal after "0", else decimal. Held at the
// ends of the range.
std::int64_t ParseNumber(std::u16string_view text);

// Decimal or "0x" hexadecimal with fraction and exponent; beyond the range infinity. A "%" directly
// behind it divides by 100. Words such as "nan" are no numbers.
double ParseDouble(std::u16string_view text);

// The unit stands directly behind the number: "%", "px", "pt", anything else is plain.
SizeValue ParseSize(std::u16string_view text);

// Six decimals without the zeros at the end, at least one: "1.5", "2.0".
std::u16string FormatDouble(double value);

// A given number of decimals, 0 to 60; from 3 up, zeros at the end are cut as above.
std::u16string FormatDouble(double value, int decimals);

// "1.00", "50.000%", "1280px", "12pt"; pixels and points are rounded, halves away from zero.
std::u16string FormatSize(const SizeValue& size);

std::u16string FormatInt(std::int64_t value);

// "0x000000FF".
std::u16string FormatHex32(std::uint32_t value);

// A size in percent of base; base 0 or another unit gives the number itself.
double SizeToValue(const SizeValue& size, double base);

// In percent of base; base 0 gives a plain number.
SizeValue SizeFromValue(double value, double base);

// A colour space by name, in any case: "ARGB32", "RGB32", "RGB24" (the first four bytes of the
// media subtype) or one of the four-character codes in use. 0 for others.
std::uint32_t ParseFourCC(std::u16string_view text);

// The four characters, the name of a packed RGB format, or "0x%X".
std::u16string FormatFourCC(std::uint32_t value);

}  // namespace qdvm
