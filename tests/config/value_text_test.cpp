#include "config/value_text.h"
#include "config/object_value.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <cstdint>
#include <limits>

namespace qdvm::test {
namespace {

TEST(ValueText, TruthIsAWordOrANumberAboveZero) {
    for (const auto* text : {u"Yes", u"ON", u"only", u"y", u"TRUE", u"1", u"2", u"0x10"})
        EXPECT_TRUE(ParseBool(text)) << ObjectVal(std::u16string_view(text)).AsInt();
    for (const auto* text : {u"", u"0", u"no", u"off", u"False", u"-1", u"yess", u"00", u" on"})
        EXPECT_FALSE(ParseBool(text));
}

TEST(ValueText, NumbersFindTheirBase) {
    EXPECT_EQ(ParseNumber(u"010"), 8);
    EXPECT_EQ(ParseNumber(u"12px"), 12);
    EXPECT_EQ(ParseNumber(u"\t -0x1fG"), -0x1f);
    EXPECT_EQ(ParseNumber(u"08"), 0);
    EXPECT_EQ(ParseNumber(u"0x"), 0);
    EXPECT_EQ(ParseNumber(u"+-1"), 0);
    EXPECT_EQ(ParseNumber(u"99999999999999999999"), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(ParseNumber(u"-99999999999999999999"), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(ObjectVal(std::u16string_view(u"0xFFFFFFFF")).AsInt(), -1);
}

TEST(ValueText, DoublesOfAnyForm) {
    EXPECT_EQ(ParseDouble(u"1.5"), 1.5);
    EXPECT_EQ(ParseDouble(u" +.5x"), 0.5);
    EXPECT_EQ(ParseDouble(u"-1e-2 "), -0.01);
    EXPECT_EQ(ParseDouble(u"1e"), 1);
    EXPECT_EQ(ParseDouble(u"50%"), 0.5);
    EXPECT_EQ(ParseDouble(u"50 %"), 50);
    EXPECT_EQ(ParseDouble(u"0x10"), 16);
    EXPECT_EQ(ParseDouble(u"0x"), 0);
    EXPECT_EQ(ParseDouble(u"1e999"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(ParseDouble(u"-1e-999"), 0);
    const std::u16string zeros(400, u'0');
    EXPECT_EQ(ParseDouble(u"0." + zeros + u"1"), 0);
    EXPECT_EQ(ParseDouble(u"1" + zeros + u"e-1"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(ParseDouble(u"0x0." + zeros + u"1p9"), 0);
    EXPECT_EQ(ParseDouble(u"1e99999999999999999999"), std::numeric_limits<double>::infinity());
    for (const auto* text : {u"nan", u"inf", u"-infinity", u".", u"e5", u"--1", u""})
        EXPECT_EQ(ParseDouble(text), 0);
}

TEST(ValueText, DoublesKeepSixDecimalsAndAtLeastOne) {
    EXPECT_EQ(FormatDouble(1.5), u"1.5");
    EXPECT_EQ(FormatDouble(100), u"100.0");
    EXPECT_EQ(FormatDouble(0.1234567), u"0.123457");
    EXPECT_EQ(FormatDouble(-1e-9), u"-0.0");
    EXPECT_EQ(FormatDouble(2, 2), u"2.00");
    EXPECT_EQ(FormatDouble(2, 3), u"2.0");
    EXPECT_EQ(FormatDouble(1e300).size(), 303u);
    EXPECT_EQ(FormatDouble(std::nan("")), u"nan");
}

TEST(ValueText, NoLocaleChangesTheForms) {
    const char* const former = std::setlocale(LC_ALL, "de_DE.UTF-8");
    EXPECT_EQ(FormatDouble(1.5), u"1.5");
    EXPECT_EQ(FormatSize({1.5, kSizePlain}), u"1.50");
    EXPECT_EQ(ParseDouble(u"1.5"), 1.5);
    (void)std::setlocale(LC_ALL, former ? "C" : nullptr);
}

TEST(ValueText, SizesCarryTheirUnit) {
    EXPECT_EQ(ParseSize(u"50%"), (SizeValue{50, kSizePercent}));
    EXPECT_EQ(ParseSize(u"1280px"), (SizeValue{1280, kSizePixels}));
    EXPECT_EQ(ParseSize(u"12.5pt"), (SizeValue{12.5, kSizePoints}));
    EXPECT_EQ(ParseSize(u"7PX"), (SizeValue{7, kSizePlain}));
    EXPECT_EQ(SizeToValue(ParseSize(u"50%"), 720), 360);
    EXPECT_EQ(SizeToValue({50, kSizePercent}, 0), 50);
    EXPECT_EQ(SizeToValue({50, kSizePixels}, 720), 50);
    EXPECT_EQ(SizeFromValue(360, 720), (SizeValue{50, kSizePercent}));
    EXPECT_EQ(SizeFromValue(360, 0), (SizeValue{360, kSizePlain}));
    EXPECT_EQ(FormatSize({1, kSizePlain}), u"1.00");
    EXPECT_EQ(FormatSize({50, kSizePercent}), u"50.000%");
    EXPECT_EQ(FormatSize({-2.5, kSizePixels}), u"-3px");
    EXPECT_EQ(FormatSize({2.5, kSizePoints}), u"3pt");
}

TEST(ValueText, ColourSpacesByNameAndByCode) {
    EXPECT_EQ(ParseFourCC(u"yuy2"), 0x32595559u);
    EXPECT_EQ(ParseFourCC(u"V210"), 0x30313276u);
    EXPECT_EQ(ParseFourCC(u"argb32"), 0x773C9AC0u);
    EXPECT_EQ(ParseFourCC(u"ARGB1555"), 0u);
    EXPECT_EQ(ParseFourCC(u"YUY"), 0u);
    EXPECT_EQ(FormatFourCC(0x32595559), u"YUY2");
    EXPECT_EQ(FormatFourCC(3), u"BI_BITFIELDS");
    EXPECT_EQ(FormatFourCC(0xE436EB7B), u"RGB565");
    EXPECT_EQ(FormatFourCC(0x773C9AC0), u"ARGB32");
    EXPECT_EQ(FormatFourCC(0xABC), u"0xABC");
}

TEST(ObjectVal, ANumberIsFormattedOnceAndReadFromItsText) {
    ObjectVal flag(true);
    EXPECT_EQ(flag.AsText(), u"true");
    EXPECT_EQ(flag.AsInt(), 0);  // the word has no digits
    ObjectVal hex(std::uint32_t{255});
    EXPECT_EQ(hex.AsInt(), 255);
    EXPECT_EQ(hex.AsText(), u"0x000000FF");
    ObjectVal half(0.1234567);
    EXPECT_EQ(half.AsDouble(), 0.1234567);
    EXPECT_EQ(half.AsInt(), 0);
    EXPECT_EQ(half.AsDouble(), 0.123457);  // through the text
}

TEST(ObjectVal, ATextStaysWhatItWas) {
    ObjectVal value(std::u16string_view(u"1.50px"));
    EXPECT_EQ(value.AsInt(), 1);
    EXPECT_EQ(value.AsDouble(), 1.5);
    EXPECT_EQ(value.AsSize(), (SizeValue{1.5, kSizePixels}));
    EXPECT_EQ(value.AsText(), u"1.50px");
    value = ObjectVal(u"");
    EXPECT_EQ(value.AsInt(), 0);
    EXPECT_EQ(value.AsSize(), SizeValue{});
    EXPECT_FALSE(value.AsBool());
    EXPECT_EQ(value.AsText(), u"");
}

}  // namespace
}  // namespace qdvm::test
