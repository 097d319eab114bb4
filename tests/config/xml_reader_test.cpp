#include "config/xml_reader.h"

#include "config/file_path.h"
#include "config/xml_writer.h"
#include "platform/file.h"
#include "platform/text.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm::test {
namespace {

using namespace XMLParse;

// The document as it comes out again, without line ends and tabs; "-" for no document.
std::string Read(std::u16string_view text) {
    const XMLNodePtr node = CreateNode(u"former");
    (void)node->SetAttr(u"gone", ObjectVal(1));
    if (Failed(Parse(node, text))) return "-";
    std::string out;
    for (const char c : ToUtf8(ToText(node)))
        if (c != '\r' && c != '\n' && c != '\t') out.push_back(c);
    return out;
}

std::u16string ValueOf(std::u16string_view text) {
    const XMLNodePtr node = CreateNode(u"n");
    (void)Parse(node, text);
    return node->Value();
}

TEST(XmlReader, AttributesInAnyForm) {
    EXPECT_EQ(Read(u"<A b=1 c='2' d=\"3\" e>"), "<a b='1' c='2' d='3'/>");
    EXPECT_EQ(Read(u"<a b='x>y'/>"), "<a b='x>y'/>");
    EXPECT_EQ(Read(u"<a b='x'y'/>"), "<a b='x'/>");
    EXPECT_EQ(Read(u"<a b = '1'\n B=\"2\"\tC=x/>"), "<a b='2' C='x'/>");
    EXPECT_EQ(Read(u"<a ='1' b=>"), "<a ='1'/>");
    EXPECT_EQ(Read(u"<a b='&lt;\n<>'/>"), "<a b='&lt;<>'/>");
    EXPECT_EQ(Read(u"<a x/>"), "<a/>");  // a single character is no attribute text
    EXPECT_EQ(Read(u"<a b='1'"), "<a b='1'/>");
    EXPECT_EQ(Read(u"<a b='it\"s'/>"), "<a b='it\"s'/>");
    EXPECT_EQ(Read(u"<a b=\"it's\"/>"), "<a b=\"it's\"/>");
    EXPECT_EQ(Read(u"<a b=it's\"/>"), "<a b=\"it's'\"/>");
    EXPECT_EQ(Read(u"<a bc='1' d='2'BC='3' />"), "<a bc='3' d='2'/>");
    EXPECT_EQ(Read(u"<a b'1' c='2>3'/>"), "<a c='2>3'/>");
    EXPECT_EQ(Read(u"</a b='>'><c/>"), "<c/>");
}

TEST(XmlReader, WhatWasReadLastsWithoutTheTextAndTheTree) {
    std::u16string text = u"<r first='one' Second='two'><b long-name='a longer value' c='3'/></r>";
    XMLNodePtr root = CreateNode(u"n");
    ASSERT_EQ(Parse(root, text), S_OK);
    std::fill(text.begin(), text.end(), u'x');
    XMLNodePtr child = root->Child(u"b");
    root = nullptr;
    EXPECT_EQ(child->GetInt(u"c"), 3);
    ASSERT_TRUE(child->SetAttr(u"C", ObjectVal(4)));
    const std::optional<ObjectVal> value = child->GetAttr(u"Long-Name");
    const std::vector<XMLAttribute> all = child->Attributes();
    child = nullptr;
    ASSERT_TRUE(value);
    EXPECT_EQ(ObjectVal(*value).AsText(), u"a longer value");
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].name.View(), u"long-name");
    EXPECT_EQ(ObjectVal(all[1].value).AsText(), u"4");
}

