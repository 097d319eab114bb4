#include "pixels/img_fill.h"

#include "pixels/colour.h"
#include "support/test_picture.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

namespace qdvm {
namespace {

using test::IsPlanar;
using test::kKernelFormats;
using test::TestPicture;

constexpr std::uint32_t kColour = 0x40C08020;  // red 0x20, green 0x80, blue 0xC0, alpha 0x40

// The colour's bytes in the order of TestPicture::Samples.
std::vector<BYTE> ColourSamples(std::int32_t fccType) {
    switch (fccType) {
        case kFccRGB32:
        case kFccARGB32:
            return {0xC0, 0x80, 0x20, 0x40};
        case kFccRGB24:
            return {0xC0, 0x80, 0x20};
        case kFccRGB565:  // 00100 100000 11000
            return {0x18, 0x24};
        case kFccRGB555:  // 0 00100 10000 11000
            return {0x18, 0x12};
        default:  // 0.257 * 32 + 0.504 * 128 + 0.098 * 192 + 16 = 107.552, and so on
            return {108, 170, 81};
    }
}

// The blend of a word of three colours, in the order of its two bytes.
std::vector<BYTE> BlendWord(std::int32_t fccType, int under, int over, int alpha) {
    const int greenBits = fccType == kFccRGB565 ? 6 : 5;
    int word = 0;
    for (const auto& [shift, bits] :
         {std::pair{0, 5}, std::pair{5, greenBits}, std::pair{5 + greenBits, 5}}) {
        const auto of = [&](int value) { return value >> shift & ((1 << bits) - 1); };
        word |= (of(under) * (255 - alpha) + of(over) * alpha) >> 8 << shift;
    }
    return {static_cast<BYTE>(word), static_cast<BYTE>(word >> 8)};
}

void FillByPixel(TestPicture& picture, const ImgRect& rect, std::int32_t alpha) {
    const std::vector<BYTE> colour = ColourSamples(picture.props.fccType);
    std::set<std::size_t> done;  // chroma belongs to several pixels
    for (std::int32_t y = rect.top; y < rect.bottom; ++y)
        for (std::int32_t x = rect.left; x < rect.right; ++x) {
            const auto samples = picture.Samples(x, y);
            if (Is16BitRGB(picture.props.fccType) && alpha != 255) {
                BYTE* const at = picture.Frame() + samples[0];
                const std::vector<BYTE> blended = BlendWord(
                    picture.props.fccType, at[0] | at[1] << 8, colour[0] | colour[1] << 8, alpha);
                std::copy(blended.begin(), blended.end(), at);
                continue;
            }
            for (std::size_t i = 0; i < samples.size(); ++i) {
                if (!done.insert(samples[i]).second) continue;
                BYTE& byte = picture.Frame()[samples[i]];
                byte = alpha == 255
                           ? colour[i]
                           : static_cast<BYTE>((byte * (255 - alpha) + colour[i] * alpha) >> 8);
            }
        }
}

TEST(FillRect, FillsExactlyTheRectInEveryFormat) {
    std::mt19937 random(9);
    for (const std::int32_t fccType : kKernelFormats)
        for (const std::int32_t alpha : {255, 254, 128, 1, 0})
            for (int round = 0; round < 12; ++round) {
                const bool isRgb = IsRGBFormat(fccType);
                const auto width = static_cast<std::int32_t>(30 + random() % 7) * 2;
                const std::int32_t height = round % 2 && isRgb ? -12 : 12;
                TestPicture picture({fccType, width, height, round % 3 ? 0 : width + 2}, random());
                const std::int32_t lines = IsPlanar(fccType) ? 2 : 1;
                const auto left = static_cast<std::int32_t>(random() % 20);
                const std::int32_t top = static_cast<std::int32_t>(random() % 3) * lines;
                const ImgRect rect{left, top, left + static_cast<std::int32_t>(1 + random() % 30),
                                   top + static_cast<std::int32_t>(1 + random() % 3) * lines};
                // Chroma is shared by pairs, so that odd edges take in the whole pair.
                const ImgRect touched{isRgb ? rect.left : rect.left & ~1, rect.top,
                                      isRgb ? rect.right : (rect.right + 1) & ~1, rect.bottom};
                TestPicture expected = picture;
                FillByPixel(expected, touched, alpha);
                ASSERT_EQ(Img_FillRect(picture.Frame(), &picture.props, kColour, &rect, alpha),
                          S_OK);
                ASSERT_EQ(picture.memory, expected.memory)
                    << std::hex << fccType << " alpha " << alpha;
            }
}

TEST(FillRect, FillsRowsLongerThanItsPattern) {
    for (const std::int32_t fccType : {kFccRGB24, kFccARGB32, kFccI420}) {
        TestPicture picture({fccType, 4098, 2, 0}, 1);
        TestPicture expected = picture;
        FillByPixel(expected, {0, 0, 4098, 2}, 77);
        ASSERT_EQ(Img_FillRect(picture.Frame(), &picture.props, kColour, nullptr, 77), S_OK);
        EXPECT_EQ(picture.memory, expected.memory);
    }
}

TEST(FillRect, ClampsAlphaAndClipsTheRect) {
    const ImgRect huge{-2000000000, -2000000000, 2000000000, 2000000000};
    for (const std::int32_t alpha : {1000, -1000}) {
        TestPicture picture({kFccRGB24, 31, 7, 0}, 1);
        TestPicture expected = picture;
        FillByPixel(expected, {0, 0, 31, 7}, alpha > 0 ? 255 : 0);
        ASSERT_EQ(Img_FillRect(picture.Frame(), &picture.props, kColour, &huge, alpha), S_OK);
        EXPECT_EQ(picture.memory, expected.memory);
    }
}

TEST(FillRect, ChangesNothingWhenItRefuses) {
    TestPicture picture({kFccYUY2, 32, 8, 0}, 1);
    const std::vector<BYTE> before = picture.memory;
    const PIC_PROPS odd{kFccYUY2, 31, 8, 0};
    const PIC_PROPS plane{kFccRGB8, 8, 8, 0};
    const ImgRect outside{32, 0, 40, 8};
    const ImgRect empty{8, 8, 8, 9};
    const auto fill = [&picture](const PIC_PROPS* D, const ImgRect* rect) {
        return Img_FillRect(picture.Frame(), D, kColour, rect, 255);
    };
    EXPECT_EQ(fill(&odd, nullptr), E_INVALIDARG);
    EXPECT_EQ(fill(nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(fill(&plane, nullptr), E_NOTIMPL);
    EXPECT_EQ(fill(&picture.props, &outside), S_FALSE);
    EXPECT_EQ(fill(&picture.props, &empty), E_INVALIDARG);
    EXPECT_EQ(Img_FillRect(nullptr, &picture.props, kColour, nullptr, 255), E_INVALIDARG);
    EXPECT_EQ(picture.memory, before);
}

TEST(Colour, ReachesTheEndsOfStudioRange) {
    EXPECT_EQ(RGBToYUV601(0x000000), (YuvColour{16, 128, 128}));
    EXPECT_EQ(RGBToYUV601(0xFFFFFF), (YuvColour{235, 128, 128}));
    EXPECT_EQ(RGBToYUV601(0x0000FF), (YuvColour{82, 90, 240}));
    EXPECT_EQ(RGBToYUV601(0xFF0000), (YuvColour{41, 240, 110}));
}

TEST(Colour, PacksChromaInTheOrderOfTheFormat) {
    const auto bytes = [](std::int32_t fccType) { return PackColour(fccType, 0x0000FF)->bytes; };
    EXPECT_EQ(bytes(kFccYUY2), (std::array<BYTE, 4>{82, 90, 82, 240}));
    EXPECT_EQ(bytes(kFccUYVY), (std::array<BYTE, 4>{90, 82, 240, 82}));
    EXPECT_EQ(bytes(kFccHDYC), bytes(kFccUYVY));
    EXPECT_EQ(bytes(kFccYVYU), (std::array<BYTE, 4>{82, 240, 82, 90}));
    EXPECT_EQ(bytes(kFccYV12), bytes(kFccI420));
    EXPECT_FALSE(PackColour(kFccV210, 0));
    EXPECT_FALSE(PackColour(kFccRGB8, 0));
}

}  // namespace
}  // namespace qdvm
