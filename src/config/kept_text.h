#pragma once

// A text that a tree keeps.

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace qdvm {

// Owns its characters, or stands for some that its holder keeps for as long as it is there: texts
// that come together can share one block of memory. A copy always owns.
class KeptText {
public:
    KeptText() = default;

    explicit KeptText(std::u16string_view text) : KeptText(Copy(text), text.size(), kOwned) {}

    // The characters must outlive it and all that it is moved to.
    static KeptText Borrow(std::u16string_view text) {
        return KeptText(text.data(), text.size(), kBorrowed);
    }

    KeptText(const KeptText& other) : KeptText(other.View()) {}
    KeptText(KeptText&& other) noexcept
        : chars(std::exchange(other.chars, nullptr)),
          sizeAndOwner(std::exchange(other.sizeAndOwner, 0)) {}
    ~KeptText() {
        if ((sizeAndOwner & kOwned) != 0) delete[] chars;
    }

    KeptText& operator=(KeptText other) noexcept {
        std::swap(chars, other.chars);
        std::swap(sizeAndOwner, other.sizeAndOwner);
        return *this;
    }

    // Valid until the text changes or moves.
    std::u16string_view View() const { return {chars, sizeAndOwner / 2}; }

private:
    static constexpr std::size_t kBorrowed = 0;
    static constexpr std::size_t kOwned = 1;

    KeptText(const char16_t* text, std::size_t size, std::size_t owner)
        : chars(text), sizeAndOwner(2 * size | owner) {}

    static const char16_t* Copy(std::u16string_view text) {
        if (text.empty()) return nullptr;
        auto* const copy = new char16_t[text.size()];
        std::copy(text.begin(), text.end(), copy);
        return copy;
    }

    const char16_t* chars = nullptr;
    std::size_t sizeAndOwner = 0;  // the lowest bit tells whose the characters are
};

}  // namespace qdvm
