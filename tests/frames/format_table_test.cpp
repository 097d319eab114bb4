#include "frames/format_table.h"

#include "frames/named_formats.h"
#include "frames/picture_layout.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string>

namespace qdvm {
namespace {

constexpr std::int32_t kIntMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kIntMax = std::numeric_limits<std::int32_t>::max();

PIC_PROPS Picture(std::int32_t fccType, std::int32_t width, std::int32_t height,
                  std::int32_t rowWidth = 0) {
    return {fccType, width, height, rowWidth};
}

TEST(FormatTable, EveryRowIsFoundByBothItsNames) {
    for (int i = 0; i < static_cast<int>(VideoFormatTable.size()); ++i) {
        const VideoFormatEntry& entry = VideoFormatTable[i];
        EXPECT_EQ(FindFormatByFourCC(entry.FccType()), i);
        EXPECT_EQ(FindFormatBySubtype(*entry.subtype), i);
        EXPECT_EQ(SubtypeOf(entry.FccType()), *entry.subtype);
        EXPECT_EQ(BitsPerPixel(entry.FccType()), entry.bitsPerPixel);
    }
    EXPECT_EQ(FindFormatByFourCC(kFccRGB8), -1);
    EXPECT_EQ(FindFormatBySubtype(FourCCSubtype(0xE436EB7Eu)), -1);
    EXPECT_EQ(SubtypeOf(MakeFourCC('a', 'b', 'c', 'd')), FourCCSubtype(0x64636261u));
    EXPECT_EQ(SubtypeOf(kFccRGB8).Data2, 0x524F);
}

TEST(FormatTable, OffersInTheAgreedOrder) {
    const std::int32_t order[] = {0x32595559, 0x59565955, 0x32315659, 0x55595659, 0x30323449,
                                  0x32555949, kFccRGB32,  kFccARGB32, kFccRGB24,  kFccRGB565,
                                  kFccRGB555, 0x43594448, 0x30313276, 0x30313272, 0x3231564E};
    for (std::size_t i = 0; i < VideoFormatTable.size(); ++i)
        EXPECT_EQ(VideoFormatTable[i].FccType(), order[i]) << i;
}

TEST(FormatTable, ValidatesSizesAndAlignment) {
    EXPECT_EQ(ValidatePicture(kFccYUY2, 720, 576, 0), 0);
    EXPECT_EQ(ValidatePicture(kFccRGB24, 719, -577, 720), 8);
    EXPECT_EQ(ValidatePicture(kFccYUY2, 719, 576, 0), -1);
    EXPECT_EQ(ValidatePicture(kFccYUY2, 718, 576, 719), -1);
    EXPECT_EQ(ValidatePicture(kFccYUY2, 720, 576, 718), -1);
    EXPECT_EQ(ValidatePicture(kFccI420, 720, 577, 0), -1);
    EXPECT_EQ(ValidatePicture(kFccRGB32, 0, 576, 0), -1);
    EXPECT_EQ(ValidatePicture(kFccRGB32, 720, 0, 0), -1);
    EXPECT_EQ(ValidatePicture(kFccRGB32, -720, 576, 0), -1);
    EXPECT_EQ(ValidatePicture(kFccRGB32, kIntMin, kIntMin, kIntMin), -1);
    EXPECT_EQ(ValidatePicture(kFccRGB8, 720, 576, 0), -1);
}

TEST(FormatTable, StatesRowsAndImagesAsMediaTypesDo) {
    const auto entry = [](std::int32_t fccType) -> const VideoFormatEntry& {
        return VideoFormatTable[FindFormatByFourCC(fccType)];
    };
    EXPECT_EQ(RowBytes(entry(kFccRGB24), 322), 968);
    EXPECT_EQ(RowBytes(entry(kFccYV12), 322), 322);
    EXPECT_EQ(RowBytes(entry(kFccV210), 1920), 5120);
    EXPECT_EQ(RowBytes(entry(kFccR210), 65), 512);
    EXPECT_EQ(ImageBytes(kFccI420, 722, 576), 722 * 576 * 3 / 2);
    EXPECT_EQ(ImageBytes(kFccRGB24, 322, -4), 968 * 4);
    EXPECT_EQ(ImageBytes(kFccRGB8, 16, 16), 0);
    EXPECT_GT(ImageBytes(kFccR210, kIntMax, kIntMin), 0);
}

TEST(FormatTable, SizesFrames) {
    EXPECT_EQ(FrameBytes(Picture(kFccV210, 1920, 1080)), 5529600u);
    EXPECT_EQ(FrameBytes(Picture(kFccR210, 65, -2)), 1024u);
    EXPECT_EQ(FrameBytes(Picture(kFccRGB24, 322, 10)), 9680u);
    EXPECT_EQ(FrameBytes(Picture(kFccI420, 722, 2)), 722u * 3);
    EXPECT_EQ(FrameBytes(Picture(kFccY444, 5, 3)), 45u);
    EXPECT_EQ(FrameBytes(Picture(kFccYUY2, 720, 576, 736)), 736u * 2 * 576);
    EXPECT_EQ(FrameBytes(Picture(0, 720, 576)), 0u);
    // Just below and above what 32 bits hold.
    EXPECT_EQ(FrameBytes(Picture(kFccRGB32, 1 << 15, (1 << 15) - 1)), 4294836224u);
    EXPECT_EQ(FrameBytes(Picture(kFccRGB32, 1 << 15, 1 << 15)), kNoFrameBytes);
    EXPECT_EQ(FrameBytes(Picture(kFccI420, kIntMax, kIntMin)), kNoFrameBytes);
    EXPECT_EQ(FrameBytes(Picture(kFccV210, kIntMax, kIntMax)), kNoFrameBytes);
    EXPECT_EQ(FrameBytes(Picture(kFccRGB32, -1, 1)), kNoFrameBytes);
}

TEST(FormatTable, TellsWhatTheMixerCanWorkIn) {
    for (const std::int32_t fccType :
         {kFccI420, kFccYV12, kFccYUY2, kFccHDYC, kFccYVYU, kFccUYVY}) {
        EXPECT_TRUE(IsMixableFormat(Picture(fccType, 720, 576), false));
        EXPECT_FALSE(IsMixableFormat(Picture(fccType, 719, 576), false));
        EXPECT_FALSE(IsMixableFormat(Picture(fccType, 720, 576, 721), false));
    }
    for (const std::int32_t fccType : {kFccARGB32, kFccRGB32, kFccRGB24, kFccRGB8})
        EXPECT_TRUE(IsMixableFormat(Picture(fccType, 719, -576), false));
    for (const std::int32_t fccType : {kFccRGB565, kFccRGB555}) {
        EXPECT_TRUE(IsMixableFormat(Picture(fccType, 720, 576), true));
        EXPECT_FALSE(IsMixableFormat(Picture(fccType, 720, 576), false));
    }
    for (const std::int32_t fccType : {kFccIYU2, kFccV210, kFccR210, kFccNV12, 0})
        EXPECT_FALSE(IsMixableFormat(Picture(fccType, 720, 576), true));
    EXPECT_FALSE(IsMixableFormat(Picture(kFccRGB32, 720, 576, 719), true));
}

TEST(PictureLayout, RefusesWhatKernelsCantWalk) {
    EXPECT_FALSE(FormatInfo(Picture(kFccYUY2, 719, 576)));
    EXPECT_FALSE(FormatInfo(Picture(kFccYV12, 720, 576, 721)));
    EXPECT_FALSE(FormatInfo(Picture(kFccRGB32, 720, 576, 719)));
    EXPECT_FALSE(FormatInfo(Picture(kFccNV12, 720, 576)));
    EXPECT_FALSE(FormatInfo(Picture(kFccRGB24, kIntMax, kIntMin)));
    EXPECT_FALSE(PixelOffsets(Picture(kFccRGB24, 16, 16), 17, 0, false));
    EXPECT_FALSE(PixelOffsets(Picture(kFccRGB24, 16, 16), 0, -1, false));
}

TEST(PictureLayout, OrdersChromaPlanes) {
    const PictureLayout i420 = PlaneLayout(Picture(kFccI420, 16, 8), false);
    EXPECT_EQ(i420.offset, (std::array<std::ptrdiff_t, 3>{0, 128, 160}));
    EXPECT_EQ(i420.stride, (std::array<std::ptrdiff_t, 3>{16, 8, 8}));
    EXPECT_EQ(PlaneLayout(Picture(kFccYV12, 16, 8), false).offset,
              (std::array<std::ptrdiff_t, 3>{0, 160, 128}));
    EXPECT_EQ(PlaneLayout(Picture(kFccUYVY, 16, 8), true).offset,
              (std::array<std::ptrdiff_t, 3>{0, 128, 192}));
    EXPECT_EQ(PlaneLayout(Picture(kFccYVYU, 16, 8), true).offset,
              (std::array<std::ptrdiff_t, 3>{0, 192, 128}));
    EXPECT_TRUE(PlaneLayout(Picture(kFccRGB24, 16, 8), false).bBottomUp);
    EXPECT_FALSE(PlaneLayout(Picture(kFccRGB24, 16, -8), false).bBottomUp);
    EXPECT_FALSE(PlaneLayout(Picture(kFccYUY2, 16, 8), false).bBottomUp);
}

TEST(PictureLayout, OddLinesOfPlanarPicturesShareTheChromaRowAbove) {
    const PIC_PROPS picture = Picture(kFccI420, 16, 8);
    EXPECT_EQ(PixelOffsets(picture, 6, 4, false)->chroma, 2 * 8 + 3);
    EXPECT_EQ(PixelOffsets(picture, 6, 5, false)->chroma, 2 * 8 + 3);
}

// Whatever sizes come in: if the layout is given at all, the picture's last samples lie in the
// frame.
TEST(PictureLayout, StaysInsideTheFrame) {
    std::mt19937 random(7);
    const std::int32_t formats[] = {kFccI420,  kFccYV12,   kFccYUY2,   kFccUYVY,
                                    kFccHDYC,  kFccYVYU,   kFccRGB8,   kFccRGB565,
                                    kFccRGB24, kFccARGB32, kFccRGB555, kFccRGB32};
    const auto size = [&random]() -> std::int32_t {
        const auto value = static_cast<std::uint32_t>(random());
        switch (random() % 4) {
            case 0:
                return static_cast<std::int32_t>(value);
            case 1:
                return static_cast<std::int32_t>(value % 65536);
            default:
                return static_cast<std::int32_t>(value % 64);
        }
    };
    int accepted = 0;
    for (int i = 0; i < 20000; ++i) {
        const PIC_PROPS picture = Picture(formats[random() % std::size(formats)], size(), size(),
                                          random() % 2 ? 0 : size());
        const std::optional<PictureFormat> format = FormatInfo(picture);
        if (!format || picture.nWidth == 0 || picture.nHeight == 0) continue;
        ++accepted;
        const PictureLayout layout = PlaneLayout(picture, false);
        const std::int32_t lastColumn = picture.nWidth - 1;
        const std::int32_t lastRow = AbsHeight(picture) - 1;
        const std::optional<PixelOffset> last = PixelOffsets(picture, lastColumn, lastRow, false);
        ASSERT_TRUE(last);
        const std::int64_t bytes = FrameBytes(picture);
        const int luma = format->bPlanar ? 1 : format->bitsPerPixel / 8;
        EXPECT_LE(layout.offset[0] + last->first + luma, bytes);
        if (format->bPlanar && lastRow % 2 == 1) {
            EXPECT_LT(layout.offset[1] + last->chroma, bytes);
            EXPECT_LT(layout.offset[2] + last->chroma, bytes);
        }
    }
    EXPECT_GT(accepted, 1000);
}

TEST(NamedFormats, SayWhatTheirNamesSay) {
    for (const NamedVideoFormat& format : NamedVideoFormats) {
        int width = 0;
        int height = 0;
        int aspectX = 0;
        int aspectY = 0;
        double rate = 0;
        ASSERT_EQ(
            std::sscanf(format.name, "%dx%d@%lf %d:%d", &width, &height, &rate, &aspectX, &aspectY),
            5);
        const VM_VIDEO_PROPS& props = format.props;
        EXPECT_EQ(props.picProps, Picture(0, width, height, width)) << format.name;
        EXPECT_EQ(props.nAspectX, aspectX) << format.name;
        EXPECT_EQ(props.nAspectY, aspectY) << format.name;
        EXPECT_EQ(props.dblStreamFPS, rate) << format.name;
        EXPECT_NE(props.eInterlace, eVMI_Auto) << format.name;
    }
}

}  // namespace
}  // namespace qdvm
