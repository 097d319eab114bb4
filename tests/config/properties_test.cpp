#include "config/properties.h"
#include "platform/counted_string.h"
#include "platform/object_root.h"

#include <qdvideomixer/version.h>

#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace qdvm::test {
namespace {

constexpr HRESULT kPastTheEnd = HResultFromWin32(ERROR_INVALID_INDEX);

// On the stack, so uncounted.
class Owner final : public IQPropsImpl {
public:
    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
};

class PropertiesTest : public ::testing::Test {
protected:
    HRESULT Set(std::u16string_view name, std::u16string_view value) {
        return props.PropsSet(CountedString(name).Get(), CountedString(value).Get());
    }
    // None for S_FALSE.
    std::optional<std::u16string> Get(std::u16string_view name) {
        CountedString value;
        const HRESULT result = props.PropsGet(CountedString(name).Get(), value.Put());
        if (result != S_OK) return std::nullopt;
        return std::u16string(value.View());
    }
    LONG Count(std::u16string_view node) {
        LONG count = -1;
        (void)props.PropsGetCount(CountedString(node).Get(), &count);
        return count;
    }
    // "name=value", with "/" behind the name of a node.
    std::u16string At(std::u16string_view node, LONG index) {
        CountedString name;
        CountedString value;
        BOOL isNode = 7;
        if (Failed(props.PropsGetByIndex(CountedString(node).Get(), index, name.Put(), value.Put(),
                                         &isNode)))
            return u"-";
        return std::u16string(name.View()) + (isNode ? u"/=" : u"=") + std::u16string(value.View());
    }
    HRESULT Remove(std::u16string_view name) {
        return props.PropsRemove(CountedString(name).Get());
    }

