#include "config/xml_writer.h"
#include "config/xml_reader.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace qdvm::test {
namespace {

using namespace XMLParse;

TEST(XmlWriter, OneLineForEachChildBesideElements) {
    const XMLNodePtr root = CreateNode(u"root");
    EXPECT_EQ(ToText(root), u"<root/>");
    (void)root->SetAttr(u"a", ObjectVal(1));
    root->SetValue(u"<x> & 'y'");
    EXPECT_EQ(ToText(root), u"<root a='1'>&lt;x&gt; &amp; 'y'</root>");
    (void)root->AddChild(u"b::c", u"text");
    (void)root->AddChild(u"d");
    EXPECT_EQ(ToText(root),
              u"<root a='1'>\r\n\t&lt;x&gt; &amp; 'y'\r\n\t<b>\r\n\t\t<c>text</c>\r\n\t</b>"
              u"\r\n\t<d/>\r\n</root>");
    EXPECT_EQ(ToText(root->Children()[0]), u"");
}

TEST(XmlWriter, QuotesInValues) {
    const XMLNodePtr node = CreateNode(u"n");
    (void)node->SetAttr(u"a", ObjectVal(std::u16string_view(u"\"x\"")));
    (void)node->SetAttr(u"b", ObjectVal(std::u16string_view(u"it's \"x\"")));
    EXPECT_EQ(AttributesText(node), u" a='\"x\"' b=\"it's 'x'\"");
    EXPECT_EQ(node->GetString(u"b"), u"it's \"x\"");  // what the node holds isn't changed
}

TEST(XmlWriter, DepthTakesNoStackAndFewTabs) {
    std::u16string path = u"a";
    for (int i = 0; i < 5000; ++i) path += u"::a";
    const XMLNodePtr root = CreateNode(u"root");
    (void)root->Child(path, true);
    const std::u16string text = ToText(root);
    EXPECT_NE(text.find(std::u16string(64, u'\t')), std::u16string::npos);
    EXPECT_EQ(text.find(std::u16string(65, u'\t')), std::u16string::npos);
}

// A tree that a document can hold comes back the same.
class RandomTree {
public:
    explicit RandomTree(unsigned seed) : random(seed) {}

    XMLNodePtr Make() {
        XMLNodePtr root = CreateNode(Name());
        Fill(root, 0);
        return root;
    }

private:
    unsigned Pick(unsigned count) { return static_cast<unsigned>(random() % count); }

    std::u16string Name() {
        std::u16string name = u"n";
        for (unsigned i = Pick(9); i > 0; --i) name.push_back(u"abcxyz-.09:\u0436"[Pick(12)]);
        return name + u"e";  // "--" at the end of a tag doesn't close it
    }

    std::u16string Value() {
        std::u16string value = u".";
        for (unsigned i = Pick(12); i > 0; --i) value.push_back(u"ab <>&'=/;\u20AC-]"[Pick(13)]);
        return value + u".";
    }

    void Fill(const XMLNodePtr& node, unsigned depth) {
        for (unsigned i = Pick(5); i > 0; --i)
            (void)node->PutAttr(Name(), ObjectVal(std::u16string_view(Value())), true);
        for (unsigned i = Pick(depth < 5 ? 5 : 1); i > 0; --i) {
            if (Pick(3) == 0)
                node->AddText(Value());
            else
                Fill(node->AppendElement(Name()), depth + 1);
        }
    }

    std::mt19937 random;
};

TEST(XmlWriter, WhatWasWrittenReadsTheSame) {
    for (unsigned seed = 0; seed < 300; ++seed) {
        const std::u16string text = ToText(RandomTree(seed).Make());
        const XMLNodePtr back = CreateNode(u"x");
        ASSERT_EQ(Parse(back, text), S_OK);
        ASSERT_EQ(ToText(back), text) << "seed " << seed;
    }
}

}  // namespace
}  // namespace qdvm::test
