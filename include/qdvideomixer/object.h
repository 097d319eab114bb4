#pragma once

// The object model: result codes, identifiers, counted objects, counted strings and task memory.
//
// The names, values and layouts here are those that media graphs of this kind publish, and they
// stand in the global namespace as published. A build for a platform that brings them itself
// replaces this header and nothing else.
//
// Ownership rules that hold at every interface:
// - An interface pointer handed out through an out parameter carries one reference for the caller,
//   who gives it back with Release. A pointer passed in is borrowed for the call; whoever keeps it
//   adds a reference.
// - A BSTR handed out belongs to the receiver (SysFreeString); a BSTR passed in stays the caller's.
// - A block handed out by an operation that says "task memory" belongs to the receiver
//   (CoTaskMemFree).
// - Out parameters of a failed call hold null or zero unless the operation says otherwise.
//
// Thread-safety: all functions here can be called from any thread. AddRef, Release and
// QueryInterface of every object of this library too.

#include <cstddef>
#include <cstdint>

using HRESULT = std::int32_t;
using BOOL = std::int32_t;
using LONG = std::int32_t;
using ULONG = std::uint32_t;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using LONG_PTR = std::intptr_t;
using DWORD_PTR = std::uintptr_t;

// Time in units of 100 ns: one second is 10,000,000.
using REFERENCE_TIME = std::int64_t;

// Text in memory is UTF-16.
using OLECHAR = char16_t;
using LPOLESTR = OLECHAR*;
using LPCOLESTR = const OLECHAR*;

// A counted string: points at the first character, the length stands before it, and a zero follows
// the last character. Null counts as empty. Made only by the SysAllocString family.
using BSTR = OLECHAR*;

// Result codes. Negative: the call failed. Zero or positive: it was valid.
constexpr HRESULT HResult(std::uint32_t value) { return static_cast<HRESULT>(value); }
constexpr bool Succeeded(HRESULT result) { return result >= 0; }
constexpr bool Failed(HRESULT result) { return result < 0; }

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT S_FALSE = 1;  // valid, and nothing had to be done; or "no"
inline constexpr HRESULT E_NOTIMPL = HResult(0x80004001);
inline constexpr HRESULT E_NOINTERFACE = HResult(0x80004002);
inline constexpr HRESULT E_POINTER = HResult(0x80004003);
inline constexpr HRESULT E_ABORT = HResult(0x80004004);
inline constexpr HRESULT E_FAIL = HResult(0x80004005);
inline constexpr HRESULT E_UNEXPECTED = HResult(0x8000FFFF);
inline constexpr HRESULT E_ACCESSDENIED = HResult(0x80070005);
inline constexpr HRESULT E_HANDLE = HResult(0x80070006);
inline constexpr HRESULT E_OUTOFMEMORY = HResult(0x8007000E);
inline constexpr HRESULT E_INVALIDARG = HResult(0x80070057);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = HResult(0x80040110);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = HResult(0x80040111);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = HResult(0x80040154);

// Numbers of the operating platform that travel inside result codes.
inline constexpr std::uint32_t ERROR_SUCCESS = 0;
inline constexpr std::uint32_t ERROR_FILE_NOT_FOUND = 2;
inline constexpr std::uint32_t ERROR_PATH_NOT_FOUND = 3;
inline constexpr std::uint32_t ERROR_ACCESS_DENIED = 5;
inline constexpr std::uint32_t ERROR_INVALID_HANDLE = 6;
inline constexpr std::uint32_t ERROR_INVALID_DATA = 13;
inline constexpr std::uint32_t ERROR_SHARING_VIOLATION = 32;
inline constexpr std::uint32_t ERROR_INVALID_PARAMETER = 87;
inline constexpr std::uint32_t ERROR_NOT_FOUND = 1168;
inline constexpr std::uint32_t ERROR_INVALID_INDEX = 1413;

// The result code that carries an error number of the platform in its low 16 bits.
constexpr HRESULT HResultFromWin32(std::uint32_t error) {
    return error == ERROR_SUCCESS ? S_OK : HResult(0x80070000u | (error & 0xFFFFu));
}

// A 128-bit identifier.
struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];

    friend constexpr bool operator==(const GUID&, const GUID&) = default;
};
static_assert(sizeof(GUID) == 16);

using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline constexpr GUID GUID_NULL = {};

// The root of every interface. Interfaces hold no data, and their destructors can't be called from
// outside: an object goes with its last reference.
inline constexpr IID IID_IUnknown = {
    0x00000000, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

struct IUnknown {
    // Another interface of the same object, with a reference. E_POINTER for a null object;
    // E_NOINTERFACE, with the pointer cleared, if the object has no such interface. Asking for
    // IID_IUnknown gives the same pointer for the whole life of an object.
    virtual HRESULT QueryInterface(REFIID iid, void** object) = 0;

    // The new count, of use only to tests.
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;

protected:
    ~IUnknown() = default;
};

inline constexpr IID IID_IPersist = {
    0x0000010C, 0x0000, 0x0000, {0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46}};

struct IPersist : IUnknown {
    virtual HRESULT GetClassID(CLSID* classId) = 0;

protected:
    ~IPersist() = default;
};

// Counted strings. The allocating ones give null when memory is short; null text gives null.
BSTR SysAllocString(const OLECHAR* text);

// A string of the given number of characters. Null text leaves them unset. Text may hold zeros.
BSTR SysAllocStringLen(const OLECHAR* text, UINT length);

// Null is allowed.
void SysFreeString(BSTR text);

// The length in characters without the ending zero; 0 for null.
UINT SysStringLen(BSTR text);

// Task memory: blocks that change owner across an interface, aligned for any type. Null when
// memory is short.
void* CoTaskMemAlloc(std::size_t size);
void* CoTaskMemRealloc(void* block, std::size_t size);

// Null is allowed.
void CoTaskMemFree(void* block);