TEST(XmlReader, TextsAndElementsKeepTheirPlaces) {
    EXPECT_EQ(Read(u"<a>1<b/>2</a>"), "<a>1<b/>2</a>");
    EXPECT_EQ(ValueOf(u"<a>1<b/>2</a>"), u"1");
    EXPECT_EQ(ValueOf(u"<a>  x  </a>"), u"  x  ");
    EXPECT_EQ(ValueOf(u"<a>\r\n\tx\r\n</a>"), u"x");
    EXPECT_EQ(ValueOf(u"<a>x\r\n\ty</a>"), u"x   y");
    EXPECT_EQ(Read(u"<a>   </a>"), "<a/>");
    EXPECT_EQ(ValueOf(u"<a>&nbsp;</a>"), u" ");
    EXPECT_EQ(Read(u"<a>x<br>y</a>"), "<a>x<br/>y</a>");
    EXPECT_EQ(Read(u"<a>x</tab>y</a>z"), "<a>x<tab/>y</a>");
    EXPECT_EQ(Read(u"<a><![CDATA[<x> & ]]></a>"), "<a>&lt;x&gt;  </a>");
    EXPECT_EQ(Read(u"<a><![CDATA[don't]]><b>it's</b></a>"), "<a>don't<b>it's</b></a>");
    EXPECT_EQ(Read(u"<a>1<![CDATA[2]]>3</a>"), "<a>123</a>");
    EXPECT_EQ(ValueOf(u"<![CDATA[x]]>"), u"x");
    EXPECT_EQ(Read(u"<a>x<!-- y -->z</a>"), "<a>x&lt;!-- y --&gt;z</a>");
}

TEST(XmlReader, EntitiesBecomeCharacters) {
    EXPECT_EQ(ValueOf(u"<a>&lt;&gt;&amp;&apos;&quot;&copy;&reg;</a>"), u"<>&'\"\u00A9\u00AE");
    EXPECT_EQ(ValueOf(u"<a>&#65;&#x41;&#0101;&#0x41;</a>"), u"AAAA");
    EXPECT_EQ(ValueOf(u"<a>AT&T &LT; &#; &#xyz</a>"), u"ATT LT; #; #xyz");
    EXPECT_EQ(ValueOf(u"<a>&#65 b&#65</a>"), u"AbA");       // one character behind it goes
    EXPECT_EQ(ValueOf(u"<a>x&#0;y&#65536;z</a>"), u"xyz");  // no zero inside a text
    EXPECT_EQ(ValueOf(u"<a>&#10;</a>"), u"\n");
    EXPECT_EQ(Read(u"<a>&#32;&#x20;</a>"), "<a/>");
}

TEST(XmlReader, FaultsAreAbsorbed) {
    EXPECT_EQ(Read(u"<a><b></a>"), "<a><b/></a>");
    EXPECT_EQ(Read(u"<a><b>1</a>2<c/>"), "<a><b>12<c/></b></a>");
    EXPECT_EQ(Read(u"x</x><a/>"), "<a/>");
    EXPECT_EQ(Read(u"<a>1</b>2<![CDATA[3]]>4</a>"), "<a>1234</a>");
    EXPECT_EQ(Read(u"<A><B>1</b x>2</  A >3"), "<a><b>1</b>2</a>");
    EXPECT_EQ(Read(u"<a>1<>2<b/>3"), "<a>2<b/>3</a>");  // the text in front of "<>" goes with it
    EXPECT_EQ(Read(u"<a>1<>"), "<a>1&lt;&gt;</a>");     // at the very end nothing is lost
    EXPECT_EQ(Read(u"<a>1<"), "<a>1&lt;</a>");
    EXPECT_EQ(Read(u"<a>1<!-- 2"), "<a>1&lt;!-- 2</a>");
    EXPECT_EQ(Read(u"<a b--><c/>"), "<a/>");  // as if a comment ended there
    EXPECT_EQ(Read(u"<a--><c/>"), "<a--><c/></a-->");
    EXPECT_EQ(Read(u"<!DOCTYPE x><a/>"), "<!doctype><a/></!doctype>");
    EXPECT_EQ(Read(u"\uFEFF<?xml version='1.0'?>\n<!-- > <b/> --><a/>"), "<a/>");
    EXPECT_EQ(Read(u"<a>\u0416<\u0416b/></a>"),
              "<a>\xD0\x96<\xD0\xB6"
              "b/></a>");
    for (const auto* text : {u"", u"no tag", u"<", u"<>", u"</a>", u"< ><a/>", u"<!-- <a/>"})
        EXPECT_EQ(Read(text), "-");
}

