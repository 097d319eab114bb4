// The words in which a user writes a key.

#include "pixels/chroma_key/key_recipe.h"

#include "platform/text.h"

#include <charconv>
#include <cstdio>
#include <utility>

namespace qdvm {

namespace {

// Where a word puts its value.
struct KeyTarget {
    KeyRecipe& recipe;
    KeyPart& part;
};

struct KeySource {
    const KeyRecipe& recipe;
    const KeyPart& part;
};

struct KeyWord {
    KeyWordHelp help;
    bool isOfWhole;  // of the picture, not of one colour
    bool (*take)(KeyTarget target, std::string_view value);
    std::string (*tell)(KeySource source);  // empty: as it is without the word
};

template <class Number>
bool TakeNumber(std::string_view text, Number low, Number high, Number* number) {
    Number read{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, read);
    // Written so that what is no number is outside.
    if (error != std::errc{} || stop != end || !(read >= low && read <= high)) return false;
    *number = read;
    return true;
}

std::string NumberText(double number) {
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
    return {text.data(), end};
}

template <std::optional<int> KeyPart::*kField, int kLow, int kHigh>
bool TakeField(KeyTarget target, std::string_view value) {
    int number = 0;
    if (!TakeNumber(value, kLow, kHigh, &number)) return false;
    target.part.*kField = number;
    return true;
}

template <std::optional<int> KeyPart::*kField>
std::string TellField(KeySource source) {
    const std::optional<int>& field = source.part.*kField;
    return field ? std::to_string(*field) : std::string();
}

bool ReadChannels(std::string_view text, KeyChannels* channels) {
    for (std::size_t i = 0; i < channels->size(); ++i) {
        const std::size_t slash = text.find('/');
        const bool isLast = i + 1 == channels->size();
        int value = 0;
        if (isLast != (slash == std::string_view::npos) ||
            !TakeNumber(text.substr(0, slash), 0, 255, &value))
            return false;
        (*channels)[i] = static_cast<std::uint8_t>(value);
        text.remove_prefix(isLast ? text.size() : slash + 1);
    }
    return true;
}

template <std::optional<KeyChannels> KeyPart::*kField>
bool TakeChannels(KeyTarget target, std::string_view value) {
    KeyChannels channels{};
    if (!ReadChannels(value, &channels)) return false;
    target.part.*kField = channels;
    return true;
}

template <std::optional<KeyChannels> KeyPart::*kField>
std::string TellChannels(KeySource source) {
    const std::optional<KeyChannels>& field = source.part.*kField;
    if (!field) return {};
    return std::to_string((*field)[0]) + "/" + std::to_string((*field)[1]) + "/" +
           std::to_string((*field)[2]);
}

bool TakeTruth(std::string_view value, bool* truth) {
    if (value != "yes" && value != "no") return false;
    *truth = value == "yes";
    return true;
}

using Space = std::pair<std::string_view, eVM_KeyType>;
constexpr std::array kSpaces = {Space{"yuv", eVMK_YUV}, Space{"hls", eVMK_HLS},
                                Space{"rgb", eVMK_RGB}};

bool TakeSpace(KeyTarget target, std::string_view value) {
    for (const auto& [name, space] : kSpaces) {
        if (value != name) continue;
        target.recipe.space = space;
        return true;
    }
    return false;
}

std::string TellSpace(KeySource source) {
    for (const auto& [name, space] : kSpaces)
        if (space == source.recipe.space && space != KeyRecipe{}.space) return std::string(name);
    return {};
}

bool TakeSpillMode(KeyTarget target, std::string_view value) {
    if (value != "matrix" && value != "uv") return false;
    target.recipe.spillMode = value == "uv" ? eVMSM_UV : eVMSM_Matrix;
    return true;
}

bool TakeSpillAway(KeyTarget target, std::string_view value) {
    bool isAway = false;
    if (!TakeTruth(value, &isAway)) return false;
    target.recipe.spillsAway = isAway;
    return true;
}

constexpr const char* kStrength = "a number from -32768 to 32767";

// clang-format off
constexpr std::array kWords = {
    KeyWord{{"tolerance", "a number from 1 to 127", "how far a pixel may be from the colour"}, false,
        [](KeyTarget target, std::string_view value) {
            return TakeNumber(value, 1, kLargestTolerance, &target.part.tolerance); },
        [](KeySource source) {
            return source.part.tolerance == kUsualTolerance
                       ? std::string() : std::to_string(source.part.tolerance); }},
    KeyWord{{"softness", "a number from 0 to 16", "how soft the edge is; from 2 on it also draws in"}, true,
        [](KeyTarget target, std::string_view value) {
            return TakeNumber(value, 0, kLargestSoftness, &target.recipe.softness); },
        [](KeySource source) {
            return source.recipe.softness == kUsualSoftness
                       ? std::string() : std::to_string(source.recipe.softness); }},
    KeyWord{{"spill", "a number from 0 to 1", "how much of the colour's light is taken from the edges"}, false,
        [](KeyTarget target, std::string_view value) {
            return TakeNumber(value, 0.0, 1.0, &target.part.spill); },
        [](KeySource source) {
            return source.part.spill == kUsualSpill
                       ? std::string() : NumberText(source.part.spill); }},
    KeyWord{{"invert", "yes or no", "what is keyed shows, all else is transparent"}, true,
        [](KeyTarget target, std::string_view value) {
            return TakeTruth(value, &target.recipe.isInverted); },
        [](KeySource source) { return std::string(source.recipe.isInverted ? "yes" : ""); }},
    KeyWord{{"space", "yuv, hls or rgb", "the colour space that distances are measured in"}, true,
        TakeSpace, TellSpace},
    KeyWord{{"centre", "A/B/C, each from 0 to 255", "the colour in channels of the space, V before U counts blue as red"}, false,
        TakeChannels<&KeyPart::centre>, TellChannels<&KeyPart::centre>},
    KeyWord{{"delta", "A/B/C, each from 0 to 255", "how far each channel may be from it"}, false,
        TakeChannels<&KeyPart::delta>, TellChannels<&KeyPart::delta>},
    KeyWord{{"ring", "a number from 0 to 255", "width of the ring in which the distance grows to 255"}, false,
        TakeField<&KeyPart::ring, 0, 255>, TellField<&KeyPart::ring>},
    KeyWord{{"floor", "a number from 0 to 255", "added to the distance; 255: only the light is removed"}, false,
        TakeField<&KeyPart::floor, 0, 255>, TellField<&KeyPart::floor>},
    KeyWord{{"spill-mode", "matrix or uv", "how the colour's light is removed"}, true,
        TakeSpillMode,
        [](KeySource source) {
            return std::string(source.recipe.spillMode == eVMSM_UV ? "uv" : ""); }},
    KeyWord{{"spill-away", "yes or no", "remove light away from the colour instead of near it"}, true,
        TakeSpillAway,
        [](KeySource source) {
            return std::string(!source.recipe.spillsAway ? "" : *source.recipe.spillsAway ? "yes" : "no"); }},
    KeyWord{{"spill-delta", "a number from -255 to 255", "how much further than the key the light reaches"}, false,
        TakeField<&KeyPart::spillDelta, -255, 255>, TellField<&KeyPart::spillDelta>},
    KeyWord{{"spill-chroma", kStrength, "strength of taking the colour away"}, false,
        TakeField<&KeyPart::spillChroma, -32768, 32767>, TellField<&KeyPart::spillChroma>},
    KeyWord{{"spill-saturation", kStrength, "strength of the change of saturation"}, false,
        TakeField<&KeyPart::spillSaturation, -32768, 32767>, TellField<&KeyPart::spillSaturation>},
    KeyWord{{"spill-luma", kStrength, "strength of the change of brightness"}, false,
        TakeField<&KeyPart::spillLuma, -32768, 32767>, TellField<&KeyPart::spillLuma>},
    KeyWord{{"spill-enable", "0 or 1", "remove light even with all strengths at 0"}, false,
        TakeField<&KeyPart::spillEnable, 0, 1>, TellField<&KeyPart::spillEnable>},
};
// clang-format on

using Name = std::pair<std::string_view, KeyColourName>;
constexpr std::array kNames = {Name{"green", KeyColourName::kGreen},
                               Name{"blue", KeyColourName::kBlue},
                               Name{"auto", KeyColourName::kAuto}};

// For a message: what may stand in it, and not too much of that.
std::string Quoted(std::string_view text) {
    constexpr std::size_t kMostCharacters = 40;
    std::u16string shown = FromUtf8(text);
    const bool isCut = shown.size() > kMostCharacters;
    if (isCut) shown.resize(kMostCharacters);
    for (char16_t& character : shown)
        if (character < u' ' || character == 0x7F) character = u'?';
    return "\"" + ToUtf8(shown) + (isCut ? "..." : "") + "\"";
}

std::string_view Trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

std::string LowerCase(std::string_view text) {
    std::string lower(text);
    for (char& character : lower)
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + 32);
    return lower;
}

bool TakeColour(std::string_view text, KeyPart* part) {
    for (const auto& [word, name] : kNames)
        if (text == word) {
            part->name = name;
            return true;
        }
    if (text.size() != 7 || text[0] != '#') return false;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + 1, end, part->colour, 16);
    return error == std::errc{} && stop == end;
}

