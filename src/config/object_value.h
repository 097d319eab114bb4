#pragma once

// A value that is a text and a typed number at the same time, each made from the other when it is
// asked for.
//
// A value set as a number is formatted only if somebody reads it as text; one that came from a
// document stays the text that it was until it is read as a number, and keeps that text, so that a
// document passes through load and save unchanged. A change of kind always goes through the text:
// "1.5" read as an integer is 1, and read as a double after that is 1.5.
//
// No lock of its own, and reading changes it: the owner's lock guards it.

#include "config/kept_text.h"
#include "config/value_text.h"

#include <concepts>
#include <cstdint>
#include <string_view>
#include <utility>
#include <variant>

namespace qdvm {

class ObjectVal {
public:
    ObjectVal() = default;
    explicit ObjectVal(KeptText value) : text(std::move(value)) {}
    explicit ObjectVal(std::u16string_view value) : text(value) {}
    // Nothing else becomes a bool on the way, pointers to text above all.
    template <std::same_as<bool> Flag>
    explicit ObjectVal(Flag value) : typed(value), isTextValid(false) {}
    explicit ObjectVal(std::int32_t value) : typed(value), isTextValid(false) {}
    // Its text form is hexadecimal.
    explicit ObjectVal(std::uint32_t value) : typed(value), isTextValid(false) {}
    explicit ObjectVal(const SizeValue& value) : typed(value), isTextValid(false) {}
    explicit ObjectVal(double value) : typed(value), isTextValid(false) {}

    // Valid until the value changes.
    std::u16string_view AsText();

    bool AsBool() { return As<bool>(); }
    std::int32_t AsInt() { return As<std::int32_t>(); }
    std::uint32_t AsHex32() { return As<std::uint32_t>(); }
    SizeValue AsSize() { return As<SizeValue>(); }
    double AsDouble() { return As<double>(); }

private:
    template <class T>
    T As() {
        if (const T* value = std::get_if<T>(&typed)) return *value;
        T value{};
        const std::u16string_view form = AsText();
        if (!form.empty()) Parse(form, value);
        typed = value;
        return value;
    }

    static void Parse(std::u16string_view form, bool& value) { value = ParseBool(form); }
    static void Parse(std::u16string_view form, std::int32_t& value) {
        value = static_cast<std::int32_t>(ParseNumber(form));
    }
    static void Parse(std::u16string_view form, std::uint32_t& value) {
        value = static_cast<std::uint32_t>(ParseNumber(form));
    }
    static void Parse(std::u16string_view form, SizeValue& value) { value = ParseSize(form); }
    static void Parse(std::u16string_view form, double& value) { value = ParseDouble(form); }

    KeptText text;
    // Nothing: the value is a text only.
    std::variant<std::monostate, bool, std::int32_t, std::uint32_t, SizeValue, double> typed;
    bool isTextValid = true;
};

}  // namespace qdvm
