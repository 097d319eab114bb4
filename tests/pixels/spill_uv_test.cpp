// The UV form of spill removal: a long run of pairs gives what each of them gives by itself.

#include "pixels/chroma_key/spill_uv.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <random>
#include <vector>

namespace qdvm::test {

namespace {

constexpr std::int32_t kPairs = 67;

using Bytes = std::vector<Sample>;

Bytes Corrected(const UvSpill& spill, const Bytes& packed, int m, std::int32_t pairsAtATime) {
    Bytes table(kUvTableBytes, 0);
    Bytes out = packed;
    const Bytes amount(kPairs, static_cast<Sample>(m));
    for (std::int32_t i = 0; i < kPairs; i += pairsAtATime) {
        const std::int32_t pairs = std::min(pairsAtATime, kPairs - i);
        ApplyUvSpill(spill, out.data() + 4 * i, amount.data() + i, pairs, table.data());
    }
    return out;
}

TEST(UvSpill, GivesTheSameForRunsAndForSinglePairs) {
    std::mt19937 random(3);
    const auto pick = [&](std::vector<std::int32_t> values) {
        return values[random() % values.size()];
    };
    for (int m = 0; m < 256; ++m)
        for (int i = 0; i < 12; ++i) {
            ChromaKeyEntry entry{};
            entry.spillChroma = pick({0, 1, -7, 40, 300, -300, 1 << 30});
            entry.spillSaturation = pick({0, 3, -45, 90, -90, 8500, INT32_MIN});
            entry.spillLuma = pick({0, 0, 20, -20, 5000});
            const std::array<Sample, 4> key = {
                static_cast<Sample>(random()), static_cast<Sample>(random()),
                static_cast<Sample>(random()), static_cast<Sample>(random())};
            const std::uint32_t colour = i % 2 == 0 ? 0x00c000 : 0xc00000;
            const UvSpill spill = MakeUvSpill(entry, colour, key, i % 3 != 0);
            Bytes packed(4 * kPairs);
            for (Sample& sample : packed) sample = static_cast<Sample>(random());
            ASSERT_EQ(Corrected(spill, packed, m, kPairs), Corrected(spill, packed, m, 1))
                << m << " " << i;
        }
}

}  // namespace

}  // namespace qdvm::test
