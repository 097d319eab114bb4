// Whole pictures between any two formats and sizes.

#include "pixels/convert_picture.h"

#include "support/test_picture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

namespace qdvm::test {
namespace {

bool Is16Bit(std::int32_t fccType) { return fccType == kFccRGB565 || fccType == kFccRGB555; }

// A saturated colour through each pair of formats and back to RGB comes out close to itself, and
// the first line stays the first.
TEST(ConvertPicture, EveryPairKeepsTheColoursAndTheLines) {
    const PIC_PROPS rgb = {kFccRGB24, 16, -8, 16};
    TestPicture original(rgb, 1);
    for (std::int32_t y = 0; y < 8; ++y) {
        for (std::int32_t x = 0; x < 16; ++x) {
            const std::vector<std::size_t> at = original.Samples(x, y);
            const int colour[] = {y < 4 ? 200 : 30, 60, y < 4 ? 30 : 200};
            for (std::size_t i = 0; i < 3; ++i)
                original.Frame()[at[i]] = static_cast<BYTE>(colour[i]);
        }
    }
    for (const std::int32_t first : kKernelFormats) {
        for (const std::int32_t second : kKernelFormats) {
            if (Is16Bit(first) || Is16Bit(second)) continue;
            SCOPED_TRACE(::testing::Message() << first << " to " << second);
            const PIC_PROPS S = {first, 16, 8, 20};
            const PIC_PROPS D = {second, 32, 24, 32};
            TestPicture source(S, 2);
            TestPicture target(D, 3);
            TestPicture back(PIC_PROPS{kFccRGB24, 32, -24, 32}, 4);
            ASSERT_EQ(ConvertPicture(original.Frame(), source.Frame(), rgb, S, false), S_OK);
            ASSERT_EQ(ConvertPicture(source.Frame(), target.Frame(), S, D, false), S_OK);
            ASSERT_EQ(ConvertPicture(target.Frame(), back.Frame(), D, back.props, false), S_OK);
            const auto pixel = [&](std::int32_t y, std::size_t channel) {
                return int{back.Frame()[back.Samples(9, y)[channel]]};
            };
            EXPECT_NEAR(pixel(1, 0), 200, 6);
            EXPECT_NEAR(pixel(1, 2), 30, 6);
            EXPECT_NEAR(pixel(22, 0), 30, 6);
            EXPECT_NEAR(pixel(22, 2), 200, 6);
        }
    }
}

TEST(ConvertPicture, SaysWhatItCannotDo) {
    const PIC_PROPS rgb = {kFccRGB24, 16, 8, 16};
    const TestPicture source(rgb, 1);
    TestPicture target(PIC_PROPS{kFccRGB565, 32, 8, 32}, 2);
    const std::vector<BYTE> before = target.memory;
    EXPECT_EQ(ConvertPicture(source.Frame(), target.Frame(), rgb, target.props, false), E_NOTIMPL);
    EXPECT_EQ(ConvertPicture(target.Frame(), target.Frame(), target.props, rgb, false), E_NOTIMPL);
    EXPECT_EQ(target.memory, before);
}

}  // namespace
}  // namespace qdvm::test
