#include "frames/media_type.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>
#include <vector>

namespace qdvm {
namespace {

class Counted final : public IUnknown {
public:
    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return ++count; }
    ULONG Release() override { return --count; }
    ULONG count = 0;
};

// A type with a block of ascending bytes.
MediaType SomeType(std::uint32_t bytes, IUnknown* object = nullptr) {
    std::vector<BYTE> block(bytes);
    for (std::uint32_t i = 0; i < bytes; ++i) block[i] = static_cast<BYTE>(i);
    AM_MEDIA_TYPE type{};
    type.majortype = MEDIATYPE_Video;
    type.subtype = FourCCSubtype(0x32595559);
    type.formattype = FORMAT_VideoInfo;
    type.lSampleSize = 77;
    type.pUnk = object;
    type.cbFormat = bytes;
    type.pbFormat = block.data();
    return MediaType(type);
}

TEST(MediaType, CopiesAreDeepAndHoldReferences) {
    Counted object;
    {
        const MediaType first = SomeType(100, &object);
        MediaType second = first;
        EXPECT_EQ(object.count, 2u);
        EXPECT_NE(first->pbFormat, second->pbFormat);
        EXPECT_EQ(first, second);
        second->pbFormat[99] = 0;
        EXPECT_NE(first, second);
        second = std::as_const(second);
        MediaType third = std::move(second);
        EXPECT_FALSE(second.HasMajorType());
        EXPECT_EQ(second->pbFormat, nullptr);
        EXPECT_EQ(third->pbFormat[98], 98);
        EXPECT_EQ(third.Assign(third.operator->()), S_OK);
        EXPECT_EQ(third.Assign(nullptr), S_OK);
        EXPECT_FALSE(third.HasMajorType());
        EXPECT_EQ(object.count, 1u);
    }
    EXPECT_EQ(object.count, 0u);
}

TEST(MediaType, HandsOutTaskMemory) {
    Counted object;
    const MediaType type = SomeType(20, &object);
    AM_MEDIA_TYPE out;
    ASSERT_EQ(type.CopyTo(&out), S_OK);
    EXPECT_TRUE(type.Equals(out));
    EXPECT_EQ(out.lSampleSize, 77u);
    FreeMediaTypeContents(&out);
    EXPECT_EQ(out.pbFormat, nullptr);
    AM_MEDIA_TYPE* const copy = type.NewCopy();
    ASSERT_NE(copy, nullptr);
    EXPECT_TRUE(type.Equals(*copy));
    EXPECT_EQ(object.count, 2u);
    DeleteMediaType(copy);
    DeleteMediaType(nullptr);
    EXPECT_EQ(object.count, 1u);
    EXPECT_EQ(type.CopyTo(nullptr), E_POINTER);
}

TEST(MediaType, TakesABlockWithoutMemoryForNoBlock) {
    AM_MEDIA_TYPE lie{};
    lie.formattype = FORMAT_VideoInfo;
    lie.cbFormat = 0xFFFFFFFF;
    MediaType type(lie);
    EXPECT_EQ(type->cbFormat, 0u);
    EXPECT_EQ(type.VideoInfo(), nullptr);
    EXPECT_TRUE(type.Equals(lie));
}

TEST(MediaType, ShowsOnlyWholeBlocksOfTheNamedKind) {
    EXPECT_EQ(SomeType(87).VideoInfo(), nullptr);
    MediaType type = SomeType(112);
    EXPECT_NE(type.VideoInfo(), nullptr);
    EXPECT_EQ(type.VideoInfo2(), nullptr);
    EXPECT_EQ(reinterpret_cast<BYTE*>(type.BitmapHeader()), type->pbFormat + 48);
    type->formattype = FORMAT_VideoInfo2;
    EXPECT_EQ(type.VideoInfo(), nullptr);
    EXPECT_EQ(reinterpret_cast<BYTE*>(type.BitmapHeader()), type->pbFormat + 72);
    ASSERT_EQ(type.ResizeFormat(111), S_OK);
    EXPECT_EQ(type.BitmapHeader(), nullptr);
}

TEST(MediaType, ComparesAllThatMakesAFormat) {
    const auto differs = [](auto change) {
        MediaType type = SomeType(30);
        change(*type.operator->());
        return type != SomeType(30);
    };
    EXPECT_TRUE(differs([](AM_MEDIA_TYPE& type) { type.majortype = MEDIATYPE_Audio; }));
    EXPECT_TRUE(differs([](AM_MEDIA_TYPE& type) { type.formattype = FORMAT_VideoInfo2; }));
    EXPECT_TRUE(differs([](AM_MEDIA_TYPE& type) { type.subtype.Data1 ^= 1; }));
    EXPECT_FALSE(differs([](AM_MEDIA_TYPE& type) { type.lSampleSize = 1; }));
    EXPECT_NE(SomeType(30), SomeType(31));
    EXPECT_EQ(MediaType(), MediaType());
}

TEST(MediaType, FourCCSubtypesCompareWithoutCase) {
    const auto fourCC = [](const char* text) {
        std::uint32_t code = 0;
        std::memcpy(&code, text, 4);
        return FourCCSubtype(code);
    };
    EXPECT_TRUE(SameSubtype(fourCC("V210"), fourCC("v210")));
    EXPECT_FALSE(SameSubtype(fourCC("V210"), fourCC("v211")));
    EXPECT_FALSE(SameSubtype(fourCC("A\x01zz"), fourCC("a\x01zz")));
    EXPECT_FALSE(SameSubtype(fourCC("[abc"), fourCC("{abc")));
    GUID otherTail = fourCC("YUY2");
    otherTail.Data4[7] ^= 1;
    EXPECT_FALSE(SameSubtype(otherTail, fourCC("YUY2")));
    GUID otherTailSmall = fourCC("yuy2");
    otherTailSmall.Data4[7] ^= 1;
    EXPECT_FALSE(SameSubtype(otherTail, otherTailSmall));
}

}  // namespace
}  // namespace qdvm
