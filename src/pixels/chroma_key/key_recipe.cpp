#include "pixels/chroma_key/key_recipe.h"

#include "pixels/primitives/colour_space.h"

#include <algorithm>
#include <cmath>
#include <span>

namespace qdvm {

namespace {

// A wall as it is painted and lit, and purer colours up to that of computers. The first one is the
// nearest to the edges of what stands before any of them.
constexpr std::array<std::uint32_t, 3> kGreens = {0x18A038, 0x10C820, 0x00FF00};
constexpr std::array<std::uint32_t, 3> kBlues = {0x2048A8, 0x1030D0, 0x0000FF};

// Half-axes for a tolerance of 34: the eye forgives a change of brightness before one of colour.
constexpr KeyChannels kYuvReach = {70, 34, 34};
constexpr KeyChannels kHlsReach = {18, 45, 80};
constexpr std::uint8_t kRgbReach = 40;
constexpr std::uint8_t kRgbMainReach = 70;  // of the channel that makes the colour

constexpr int kUsualRing = 20;
constexpr int kUsualSpillDelta = 12;
constexpr double kFullSpillChroma = 24;
// More than to grey, so that what is left of the colour further out goes too.
constexpr double kFullSpillSaturation = -90;

std::uint32_t WordOf(const KeyChannels& channels) {
    return channels[0] | std::uint32_t{channels[1]} << 8 | std::uint32_t{channels[2]} << 16;
}

KeyChannels ChannelsOf(std::uint32_t colour, eVM_KeyType space) {
    const auto r = static_cast<std::uint8_t>(colour >> 16);
    const auto g = static_cast<std::uint8_t>(colour >> 8);
    const auto b = static_cast<std::uint8_t>(colour);
    if (space == eVMK_RGB) return {r, g, b};
    const Sample pixel[4] = {b, g, r, 0};
    Sample out[4] = {};
    (void)(space == eVMK_HLS ? BGRAToHLS : RGBToYUV)(pixel, 4, out, 4, {1, 1});
    return {out[0], out[1], out[2]};
}

KeyChannels ReachOf(const KeyChannels& centre, eVM_KeyType space, int tolerance) {
    KeyChannels reach = space == eVMK_HLS ? kHlsReach : kYuvReach;
    if (space == eVMK_RGB) {
        reach = {kRgbReach, kRgbReach, kRgbReach};
        reach[static_cast<std::size_t>(std::ranges::max_element(centre) - centre.begin())] =
            kRgbMainReach;
    }
    for (std::uint8_t& axis : reach) {
        const int scaled = (axis * tolerance + kUsualTolerance / 2) / kUsualTolerance;
        axis = static_cast<std::uint8_t>(std::clamp(scaled, 1, 255));
    }
    return reach;
}

std::span<const std::uint32_t> ColoursOf(const KeyPart& part) {
    switch (part.name) {
        case KeyColourName::kGreen:
            return kGreens;
        case KeyColourName::kBlue:
            return kBlues;
        case KeyColourName::kOwn:
            return {&part.colour, 1};
        case KeyColourName::kAuto:
            break;
    }
    return {};
}

ChromaKeyEntry EntryOf(const KeyPart& part, std::uint32_t colour, eVM_KeyType space) {
    const KeyChannels centre = part.centre.value_or(ChannelsOf(colour, space));
    ChromaKeyEntry entry{};
    entry.keyColour = WordOf(centre);
    entry.keyDelta = WordOf(part.delta.value_or(ReachOf(centre, space, part.tolerance)));
    entry.keySoftness = part.ring.value_or(kUsualRing);
    entry.keyFloor = part.floor.value_or(0);
    return entry;
}

void SetSpill(const KeyPart& part, ChromaKeyEntry* entry) {
    const auto share = [&](double full) {
        return static_cast<int>(std::lround(full * part.spill));
    };
    entry->spillExtraDelta = part.spillDelta.value_or(kUsualSpillDelta);
    entry->spillChroma = part.spillChroma.value_or(share(kFullSpillChroma));
    entry->spillSaturation = part.spillSaturation.value_or(share(kFullSpillSaturation));
    entry->spillLuma = part.spillLuma.value_or(0);
    entry->spillEnable = part.spillEnable.value_or(0);
}

bool HasSpill(const ChromaKeyEntry& entry) {
    return entry.spillChroma != 0 || entry.spillSaturation != 0 || entry.spillLuma != 0 ||
           entry.spillEnable != 0;
}

}  // namespace

bool KeyRecipe::WantsColour() const {
    return std::ranges::any_of(
        parts, [](const KeyPart& part) { return part.name == KeyColourName::kAuto; });
}

void KeyRecipe::GiveColour(std::uint32_t colour) {
    for (KeyPart& part : parts) {
        if (part.name != KeyColourName::kAuto) continue;
        part.name = KeyColourName::kOwn;
        part.colour = colour;
    }
}

ChromaKeySettings KeySettingsOf(const KeyRecipe& recipe) {
    ChromaKeySettings settings{};
    bool hasSpill = false;
    for (const KeyPart& part : recipe.parts) {
        bool isFirst = true;
        for (const std::uint32_t colour : ColoursOf(part)) {
            // A centre of its own is one key, whatever the word.
            if (settings.nKeys == kMaxChromaKeys || (part.centre && !isFirst)) break;
            ChromaKeyEntry& entry = settings.keys[settings.nKeys++];
            entry = EntryOf(part, colour, recipe.space);
            // What lies around the purer colours is the first one's already.
            if (isFirst) SetSpill(part, &entry);
            hasSpill = hasSpill || HasSpill(entry);
            isFirst = false;
        }
    }
    if (settings.nKeys == 0) return {};
    settings.keyType = recipe.space;
    settings.nSmooth = recipe.softness;
    settings.nSpillMode = hasSpill ? recipe.spillMode : eVMSM_None;
    if (recipe.isInverted) settings.nFlags |= eVMKF_Invert;
    if (recipe.spillsAway.value_or(recipe.spillMode == eVMSM_UV))
        settings.nFlags |= eVMKF_SpillAway;
    return settings;
}

}  // namespace qdvm
