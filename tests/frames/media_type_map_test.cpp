#include "frames/media_type_map.h"

#include "frames/format_table.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace qdvm {
namespace {

constexpr std::int32_t kIntMin = std::numeric_limits<std::int32_t>::min();

MediaType Built(std::int32_t fccType, const GUID& formatType, std::int32_t width,
                std::int32_t height, std::int32_t rowWidth = 0) {
    MediaType type;
    EXPECT_EQ(BuildVideoMediaType(&type, fccType, formatType, width, height, rowWidth, false),
              S_OK);
    return type;
}

PIC_PROPS Parsed(const MediaType& type) {
    PIC_PROPS picture{};
    return ParseVideoMediaType(*type, &picture) >= 0 ? picture : PIC_PROPS{};
}

bool Parses(const MediaType& type) { return Parsed(type).fccType != 0; }

TEST(MediaTypeMap, WhatIsBuiltIsParsedAgain) {
    for (const GUID& formatType : {FORMAT_VideoInfo, FORMAT_VideoInfo2})
        for (const VideoFormatEntry& entry : VideoFormatTable) {
            const std::int32_t fccType = entry.FccType();
            const MediaType type = Built(fccType, formatType, 96, 48, 192);
            EXPECT_EQ(Parsed(type), (PIC_PROPS{fccType, 96, 48, 192}));
            const BITMAPINFOHEADER& header = *type.BitmapHeader();
            EXPECT_EQ(header.biSizeImage, ImageBytes(fccType, 192, 48));
            EXPECT_EQ(header.biSizeImage, type->lSampleSize);
            EXPECT_EQ(header.biBitCount, entry.bitsPerPixel);
            EXPECT_EQ(header.biCompression, entry.isYuv ? entry.subtype->Data1 : 0u);
        }
    EXPECT_EQ(AspectOf(*Built(kFccYUY2, FORMAT_VideoInfo2, 720, 576)).x, 4);
    EXPECT_EQ(AspectOf(*Built(kFccYUY2, FORMAT_VideoInfo, 720, 576)).x, 0);
    EXPECT_EQ(Built(kFccYUY2, FORMAT_VideoInfo, 720, 576).VideoInfo()->rcTarget.right, 0);
}

TEST(MediaTypeMap, RefusesShortBlocksAndOtherTypes) {
    MediaType info = Built(kFccYUY2, FORMAT_VideoInfo, 720, 576);
    info->cbFormat = 87;
    EXPECT_FALSE(Parses(info));
    info->cbFormat = 88;
    EXPECT_TRUE(Parses(info));
    info->majortype = MEDIATYPE_Audio;
    EXPECT_FALSE(Parses(info));
    EXPECT_EQ(AvgTimePerFrameOf(*info), 0);
    MediaType info2 = Built(kFccYUY2, FORMAT_VideoInfo2, 720, 576);
    info2->cbFormat = 111;
    EXPECT_FALSE(Parses(info2));
    AM_MEDIA_TYPE lie = *Built(kFccYUY2, FORMAT_VideoInfo, 720, 576);
    lie.pbFormat = nullptr;
    lie.cbFormat = 88;
    PIC_PROPS picture{};
    EXPECT_EQ(ParseVideoMediaType(lie, &picture), -1);
    EXPECT_EQ(AvgTimePerFrameOf(lie), 0);
    EXPECT_EQ(InterlaceOf(lie), eVMI_Progressive);
    MediaType target;
    EXPECT_EQ(ConvertVideoMediaType(&target, lie, nullptr, 0, -1, 0, 0), kBadFormatBlock);
}

TEST(MediaTypeMap, TakesTheVisibleWidthFromTheTarget) {
    MediaType type = Built(kFccYUY2, FORMAT_VideoInfo, 720, 576);
    VIDEOINFOHEADER& info = *type.VideoInfo();
    info.rcTarget = {100, 0, 300, 0};
    EXPECT_EQ(Parsed(type), (PIC_PROPS{kFccYUY2, 200, 576, 720}));
    for (const RECT& bad : {RECT{0, 0, 722, 0}, RECT{10, 0, 0, 0}, RECT{0, 0, 199, 0},
                            RECT{kIntMin, 0, 0x7FFFFFFF, 0}, RECT{0x7FFFFFFF, 0, kIntMin, 0}}) {
        info.rcTarget = bad;
        EXPECT_FALSE(Parses(type));
    }
}

TEST(MediaTypeMap, OnlyRgbKeepsItsRowOrder) {
    EXPECT_EQ(Parsed(Built(kFccYUY2, FORMAT_VideoInfo, 720, -576)).nHeight, 576);
    EXPECT_EQ(Parsed(Built(kFccRGB32, FORMAT_VideoInfo, 720, -576)).nHeight, -576);
}

TEST(MediaTypeMap, RefusesImpossibleSizes) {
    const auto parsesAs = [](std::int32_t fccType, std::int32_t width, std::int32_t height) {
        MediaType type = Built(fccType, FORMAT_VideoInfo, 16, 16);
        type.BitmapHeader()->biWidth = width;
        type.BitmapHeader()->biHeight = height;
        return Parses(type);
    };
    EXPECT_FALSE(parsesAs(kFccI420, 720, 577));
    EXPECT_FALSE(parsesAs(kFccYUY2, 719, 576));
    EXPECT_FALSE(parsesAs(kFccRGB32, 0, 576));
    EXPECT_FALSE(parsesAs(kFccRGB32, 720, 0));
    EXPECT_FALSE(parsesAs(kFccRGB32, -720, 576));
    EXPECT_FALSE(parsesAs(kFccRGB32, 2, kIntMin));
    EXPECT_FALSE(parsesAs(kFccRGB32, 1 << 20, 1 << 20));
    EXPECT_TRUE(parsesAs(kFccRGB32, 1, -1));
}

// Other filters' blocks can hold anything: what is accepted must be a picture that fits memory.
TEST(MediaTypeMap, SurvivesRandomBlocks) {
    std::mt19937 random(11);
    MediaType type = Built(kFccRGB24, FORMAT_VideoInfo2, 16, 16);
    for (int i = 0; i < 20000; ++i) {
        for (ULONG at = 0; at < type->cbFormat; ++at)
            if (random() % 4 == 0) type->pbFormat[at] = static_cast<BYTE>(random());
        type->subtype = *VideoFormatTable[random() % kVideoFormatCount].subtype;
        type->formattype = random() % 2 ? FORMAT_VideoInfo : FORMAT_VideoInfo2;
        PIC_PROPS picture{};
        if (ParseVideoMediaType(*type, &picture) >= 0) {
            EXPECT_GT(picture.nWidth, 0);
            EXPECT_NE(picture.nHeight, 0);
            EXPECT_NE(FrameBytes(picture), kNoFrameBytes);
        }
        MediaType twin;
        if (Succeeded(ConvertVideoMediaType(&twin, *type, nullptr, 0, -1, 0, 0))) {
            EXPECT_NE(twin->formattype, type->formattype);
        }
        (void)AspectOf(*type);
        (void)InterlaceOf(*type);
    }
}

TEST(MediaTypeMap, BuildsOnlyWhatItIsAskedProperly) {
    MediaType type = Built(kFccYUY2, FORMAT_VideoInfo, 16, 16);
    EXPECT_EQ(BuildVideoMediaType(&type, kFccYUY2, FORMAT_None, 16, 16, 0, true), E_INVALIDARG);
    EXPECT_FALSE(type.HasMajorType());
    EXPECT_EQ(BuildVideoMediaType(&type, kFccYUY2, FORMAT_VideoInfo, 15, 16, 0, false),
              E_INVALIDARG);
    const std::int32_t unknown = MakeFourCC('A', 'B', 'C', 'D');
    EXPECT_EQ(BuildVideoMediaType(&type, unknown, FORMAT_VideoInfo, 15, -9, 0, false),
              E_INVALIDARG);
    ASSERT_EQ(BuildVideoMediaType(&type, unknown, FORMAT_VideoInfo, 15, -9, 0, true), S_OK);
    EXPECT_EQ(type->subtype, SubtypeOf(unknown));
    EXPECT_EQ(type.BitmapHeader()->biBitCount, 24);
    EXPECT_EQ(type.BitmapHeader()->biCompression, static_cast<DWORD>(unknown));
    EXPECT_EQ(type->lSampleSize, 15u * 9 * 3);
    EXPECT_EQ(BuildVideoMediaType(&type, unknown, FORMAT_VideoInfo, 1 << 20, 1 << 20, 0, true),
              E_INVALIDARG);
    EXPECT_EQ(BuildVideoMediaType(&type, kFccRGB32, FORMAT_VideoInfo, 1 << 20, 1 << 20, 0, false),
              E_INVALIDARG);
}

TEST(MediaTypeMap, TurnsBitmapHeadersIntoTypes) {
    std::vector<BYTE> bytes(44, 0xEE);
    const auto build = [&bytes](const GUID& formatType, DWORD size, WORD bits, DWORD compression,
                                MediaType* type) {
        const BITMAPINFOHEADER header{size, 8, 4, 1, bits, compression, 99, 0, 0, 0, 0};
        std::memcpy(bytes.data(), &header, sizeof(header));
        return BuildMediaTypeFromBitmapHeader(type, formatType, bytes);
    };
    MediaType type;
    ASSERT_EQ(build(FORMAT_VideoInfo2, 44, 16, BI_RGB, &type), S_OK);
    EXPECT_EQ(type->subtype, SubtypeOf(kFccRGB565));
    EXPECT_EQ(type->cbFormat, 72u + 44u);
    EXPECT_EQ(type->pbFormat[72 + 43], 0xEE);
    EXPECT_EQ(type->lSampleSize, 99u);
    ASSERT_EQ(build(FORMAT_VideoInfo, 40, 12, 0x32315659, &type), S_OK);
    EXPECT_EQ(type->subtype, SubtypeOf(kFccYV12));
    EXPECT_EQ(type->cbFormat, 88u);
    EXPECT_EQ(build(FORMAT_VideoInfo, 40, 8, BI_RGB, &type), E_INVALIDARG);
    EXPECT_FALSE(type.HasMajorType());
    EXPECT_EQ(build(FORMAT_VideoInfo, 40, 32, BI_BITFIELDS, &type), E_INVALIDARG);
    EXPECT_EQ(build(FORMAT_VideoInfo, 39, 32, BI_RGB, &type), E_INVALIDARG);
    EXPECT_EQ(build(FORMAT_VideoInfo, 0xFFFFFFFF, 32, BI_RGB, &type), E_INVALIDARG);
    EXPECT_EQ(build(FORMAT_None, 40, 32, BI_RGB, &type), E_INVALIDARG);
}

TEST(MediaTypeMap, ReadsStoredBitmapHeaders) {
    BITMAPINFOHEADER header{40, 5, 4, 1, 24, BI_BITFIELDS, 1, 0, 0, 0, 0};
    PIC_PROPS picture{};
    ASSERT_EQ(PictureOfBitmapHeader(&header, &picture), S_OK);
    EXPECT_EQ(picture, (PIC_PROPS{kFccRGB24, 5, 4, 5}));
    EXPECT_EQ(header.biSizeImage, 64u);
    for (const auto change : {+[](BITMAPINFOHEADER& h) { h.biPlanes = 2; },
                              +[](BITMAPINFOHEADER& h) { h.biClrUsed = 1; },
                              +[](BITMAPINFOHEADER& h) { h.biHeight = kIntMin; },
                              +[](BITMAPINFOHEADER& h) { h.biWidth = 0; },
                              +[](BITMAPINFOHEADER& h) { h.biBitCount = 8; }}) {
        BITMAPINFOHEADER bad = header;
        change(bad);
        EXPECT_EQ(PictureOfBitmapHeader(&bad, &picture), E_INVALIDARG);
    }
}

TEST(MediaTypeMap, MakesTwinsOfBothKinds) {
    MediaType info = Built(kFccRGB24, FORMAT_VideoInfo, 720, 576);
    info.VideoInfo()->AvgTimePerFrame = 400000;
    info.VideoInfo()->dwBitRate = 123;
    MediaType info2;
    ASSERT_EQ(ConvertVideoMediaType(&info2, *info, nullptr, 0, -1, 0, 0), S_OK);
    ASSERT_NE(info2.VideoInfo2(), nullptr);
    EXPECT_EQ(AvgTimePerFrameOf(*info2), 400000);
    EXPECT_EQ(AspectOf(*info2).x, 5);
    EXPECT_EQ(AspectOf(*info2).y, 4);
    ASSERT_EQ(ConvertVideoMediaType(&info2, *info, nullptr, kFccUYVY, 5, 16, 9), S_OK);
    EXPECT_EQ(Parsed(info2), (PIC_PROPS{kFccUYVY, 720, 576, 720}));
    EXPECT_EQ(InterlaceOf(*info2), eVMI_Field1First);
    EXPECT_EQ(AspectOf(*info2).x, 16);
    info2.VideoInfo2()->dwBitErrorRate = 7;
    MediaType back;
    ASSERT_EQ(ConvertVideoMediaType(&back, *info2, nullptr, 0, -1, 0, 0), S_OK);
    ASSERT_NE(back.VideoInfo(), nullptr);
    EXPECT_EQ(back.VideoInfo()->dwBitErrorRate, 7u);
    // The same kind again keeps what only it can tell.
    info2.VideoInfo2()->dwBitErrorRate = 0;
    ASSERT_EQ(ConvertVideoMediaType(&back, *info2, &FORMAT_VideoInfo2, 0, -1, 0, 0), S_OK);
    EXPECT_EQ(back, info2);
}

TEST(MediaTypeMap, StripsAHeaderThatCantBeBuiltAnew) {
    MediaType source;
    ASSERT_EQ(BuildVideoMediaType(&source, MakeFourCC('A', 'B', 'C', 'D'), FORMAT_VideoInfo2, 10,
                                  10, 0, true),
              S_OK);
    const MediaType copy = source;
    ASSERT_EQ(source.ResizeFormat(120), S_OK);
    std::memcpy(source->pbFormat, copy->pbFormat, 112);
    source->pbFormat[119] = 0x77;
    MediaType twin;
    ASSERT_EQ(ConvertVideoMediaType(&twin, *source, nullptr, 0, -1, 0, 0), S_OK);
    ASSERT_NE(twin.VideoInfo(), nullptr);
    EXPECT_EQ(twin->cbFormat, 96u);
    EXPECT_EQ(twin->pbFormat[95], 0x77);
    EXPECT_EQ(twin.BitmapHeader()->biSizeImage, 300u);
    EXPECT_EQ(ConvertVideoMediaType(&twin, *copy, &FORMAT_VideoInfo2, 0, -1, 0, 0), E_INVALIDARG);
    EXPECT_FALSE(twin.HasMajorType());
}

TEST(MediaTypeMap, TellsFieldOrderAndAspect) {
    MediaType type = Built(kFccYUY2, FORMAT_VideoInfo2, 16, 16);
    for (const auto order : {eVMI_Progressive, eVMI_Field1First, eVMI_Field2First}) {
        type.VideoInfo2()->dwInterlaceFlags = InterlaceFlagsOf(order);
        EXPECT_EQ(InterlaceOf(*type), order);
    }
    EXPECT_EQ(InterlaceFlagsOf(eVMI_Field1First), 0x85u);
    EXPECT_EQ(InterlaceFlagsOf(eVMI_Field2First), 0x81u);
    EXPECT_EQ(InterlaceFlagsOf(eVMI_Auto), 0u);
    type.VideoInfo2()->dwInterlaceFlags = 4;
    EXPECT_EQ(InterlaceOf(*type), eVMI_Progressive);
    type.VideoInfo2()->dwPictAspectRatioX = 0x80000000u;
    EXPECT_EQ(AspectOf(*type).x, 0);
}

TEST(MediaTypeMap, FrameRatesRoundToNearest) {
    EXPECT_EQ(FrameTimeOf(25), 400000);
    EXPECT_EQ(FrameTimeOf(29.97), 333667);
    EXPECT_EQ(FrameTimeOf(0), 0);
    EXPECT_EQ(FrameTimeOf(-5), 0);
    EXPECT_EQ(FrameTimeOf(1e-300), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(FramesPerSecondOf(400000), 25.0);
    EXPECT_EQ(FramesPerSecondOf(0), 0.0);
}

TEST(MediaTypeMap, ANegativeFrameTimeTellsNothing) {
    MediaType type;
    ASSERT_EQ(BuildVideoMediaType(&type, kFccYUY2, FORMAT_VideoInfo, 64, 32, 0, false), S_OK);
    type.VideoInfo()->AvgTimePerFrame = 400000;
    EXPECT_EQ(AvgTimePerFrameOf(*type), 400000);
    type.VideoInfo()->AvgTimePerFrame = -400000;
    EXPECT_EQ(AvgTimePerFrameOf(*type), 0);
}

TEST(MediaTypeMap, FindsCommonDivisors) {
    constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(GreatestCommonDivisor(0, 0), 1);
    EXPECT_EQ(GreatestCommonDivisor(720, 576), 144);
    EXPECT_EQ(GreatestCommonDivisor(-720, 576), 144);
    EXPECT_EQ(GreatestCommonDivisor(0, 5), 5);
    EXPECT_GT(GreatestCommonDivisor(kMin, kMin), 0);
}

}  // namespace
}  // namespace qdvm
