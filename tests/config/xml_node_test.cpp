#include "config/xml_node.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace qdvm::test {
namespace {

using namespace XMLParse;

ObjectVal Text(std::u16string_view text) { return ObjectVal(text); }

std::vector<std::u16string> NamesOf(const std::vector<XMLNodePtr>& nodes) {
    std::vector<std::u16string> names;
    for (const XMLNodePtr& node : nodes) names.push_back(node->Name());
    return names;
}

using Names = std::vector<std::u16string>;

TEST(XmlNode, APathFindsTheFirstOfAName) {
    const XMLNodePtr root = CreateNode(u"root");
    (void)root->AddChild(u"A::B", u"first");
    (void)root->AddChild(u"a::b", u"second");
    EXPECT_EQ(root->Child(u"a")->ChildCount(), 2u);
    EXPECT_EQ(root->Child(u"a::b")->Value(), u"first");
    EXPECT_EQ(root->Child(u"a::b")->Path(), u"A::B");
    EXPECT_EQ(root->Child(u"A::b")->Path(&*root->Child(u"a")), u"B");
    EXPECT_EQ(root->Path(), u"");
    EXPECT_EQ(root->Child(u""), root);
    EXPECT_EQ(root->Child(u"a::c"), nullptr);
    EXPECT_EQ(root->Child(u"a::b(1)"), nullptr);  // a plain name
    EXPECT_EQ(root->ChildCount(), 1u);
}

TEST(XmlNode, OnlyAskedForIsAnythingMade) {
    const XMLNodePtr root = CreateNode(u"root");
    EXPECT_FALSE(root->SetAttr(u"x::y::z", Text(u"1")));
    EXPECT_EQ(root->GetInt(u"x::y::z", 7), 7);
    EXPECT_FALSE(root->RemoveAttr(u"x::y::z"));
    EXPECT_EQ(root->ChildCount(), 0u);
    EXPECT_TRUE(root->SetAttr(u"x::y::z", Text(u"1"), true));
    EXPECT_EQ(root->Child(u"x::y")->GetInt(u"Z"), 1);
    // Nothing without a name can come into being by a path.
    EXPECT_EQ(root->Child(u"x::::y", true), nullptr);
    EXPECT_EQ(root->AddChild(u"x::"), nullptr);
    EXPECT_EQ(root->AddChild(u""), nullptr);
    EXPECT_FALSE(root->SetAttr(u"x::", Text(u"1"), true));
    EXPECT_FALSE(root->HasAttr(u""));
    EXPECT_EQ(root->Child(u"x")->ChildCount(), 1u);
}

TEST(XmlNode, AttributesKeepTheirOrderAndTheirKind) {
    const XMLNodePtr node = CreateNode(u"n");
    EXPECT_TRUE(node->SetAttr(u"Width", ObjectVal(1.5)));
    EXPECT_TRUE(node->SetAttr(u"b", Text(u"010")));
    EXPECT_FALSE(node->SetAttr(u"WIDTH", ObjectVal(2.5), false, true));
    EXPECT_EQ(node->GetDouble(u"width"), 1.5);
    EXPECT_TRUE(node->SetAttr(u"WIDTH", ObjectVal(std::uint32_t{16})));
    EXPECT_EQ(node->AttrCount(), 2u);
    EXPECT_EQ(node->AttrAt(0)->name, u"Width");
    EXPECT_EQ(node->AttrAt(0)->text, u"0x00000010");
    EXPECT_EQ(node->GetInt(u"b"), 8);
    EXPECT_EQ(node->AttrAt(1)->text, u"010");
    EXPECT_FALSE(node->AttrAt(2));
    EXPECT_TRUE(node->RemoveAttr(u"width"));
    EXPECT_EQ(node->AttrAt(0)->name, u"b");
    bool found = true;
    EXPECT_EQ(node->GetString(u"width", u"none", &found), u"none");
    EXPECT_FALSE(found);
}

// From some size on names are looked up in another way; both have to agree.
TEST(XmlNode, ManyNamesAreFoundAlsoAfterSomeAreGone) {
    const XMLNodePtr node = CreateNode(u"n");
    const auto nameOf = [](int i) { return u"name" + std::u16string(FormatInt(i)); };
    for (int i = 0; i < 40; ++i) {
        EXPECT_TRUE(node->SetAttr(nameOf(i), ObjectVal(i)));
        (void)node->AddChild(nameOf(i % 20), FormatInt(i));
    }
    EXPECT_TRUE(node->RemoveAttr(nameOf(0)));
    EXPECT_TRUE(node->RemoveChild(nameOf(3)));
    for (int i = 1; i < 40; ++i) EXPECT_EQ(node->GetInt(nameOf(i), -1), i);
    EXPECT_EQ(node->Child(nameOf(3))->Value(), u"23");
    EXPECT_EQ(node->Child(nameOf(4))->Value(), u"4");
    for (int i = 39; i > 0; --i) EXPECT_TRUE(node->RemoveAttr(nameOf(i)));
    EXPECT_EQ(node->AttrCount(), 0u);
}

TEST(XmlNode, ARenamedChildIsFoundByPosition) {
    const XMLNodePtr root = CreateNode(u"root");
    for (const int extra : {0, 30}) {
        const XMLNodePtr list = root->AddChild(u"list");
        const XMLNodePtr first = list->AddChild(u"one");
        for (int i = 0; i < extra; ++i) (void)list->AddChild(u"filler");
        const XMLNodePtr last = list->AddChild(u"two");
        EXPECT_TRUE(first->SetName(u"TWO"));
        EXPECT_EQ(list->Child(u"two"), first);
        EXPECT_EQ(list->Child(u"one"), nullptr);
        EXPECT_TRUE(first->SetName(u"three"));
        EXPECT_EQ(list->Child(u"two"), last);
        EXPECT_FALSE(first->SetName(u""));
    }
}

TEST(XmlNode, TextsInterleaveWithElements) {
    const XMLNodePtr node = CreateNode(u"n");
    node->AddText(u"1");
    node->AddText(u"");
    node->AddText(u"2");
    (void)node->AddChild(u"e");
    node->AddText(u"3");
    (void)node->AddChild(u"Attributes_Info");
    EXPECT_EQ(node->Children().size(), 4u);
    EXPECT_EQ(node->Value(), u"12");
    node->SetValue(u"x");
    EXPECT_EQ(node->Value(), u"x");
    EXPECT_EQ(node->ChildCount(), 1u);  // what clients see
    EXPECT_EQ(node->ChildAt(0)->Name(), u"e");
    EXPECT_EQ(node->ChildAt(1), nullptr);
    EXPECT_NE(node->Child(u"attributes_info"), nullptr);

    const XMLNodePtr text = node->Children()[0];
    EXPECT_TRUE(text->IsText());
    EXPECT_EQ(text->Name(), u"");
    EXPECT_FALSE(text->SetName(u"a"));
    EXPECT_FALSE(text->SetAttr(u"a", Text(u"1"), true));
    EXPECT_EQ(text->AddChild(u"a"), nullptr);
    EXPECT_EQ(text->Child(u"a", true), nullptr);
    text->AddText(u"y");
    EXPECT_EQ(node->Value(), u"x");
}

TEST(XmlNode, TextsOnBothSidesOfARemovedElementBecomeOne) {
    const XMLNodePtr node = CreateNode(u"n");
    (void)node->AddChild(u"e0");
    node->AddText(u"1");
    (void)node->AddChild(u"e1");
    node->AddText(u"2");
    EXPECT_TRUE(node->RemoveChild(u"e1"));  // the second text is the last child
    EXPECT_EQ(node->Children().size(), 2u);
    EXPECT_EQ(node->Value(), u"12");

    const XMLNodePtr other = CreateNode(u"n");
    other->AddText(u"1");
    (void)other->AddChild(u"e1");
    other->AddText(u"2");
    EXPECT_TRUE(other->RemoveChildAt(1));
    EXPECT_EQ(other->Children().size(), 2u);
    EXPECT_FALSE(other->RemoveChildAt(2));
    EXPECT_FALSE(other->RemoveChild(u""));
}

TEST(XmlNode, NodesOutliveTheirTree) {
    XMLNodePtr root = CreateNode(u"root");
    const XMLNodePtr child = root->AddChild(u"a::b");
    EXPECT_EQ(child->Parent()->Name(), u"a");
    root = nullptr;
    EXPECT_EQ(child->Parent(), nullptr);
    EXPECT_EQ(child->Path(), u"");
    EXPECT_NE(child->AddChild(u"c"), nullptr);
}

TEST(XmlNode, CopiesAreDeepAndCounted) {
    const XMLNodePtr root = CreateNode(u"root");
    (void)root->SetAttr(u"a", Text(u"1"));
    (void)root->AddChild(u"x::y", u"text");
    (void)root->AddChild(u"x::y", u"more");
    const XMLNodePtr target = CreateNode(u"t");
    (void)target->SetAttr(u"a", Text(u"old"));
    (void)target->SetAttr(u"b", Text(u"old"));
    (void)target->AddChild(u"gone");
    EXPECT_EQ(root->CopyTo(target, false, AttrMode::Keep), 3);
    EXPECT_EQ(target->Name(), u"t");
    EXPECT_EQ(target->GetString(u"a"), u"old");
    EXPECT_EQ(NamesOf(target->Child(u"x")->Elements()), (Names{u"y", u"y"}));
    EXPECT_EQ(target->Child(u"x::y")->Value(), u"text");
    EXPECT_EQ(target->Child(u"gone"), nullptr);
    EXPECT_EQ(root->CopyTo(target, true, AttrMode::Replace), 3);
    EXPECT_EQ(target->Name(), u"root");
    EXPECT_EQ(target->GetString(u"a"), u"1");
    EXPECT_FALSE(target->HasAttr(u"b"));
    EXPECT_EQ(root->CopyTo(root, true, AttrMode::Update), -1);
    EXPECT_EQ(root->CopyTo(nullptr, true, AttrMode::Update), -1);
    // A copy into itself would never end.
    EXPECT_EQ(root->CopyTo(root->Child(u"x"), false, AttrMode::Update), -1);
    // The other way round the source leaves the tree first.
    EXPECT_EQ(root->Child(u"x")->CopyTo(root, false, AttrMode::Update), 2);
    EXPECT_EQ(NamesOf(root->Elements()), (Names{u"y", u"y"}));
}

TEST(XmlNode, DepthTakesNoStack) {
    std::u16string path = u"a";
    for (int i = 0; i < 200000; ++i) path += u"::a";
    const XMLNodePtr root = CreateNode(u"root");
    const XMLNodePtr deepest = root->Child(path, true);
    ASSERT_NE(deepest, nullptr);
    EXPECT_EQ(deepest->Path().size(), path.size());
    const XMLNodePtr copy = CreateNode(u"copy");
    EXPECT_EQ(root->CopyTo(copy, false, AttrMode::Replace), 200001);
}

TEST(XmlNode, ThreadsShareATree) {
    const XMLNodePtr root = CreateNode(u"root");
    std::atomic<bool> isOver{false};
    const auto write = [&](std::u16string_view name) {
        for (int i = 0; i < 500; ++i) {
            (void)root->SetAttr(std::u16string(u"a::") + std::u16string(name), ObjectVal(i), true);
            const XMLNodePtr child = root->AddChild(name, u"1");
            (void)child->SetName(u"renamed");
            (void)root->RemoveChildNode(*child);
        }
    };
    const auto read = [&] {
        const XMLNodePtr copy = CreateNode(u"copy");
        while (!isOver) {
            (void)root->CopyTo(copy, true, AttrMode::Replace);
            (void)root->GetDouble(u"a::x");
            (void)root->GetString(u"a::x");
            (void)root->ChildCount();
        }
    };
    std::thread first(write, u"x");
    std::thread second(write, u"y");
    std::thread third(read);
    first.join();
    second.join();
    isOver = true;
    third.join();
    EXPECT_EQ(root->GetInt(u"a::x"), 499);
    EXPECT_EQ(root->GetInt(u"a::y"), 499);
    EXPECT_EQ(NamesOf(root->Elements()), Names{u"a"});
}

}  // namespace
}  // namespace qdvm::test
