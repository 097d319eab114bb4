#include "pixels/chroma_key/spill_uv.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace qdvm {

namespace {

using Wide = std::int64_t;

Sample Limit(Wide value) { return static_cast<Sample>(std::clamp<Wide>(value, 0, 255)); }

// A chroma difference as a byte.
Wide ChromaByte(Wide difference) { return std::clamp<Wide>(difference, -128, 127) + 128; }

Wide DrawnToGrey(const UvSpill& spill, Wide value, int m, bool isU) {
    if (!spill.isGreen) return (value * m) >> 8;
    if (isU) return 255 - (((255 - value) * m) >> 8);
    return (((value - 128) * m) >> 8) + 128;
}

Wide Saturated(const UvSpill& spill, Wide value, int away) {
    const Wide strength = Wide{spill.saturation} * away;
    const Wide difference = value - 128;
    if (spill.isGreen) {
        const Wide magnitude = difference < 0 ? -difference : difference;
        const Wide changed = std::clamp<Wide>(magnitude + (strength >> 7), 0, 255);
        return ChromaByte(difference < 0 ? -changed : changed);
    }
    const Wide factor = std::max<Wide>((strength >> 6) + 255, 0);
    return ChromaByte((difference * factor + 255) >> 8);
}

Sample ChromaOf(const UvSpill& spill, int value, int m, bool isU) {
    const int away = 255 - m;
    Wide c = DrawnToGrey(spill, value, m, isU);
    const Wide strength = (Wide{spill.chroma} * away) >> 6;
    c = ChromaByte(c - 128 - ((spill.keyChroma[isU ? 0 : 1] * strength + 255) >> 8));
    return static_cast<Sample>(Saturated(spill, c, away));
}

Sample LumaOf(const UvSpill& spill, int value, int m) {
    const Wide strength = (Wide{spill.luma} * (255 - m)) >> 6;
    if (spill.isGreen) return Limit(value + strength);
    return Limit((value * std::max<Wide>(strength + 255, 0) + 255) >> 8);
}

// In the first bytes of the table, one for each value of the spill plane: pairs that were worked
// out without results, or that there are results.
constexpr Sample kHasResults = 255;
constexpr std::ptrdiff_t kMostPairsWithout = 128;  // making the results costs about as much

// The results for one value of the spill plane: of luma, of U, of V. Null while so few pairs have
// it, as on edges, that each is better worked out by itself.
const Sample* ResultsOf(const UvSpill& spill, int m, std::ptrdiff_t pairs, Sample* table) {
    Sample* const rows = table + 256 + m * std::ptrdiff_t{3 * 256};
    if (table[m] == kHasResults) return rows;
    if (table[m] + pairs <= kMostPairsWithout) {
        table[m] = static_cast<Sample>(table[m] + pairs);
        return nullptr;
    }
    for (int value = 0; value < 256; ++value) {
        if (spill.luma != 0) rows[value] = LumaOf(spill, value, m);
        rows[256 + value] = ChromaOf(spill, value, m, true);
        rows[512 + value] = ChromaOf(spill, value, m, false);
    }
    table[m] = kHasResults;
    return rows;
}

void WorkOut(const UvSpill& spill, Sample* packed, int m, std::ptrdiff_t pairs) {
    Sample* const luma = packed + (spill.lumaFirst ? 0 : 1);
    Sample* const chroma = packed + (spill.lumaFirst ? 1 : 0);
    for (std::ptrdiff_t i = 0; i < 4 * pairs; i += 4) {
        chroma[i] = ChromaOf(spill, chroma[i], m, true);
        chroma[i + 2] = ChromaOf(spill, chroma[i + 2], m, false);
        if (spill.luma == 0) continue;
        luma[i] = LumaOf(spill, luma[i], m);
        luma[i + 2] = LumaOf(spill, luma[i + 2], m);
    }
}

// Groups of packed 4:2:2 with new chroma, U from bit kShift of a group on; two groups at a time in
// one word, which costs half the accesses.
template <int kShift>
void MapChroma(Sample* packed, std::ptrdiff_t pairs, const Sample* ofU, const Sample* ofV) {
    static_assert(std::endian::native == std::endian::little);
    constexpr std::uint64_t kChroma = std::uint64_t{0x00ff00ff00ff00ff} << kShift;
    const auto mapped = [](const Sample* table, std::uint64_t groups, int shift) {
        return std::uint64_t{table[groups >> shift & 0xff]} << shift;
    };
    std::ptrdiff_t i = 0;
    for (; i + 2 <= pairs; i += 2) {
        std::uint64_t groups = 0;
        std::memcpy(&groups, packed + 4 * i, sizeof(groups));
        const std::uint64_t chroma =
            mapped(ofU, groups, kShift) | mapped(ofV, groups, kShift + 16) |
            mapped(ofU, groups, kShift + 32) | mapped(ofV, groups, kShift + 48);
        groups = (groups & ~kChroma) | chroma;
        std::memcpy(packed + 4 * i, &groups, sizeof(groups));
    }
    if (i == pairs) return;
    Sample* const last = packed + 4 * i + kShift / 8;
    last[0] = ofU[last[0]];
    last[2] = ofV[last[2]];
}

}  // namespace

UvSpill MakeUvSpill(const ChromaKeyEntry& entry, std::uint32_t colour,
                    const std::array<Sample, 4>& packedKey, bool lumaFirst) {
    UvSpill spill{};
    spill.isGreen = (colour >> 8 & 0xff) > (colour >> 16 & 0xff);
    spill.lumaFirst = lumaFirst;
    spill.chroma = entry.spillChroma;
    spill.saturation = entry.spillSaturation;
    spill.luma = entry.spillLuma;
    const int first = lumaFirst ? 1 : 0;
    spill.keyChroma = {packedKey[first] - 128, packedKey[first + 2] - 128};
    return spill;
}

void ApplyUvSpill(const UvSpill& spill, Sample* packed, const Sample* amount, std::int32_t pairs,
                  Sample* table) {
    // Wall and subject have long runs of one value each.
    for (std::ptrdiff_t i = 0; i < pairs;) {
        const int m = amount[i];
        const std::ptrdiff_t start = i;
        while (i < pairs && amount[i] == m) ++i;
        Sample* const run = packed + 4 * start;
        const Sample* const results = ResultsOf(spill, m, i - start, table);
        if (!results) {
            WorkOut(spill, run, m, i - start);
            continue;
        }
        (spill.lumaFirst ? MapChroma<8> : MapChroma<0>)(run, i - start, results + 256,
                                                        results + 512);
        // Without strength luma stays as it is.
        if (spill.luma == 0) continue;
        Sample* const luma = run + (spill.lumaFirst ? 0 : 1);
        for (std::ptrdiff_t at = 0; at < 2 * (i - start); ++at)
            luma[2 * at] = results[luma[2 * at]];
    }
}

}  // namespace qdvm
