#include "config/property_bag.h"

#include "platform/counted_string.h"

#include <gtest/gtest.h>

#include <string_view>

namespace qdvm::test {
namespace {

class PropertyBag : public testing::Test {
protected:
    ~PropertyBag() override { (void)VariantClear(&value); }

    void WriteText(LPCOLESTR name, std::u16string_view text) {
        const CountedString own(text);
        VARIANT given{};
        given.vt = VT_BSTR;
        given.bstrVal = own.Get();
        ASSERT_EQ(bag->Write(name, &given), S_OK);
    }
    void WriteNumber(LPCOLESTR name, double number) {
        VARIANT given{};
        given.vt = VT_R8;
        given.dblVal = number;
        ASSERT_EQ(bag->Write(name, &given), S_OK);
    }
    // What is read where this kind is asked for.
    HRESULT Read(LPCOLESTR name, VARTYPE kind = VT_EMPTY) {
        (void)VariantClear(&value);
        value.vt = kind;
        if (kind == VT_BSTR) value.bstrVal = nullptr;
        return bag->Read(name, &value, nullptr);
    }
    std::u16string_view Text() const { return {value.bstrVal, SysStringLen(value.bstrVal)}; }

    Ref<CCoPropertyBag> bag = MakeObject<CCoPropertyBag>();
    VARIANT value{};
};

TEST_F(PropertyBag, GivesCopiesAndTakesTheLastValue) {
    EXPECT_FALSE(bag->IsDirty());
    WriteText(u"Motion", u"up");
    WriteText(u"Motion", u"down");
    WriteNumber(u"motion", 2);
    EXPECT_TRUE(bag->IsDirty());
    ASSERT_EQ(Read(u"Motion"), S_OK);
    EXPECT_EQ(value.vt, VT_BSTR);
    EXPECT_EQ(Text(), u"down");
    WriteText(u"Motion", u"left");
    EXPECT_EQ(Text(), u"down");
    EXPECT_EQ(Read(u"MOTION"), E_INVALIDARG);
    VARIANT odd{};
    odd.vt = 4711;
    EXPECT_EQ(bag->Write(u"odd", &odd), E_FAIL);
    EXPECT_EQ(bag->Write(nullptr, &odd), E_POINTER);
    EXPECT_EQ(bag->Read(u"Motion", nullptr, nullptr), E_POINTER);
}

TEST_F(PropertyBag, ConvertsToTheKindThatIsAskedFor) {
    WriteText(u"a", u" 2.5 ");
    ASSERT_EQ(Read(u"a", VT_R8), S_OK);
    EXPECT_EQ(value.dblVal, 2.5);
    ASSERT_EQ(Read(u"a", VT_I4), S_OK);
    EXPECT_EQ(value.lVal, 2);
    EXPECT_EQ(Read(u"a", VT_UNKNOWN), E_FAIL);
    WriteNumber(u"b", -0.25);
    ASSERT_EQ(Read(u"b", VT_BSTR), S_OK);
    EXPECT_EQ(Text(), u"-0.25");
    ASSERT_EQ(Read(u"b", VT_BOOL), S_OK);
    EXPECT_EQ(value.boolVal, VARIANT_TRUE);
    WriteNumber(u"b", 1e12);
    EXPECT_EQ(Read(u"b", VT_I4), E_FAIL);
    WriteText(u"c", u"FALSE");
    ASSERT_EQ(Read(u"c", VT_BOOL), S_OK);
    EXPECT_EQ(value.boolVal, VARIANT_FALSE);
    for (const auto* text : {u"", u"up", u"0x", u"1e", u"--1", u"nan"}) {
        WriteText(u"c", text);
        EXPECT_EQ(Read(u"c", VT_R8), E_FAIL);
        EXPECT_EQ(value.vt, VT_R8);
    }
    WriteText(u"c", u"0xFFFFFFFF");
    ASSERT_EQ(Read(u"c", VT_I4), S_OK);
    EXPECT_EQ(value.lVal, -1);
}

}  // namespace
}  // namespace qdvm::test