    Owner props;
    CountedString out;
};

TEST_F(PropertiesTest, ValuesComeBackUnderAnyCase) {
    EXPECT_EQ(Get(u""), u"<q-props/>");
    EXPECT_EQ(Set(u"x", u"1"), S_OK);
    EXPECT_EQ(Get(u"X"), u"1");
    EXPECT_EQ(Count(u""), 1);
    EXPECT_EQ(At(u"", 0), u"x=1");
    EXPECT_EQ(At(u"", 1), u"-");
    EXPECT_EQ(At(u"", -1), u"-");
    EXPECT_EQ(At(u"none", 0), u"-");
    EXPECT_EQ(Get(u"y"), std::nullopt);
    EXPECT_EQ(props.PropsGet(nullptr, nullptr), E_POINTER);
    for (const auto* name : {u"a::", u"a::::b", u"::a", u"::"})
        EXPECT_EQ(Set(name, u"1"), E_INVALIDARG);
    EXPECT_EQ(Get(u""), u"<q-props x='1'/>");
}

TEST_F(PropertiesTest, AValueThatGetsValuesBelowItBecomesANode) {
    EXPECT_EQ(Set(u"a", u"1"), S_OK);
    EXPECT_EQ(Set(u"a::b", u"2"), S_OK);
    EXPECT_EQ(Get(u""), u"<q-props>\r\n\t<a b='2'>1</a>\r\n</q-props>");
    EXPECT_EQ(Get(u"a"), u"1");
    EXPECT_EQ(Set(u"a", u"3"), S_OK);  // now the node's text
    EXPECT_EQ(Get(u"a"), u"3");
    EXPECT_EQ(At(u"", 0), u"a/=3");
    // However far below.
    EXPECT_EQ(Set(u"c", u"4"), S_OK);
    EXPECT_EQ(Set(u"c::d::e", u"5"), S_OK);
    EXPECT_EQ(Set(u"c", u"6"), S_OK);
    EXPECT_EQ(Get(u"c"), u"6");
    EXPECT_EQ(Set(u"n::a", u"1"), S_OK);
    EXPECT_EQ(Get(u"n"), u" a='1'");
}

TEST_F(PropertiesTest, TheWholeTakesTextPairsAndDocuments) {
    EXPECT_EQ(Set(u"", u"a='1' b::c='2'"), S_OK);
    EXPECT_EQ(Get(u"a"), u"1");
    EXPECT_EQ(Get(u"b::c"), u"2");
    EXPECT_EQ(Set(u"", u"<a/>"), S_OK);  // without "=" a plain text
    EXPECT_EQ(Get(u""), u"<q-props a='1'>\r\n\t<b c='2'/>\r\n\t&lt;a/&gt;\r\n</q-props>");
    EXPECT_EQ(Set(u"", u"<doc x='1'/>"), S_OK);
    EXPECT_EQ(Get(u""), u"<doc x='1'/>");
    EXPECT_EQ(Set(u"", u"y='<'"), S_OK);  // quoted, so no document
    EXPECT_EQ(Get(u"y"), u"<");
    EXPECT_EQ(Set(u"", u"= <"), E_INVALIDARG);
    EXPECT_EQ(Set(u"", u"z ="), E_FAIL);
    EXPECT_EQ(Set(u"x", u"1"), S_OK);
    EXPECT_EQ(Set(u"", u""), S_OK);
    EXPECT_EQ(Get(u""), u"<doc/>");
    EXPECT_EQ(props.PropsSet(nullptr, nullptr), E_INVALIDARG);
}

TEST_F(PropertiesTest, TheLibraryTellsOfItself) {
    const std::string version = QDVM_VERSION_TEXT ".0";
    EXPECT_EQ(Get(u"DLL-Version"), std::u16string(version.begin(), version.end()));
    EXPECT_EQ(Get(u"dll-file-version"), Get(u"dll-version"));
    EXPECT_EQ(Get(u"dll-path").value_or(u"").substr(0, 1), u"/");
    EXPECT_GE(Get(u"dll-date").value_or(u"").size(), 20u);
}

TEST_F(PropertiesTest, RemovedIsGone) {
    EXPECT_EQ(Remove(u"nothing"), E_INVALIDARG);
    EXPECT_EQ(Remove(u""), E_INVALIDARG);
    EXPECT_EQ(Remove(u"_all_nodes_"), S_OK);
    (void)Set(u"", u"a=1 b::c=2 d::e=3 f=4");
    EXPECT_EQ(Remove(u"b::c"), S_OK);
    EXPECT_EQ(Remove(u"b"), S_OK);
    EXPECT_EQ(Remove(u"A"), S_OK);
    EXPECT_EQ(Get(u""), u"<q-props f='4'>\r\n\t<d e='3'/>\r\n</q-props>");
    EXPECT_EQ(Remove(u"_All_Props_"), S_OK);
    EXPECT_EQ(Remove(u"_all_nodes_"), S_OK);
    EXPECT_EQ(Get(u""), u"<q-props/>");
}

constexpr std::u16string_view kDescribed =
    u"<q mode='b' other='1'><attributes_info>"
    u"<mode values='a|b||c|' default='a'>the mode<b>help on b</b></mode><size values='1 2;3,4'/>"
    u"<free/></attributes_info><kid>text</kid></q>";

TEST_F(PropertiesTest, DescribedNamesAreCountedAndListed) {
    EXPECT_EQ(Set(u"", kDescribed), S_OK);
    EXPECT_EQ(Count(u""), 5);
    EXPECT_EQ(At(u"", 0), u"mode=b");
    EXPECT_EQ(At(u"", 1), u"size=");
    EXPECT_EQ(At(u"", 3), u"other=1");
    EXPECT_EQ(At(u"", 4), u"kid/=text");
    EXPECT_EQ(At(u"", 5), u"-");
    EXPECT_EQ(At(u"_info_", 0), u"=b");
    EXPECT_EQ(At(u"_info_", 3), u"-");
    EXPECT_EQ(props.PropsInfoGet(CountedString(u"mode").Get(), eQIT_Default, out.Put()), S_OK);
    EXPECT_EQ(out.View(), u"a");
    EXPECT_EQ(props.PropsInfoGet(CountedString(u"free").Get(), eQIT_Max, out.Put()), S_FALSE);
    EXPECT_EQ(props.PropsInfoGet(nullptr, eQIT_Max, out.Put()), E_INVALIDARG);
    EXPECT_EQ(props.PropsInfoGet(CountedString(u"mode").Get(), eQIT_Help, nullptr), E_POINTER);
}

TEST_F(PropertiesTest, OptionsAreChosenByIndex) {
    EXPECT_EQ(Set(u"", kDescribed), S_OK);
    const CountedString mode(u"mode");
    const CountedString size(u"size");
    LONG number = 0;
    EXPECT_EQ(props.PropsOptionGetCount(mode.Get(), &number), S_OK);
    EXPECT_EQ(number, 3);
    EXPECT_EQ(props.PropsOptionGetCount(size.Get(), &number), S_OK);
    EXPECT_EQ(number, 4);
    EXPECT_EQ(props.PropsOptionGetCount(CountedString(u"free").Get(), &number), S_OK);
    EXPECT_EQ(number, 0);
    CountedString help;
    EXPECT_EQ(props.PropsOptionGetByIndex(mode.Get(), 1, out.Put(), help.Put()), S_OK);
    EXPECT_EQ(out.View(), u"b");
    EXPECT_EQ(help.View(), u"help on b");
    EXPECT_EQ(props.PropsOptionGetByIndex(mode.Get(), 3, out.Put(), nullptr), kPastTheEnd);
    EXPECT_EQ(props.PropsOptionGet(mode.Get(), &number, out.Put(), help.Put()), S_OK);
    EXPECT_EQ(number, 1);
    EXPECT_EQ(props.PropsOptionSetByIndex(mode.Get(), 2), S_OK);
    EXPECT_EQ(Get(u"mode"), u"c");
    EXPECT_EQ(props.PropsOptionSetByIndex(mode.Get(), -1), kPastTheEnd);
    EXPECT_EQ(props.PropsOptionGet(CountedString(u"other").Get(), &number, out.Put(), nullptr),
              S_OK);
    EXPECT_EQ(number, -1);
    EXPECT_EQ(out.View(), u"1");
    EXPECT_EQ(props.PropsOptionGet(size.Get(), &number, nullptr, nullptr),
              HResultFromWin32(ERROR_FILE_NOT_FOUND));
}

TEST_F(PropertiesTest, ThreadsShareThem) {
    (void)Set(u"number", u"1");
    std::atomic<bool> isOver{false};
    std::thread reader([&] {
        while (!isOver) {
            EXPECT_EQ(Get(u"number").value_or(u"").size(), 1u);
            (void)Count(u"");
            (void)At(u"", 0);
        }
    });
    for (int i = 0; i < 300; ++i) {
        (void)Set(u"number", i % 2 ? u"1" : u"2");
        (void)Set(u"a::b", u"3");
        (void)Remove(u"a");
    }
    isOver = true;
    reader.join();
}

}  // namespace
}  // namespace qdvm::test