std::optional<std::string> TakeWord(std::string_view text, bool isFirstPart, KeyTarget target) {
    const std::size_t equals = text.find('=');
    const std::string_view name = Trimmed(text.substr(0, equals));
    for (const KeyWord& word : kWords) {
        if (name != word.help.name) continue;
        if (word.isOfWhole && !isFirstPart)
            return Quoted(name) + " is for the whole picture: give it with the first colour";
        if (equals != std::string_view::npos && word.take(target, Trimmed(text.substr(equals + 1))))
            return std::nullopt;
        return Quoted(text) + ": " + word.help.name + " takes " + word.help.takes;
    }
    if (!name.empty() && name.find_first_not_of("0123456789") == std::string_view::npos)
        return Quoted(name) + " is no word of a key; a fraction has a point, as in spill=0.5";
    std::string known;
    for (const KeyWord& word : kWords)
        known += (known.empty() ? "" : ", ") + std::string(word.help.name);
    return (name.empty() ? "a word is missing" : Quoted(name) + " is no word of a key") +
           "; there are " + known;
}

// The text up to the separator, which is taken off its front together with it.
std::string_view TakeUntil(char separator, std::string_view* text) {
    const std::size_t end = text->find(separator);
    const std::string_view taken = text->substr(0, end);
    text->remove_prefix(end == std::string_view::npos ? text->size() : end + 1);
    return Trimmed(taken);
}

