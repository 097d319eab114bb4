#include "pixels/copy_frame.h"

#include "pixels/img_convert.h"
#include "pixels/v210_rows.h"
#include "support/test_picture.h"

#include <gtest/gtest.h>
#include <qdvideomixer/graph_results.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>

namespace qdvm {
namespace {

using test::TestPicture;

HRESULT Copy(const TestPicture& src, TestPicture& dst) {
    const FrameDesc from = MakeFrameDesc(src.props);
    const FrameDesc to = MakeFrameDesc(dst.props);
    return CopyFrameCC(src.Frame(), dst.Frame(), &from, &to);
}

void SetFourth(TestPicture& picture) {
    for (std::size_t i = 3; i < FrameBytes(picture.props); i += 4) picture.Frame()[i] = 255;
}

TEST(CopyFrame, Agrees601WithTheMixersConversionAndTurnsFramesUpright) {
    const std::int32_t formats[] = {kFccRGB32, kFccARGB32, kFccRGB24, kFccYUY2, kFccUYVY};
    for (const std::int32_t fromFcc : formats)
        for (const std::int32_t toFcc : formats)
            for (const std::int32_t fromHeight : {7, -7})
                for (const std::int32_t toHeight : {7, -7}) {
                    const auto height = [](std::int32_t fccType, std::int32_t wanted) {
                        return IsRGBFormat(fccType) ? wanted : std::abs(wanted);
                    };
                    // Longer than what one step of several takes at a time.
                    TestPicture src({fromFcc, 1930, height(fromFcc, fromHeight), 0}, 1);
                    TestPicture dst({toFcc, 1930, height(toFcc, toHeight), 1932}, 2);
                    // What the fourth byte of RGB32 holds means nothing; the two differ there.
                    if (fromFcc == kFccRGB32 && toFcc == kFccARGB32) SetFourth(src);
                    if (fromFcc == kFccRGB24 && toFcc == kFccRGB32) SetFourth(dst);
                    TestPicture expected = dst;
                    ASSERT_EQ(Img_Convert(src.Frame(), expected.Frame(), &src.props,
                                          &expected.props, nullptr, nullptr, true),
                              S_OK);
                    ASSERT_EQ(Copy(src, dst), S_OK);
                    ASSERT_EQ(dst.memory, expected.memory)
                        << std::hex << fromFcc << " to " << toFcc;
                }
}

TEST(CopyFrame, UsesTheMatrixOf709ForHdyc) {
    struct Known {
        std::array<BYTE, 3> bgr;
        std::array<BYTE, 4> hdyc;  // of two such pixels
    };
    // White: (222 * 255 + 4080) >> 8 and (-2 * 255 + 65790) >> 9.
    const Known known[] = {{{255, 255, 255}, {127, 237, 128, 237}},
                           {{0, 0, 0}, {128, 15, 128, 15}},
                           {{0, 0, 255}, {102, 64, 240, 64}},
                           {{0, 255, 0}, {41, 172, 26, 172}}};
    for (const Known& colour : known)
        for (const std::int32_t fromFcc : {kFccRGB24, kFccRGB32}) {
            TestPicture src({fromFcc, 2, -1, 0}, 1);  // with fourth bytes that mean nothing
            const int bytes = fromFcc == kFccRGB24 ? 3 : 4;
            for (int i = 0; i < 2; ++i)
                std::copy(colour.bgr.begin(), colour.bgr.end(), src.Frame() + i * bytes);
            TestPicture dst({kFccHDYC, 2, 1, 0}, 2);
            ASSERT_EQ(Copy(src, dst), S_OK);
            EXPECT_TRUE(std::equal(colour.hdyc.begin(), colour.hdyc.end(), dst.Frame()))
                << int{dst.Frame()[0]} << ' ' << int{dst.Frame()[1]} << ' ' << int{dst.Frame()[2]};
        }
}

TEST(CopyFrame, BringsColoursBackFromHdyc) {
    TestPicture src({kFccRGB24, 512, 4, 0}, 1);
    for (std::size_t i = 0; i < FrameBytes(src.props); ++i) {
        // Both pixels of a pair alike.
        if (i % 6 >= 3) src.Frame()[i] = src.Frame()[i - 3];
    }
    TestPicture hdyc({kFccHDYC, 512, 4, 0}, 2);
    ASSERT_EQ(Copy(src, hdyc), S_OK);
    for (const std::int32_t toFcc : {kFccRGB32, kFccRGB24}) {
        TestPicture back({toFcc, 512, 4, 0}, 3);
        ASSERT_EQ(Copy(hdyc, back), S_OK);
        for (std::int32_t y = 0; y < 4; ++y)
            for (std::int32_t x = 0; x < 512; ++x)
                for (std::size_t i = 0; i < 3; ++i)
                    ASSERT_NEAR(src.Frame()[src.Samples(x, y)[i]],
                                back.Frame()[back.Samples(x, y)[i]], 6);
    }
}

TEST(CopyFrame, PacksV210AsPublished) {
    const BYTE uyvy[] = {0x10, 0x20, 0x30, 0x40, 0x50, 0x60, 0x70, 0x80, 0x90, 0xA0, 0xB0, 0xC0};
    BYTE packed[16];
    UyvyToV210Row(uyvy, packed, 6);
    const auto word = [&packed](int i) {
        return packed[4 * i] | packed[4 * i + 1] << 8 | packed[4 * i + 2] << 16 |
               packed[4 * i + 3] << 24;
    };
    EXPECT_EQ(word(0), 0x40 | 0x80 << 10 | 0xC0 << 20);
    EXPECT_EQ(word(1), 0x100 | 0x140 << 10 | 0x180 << 20);
    EXPECT_EQ(word(3), 0x280 | 0x2C0 << 10 | 0x300 << 20);
    // The low two bits of ten are dropped, not rounded.
    const BYTE ten[16] = {0xFF, 0x0F, 0, 0};  // 0x3FF, 0x003
    BYTE eight[4];
    V210ToUyvyRow(ten, eight, 2);
    EXPECT_EQ(eight[0], 0xFF);
    EXPECT_EQ(eight[1], 0);
}

TEST(CopyFrame, TakesAnyWidthThroughV210AndBack) {
    for (const std::int32_t fccType : {kFccUYVY, kFccHDYC, kFccYUY2})
        for (std::int32_t width = 2; width < 60; width += 2) {
            const TestPicture src({fccType, width, 3, 0}, 1);
            TestPicture v210({kFccV210, width, 3, 0}, 2);
            TestPicture untouched = v210;
            ASSERT_EQ(Copy(src, v210), S_OK);
            for (std::size_t row = 0; row < 3; ++row) {
                const std::size_t stride = (width + 47) / 48 * 128;
                const std::size_t used = (width + 5) / 6 * 16;
                std::copy_n(v210.Frame() + row * stride, used, untouched.Frame() + row * stride);
            }
            ASSERT_EQ(v210.memory, untouched.memory);

            TestPicture copied({kFccV210, width, 3, 0}, 3);
            ASSERT_EQ(Copy(v210, copied), S_OK);
            TestPicture back(src.props, 1);
            std::fill_n(back.Frame(), FrameBytes(back.props), BYTE{0});
            ASSERT_EQ(Copy(copied, back), S_OK);
            ASSERT_EQ(back.memory, src.memory) << width;
        }
    // Through all three steps, longer than one go.
    const TestPicture uyvy({kFccUYVY, 1930, 2, 0}, 1);
    TestPicture v210({kFccV210, 1930, 2, 0}, 2);
    ASSERT_EQ(Copy(uyvy, v210), S_OK);
    for (const std::int32_t toFcc : {kFccRGB24, kFccRGB32, kFccYUY2}) {
        TestPicture direct({toFcc, 1930, 2, 0}, 3);
        TestPicture through = direct;
        ASSERT_EQ(Copy(uyvy, direct), S_OK);
        ASSERT_EQ(Copy(v210, through), S_OK);
        EXPECT_EQ(through.memory, direct.memory);
    }
}

TEST(CopyFrame, TakesThePartThatBothFramesHave) {
    const TestPicture src({kFccUYVY, 20, 6, 0}, 1);
    TestPicture dst({kFccYUY2, 12, 9, 0}, 2);
    TestPicture expected = dst;
    for (std::int32_t y = 0; y < 6; ++y)
        for (std::int32_t x = 0; x < 12; ++x)
            for (std::size_t i = 0; i < 3; ++i)
                expected.Frame()[expected.Samples(x, y)[i]] = src.Frame()[src.Samples(x, y)[i]];
    ASSERT_EQ(Copy(src, dst), S_OK);
    EXPECT_EQ(dst.memory, expected.memory);
}

TEST(CopyFrame, ChangesNothingWhenItRefuses) {
    const TestPicture src({kFccRGB32, 48, 4, 0}, 1);
    TestPicture v210({kFccV210, 48, 4, 0}, 2);
    TestPicture planar({kFccI420, 48, 4, 0}, 3);
    TestPicture yuy2({kFccYUY2, 48, 4, 0}, 4);
    const std::vector<BYTE> before = yuy2.memory;
    EXPECT_EQ(Copy(src, v210), E_FAIL);
    EXPECT_EQ(Copy(planar, yuy2), VFW_E_INVALIDSUBTYPE);
    const FrameDesc from = MakeFrameDesc(src.props);
    const FrameDesc to = MakeFrameDesc(yuy2.props);
    const auto copy = [&](const FrameDesc* S, const FrameDesc* D) {
        return CopyFrameCC(src.Frame(), yuy2.Frame(), S, D);
    };
    FrameDesc none = to;
    none.nRowBytes = 0;
    FrameDesc close = to;
    close.nRowBytes = 94;
    FrameDesc empty = to;
    empty.nHeight = 0;
    EXPECT_EQ(copy(nullptr, &to), E_POINTER);
    EXPECT_EQ(copy(&from, &none), E_UNEXPECTED);
    EXPECT_EQ(copy(&from, &close), E_FAIL);
    EXPECT_EQ(copy(&from, &empty), E_FAIL);
    EXPECT_EQ(CopyFrameCC(nullptr, yuy2.Frame(), &from, &to), E_POINTER);
    EXPECT_EQ(yuy2.memory, before);
}

}  // namespace
}  // namespace qdvm