TEST(XmlReader, TellsWhereItStopped) {
    const XMLNodePtr node = CreateNode(u"n");
    const std::u16string_view text = u"<a>1</a><b/>";
    std::size_t end = text.size();
    EXPECT_EQ(Parse(node, text, &end), S_OK);
    EXPECT_EQ(end, 8u);
    end = 4;
    EXPECT_EQ(Parse(node, text, &end), S_OK);
    EXPECT_EQ(end, 4u);
    EXPECT_EQ(node->Value(), u"1");
    EXPECT_EQ(Parse(node, std::nullopt), E_INVALIDARG);
    EXPECT_EQ(node->Value(), u"1");
    EXPECT_EQ(Parse(node, u"nothing"), E_INVALIDARG);
    EXPECT_EQ(node->Value(), u"");
}

TEST(XmlReader, AttributeTextByModeAndByPath) {
    const XMLNodePtr node = CreateNode(u"n");
    EXPECT_TRUE(ParseAttributes(node, u"a=1 b=2", AttrMode::Update, false));
    EXPECT_TRUE(ParseAttributes(node, u"a=3 c=4", AttrMode::Keep, false));
    EXPECT_EQ(AttributesText(node), u" a='1' b='2' c='4'");
    EXPECT_TRUE(ParseAttributes(node, u"a=5 x::y='6'", AttrMode::Keep, true));
    EXPECT_EQ(node->GetInt(u"a"), 5);
    EXPECT_EQ(node->GetInt(u"x::y"), 6);
    EXPECT_TRUE(ParseAttributes(node, u"x::y='6'", AttrMode::Replace, false));
    EXPECT_EQ(AttributesText(node), u" x::y='6'");
    EXPECT_FALSE(ParseAttributes(node, u"bare words =", AttrMode::Update, false));
    EXPECT_FALSE(ParseAttributes(node, u"", AttrMode::Replace, false));
    EXPECT_EQ(node->AttrCount(), 1u);
}

std::u16string Repeated(std::u16string_view part, std::size_t times) {
    std::u16string text;
    for (std::size_t i = 0; i < times; ++i) text += part;
    return text;
}

// Each of these has a way to read the rest of the text again and again, or one inside the other.
TEST(XmlReader, HostileTextsTakeLinearTime) {
    constexpr std::size_t kMebi = 1 << 20;
    const std::u16string_view parts[] = {
        u"<",        u"<a", u"<a>",    u"<a ",      u"<![['']]>'", u"<![[",  u"<!--",
        u"<?",       u"'",  u"<a b='", u"</a>",     u"<a/>",       u"a=1 ",  u"<>x",
        u"<!-->-->", u"&#", u"<a -->", u"<a b=\"'", u"\t ",        u"x</b>", u"<a b='1' <"};
    for (const std::u16string_view part : parts) {
        const std::u16string text = u"<r>" + Repeated(part, kMebi / part.size());
        const XMLNodePtr node = CreateNode(u"n");
        EXPECT_EQ(Parse(node, text), S_OK);
        EXPECT_EQ(node->Name(), u"r");
    }
    std::u16string names = u"<r ";
    for (int i = 0; i < 100000; ++i) names += u"a" + FormatInt(i) + u"=1 ";
    const XMLNodePtr node = CreateNode(u"n");
    EXPECT_EQ(Parse(node, names), S_OK);
    EXPECT_EQ(node->AttrCount(), 100000u);
    EXPECT_EQ(node->GetInt(u"A99999"), 1);
}

