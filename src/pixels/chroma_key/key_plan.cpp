#include "pixels/chroma_key/key_plan.h"

#include "pixels/colour.h"
#include "pixels/primitives/colour_space.h"

#include <algorithm>
#include <limits>

namespace qdvm {

namespace {

constexpr std::int32_t kSpillSoftness = 10;

// Every pass takes a pixel off the edge, so more would leave little but cost a lot.
constexpr std::int32_t kMostPasses = 255;

constexpr std::int32_t kNoPlane = 255;  // as keyFloor

Sample ByteOf(std::uint32_t word, int index) { return static_cast<Sample>(word >> (8 * index)); }

std::uint32_t WordOf(const Sample* bytes) {
    return bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16;
}

std::uint32_t SwapOuter(std::uint32_t word) {
    return (word & 0xff00ff00u) | (word >> 16 & 0xff) | (word & 0xff) << 16;
}

bool CountsForPlane(const ChromaKeyEntry& entry) {
    return entry.keyDelta != 0 && entry.keyFloor != kNoPlane;
}

bool CountsForSpill(const ChromaKeyEntry& entry, bool isUvSpill) {
    const bool isAsked = entry.spillChroma != 0 || entry.spillSaturation != 0 ||
                         entry.spillLuma != 0 || entry.spillEnable != 0;
    return entry.keyDelta != 0 && (isAsked || isUvSpill);
}

std::uint32_t WiderDelta(std::uint32_t delta, std::int32_t extra) {
    const int more = std::clamp(extra, -255, 255);
    std::uint32_t wide = 0;
    for (int i = 0; i < 4; ++i)
        wide |= static_cast<std::uint32_t>(std::clamp(ByteOf(delta, i) + more, 0, 255)) << (8 * i);
    return wide;
}

// The colour that spill removal takes away, red lowest.
std::uint32_t SpillColour(std::int32_t keyType, std::uint32_t colour) {
    if (keyType == eVMK_RGB) return colour & 0xffffff;
    const Sample channels[4] = {ByteOf(colour, 0), ByteOf(colour, 1), ByteOf(colour, 2), 0};
    Sample bytes[4] = {};
    // Both give blue in the lowest byte, as pixels in memory have it.
    (void)(keyType == eVMK_HLS ? HLSToBGRA : YUVToRGB)(channels, 4, bytes, 4, {1, 1});
    return SwapOuter(WordOf(bytes));
}

std::int16_t Limited16(std::int64_t value) {
    return static_cast<std::int16_t>(std::clamp<std::int64_t>(
        value, std::numeric_limits<std::int16_t>::min(), std::numeric_limits<std::int16_t>::max()));
}

SpillMatrix MatrixOf(const ChromaKeyEntry& entry, const std::array<Sample, 4>& key, LumaAt luma) {
    SpillMatrix matrix{};
    for (int i = 0; i < 4; ++i) {
        const bool isLuma = (i % 2 == 0) == (luma == LumaAt::kEven);
        matrix.subtract[i] = Limited16(isLuma ? -std::int64_t{entry.spillChroma} / 4
                                              : std::int64_t{entry.spillChroma});
        matrix.scale[i] = Limited16(isLuma ? std::int64_t{entry.spillLuma}
                                           : 2 * std::int64_t{entry.spillSaturation});
        matrix.zero[i] = isLuma ? 0 : 128;
        matrix.key[i] = static_cast<std::int16_t>(key[i] - matrix.zero[i]);
    }
    return matrix;
}

// The key as a group of packed 4:2:2.
std::array<Sample, 4> PackKeyYUV(std::uint32_t colour, LumaAt luma) {
    const YuvColour yuv = RGBToYUV601(colour);
    const Sample y = std::clamp<Sample>(yuv.y, 16, 235);
    const Sample u = std::clamp<Sample>(yuv.u, 16, 240);
    const Sample v = std::clamp<Sample>(yuv.v, 16, 240);
    if (luma == LumaAt::kEven) return {y, u, y, v};
    return {u, y, v, y};
}

// An entry of 3 x 8 bits in the order of the key space's pixels in memory.
ChromaKeyEntry InMemoryOrder(const ChromaKeyEntry& entry, std::int32_t keyType) {
    ChromaKeyEntry local = entry;
    if (keyType == eVMK_RGB) {
        local.keyColour = SwapOuter(entry.keyColour);
        local.keyDelta = SwapOuter(entry.keyDelta);
    }
    return local;
}

void AddHole(const ChromaKeyEntry& entry, KeyPlan* plan) {
    ++plan->keys;
    // A floor lifts every pixel above 0, and all that is above 0 ends opaque.
    if (entry.keyFloor > 0) return;
    KeyHole& hole = plan->hole[plan->holes++];
    hole.ellipsoid = EllipsoidOf(entry.keyColour, entry.keyDelta, entry.keySoftness);
    hole.reach = KeyReach(hole.ellipsoid, -std::max(entry.keyFloor, -255));
}

}  // namespace

KeyEllipsoid EllipsoidOf(std::uint32_t colour, std::uint32_t delta, std::int32_t softness) {
    const Sample centre[3] = {ByteOf(colour, 0), ByteOf(colour, 1), ByteOf(colour, 2)};
    const Sample axes[3] = {ByteOf(delta, 0), ByteOf(delta, 1), ByteOf(delta, 2)};
    return MakeKeyEllipsoid(centre, axes, softness);
}

bool RemovesSpill(const ChromaKeySettings& settings) {
    const std::int32_t entries = std::clamp(settings.nKeys, 0, kMaxChromaKeys);
    return settings.nSpillMode != eVMSM_None &&
           std::any_of(settings.keys, settings.keys + entries, [&](const ChromaKeyEntry& entry) {
               return CountsForSpill(entry, settings.nSpillMode == eVMSM_UV);
           });
}

KeyPlan MakeKeyPlan(const ChromaKeySettings& settings, LumaAt luma) {
    KeyPlan plan;
    const std::int32_t entries = std::clamp(settings.nKeys, 0, kMaxChromaKeys);
    const std::uint32_t spillColour = SpillColour(settings.keyType, settings.keys[0].keyColour);
    const std::array<Sample, 4> packedKey = PackKeyYUV(spillColour, luma);
    plan.smooth = std::clamp(settings.nSmooth, 0, kMostPasses);
    plan.isUvSpill = settings.nSpillMode == eVMSM_UV;
    plan.isSpillAway = (settings.nFlags & eVMKF_SpillAway) != 0;
    plan.isInverted = (settings.nFlags & eVMKF_Invert) != 0;
    for (std::int32_t i = 0; i < entries; ++i) {
        const ChromaKeyEntry entry = InMemoryOrder(settings.keys[i], settings.keyType);
        if (CountsForPlane(entry)) AddHole(entry, &plan);
        if (settings.nSpillMode == eVMSM_None || !CountsForSpill(entry, plan.isUvSpill)) continue;
        KeySpill& spill = plan.spill[plan.spills++];
        spill.ellipsoid = EllipsoidOf(
            entry.keyColour, WiderDelta(entry.keyDelta, entry.spillExtraDelta), kSpillSoftness);
        spill.matrix = MatrixOf(entry, packedKey, luma);
        spill.uv = MakeUvSpill(entry, spillColour, packedKey, luma == LumaAt::kEven);
    }
    return plan;
}

}  // namespace qdvm
