#include "config/attribute_info.h"
#include "config/xml_reader.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace qdvm::test {
namespace {

using namespace XMLParse;
using Answer = std::optional<std::u16string>;

XMLNodePtr Document(std::u16string_view text) {
    const XMLNodePtr root = CreateNode(u"n");
    EXPECT_EQ(Parse(root, text), S_OK);
    return root;
}

std::vector<std::u16string> AllNames(const XMLNodePtr& node) {
    std::vector<std::u16string> names;
    std::u16string name;
    for (LONG i = 0; Succeeded(NameOfInfo(node, i, name)); ++i) names.push_back(name);
    return names;
}

using Names = std::vector<std::u16string>;

TEST(AttributeInfo, TellsOfANodesOwnAttributes) {
    const XMLNodePtr root = Document(
        u"<r a='1'><attributes_info><a type='int' default='' values='1|2' min='1'>help</a><b/>"
        u"</attributes_info></r>");
    EXPECT_EQ(InfoText(root, u"A", eQIT_Help), u"help");
    EXPECT_EQ(InfoText(root, u"a", eQIT_Type), u"int");
    EXPECT_EQ(InfoText(root, u"a", eQIT_Default), u"");
    EXPECT_EQ(InfoText(root, u"a", eQIT_Values), u"1|2");
    EXPECT_EQ(InfoText(root, u"a", eQIT_Min), u"1");
    EXPECT_EQ(InfoText(root, u"a", eQIT_Max), std::nullopt);
    EXPECT_EQ(InfoText(root, u"b", eQIT_Help), std::nullopt);
    EXPECT_EQ(InfoText(root, u"c", eQIT_Help), std::nullopt);
}

TEST(AttributeInfo, TheParentsListIsLookedAtUnlessInheritIsOff) {
    for (const bool inherits : {true, false}) {
        const XMLNodePtr root = Document(
            u"<r><attributes_info><a>above</a></attributes_info><x><attributes_info "
            u"inherit='true'><b>own</b></attributes_info></x></r>");
        (void)root->SetAttr(u"x::attributes_info::inherit", ObjectVal(inherits));
        const XMLNodePtr x = root->Child(u"x");
        EXPECT_EQ(InfoText(x, u"b", eQIT_Help), u"own");
        EXPECT_EQ(InfoText(x, u"a", eQIT_Help), inherits ? Answer(u"above") : std::nullopt);
        EXPECT_EQ(AllNames(x), inherits ? (Names{u"a", u"b"}) : Names{u"b"});
    }
}

TEST(AttributeInfo, EntriesServeAKindOfElementAndChain) {
    const XMLNodePtr root = Document(
        u"<r><attributes_info><box inherit='shape' tip='t'>a box<w>width</w></box><shape "
        u"more='m'><w>other</w><h>height</h></shape></attributes_info>"
        u"<g><box/><box.red/><ball/></g></r>");
    for (const auto* name : {u"g::box", u"g::box.red"}) {
        const XMLNodePtr box = root->Child(name);
        EXPECT_EQ(InfoText(box, u"w", eQIT_Help), u"width");
        EXPECT_EQ(InfoText(box, u"h", eQIT_Help), u"height");
        EXPECT_EQ(AllNames(box), (Names{u"w", u"w", u"h"}));
    }
    EXPECT_EQ(InfoText(root->Child(u"g::ball"), u"w", eQIT_Help), std::nullopt);
    std::u16string name;
    EXPECT_EQ(NameOfInfo(root->Child(u"g::box"), 3, name), kNotFound);
    EXPECT_EQ(NameOfInfo(root->Child(u"g::box"), 4, name), kBadIndex);
    EXPECT_EQ(NameOfInfo(root->Child(u"g::ball"), 0, name), kBadIndex);
    EXPECT_EQ(NameOfInfo(root, -1, name), E_INVALIDARG);
    EXPECT_EQ(ElementHelp(root->Child(u"g::box"), u""), u"a box");
    EXPECT_EQ(ElementHelp(root->Child(u"g::box"), u"more"), u"m");
    EXPECT_EQ(ElementHelp(root->Child(u"g::box"), u"none"), std::nullopt);
    EXPECT_EQ(ElementHelp(root->Child(u"g::box.red"), u""), std::nullopt);
}

TEST(AttributeInfo, ACircleOfEntriesEnds) {
    const XMLNodePtr root = Document(
        u"<r><attributes_info><a inherit='b'><x/></a><b inherit='c'/><c inherit='b'/>"
        u"</attributes_info><g><a/></g></r>");
    const XMLNodePtr a = root->Child(u"g::a");
    EXPECT_EQ(InfoText(a, u"none", eQIT_Help), std::nullopt);
    EXPECT_EQ(ElementHelp(a, u"none"), std::nullopt);
    EXPECT_EQ(AllNames(a), Names{u"x"});
}

TEST(AttributeInfo, ValuesFallBackOnOthersAndOnOptions) {
    const XMLNodePtr root = Document(
        u"<r><attributes_info><a><one why='w'>first</one><two/></a>"
        u"<b select_from='a'/><c select_from='d'><own/></c><d values='x y'><x>ex</x></d>"
        u"<e select_from='d'/></attributes_info></r>");
    EXPECT_EQ(InfoText(root, u"a", eQIT_Values), u"one|two|");
    EXPECT_EQ(InfoText(root, u"b", eQIT_Values), u"one|two|");
    EXPECT_EQ(InfoText(root, u"c", eQIT_Values), u"own|");
    EXPECT_EQ(InfoText(root, u"e", eQIT_Values), u"x y");
    EXPECT_EQ(OptionText(root, u"b", u"ONE", u""), u"first");
    EXPECT_EQ(OptionText(root, u"b", u"one", u"why"), u"w");
    EXPECT_EQ(OptionText(root, u"c", u"x", u""), u"ex");
    EXPECT_EQ(OptionText(root, u"c", u"y", u""), std::nullopt);
    EXPECT_EQ(OptionText(root, u"none", u"y", u""), std::nullopt);
}

TEST(AttributeInfo, NamesAreGatheredOnceWithWhatTellsOfThem) {
    const XMLNodePtr root = Document(
        u"<r><attributes_info><p/></attributes_info><x B='1' c='2'><attributes_info><a/><b/>"
        u"</attributes_info></x></r>");
    InfoNames names(kMostInfoNames);
    std::size_t count = 0;
    EXPECT_NE(InfoList(root->Child(u"x"), &count, nullptr, &names), nullptr);
    EXPECT_EQ(count, 3u);
    ASSERT_EQ(names.Size(), 4u);
    EXPECT_EQ(names.At(1).name, u"b");
    EXPECT_TRUE(names.At(2).isDescribed);  // "p" of the parent
    EXPECT_EQ(names.At(3).name, u"c");
    EXPECT_FALSE(names.At(3).isDescribed);
}

}  // namespace
}  // namespace qdvm::test
