// Keys in the words of a user, and the colour of a border.

#include "pixels/chroma_key/key_recipe.h"

#include "frames/format_table.h"
#include "pixels/chroma_key/border_colour.h"
#include "pixels/chroma_key/chroma_key.h"
#include "pixels/convert_picture.h"
#include "platform/text.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>
#include <vector>

namespace qdvm::test {

namespace {

KeyRecipe Read(const std::string& text) {
    KeyRecipe recipe;
    const auto fault = ParseKey(text, &recipe);
    EXPECT_FALSE(fault) << text << ": " << *fault;
    return recipe;
}

// The opacity that a key gives to a plain picture of this colour.
int AlphaOf(const std::string& words, std::uint32_t colour) {
    constexpr std::int32_t kSide = 8;
    std::vector<BYTE> frame;
    for (int i = 0; i < kSide * kSide; ++i)
        for (const int shift : {0, 8, 16, 24}) frame.push_back(static_cast<BYTE>(colour >> shift));
    std::vector<BYTE> plane(kSide * kSide, 77);
    const FrameDesc desc = MakeFrameDesc({kFccRGB32, kSide, -kSide, 0});
    const ChromaKeySettings settings = KeySettingsOf(Read(words));
    EXPECT_EQ(CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, &settings, nullptr), S_OK);
    return plane[kSide * kSide / 2];
}

TEST(KeyRecipe, PlainWordsKeyWallsAndKeepPeople) {
    const std::vector<std::uint32_t> greens = {0x00FF00, 0x00B140, 0x18A038,
                                               0x30B850, 0x10D820, 0x00C800};
    const std::vector<std::uint32_t> blues = {0x0000FF, 0x0047BB, 0x2048A8, 0x1838D0, 0x1020E0};
    // Skins, hair, cloth, white, grey and black.
    const std::vector<std::uint32_t> people = {0xE0AC90, 0x8D5524, 0x402818, 0xE0D020,
                                               0x606048, 0x20A0A0, 0x202840, 0xC02030,
                                               0xFFFFFF, 0x808080, 0x000000};
    for (const char* more : {"", ",space=hls", ",space=rgb"}) {
        // Only the recommended space has to reach from paint to pure colour.
        const bool isWide = *more == 0;
        for (const std::uint32_t green : isWide ? greens : std::vector<std::uint32_t>{0x18A038})
            EXPECT_EQ(AlphaOf(std::string("green") + more, green), 0) << ColourText(green) << more;
        for (const std::uint32_t blue : isWide ? blues : std::vector<std::uint32_t>{0x2048A8})
            EXPECT_EQ(AlphaOf(std::string("blue") + more, blue), 0) << ColourText(blue) << more;
        for (const std::uint32_t colour : people) {
            EXPECT_EQ(AlphaOf(std::string("green") + more, colour), 255)
                << ColourText(colour) << more;
            EXPECT_EQ(AlphaOf(std::string("blue") + more, colour), 255)
                << ColourText(colour) << more;
        }
    }
    EXPECT_EQ(AlphaOf("#C02030", 0xC02030), 0);
    EXPECT_EQ(AlphaOf("#C02030+#E0D020", 0xE0D020), 0);
    EXPECT_EQ(AlphaOf("#C02030,tolerance=4", 0xA02030), 255);
    EXPECT_EQ(AlphaOf("#C02030,tolerance=60", 0xA02030), 0);
    EXPECT_EQ(AlphaOf("green,invert=yes", 0x18A038), 255);
}

TEST(KeyRecipe, EveryFieldCanBeSet) {
    const KeyRecipe recipe = Read(
        "#102030,softness=3,invert=yes,space=rgb,centre=1/2/3,delta=4/5/6,ring=7,floor=8,"
        "spill-mode=uv,spill-away=no,spill-delta=-9,spill-chroma=10,spill-saturation=-11,"
        "spill-luma=12,spill-enable=1+blue,spill=0,tolerance=20");
    const ChromaKeySettings settings = KeySettingsOf(recipe);
    EXPECT_EQ(settings.keyType, eVMK_RGB);
    EXPECT_EQ(settings.nKeys, 4);
    EXPECT_EQ(settings.nSmooth, 3);
    EXPECT_EQ(settings.nSpillMode, eVMSM_UV);
    EXPECT_EQ(settings.nFlags, eVMKF_Invert);
    const ChromaKeyEntry& entry = settings.keys[0];
    EXPECT_EQ(entry.keyColour, 0x030201u);
    EXPECT_EQ(entry.keyDelta, 0x060504u);
    EXPECT_EQ(entry.keySoftness, 7);
    EXPECT_EQ(entry.keyFloor, 8);
    EXPECT_EQ(entry.spillExtraDelta, -9);
    EXPECT_EQ(entry.spillChroma, 10);
    EXPECT_EQ(entry.spillSaturation, -11);
    EXPECT_EQ(entry.spillLuma, 12);
    EXPECT_EQ(entry.spillEnable, 1);
    EXPECT_EQ(settings.keys[1].spillChroma, 0);
    // What is written is read as the same.
    EXPECT_EQ(Read(TextOf(recipe)), recipe);
    for (const char* text : {"none", "green", "auto,spill=0.25", "blue,tolerance=12+#0A0B0C"})
        EXPECT_EQ(TextOf(Read(text)), text);
    // Without light to remove no time is spent on it, and without a colour on nothing.
    EXPECT_EQ(KeySettingsOf(Read("green,spill=0")).nSpillMode, eVMSM_None);
    EXPECT_EQ(KeySettingsOf(Read("none")).keyType, eVMK_None);
    KeyRecipe automatic = Read("auto");
    EXPECT_EQ(KeySettingsOf(automatic).keyType, eVMK_None);
    automatic.GiveColour(0x2048A8);
    EXPECT_EQ(KeySettingsOf(automatic).nKeys, 1);
}

TEST(KeyRecipe, IsReadWhateverItsCaseAndBlanks) {
    EXPECT_EQ(Read(" Green , Softness = 2 ,\tSPACE=HLS + #a0B0c0"),
              Read("green,softness=2,space=hls+#A0B0C0"));
    EXPECT_EQ(Read(" None "), KeyRecipe());
}

TEST(KeyRecipe, SaysWhichWordIsWrong) {
    const KeyRecipe before = Read("blue");
    const auto faultOf = [&](const std::string& text) {
        KeyRecipe recipe = before;
        const auto fault = ParseKey(text, &recipe);
        EXPECT_EQ(recipe, before) << text;
        return fault.value_or("accepted");
    };
    const std::vector<std::pair<std::string, std::string>> wrong = {
        {"", "a colour is missing"},
        {"  ", "a colour is missing"},
        {"pink", "\"pink\""},
        {"#12345", "#12345"},
        {"#12345g", "#12345g"},
        {"green+", "a colour is missing"},
        {"green,,spill=1", "a word is missing"},
        {"green,spill=0,5", "a point"},
        {"gr\x01\xff", "\"gr?\uFFFD\""},
        {std::string(100000, 'x'), "xxx...\""},
        {"green," + std::string(100000, 'y') + "=1", "yyy...\""},
        {"green,hue=3", "\"hue\""},
        {"green,spill", "spill takes"},
        {"green,spill=1.5", "spill=1.5"},
        {"green,spill=nan", "spill=nan"},
        {"green,tolerance=0", "tolerance=0"},
        {"green,softness=2x", "softness=2x"},
        {"green,delta=1/2", "delta=1/2"},
        {"green,delta=1/2/3/4", "delta=1/2/3/4"},
        {"green,delta=1/2/256", "delta=1/2/256"},
        {"green,space=xyz", "yuv, hls or rgb"},
        {"green,invert=1", "yes or no"},
        {"green+blue,softness=2", "whole picture"},
        {"green+green+green+green+green+green", "18 keys"},
    };
    for (const auto& [text, part] : wrong) {
        const std::string fault = faultOf(text);
        EXPECT_LT(fault.size(), 500u);
        EXPECT_TRUE(IsUtf8(fault));
        EXPECT_NE(fault.find(part), std::string::npos) << text << ": " << fault;
    }
}

using Painter = std::function<std::uint32_t(std::int32_t x, std::int32_t y)>;

constexpr std::int32_t kWidth = 96;
constexpr std::int32_t kHeight = 64;

// The border of a painted picture, held in this format.
BorderColour BorderOf(std::int32_t fccType, std::int32_t height, const Painter& paint) {
    std::vector<BYTE> rgb;
    for (std::int32_t y = 0; y < kHeight; ++y)
        for (std::int32_t x = 0; x < kWidth; ++x)
            for (const int shift : {0, 8, 16, 24})
                rgb.push_back(static_cast<BYTE>(paint(x, y) >> shift));
    const PIC_PROPS painted{kFccRGB32, kWidth, -kHeight, kWidth};
    const PIC_PROPS held{fccType, kWidth, height, kWidth + 8};
    std::vector<BYTE> frame(FrameBytes(held));
    EXPECT_EQ(ConvertPicture(rgb.data(), frame.data(), painted, held, false), S_OK);
    BorderColour found;
    EXPECT_EQ(ReadBorderColour(frame.data(), held, &found), S_OK);
    return found;
}

// Somebody at the bottom, up to the lower edge.
bool IsSubject(std::int32_t x, std::int32_t y) { return y > 20 && x > 30 && x < 70; }

TEST(BorderColour, IsThatOfTheWallInEveryFormat) {
    std::mt19937 random(5);
    const Painter wall = [&random](std::int32_t x, std::int32_t y) {
        if (IsSubject(x, y)) return 0xD0A080u;
        // Lit from the left, and noisy.
        const std::uint32_t light = 200u - static_cast<std::uint32_t>(x) / 2 + random() % 16;
        return 0x18u * light / 180 << 16 | 0xA0u * light / 180 << 8 | 0x38u * light / 180;
    };
    for (const auto& [format, height] : {std::pair(kFccRGB32, kHeight),
                                         {kFccRGB24, -kHeight},
                                         {kFccYUY2, kHeight},
                                         {kFccI420, kHeight},
                                         {kFccYVYU, kHeight}}) {
        const BorderColour found = BorderOf(format, height, wall);
        EXPECT_TRUE(found.isOne && found.isColourful) << ColourText(found.colour);
        EXPECT_NEAR(static_cast<int>(found.colour >> 16), 0x18, 8);
        EXPECT_NEAR(static_cast<int>(found.colour >> 8 & 0xFF), 0xA0, 16);
        EXPECT_NEAR(static_cast<int>(found.colour & 0xFF), 0x38, 8);
    }
}

TEST(BorderColour, IsRefusedWhereThereIsNone) {
    const auto twoColours = [](std::int32_t x, std::int32_t) {
        return x < kWidth / 2 ? 0x18A038u : 0x2048A8u;
    };
    EXPECT_FALSE(BorderOf(kFccYUY2, kHeight, twoColours).isOne);
    const auto grey = [](std::int32_t, std::int32_t) { return 0x808078u; };
    const BorderColour found = BorderOf(kFccYUY2, kHeight, grey);
    EXPECT_TRUE(found.isOne);
    EXPECT_FALSE(found.isColourful);
    // Pictures of a pixel or none.
    const BYTE pixel[4] = {0x38, 0xA0, 0x18, 0};
    BorderColour tiny;
    EXPECT_EQ(ReadBorderColour(pixel, {kFccRGB32, 1, 1, 1}, &tiny), S_OK);
    EXPECT_EQ(tiny.colour, 0x18A038u);
    EXPECT_EQ(ReadBorderColour(pixel, {kFccRGB32, 0, 1, 0}, &tiny), E_INVALIDARG);
    EXPECT_EQ(ReadBorderColour(nullptr, {kFccRGB32, 1, 1, 1}, &tiny), E_POINTER);
    EXPECT_TRUE(Failed(ReadBorderColour(pixel, {kFccRGB565, 1, 1, 1}, &tiny)));
}

}  // namespace

}  // namespace qdvm::test