TEST(XmlReader, NestingBeyondTheBoundStaysAtTheBound) {
    const std::u16string text =
        Repeated(u"<e>", kMostNesting) + u"<x a='1'>in<y/></x><e></e><z/>out";
    const XMLNodePtr root = CreateNode(u"n");
    ASSERT_EQ(Parse(root, text), S_OK);
    XMLNodePtr node = root;
    for (std::size_t depth = 1; depth < kMostNesting; ++depth) node = node->ChildAt(0);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->ChildCount(), 4u);
    EXPECT_NE(node->Child(u"z"), nullptr);  // behind what closed an element that has no depth
    EXPECT_EQ(node->GetInt(u"x::a"), 1);
    EXPECT_EQ(node->Value(), u"in");
    EXPECT_NE(node->Child(u"y"), nullptr);
}

class XmlFileTest : public ::testing::Test {
protected:
    // The document in a file of these bytes.
    std::string ReadBytes(std::string_view bytes) {
        const std::u16string path = FromUtf8(directory.Path().string() + "/in.xml");
        EXPECT_EQ(
            WriteFile(path, {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}),
            S_OK);
        const XMLNodePtr node = CreateNode(u"n");
        const HRESULT result = ParseFile(node, path);
        return Succeeded(result) ? ToUtf8(ToText(node)) : "-";
    }

    std::u16string Path(std::u16string_view name) {
        return FromUtf8(directory.Path().string() + "/") + std::u16string(name);
    }

    TemporaryDirectory directory;
};

TEST_F(XmlFileTest, EveryEncodingIsRead) {
    using std::string_view_literals::operator""sv;
    const std::string expected = "<a>\xC3\xA4</a>";
    EXPECT_EQ(ReadBytes("<a>\xC3\xA4</a>"), expected);
    EXPECT_EQ(ReadBytes("\xEF\xBB\xBF<a>\xC3\xA4</a>"), expected);
    EXPECT_EQ(ReadBytes("<a>\xE4</a>"), expected);
    EXPECT_EQ(ReadBytes("\xEF\xBB\xBF<a>\xE4</a>"), expected);  // the mark lied
    EXPECT_EQ(ReadBytes("<?xml encoding='UTF-8'?><a>\xC3\xA4</a>"), expected);
    EXPECT_EQ(ReadBytes("<?xml encoding='utf-7'?><a>+AOQ-</a>"), expected);
    EXPECT_EQ(ReadBytes("<a>+AOQ-</a>"), "<a>+AOQ-</a>");
    EXPECT_EQ(ReadBytes("\xFF\xFE<\0a\0>\0\xE4\0<\0/\0a\0>\0"sv), expected);
    EXPECT_EQ(ReadBytes("<\0a\0>\0\xE4\0<\0/\0a\0>\0"sv), expected);
    EXPECT_EQ(ReadBytes("\xFE\xFF\0<\0a\0>\0\xE4\0<\0/\0a\0>"sv), expected);
    EXPECT_EQ(ReadBytes("\0<\0a\0>\0\xE4\0<\0/\0a\0>"sv), expected);
    EXPECT_EQ(ReadBytes("\xFF\xFE<\0a\0/\0>\0!"sv), "<a/>");  // an odd byte at the end
    EXPECT_EQ(ReadBytes("<a b='1'/>a zero at the end\0x"sv), "<a b='1'/>");
    EXPECT_EQ(ReadBytes(""), "-");
    EXPECT_EQ(ReadBytes("\xFF\xFE"), "-");
}

TEST_F(XmlFileTest, CommentsAndInstructionsGo) {
    EXPECT_EQ(ReadBytes("<?xml version='1.0'?><!-- <b> --><a>1<!-- > -->2<?x?>3</a>"),
              "<a>123</a>");
    EXPECT_EQ(ReadBytes("<a>1<!--> <b/> -->2</a>"), "<a>12</a>");
    EXPECT_EQ(ReadBytes("<a>1<!-- 2</a>"), "<a>1</a>");
    EXPECT_EQ(ReadBytes("<!-- <a/>"), "-");
}

