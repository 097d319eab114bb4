#include "pixels/primitives/cpu_level.h"

#include <cstring>

namespace qdvm {

namespace {

constexpr std::uint32_t kSse3 = 1u << 0;
constexpr std::uint32_t kSsse3 = 1u << 9;
constexpr std::uint32_t kSse41 = 1u << 19;
constexpr std::uint32_t kSse42 = 1u << 20;
constexpr std::uint32_t kMovbe = 1u << 22;
constexpr std::uint32_t kAvx = 1u << 28;
constexpr std::uint32_t kAvx2 = 1u << 5;  // leaf 7

struct Model {
    std::uint32_t family;
    std::uint32_t model;
};

Model ModelOf(std::uint32_t signature) {
    Model result{(signature >> 8) & 15, (signature >> 4) & 15};
    const std::uint32_t family = result.family;
    if (family == 6 || family == 15) result.model += ((signature >> 16) & 15) << 4;
    if (family == 15) result.family += (signature >> 20) & 255;
    return result;
}

// Models whose level is not what their features say. -1: not one of them.
int LevelByModel(Model model, std::uint32_t features) {
    if (model.family == 15) return 1;
    if (model.family != 6) return -1;
    switch (model.model) {
        case 15:
            return features & kSsse3 ? 2 : -1;
        case 23:
            return features & kSse41 ? 3 : -1;
        case 26:
            if (features & kAvx) return 4;
            return features & kSse42 ? 3 : -1;
        case 28:
            return (features & kSsse3) && (features & kMovbe) ? 2 : -1;
        default:
            return -1;
    }
}

int LevelByFeatures(std::uint32_t features) {
    if (features & kAvx) return 4;
    if (features & (kSse41 | kSse42)) return 3;
    if (features & kSsse3) return 2;
    return features & kSse3 ? 1 : 0;
}

}  // namespace

int DecideCpuLevel(const CpuId& id) {
    if (id.vendor == "GenuineIntel") {
        const int level = LevelByModel(ModelOf(id.signature), id.featuresC);
        if (level >= 0) return level;
    }
    return LevelByFeatures(id.featuresC);
}

bool HasAvx2(const CpuId& id) {
    return (id.featuresC & kAvx) && (id.featuresB7 & kAvx2) && id.savesWideRegisters;
}

int CpuLevelCap(const char* text) {
    constexpr int kTop = kCpuLevels - 1;
    if (!text || std::strlen(text) != 1 || text[0] < '0' || text[0] > '0' + kTop) return kTop;
    return text[0] - '0';
}

}  // namespace qdvm
