#include "config/name_hash.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

namespace qdvm {
namespace {

struct HashState {
    std::uint64_t a = 0xA518C95D1B2E3917;
    std::uint64_t b = 0x9E3779B9A6C517EB;
    std::uint64_t c = 0x6A81C43A71D2E082;

    void Mix() {
        const auto step = [](std::uint64_t& x, std::uint64_t y, std::uint64_t z,
                             std::uint64_t shifted) { x = (x - y - z) ^ shifted; };
        step(a, b, c, c >> 43);
        step(b, c, a, a << 9);
        step(c, a, b, b >> 8);
        step(a, b, c, c >> 38);
        step(b, c, a, a << 23);
        step(c, a, b, b >> 5);
        step(a, b, c, c >> 35);
        step(b, c, a, a << 49);
        step(c, a, b, b >> 11);
        step(a, b, c, c >> 12);
        step(b, c, a, a << 18);
        step(c, a, b, b >> 22);
    }
};

constexpr std::size_t kUnits = 8;  // of which a word takes one byte each

// The low bytes of four characters, the first one lowest.
std::uint64_t PackFour(const char16_t* units) {
    std::uint64_t word = 0;
    std::memcpy(&word, units, sizeof(word));
    word &= 0x00FF00FF00FF00FF;
    word = (word | word >> 8) & 0x0000FFFF0000FFFF;
    return (word | word >> 16) & 0xFFFFFFFF;
}

// Takes up to eight characters off the name.
std::uint64_t TakeWord(std::u16string_view& name, std::uint64_t fold) {
    const char16_t* const units = name.data();
    if (name.size() >= kUnits) {
        name.remove_prefix(kUnits);
        return PackFour(units) | PackFour(units + 4) << 32 | fold;
    }
    const std::size_t count = std::exchange(name, {}).size();
    std::size_t at = 0;
    std::uint64_t word = 0;
    if (count >= 4) {
        word = PackFour(units);
        at = 4;
    }
    for (; at < count; ++at) word |= (units[at] & std::uint64_t{0xFF}) << 8 * at;
    const std::uint64_t present = (std::uint64_t{1} << 8 * count) - 1;
    return word | (fold & present);
}

}  // namespace

std::uint64_t NameHash(std::u16string_view name, bool foldCase) {
    const std::uint64_t fold = foldCase ? 0x2020202020202020 : 0;
    HashState state;
    bool isLast = false;
    while (!isLast) {
        isLast = name.size() < 3 * kUnits;
        if (!name.empty()) state.a += TakeWord(name, fold);
        if (!name.empty()) state.b += TakeWord(name, fold);
        if (!name.empty()) state.c += TakeWord(name, fold);
        state.Mix();
    }
    return state.c;
}

bool IsSameName(std::u16string_view a, std::u16string_view b) {
    const auto isSame = [](char16_t x, char16_t y) { return ((x ^ y) & 0xDF) == 0; };
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), isSame);
}

}  // namespace qdvm
