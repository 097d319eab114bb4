#include "config/name_hash.h"

#include <array>
#include <cstddef>

namespace qdvm {
namespace {

struct HashState {
    std::array<std::uint64_t, 3> words{0xA518C95D1B2E3917, 0x9E3779B9A6C517EB, 0x6A81C43A71D2E082};

    void Mix() {
        auto& [a, b, c] = words;
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

}  // namespace

std::uint64_t NameHash(std::u16string_view name, bool foldCase) {
    const std::uint64_t fold = foldCase ? 0x20 : 0;
    HashState state;
    std::size_t turn = 0;
    std::uint64_t word = 0;
    int bits = 0;
    for (const char16_t unit : name) {
        word |= ((unit & 0xFFu) | fold) << bits;
        bits += 8;
        if (bits < 64) continue;
        state.words[turn] += word;
        word = 0;
        bits = 0;
        turn = (turn + 1) % 3;
        if (turn == 0) state.Mix();
    }
    state.words[turn] += word;
    state.Mix();
    return state.words[2];
}

}  // namespace qdvm
