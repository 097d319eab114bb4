#pragma once

// A chroma key as a user describes it: a colour and a few plain values, from which good settings
// follow, and beside them every field for who needs it.

#include <qdvideomixer/chroma_key.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm {

// A byte for each channel of the key's colour space, in the order of ChromaKeyEntry.
using KeyChannels = std::array<std::uint8_t, 3>;

enum class KeyColourName {
    kOwn,    // a colour of its own
    kGreen,  // from painted walls to the pure green of computers
    kBlue,
    kAuto,  // to be read from the border of a frame
};

inline constexpr int kUsualTolerance = 34;
inline constexpr int kLargestTolerance = 127;
inline constexpr int kUsualSoftness = 1;
inline constexpr int kLargestSoftness = 16;
inline constexpr double kUsualSpill = 0.5;

// One colour that becomes transparent.
struct KeyPart {
    KeyColourName name = KeyColourName::kOwn;
    std::uint32_t colour = 0;         // 0xRRGGBB, for kOwn
    int tolerance = kUsualTolerance;  // how far a pixel may be from it, in steps of 255
    double spill = kUsualSpill;       // how much of its light is taken from the edges, 0 to 1

    // Fields of ChromaKeyEntry that are not to follow from the values above.
    std::optional<KeyChannels> centre = {};
    std::optional<KeyChannels> delta = {};
    std::optional<int> ring = {};
    std::optional<int> floor = {};
    std::optional<int> spillDelta = {};
    std::optional<int> spillChroma = {};
    std::optional<int> spillSaturation = {};
    std::optional<int> spillLuma = {};
    std::optional<int> spillEnable = {};

    bool operator==(const KeyPart&) const = default;
};

struct KeyRecipe {
    std::vector<KeyPart> parts = {};  // none: no key
    eVM_KeyType space = eVMK_YUV;     // RGB, HLS or YUV
    int softness = kUsualSoftness;    // passes of smoothing over the edge
    bool isInverted = false;
    eVM_SpillMode spillMode = eVMSM_Matrix;
    std::optional<bool> spillsAway = {};  // unset: as the spill mode works best

    bool operator==(const KeyRecipe&) const = default;

    // Whether a part waits for a colour from a frame.
    bool WantsColour() const;
    // Gives such parts their colour, 0xRRGGBB.
    void GiveColour(std::uint32_t colour);
};

// Zeroed without a part that has a colour; the 16th entry is the last.
ChromaKeySettings KeySettingsOf(const KeyRecipe& recipe);

// "COLOUR[,WORD=VALUE...]", several of them joined by "+", or "none". COLOUR is green, blue, auto
// or #RRGGBB. Case and blanks around words don't count. Words of the whole picture stand with the
// first colour. Returns what is wrong with the text, for the user, as well-formed UTF-8 of a few
// hundred bytes, and then leaves the recipe as it was; nothing if it was read.
std::optional<std::string> ParseKey(std::string_view text, KeyRecipe* recipe);

// A text that ParseKey reads as the same recipe.
std::string TextOf(const KeyRecipe& recipe);

// "#18A038"
std::string ColourText(std::uint32_t colour);

// A line for each word: its name, what it takes, and what it does.
struct KeyWordHelp {
    const char* name;
    const char* takes;
    const char* text;
};
std::vector<KeyWordHelp> KeyWords();

}  // namespace qdvm
