#pragma once

// An owner for counted strings.

#include <qdvideomixer/object.h>

#include <string>
#include <string_view>
#include <utility>

namespace qdvm {

// Owns one BSTR, or null, which counts as empty.
class CountedString {
public:
    CountedString() = default;
    // Copies. When memory is short the result is null.
    explicit CountedString(std::u16string_view source)
        : text(SysAllocStringLen(source.data() != nullptr ? source.data() : u"",
                                 static_cast<UINT>(source.size()))) {}
    CountedString(const CountedString& other) : CountedString(other.View()) {}
    CountedString(CountedString&& other) noexcept : text(std::exchange(other.text, nullptr)) {}
    ~CountedString() { SysFreeString(text); }

    CountedString& operator=(CountedString other) noexcept {
        std::swap(text, other.text);
        return *this;
    }

    // Takes over a string that the caller owns.
    static CountedString Adopt(BSTR text) {
        CountedString owner;
        owner.text = text;
        return owner;
    }

    // Borrowed, for a call.
    BSTR Get() const { return text; }

    // For an operation that hands out a string: frees what is held and gives the place to fill.
    BSTR* Put() {
        SysFreeString(std::exchange(text, nullptr));
        return &text;
    }

    // Gives the string to the caller.
    BSTR Detach() { return std::exchange(text, nullptr); }

    std::u16string_view View() const { return {text != nullptr ? text : u"", SysStringLen(text)}; }

private:
    BSTR text = nullptr;
};

// The characters of a string that was passed in; null gives an empty view.
inline std::u16string_view ViewOf(BSTR text) {
    return {text != nullptr ? text : u"", SysStringLen(text)};
}

// Hands text out as a counted string. E_POINTER for a null out, E_OUTOFMEMORY if memory is short.
HRESULT CopyOut(std::u16string_view text, BSTR* out);

// Hands text out as zero-terminated task memory, with the same results.
HRESULT CopyOutTaskText(std::u16string_view text, LPOLESTR* out);

}  // namespace qdvm