std::optional<std::string> ParsePart(std::string_view text, KeyRecipe* recipe) {
    const bool isFirst = recipe->parts.empty();
    KeyPart part;
    const std::string_view colour = TakeUntil(',', &text);
    if (!TakeColour(colour, &part))
        return (colour.empty() ? "a colour is missing"
                               : Quoted(colour) + " is no colour of a key") +
               "; give green, blue, auto or #RRGGBB";
    while (!text.empty())
        if (auto fault = TakeWord(TakeUntil(',', &text), isFirst, {*recipe, part})) return fault;
    recipe->parts.push_back(part);
    return std::nullopt;
}

std::string TextOf(const KeyRecipe& recipe, const KeyPart& part, bool isFirst) {
    std::string text = ColourText(part.colour);
    for (const auto& [word, name] : kNames)
        if (part.name == name) text = word;
    for (const KeyWord& word : kWords) {
        if (word.isOfWhole && !isFirst) continue;
        if (const std::string value = word.tell({recipe, part}); !value.empty())
            text += std::string(",") + word.help.name + "=" + value;
    }
    return text;
}

// Entries that a recipe needs.
int CountEntries(const KeyRecipe& recipe) {
    int count = 0;
    for (const KeyPart& part : recipe.parts) {
        KeyRecipe one;
        one.parts = {part};
        one.GiveColour(0);
        count += KeySettingsOf(one).nKeys;
    }
    return count;
}

}  // namespace

std::optional<std::string> ParseKey(std::string_view given, KeyRecipe* recipe) {
    KeyRecipe read;
    const std::string lower = LowerCase(given);
    std::string_view text = Trimmed(lower);
    const bool isNone = text == "none";
    for (bool isMore = !isNone; isMore;) {
        isMore = text.find('+') != std::string_view::npos;
        if (auto fault = ParsePart(TakeUntil('+', &text), &read)) return fault;
    }
    const int entries = CountEntries(read);
    if (entries > kMaxChromaKeys)
        return "these are " + std::to_string(entries) + " keys, and there can be " +
               std::to_string(kMaxChromaKeys) + "; green and blue count as several";
    *recipe = std::move(read);
    return std::nullopt;
}

std::string TextOf(const KeyRecipe& recipe) {
    std::string text;
    for (const KeyPart& part : recipe.parts)
        text += (text.empty() ? "" : "+") + TextOf(recipe, part, text.empty());
    return text.empty() ? "none" : text;
}

std::string ColourText(std::uint32_t colour) {
    std::array<char, 16> text{};
    (void)std::snprintf(text.data(), text.size(), "#%06X",
                        static_cast<unsigned>(colour & 0xFFFFFF));
    return text.data();
}

std::vector<KeyWordHelp> KeyWords() {
    std::vector<KeyWordHelp> words;
    for (const KeyWord& word : kWords) words.push_back(word.help);
    return words;
}

}  // namespace qdvm
