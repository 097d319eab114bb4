#include "platform/text.h"

#include <gtest/gtest.h>

#include <string>

namespace qdvm {
namespace {

using namespace std::string_literals;

TEST(Utf8, CarriesEveryCodePointBothWays) {
    std::u16string text;
    for (char32_t point = 0; point <= 0x10FFFF; point += point < 0x3000 ? 1 : 61) {
        if (point >= 0xD800 && point <= 0xDFFF) {
            continue;
        }
        if (point < 0x10000) {
            text += static_cast<char16_t>(point);
        } else {
            text += static_cast<char16_t>(0xD7C0 + (point >> 10));
            text += static_cast<char16_t>(0xDC00 + (point & 0x3FF));
        }
    }
    const std::string bytes = ToUtf8(text);
    EXPECT_TRUE(IsUtf8(bytes));
    EXPECT_EQ(FromUtf8(bytes), text);
    EXPECT_EQ(ToUtf8(u"\u00E9\u20AC\U0001F600"), "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
}

TEST(Utf8, IllFormedPartsBecomeReplacements) {
    const struct {
        std::string bytes;
        std::u16string text;
    } cases[] = {
        {"a\x80z", u"a\uFFFDz"},                            // a continuation alone
        {"\xC0\xAF", u"\uFFFD\uFFFD"},                      // overlong
        {"\xE0\x80\x80", u"\uFFFD\uFFFD\uFFFD"},            // overlong
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},            // surrogate
        {"\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},  // past the last code point
        {"\xE2\x82"s, u"\uFFFD"},                           // cut at the end
        {"\xF0\x9F\x98x", u"\uFFFDx"},                      // cut by another character
        {"\xFF\xFE", u"\uFFFD\uFFFD"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(FromUtf8(each.bytes), each.text);
        EXPECT_FALSE(IsUtf8(each.bytes));
    }
}

TEST(Utf8, UnpairedSurrogatesBecomeReplacements) {
    const char16_t high = 0xD83D;
    const char16_t low = 0xDE00;
    EXPECT_EQ(ToUtf8(std::u16string{u'a', high, u'b'}),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_EQ(ToUtf8(std::u16string{low, high}), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(ToUtf8(std::u16string{high, high, low}), "\xEF\xBF\xBD\xF0\x9F\x98\x80");
}

TEST(SingleByte, LatinAndWesternDifferInTheMiddle) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    EXPECT_EQ(FromLatin1(all)[0x80], 0x80);
    EXPECT_EQ(From1252(all)[0x80], u'\u20AC');
    EXPECT_EQ(From1252(all)[0xE9], u'\u00E9');
    EXPECT_EQ(To1252(From1252(all)), all);
    EXPECT_EQ(To1252(u"\u0416\U0001F600x"), "??x");
}

TEST(Text, OddCharactersStandAnywhereAmongPlainOnes) {
    for (std::size_t place = 0; place < 20; ++place) {
        for (const std::u16string_view odd : {u"\u00E9", u"\u20AC", u"\U0001F600"}) {
            std::u16string text(20, u'a');
            text.insert(place, odd);
            EXPECT_EQ(FromUtf8(ToUtf8(text)), text);
            if (odd.size() == 1) {
                EXPECT_EQ(From1252(To1252(text)), text);
            }
            std::string cut = ToUtf8(text);
            EXPECT_TRUE(IsUtf8(cut));
            cut.erase(place, 1);
            EXPECT_FALSE(IsUtf8(cut));
        }
    }
}

TEST(Utf7, DecodesRunsAndMarksBadOnes) {
    EXPECT_EQ(FromUtf7("Hi Mom +Jjo--!"), u"Hi Mom \u263A-!");
    EXPECT_EQ(FromUtf7("A+ImIDkQ."), u"A\u2262\u0391.");
    EXPECT_EQ(FromUtf7("1 +- 1"), u"1 + 1");
    EXPECT_EQ(FromUtf7("+2D3eAA-"), u"\U0001F600");
    EXPECT_EQ(FromUtf7("+2D0-x"), u"\uFFFDx");  // half a pair
    EXPECT_EQ(FromUtf7("+A-x"), u"\uFFFDx");    // bits left over
    EXPECT_EQ(FromUtf7("+"), u"\uFFFD");
    EXPECT_EQ(FromUtf7("\xE9"), u"\u00E9");
}

TEST(FindUnit, AtEveryPlaceOfTextsOfEveryLength) {
    for (std::size_t size = 0; size < 80; ++size) {
        std::u16string text(size, u'\u0100');
        EXPECT_EQ(FindUnit(text, u'\0'), std::u16string::npos);
        for (std::size_t at = 0; at < size; ++at) {
            text[at] = u'\0';
            EXPECT_EQ(FindUnit(text, u'\0', at / 2), at);
            EXPECT_EQ(FindUnit(text, u'\0', at + 1), std::u16string::npos);
            text[at] = u'\u0100';
        }
    }
}

}  // namespace
}  // namespace qdvm
