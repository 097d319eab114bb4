#pragma once

// Values of several types under names: the parameters that are handed to an effect.

#include <qdvideomixer/object.h>

#include <cstdint>

// The kinds of value of a VARIANT that this library makes and converts. Others are refused.
using VARTYPE = std::uint16_t;
inline constexpr VARTYPE VT_EMPTY = 0;
inline constexpr VARTYPE VT_I4 = 3;
inline constexpr VARTYPE VT_R8 = 5;
inline constexpr VARTYPE VT_BSTR = 8;
inline constexpr VARTYPE VT_BOOL = 11;
inline constexpr VARTYPE VT_UNKNOWN = 13;

using VARIANT_BOOL = std::int16_t;
inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

inline constexpr HRESULT DISP_E_BADVARTYPE = HResult(0x80020008);
inline constexpr HRESULT DISP_E_TYPEMISMATCH = HResult(0x80020005);
inline constexpr HRESULT DISP_E_OVERFLOW = HResult(0x8002000A);

// A value that owns what it holds: its string, or a reference to its object. Value-initialized it
// is empty; VariantClear gives up what it holds.
struct VARIANT {
    VARTYPE vt;
    std::uint16_t reserved[3];
    union {
        LONG lVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        BSTR bstrVal;
        IUnknown* punkVal;
    };
};

// All results: E_POINTER for null. E_OUTOFMEMORY. DISP_E_BADVARTYPE: a kind not listed above.
HRESULT VariantClear(VARIANT* value);

// Both may be the same. *to is cleared first and takes a copy; it stays as it was if that fails.
HRESULT VariantCopy(VARIANT* to, const VARIANT* from);

// *to is cleared and takes the value as another kind; both may be the same. Numbers become the
// nearest whole number, halves to the even one; texts are read as decimal or 0x numbers, or "true"
// and "false"; empty is 0 and an empty text. DISP_E_TYPEMISMATCH: a text that is no such value, or
// an object; DISP_E_OVERFLOW: a number beyond a LONG. `flags` is 0.
HRESULT VariantChangeType(VARIANT* to, const VARIANT* from, WORD flags, VARTYPE kind);

inline constexpr IID IID_IErrorLog = {
    0x3127CA40, 0x446E, 0x11CE, {0x81, 0x35, 0x00, 0xAA, 0x00, 0x4B, 0xB8, 0x51}};

struct IErrorLog : IUnknown {
    // exception is a description whose form is no concern of this library.
    virtual HRESULT AddError(LPCOLESTR name, void* exception) = 0;

protected:
    ~IErrorLog() = default;
};

inline constexpr IID IID_IPropertyBag = {
    0x55272A00, 0x42CB, 0x11CE, {0x81, 0x35, 0x00, 0xAA, 0x00, 0x4B, 0xB8, 0x51}};

struct IPropertyBag : IUnknown {
    // Gives a copy of the value, converted if value->vt asks for another kind; log may be null.
    // E_POINTER; E_INVALIDARG if there is no such name; E_FAIL if it can't be converted.
    virtual HRESULT Read(LPCOLESTR name, VARIANT* value, IErrorLog* log) = 0;

    // Keeps a copy of the value, in place of a former one of that name. E_POINTER, E_FAIL.
    virtual HRESULT Write(LPCOLESTR name, VARIANT* value) = 0;

protected:
    ~IPropertyBag() = default;
};
