#include "platform/letter_case.h"

#include <qdvideomixer/property_bag.h>

#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace {

bool IsKnown(VARTYPE kind) {
    switch (kind) {
        case VT_EMPTY:
        case VT_I4:
        case VT_R8:
        case VT_BSTR:
        case VT_BOOL:
        case VT_UNKNOWN:
            return true;
        default:
            return false;
    }
}

std::u16string_view TextOf(const VARIANT& value) {
    return value.bstrVal ? std::u16string_view(value.bstrVal, SysStringLen(value.bstrVal))
                         : std::u16string_view{};
}

HRESULT SetText(VARIANT* value, std::u16string_view text) {
    value->bstrVal = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    if (!value->bstrVal) return E_OUTOFMEMORY;
    value->vt = VT_BSTR;
    return S_OK;
}

// The whole text as a number, blanks around it allowed.
std::optional<double> NumberIn(std::u16string_view text) {
    std::string digits;
    for (const char16_t unit : text) {
        if (unit >= 128) return std::nullopt;
        digits.push_back(static_cast<char>(unit));
    }
    const std::size_t begin = digits.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos) return std::nullopt;
    const std::size_t end = digits.find_last_not_of(" \t\r\n") + 1;
    std::string_view number = std::string_view(digits).substr(begin, end - begin);
    const bool isNegative = number.front() == '-';
    if (isNegative || number.front() == '+') number.remove_prefix(1);
    const bool isHex = number.starts_with("0x") || number.starts_with("0X");
    double value = 0;
    std::uint32_t whole = 0;
    std::from_chars_result read{};
    if (isHex) {
        number.remove_prefix(2);
        read = std::from_chars(number.data(), number.data() + number.size(), whole, 16);
        value = static_cast<std::int32_t>(whole);
    } else if (!number.empty() && (number.front() == '.' ||
                                   std::isdigit(static_cast<unsigned char>(number.front())) != 0)) {
        read = std::from_chars(number.data(), number.data() + number.size(), value);
    } else {
        return std::nullopt;
    }
    if (read.ec != std::errc{} || read.ptr != number.data() + number.size()) return std::nullopt;
    return isNegative ? -value : value;
}

std::optional<double> NumberOf(const VARIANT& value) {
    switch (value.vt) {
        case VT_EMPTY:
            return 0.0;
        case VT_I4:
            return value.lVal;
        case VT_R8:
            return value.dblVal;
        case VT_BOOL:
            return value.boolVal != VARIANT_FALSE ? -1.0 : 0.0;
        case VT_BSTR:
            if (qdvm::EqualsIgnoringCase(TextOf(value), u"true")) return -1.0;
            if (qdvm::EqualsIgnoringCase(TextOf(value), u"false")) return 0.0;
            return NumberIn(TextOf(value));
        default:
            return std::nullopt;
    }
}

std::u16string Written(const VARIANT& value) {
    if (value.vt == VT_BOOL) return value.boolVal != VARIANT_FALSE ? u"True" : u"False";
    std::array<char, 32> buffer{};
    char* const end = buffer.data() + buffer.size();
    const auto done = value.vt == VT_I4 ? std::to_chars(buffer.data(), end, value.lVal)
                                        : std::to_chars(buffer.data(), end, value.dblVal);
    return {buffer.data(), done.ptr};
}

HRESULT ToText(const VARIANT& from, VARIANT* to) {
    return SetText(to, from.vt == VT_EMPTY ? std::u16string() : Written(from));
}

HRESULT ToNumber(const VARIANT& from, VARTYPE kind, VARIANT* to) {
    const std::optional<double> number = NumberOf(from);
    if (!number) return DISP_E_TYPEMISMATCH;
    if (kind == VT_I4) {
        const double whole = std::nearbyint(*number);
        if (!(whole >= std::numeric_limits<LONG>::min() &&
              whole <= std::numeric_limits<LONG>::max()))
            return DISP_E_OVERFLOW;
        to->lVal = static_cast<LONG>(whole);
    } else if (kind == VT_R8) {
        to->dblVal = *number;
    } else {
        to->boolVal = *number != 0 ? VARIANT_TRUE : VARIANT_FALSE;
    }
    to->vt = kind;
    return S_OK;
}

}  // namespace

HRESULT VariantClear(VARIANT* value) {
    if (!value) return E_POINTER;
    if (!IsKnown(value->vt)) return DISP_E_BADVARTYPE;
    if (value->vt == VT_BSTR) SysFreeString(value->bstrVal);
    if (value->vt == VT_UNKNOWN && value->punkVal) (void)value->punkVal->Release();
    *value = VARIANT{};
    return S_OK;
}

HRESULT VariantCopy(VARIANT* to, const VARIANT* from) {
    if (!to || !from) return E_POINTER;
    if (!IsKnown(from->vt) || !IsKnown(to->vt)) return DISP_E_BADVARTYPE;
    if (to == from) return S_OK;
    VARIANT copy = *from;
    if (from->vt == VT_BSTR) {
        if (const HRESULT result = SetText(&copy, TextOf(*from)); Failed(result)) return result;
    } else if (from->vt == VT_UNKNOWN && from->punkVal) {
        (void)from->punkVal->AddRef();
    }
    (void)VariantClear(to);
    *to = copy;
    return S_OK;
}

HRESULT VariantChangeType(VARIANT* to, const VARIANT* from, WORD, VARTYPE kind) {
    if (!to || !from) return E_POINTER;
    if (!IsKnown(kind) || !IsKnown(from->vt) || !IsKnown(to->vt)) return DISP_E_BADVARTYPE;
    if (kind == from->vt) return VariantCopy(to, from);
    VARIANT made{};
    HRESULT result = DISP_E_TYPEMISMATCH;
    if (from->vt == VT_UNKNOWN || kind == VT_UNKNOWN) return result;
    if (kind == VT_EMPTY)
        result = S_OK;
    else
        result = kind == VT_BSTR ? ToText(*from, &made) : ToNumber(*from, kind, &made);
    if (Failed(result)) return result;
    (void)VariantClear(to);
    *to = made;
    return S_OK;
}
