#include "pixels/chroma_key/spill_uv.h"

#include <algorithm>

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

// The results for one value of the spill plane: of luma, of U, of V.
const Sample* TableOf(const UvSpill& spill, int m, Sample* table) {
    Sample* const rows = table + 256 + m * std::ptrdiff_t{3 * 256};
    if (table[m] != 0) return rows;
    for (int value = 0; value < 256; ++value) {
        if (spill.luma != 0) rows[value] = LumaOf(spill, value, m);
        rows[256 + value] = ChromaOf(spill, value, m, true);
        rows[512 + value] = ChromaOf(spill, value, m, false);
    }
    table[m] = 1;
    return rows;
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
    Sample* const luma = packed + (spill.lumaFirst ? 0 : 1);
    Sample* const chroma = packed + (spill.lumaFirst ? 1 : 0);
    // Wall and subject have long runs of one value each.
    for (std::ptrdiff_t i = 0; i < pairs;) {
        const int m = amount[i];
        const Sample* const results = TableOf(spill, m, table);
        const Sample* const ofU = results + 256;
        const Sample* const ofV = results + 512;
        const std::ptrdiff_t start = i;
        for (; i < pairs && amount[i] == m; ++i) {
            chroma[4 * i] = ofU[chroma[4 * i]];
            chroma[4 * i + 2] = ofV[chroma[4 * i + 2]];
        }
        // Without strength luma stays as it is.
        if (spill.luma == 0) continue;
        for (std::ptrdiff_t at = 2 * start; at < 2 * i; ++at) luma[2 * at] = results[luma[2 * at]];
    }
}

}  // namespace qdvm
