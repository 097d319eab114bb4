#include "pixels/chroma_key/spill_uv.h"

#include "pixels/primitives/key.h"

#include <algorithm>
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

// What is taken from a chroma byte for the key's colour.
Wide TakenFrom(const UvSpill& spill, int away, bool isU) {
    const Wide strength = (Wide{spill.chroma} * away) >> 6;
    return (spill.keyChroma[isU ? 0 : 1] * strength + 255) >> 8;
}

Sample ChromaOf(const UvSpill& spill, int value, int m, bool isU) {
    const int away = 255 - m;
    const Wide c = DrawnToGrey(spill, value, m, isU) - 128 - TakenFrom(spill, away, isU);
    return static_cast<Sample>(Saturated(spill, ChromaByte(c), away));
}

Sample LumaOf(const UvSpill& spill, int value, int m) {
    const Wide strength = (Wide{spill.luma} * (255 - m)) >> 6;
    if (spill.isGreen) return Limit(value + strength);
    return Limit((value * std::max<Wide>(strength + 255, 0) + 255) >> 8);
}

// From so many pairs of one value on it is quickest to do all of them with the same steps.
constexpr std::ptrdiff_t kFewestPairsForSteps = 8;

// The steps of chroma that ChromaOf takes for one value, luma as it is. False for a factor beyond
// what steps can have.
bool MakeSteps(const UvSpill& spill, int m, SpillSteps* steps) {
    const int away = 255 - m;
    const auto word = [](Wide value, Wide most) {
        return static_cast<std::int16_t>(std::clamp<Wide>(value, -most, most));
    };
    // Beyond this a byte's difference is at its limit in any case.
    constexpr Wide kMost = 256;
    constexpr Wide kMostFactor = 32767;
    const Wide saturation = Wide{spill.saturation} * away;
    const Wide factor = std::max<Wide>((saturation >> 6) + 255, 0);
    if (!spill.isGreen && factor > kMostFactor) return false;
    *steps = {{}, {1, 1, 1, 1}, {256, 256, 256, 256}, {-128, -128, -128, -128}, {}, spill.isGreen};
    const std::int16_t same = spill.isGreen ? 0 : 256;
    std::fill_n(steps->strength, 4, same);
    for (const bool isU : {true, false}) {
        const int j = (spill.lumaFirst ? 1 : 0) + (isU ? 0 : 2);
        const int from = !spill.isGreen ? 0 : isU ? 255 : 128;
        steps->from[j] = static_cast<std::int16_t>(from);
        steps->turn[j] = spill.isGreen && isU ? -1 : 1;
        steps->scale[j] = static_cast<std::int16_t>(m);
        steps->add[j] =
            static_cast<std::int16_t>(from - 128 - word(TakenFrom(spill, away, isU), kMost));
        steps->strength[j] =
            spill.isGreen ? word(saturation >> 7, kMost) : word(factor, kMostFactor);
    }
    return true;
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

void WorkOut(const UvSpill& spill, Sample* packed, int m, std::ptrdiff_t pairs, bool withChroma) {
    Sample* const luma = packed + (spill.lumaFirst ? 0 : 1);
    Sample* const chroma = packed + (spill.lumaFirst ? 1 : 0);
    for (std::ptrdiff_t i = 0; i < 4 * pairs; i += 4) {
        if (withChroma) {
            chroma[i] = ChromaOf(spill, chroma[i], m, true);
            chroma[i + 2] = ChromaOf(spill, chroma[i + 2], m, false);
        }
        if (spill.luma == 0) continue;
        luma[i] = LumaOf(spill, luma[i], m);
        luma[i + 2] = LumaOf(spill, luma[i + 2], m);
    }
}

void MapChroma(const UvSpill& spill, Sample* packed, std::ptrdiff_t pairs, const Sample* results) {
    Sample* const chroma = packed + (spill.lumaFirst ? 1 : 0);
    for (std::ptrdiff_t i = 0; i < 4 * pairs; i += 4) {
        chroma[i] = results[256 + chroma[i]];
        chroma[i + 2] = results[512 + chroma[i + 2]];
    }
}

void MapLuma(const UvSpill& spill, Sample* packed, std::ptrdiff_t pairs, const Sample* results) {
    Sample* const luma = packed + (spill.lumaFirst ? 0 : 1);
    for (std::ptrdiff_t i = 0; i < 4 * pairs; i += 2) luma[i] = results[luma[i]];
}

// Pairs of one value of the spill plane.
void ApplyToRun(const UvSpill& spill, Sample* packed, int m, std::ptrdiff_t pairs, Sample* table) {
    SpillSteps steps;
    const bool isStepped = pairs >= kFewestPairsForSteps && MakeSteps(spill, m, &steps);
    if (isStepped)
        (void)SpillSteps_8u_C4IR(packed, 0, {static_cast<std::int32_t>(pairs), 1}, steps);
    // Without strength luma stays as it is.
    if (isStepped && spill.luma == 0) return;
    const Sample* const results = ResultsOf(spill, m, pairs, table);
    if (!results) {
        WorkOut(spill, packed, m, pairs, !isStepped);
        return;
    }
    if (!isStepped) MapChroma(spill, packed, pairs, results);
    if (spill.luma != 0) MapLuma(spill, packed, pairs, results);
}

// Where the values that are that of `start` end; eight at a time.
std::ptrdiff_t EndOfRun(const Sample* amount, std::ptrdiff_t start, std::ptrdiff_t pairs) {
    const std::uint64_t eight = std::uint64_t{0x0101010101010101} * amount[start];
    std::ptrdiff_t end = start + 1;
    for (std::uint64_t next = 0; end + 8 <= pairs; end += 8) {
        std::memcpy(&next, amount + end, sizeof(next));
        if (next != eight) break;
    }
    while (end < pairs && amount[end] == amount[start]) ++end;
    return end;
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
        i = EndOfRun(amount, i, pairs);
        ApplyToRun(spill, packed + 4 * start, m, i - start, table);
    }
}

}  // namespace qdvm
