#include "config/xml_node.h"
#include "platform/counted_string.h"
#include "platform/ref.h"

#include <gtest/gtest.h>

#include <string>

namespace qdvm::test {
namespace {

using namespace XMLParse;

class NodeInterfaceTest : public ::testing::Test {
protected:
    static CountedString S(std::u16string_view text) { return CountedString(text); }
    IQNode* Node() { return root.Get(); }
    std::u16string Text(IQNode* node) {
        CountedString text;
        EXPECT_EQ(node->ToText(text.Put()), S_OK);
        return std::u16string(text.View());
    }

    const XMLNodePtr root = CreateNode(u"root");
    CountedString out;
};

TEST_F(NodeInterfaceTest, AnswersForAttributesAndForNodes) {
    const Ref<IQAttributes> attributes = Ref<IUnknown>(Node()).As<IQAttributes>();
    ASSERT_TRUE(attributes);
    EXPECT_TRUE(attributes.As<IQNode>());
    EXPECT_TRUE(IsSameObject(attributes.Get(), Node()));
}

TEST_F(NodeInterfaceTest, AttributesByPathAndByIndex) {
    IQNode* const node = Node();
    LONG count = 7;
    EXPECT_EQ(node->GetCount(&count), S_FALSE);
    EXPECT_EQ(node->GetAsText(out.Put()), S_OK);
    EXPECT_EQ(out.View(), u"");
    EXPECT_EQ(node->SetInt(S(u"x::i").Get(), 7), S_OK);
    EXPECT_EQ(node->SetBool(S(u"b").Get(), 5), S_OK);
    EXPECT_EQ(node->SetDouble(S(u"d").Get(), 1.5), S_OK);
    EXPECT_EQ(node->SetString(S(u"s").Get(), S(u"10").Get()), S_OK);
    EXPECT_EQ(node->SetString(nullptr, S(u"10").Get()), E_INVALIDARG);
    EXPECT_EQ(node->GetCount(&count), S_OK);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(node->GetInt(S(u"X::I").Get(), &count), S_OK);
    EXPECT_EQ(count, 7);
    BOOL flag = 0;
    EXPECT_EQ(node->GetBool(S(u"b").Get(), &flag), S_OK);
    EXPECT_EQ(flag, 1);
    double value = 0;
    EXPECT_EQ(node->GetDouble(S(u"s").Get(), &value), S_OK);
    EXPECT_EQ(value, 10);
    EXPECT_EQ(node->GetDouble(S(u"none").Get(), &value), kNotFound);
    EXPECT_EQ(node->GetString(S(u"d").Get(), nullptr), E_POINTER);
    CountedString name;
    EXPECT_EQ(node->GetByIndex(1, name.Put(), out.Put()), S_OK);
    EXPECT_EQ(name.View(), u"d");
    EXPECT_EQ(out.View(), u"1.5");
    EXPECT_EQ(node->GetByIndex(3, nullptr, nullptr), kBadIndex);
    EXPECT_EQ(node->GetByIndex(-1, name.Put(), nullptr), kBadIndex);
    EXPECT_EQ(node->Remove(S(u"b").Get()), S_OK);
    EXPECT_EQ(node->Remove(S(u"b").Get()), kNotFound);
    EXPECT_EQ(node->SetFromText(S(u"d=2 y::z=3").Get(), 0), 1);
    EXPECT_EQ(node->SetFromText(S(u"words").Get(), 1), 0);
    EXPECT_EQ(node->SetFromText(nullptr, 1), E_INVALIDARG);
    EXPECT_EQ(node->GetAsText(out.Put()), S_OK);
    EXPECT_EQ(out.View(), u" d='2' s='10'");
}

TEST_F(NodeInterfaceTest, AttributesAreCopiedByMode) {
    IQNode* const node = Node();
    (void)node->SetFromText(S(u"a=1 b=2").Get(), 1);
    Ref<IQAttributes> copy;
    ASSERT_EQ(node->GetAsNode(copy.Put()), S_OK);
    (void)node->SetFromText(S(u"a=3 c=4").Get(), 2);
    EXPECT_EQ(node->CopyFrom(copy.Get(), 0), S_OK);
    EXPECT_EQ(root->GetInt(u"a"), 3);
    EXPECT_EQ(node->CopyFrom(copy.Get(), 1), S_OK);
    EXPECT_EQ(root->GetInt(u"a"), 1);
    EXPECT_EQ(node->CopyFrom(copy.Get(), 2), S_OK);
    EXPECT_EQ(root->AttrCount(), 2u);
    EXPECT_EQ(node->CopyFrom(nullptr, 2), E_INVALIDARG);
    EXPECT_EQ(node->RemoveAll(), S_OK);
    EXPECT_EQ(root->AttrCount(), 0u);
}

TEST_F(NodeInterfaceTest, ChildrenByPathAndByIndex) {
    IQNode* const node = Node();
    Ref<IQNode> child;
    EXPECT_EQ(node->AddChild(S(u"a::b").Get(), S(u"text").Get(), child.Put()), S_OK);
    EXPECT_EQ(node->AddChild(nullptr, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(child->GetPath(out.Put(), nullptr), S_OK);
    EXPECT_EQ(out.View(), u"a::b");
    EXPECT_EQ(child->GetValue(out.Put()), S_OK);
    EXPECT_EQ(out.View(), u"text");
    EXPECT_EQ(node->ChildByPath(S(u"a::c").Get(), 0, nullptr), kNotFound);
    EXPECT_EQ(node->ChildByPath(S(u"a::c").Get(), 1, nullptr), S_OK);
    Ref<IQNode> above;
    EXPECT_EQ(child->GetParent(above.Put()), S_OK);
    EXPECT_EQ(child->GetPath(out.Put(), above.Get()), S_OK);
    EXPECT_EQ(out.View(), u"b");
    EXPECT_EQ(above->ChildByIndex(1, out.Put(), nullptr), S_OK);
    EXPECT_EQ(out.View(), u"c");
    EXPECT_EQ(above->ChildByIndex(2, nullptr, nullptr), kBadIndex);
    // Taken out it comes empty, and its tree is the poorer for it.
    EXPECT_EQ(above->Remove(), S_OK);
    EXPECT_EQ(Text(above.Get()), u"<a/>");
    EXPECT_EQ(Text(node), u"<root/>");
    EXPECT_EQ(above->Remove(), S_FALSE);
    EXPECT_EQ(node->GetParent(above.Put()), S_FALSE);
    EXPECT_EQ(node->RemoveChild(S(u"a").Get()), S_FALSE);
    EXPECT_EQ(node->SetName(nullptr), E_INVALIDARG);
    EXPECT_EQ(node->SetName(S(u"new").Get()), S_OK);
    EXPECT_EQ(node->GetName(out.Put()), S_OK);
    EXPECT_EQ(out.View(), u"new");
}

TEST_F(NodeInterfaceTest, TextInAndOut) {
    IQNode* const node = Node();
    EXPECT_EQ(node->Parse(S(u"<doc a='1'><b>2</b></doc>").Get(), 0), S_OK);
    EXPECT_EQ(Text(node), u"<root a='1'>\r\n\t<b>2</b>\r\n</root>");
    Ref<IQNode> clone;
    EXPECT_EQ(node->Clone(clone.Put()), S_OK);
    EXPECT_EQ(Text(clone.Get()), Text(node));
    EXPECT_EQ(node->Clear(0), S_OK);
    EXPECT_EQ(Text(node), u"<root a='1'/>");
    EXPECT_EQ(node->Parse(S(u"<doc/>").Get(), 1), S_OK);
    EXPECT_EQ(Text(node), u"<doc/>");
    EXPECT_EQ(node->Parse(nullptr, 1), E_INVALIDARG);
    EXPECT_EQ(node->ToText(nullptr), E_POINTER);
}

TEST_F(NodeInterfaceTest, DescriptionsOfAttributes) {
    IQNode* const node = Node();
    LONG count = 7;
    EXPECT_EQ(node->InfoCount(&count), S_FALSE);
    EXPECT_EQ(count, 0);
    (void)node->Parse(
        S(u"<r><attributes_info><a default='7'>help<x>ex</x></a></attributes_info></r>").Get(), 1);
    EXPECT_EQ(node->InfoCount(&count), S_OK);
    EXPECT_EQ(count, 1);
    BOOL found = 1;
    EXPECT_EQ(node->GetWithDefault(S(u"a").Get(), &found, out.Put()), S_FALSE);
    EXPECT_EQ(found, 0);
    EXPECT_EQ(out.View(), u"7");
    EXPECT_EQ(node->InfoGet(S(u"a").Get(), eQIT_Help, out.Put()), S_OK);
    EXPECT_EQ(out.View(), u"help");
    EXPECT_EQ(node->InfoGet(S(u"a").Get(), eQIT_Max, out.Put()), S_FALSE);
    EXPECT_EQ(node->InfoGet(S(u"a").Get(), eQIT_Node, out.Put()), E_INVALIDARG);
    EXPECT_EQ(node->InfoGet(nullptr, eQIT_Help, out.Put()), E_INVALIDARG);
    EXPECT_EQ(node->OptionInfoGet(S(u"a").Get(), S(u"x").Get(), nullptr, out.Put()), S_OK);
    EXPECT_EQ(out.View(), u"ex");
    EXPECT_EQ(node->OptionInfoGet(S(u"a").Get(), nullptr, nullptr, out.Put()), E_INVALIDARG);
    EXPECT_EQ(node->InfoName(0, nullptr), E_POINTER);
    EXPECT_EQ(node->InfoName(1, out.Put()), kNotFound);
    EXPECT_EQ(node->AttrHelp(nullptr, out.Put()), S_FALSE);
    EXPECT_EQ(node->Reserved(), E_NOTIMPL);
}

}  // namespace
}  // namespace qdvm::test