TEST_F(XmlFileTest, AnythingIsAFileADocumentOrAListOfValues) {
    const std::u16string path = Path(u"show.xml");
    const XMLNodePtr node = CreateNode(u"n");
    ASSERT_EQ(Parse(node, u"<show a='1'/>"), S_OK);
    ASSERT_EQ(SaveFile(node, path, false), S_OK);
    const auto any = [](std::optional<std::u16string_view> text, XMLNodePtr& made) {
        made = CreateNode(u"n");
        return ParseAny(made, text);
    };
    XMLNodePtr made;
    EXPECT_EQ(any(path, made), S_OK);
    EXPECT_EQ(made->Name(), u"show");
    EXPECT_EQ(any(u"<doc/>", made), S_OK);
    EXPECT_EQ(made->Name(), u"doc");
    EXPECT_EQ(any(u"a=1 b='/x.y'", made), 1);
    EXPECT_EQ(made->GetString(u"b"), u"/x.y");
    EXPECT_EQ(any(u"words", made), 0);
    EXPECT_EQ(any(std::nullopt, made), E_INVALIDARG);
    EXPECT_EQ(ParseFile(made, Path(u"missing.xml")), HResultFromWin32(ERROR_FILE_NOT_FOUND));
}

TEST_F(XmlFileTest, NothingIsLostOnTheWayThroughAFile) {
    for (const std::u16string_view value :
         {u"plain", u"\u00E4\u20AC", u"\u00C3\u00A9 looks like UTF-8", u"\u0416\U0001F3AC"}) {
        const XMLNodePtr node = CreateNode(u"n");
        node->SetValue(value);
        for (const bool unicode : {false, true}) {
            ASSERT_EQ(SaveFile(node, Path(u"out.xml"), unicode), S_OK);
            const XMLNodePtr back = CreateNode(u"x");
            EXPECT_EQ(ParseFile(back, Path(u"out.xml")), S_OK);
            EXPECT_EQ(back->Value(), value);
        }
    }
    std::vector<std::uint8_t> bytes;
    const XMLNodePtr node = CreateNode(u"n");
    node->SetValue(u"\u00E4");
    ASSERT_EQ(SaveFile(node, Path(u"out.xml"), false), S_OK);
    ASSERT_EQ(ReadFile(Path(u"out.xml"), bytes), S_OK);
    EXPECT_EQ(bytes.size(), 8u);  // one byte for each character
    EXPECT_EQ(SaveFile(node, u"", true), S_OK);
    EXPECT_EQ(SaveFile(node->Children()[0], Path(u"empty.xml"), true), E_UNEXPECTED);
    EXPECT_TRUE(FileExists(Path(u"empty.xml")));
    EXPECT_TRUE(Failed(SaveFile(node, Path(u"no/such/place.xml"), true)));
}

TEST(FilePath, OfEitherSystem) {
    for (const auto* path : {u"/a", u"c:/a", u"C:\\a", u"\\\\server", u"\\\\.\\x", u"file://a"})
        EXPECT_TRUE(IsAbsolutePath(path)) << ToUtf8(path);
    for (const auto* path : {u"", u"/", u"a/b", u"c:a", u"c:\\", u"..\\a.xml"})
        EXPECT_FALSE(IsAbsolutePath(path)) << ToUtf8(path);
    for (const auto* path : {u"show.xml", u"a.qd", u"shows/first", u"..\\a.xml", u"/a"})
        EXPECT_TRUE(IsFilePath(path)) << ToUtf8(path);
    for (const auto* path : {u"", u"word", u"a.", u"a.b?", u"<a.b/>", u"/a|b", u"*.xml"})
        EXPECT_FALSE(IsFilePath(path)) << ToUtf8(path);
    EXPECT_FALSE(IsFilePath(u"/" + std::u16string(2600, u'a')));
}

}  // namespace
}  // namespace qdvm::test
