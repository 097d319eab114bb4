#include "mixer/background.h"

#include "support/fake_filter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace qdvm::test {
namespace {

// A background alone, painted over 0x55.
class BackgroundTest : public ::testing::Test {
protected:
    int Paint() {
        frame.assign(FrameBytes(kPicture), 0x55);
        background.Paint(frame.data(), kPicture);
        return frame[0];
    }
    HRESULT Grey(int level, std::int32_t frames) {
        return background.Set(eVMB_Color, level * 0x010101, nullptr, frames);
    }

    Background background;
    std::vector<BYTE> frame;
};

TEST_F(BackgroundTest, IsBlackAtFirst) {
    EXPECT_EQ(background.Kind(), eVMB_Color);
    EXPECT_EQ(background.Colour(), 0);
    EXPECT_EQ(Paint(), 0);
}

TEST_F(BackgroundTest, FadesFrameByFrameFromTheOldColour) {
    ASSERT_EQ(Grey(200, 0), S_OK);
    EXPECT_EQ(Paint(), 200);
    ASSERT_EQ(Grey(0, 4), S_OK);
    for (const int opacity : {0, 64, 128, 191})  // round(255 * 0/4, 1/4, 2/4, 3/4)
        EXPECT_EQ(Paint(), opacity == 0 ? 200 : 200 * (255 - opacity) >> 8);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Paint(), 0);
}

TEST_F(BackgroundTest, ANewFadeBeginsAtTheTargetOfTheLast) {
    ASSERT_EQ(Grey(200, 0), S_OK);
    ASSERT_EQ(Grey(100, 10), S_OK);
    EXPECT_EQ(Paint(), 200);
    ASSERT_EQ(Grey(0, 10), S_OK);
    EXPECT_EQ(Paint(), 100);
    ASSERT_EQ(Grey(40, -3), S_OK);
    EXPECT_EQ(Paint(), 40);
}

TEST_F(BackgroundTest, ThereIsNoFadeFromNothing) {
    for (const eVM_Background kind : {eVMB_None, eVMB_Stream}) {
        ASSERT_EQ(background.Set(kind, 0, nullptr, 0), S_OK);
        EXPECT_EQ(Paint(), 0x55);
        ASSERT_EQ(Grey(200, 10), S_OK);
        EXPECT_EQ(Paint(), 200);
    }
    // A fade goes on counting under a kind that paints nothing.
    ASSERT_EQ(background.Set(eVMB_Stream, 0, nullptr, 2), S_OK);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Paint(), 0x55);
    EXPECT_EQ(background.Colour(), 200 * 0x010101);
}

TEST_F(BackgroundTest, WhatCannotBeSetChangesNothing) {
    ASSERT_EQ(Grey(9, 0), S_OK);
    EXPECT_EQ(background.Set(eVMB_Image, 0, nullptr, 5), E_INVALIDARG);
    EXPECT_EQ(background.Kind(), eVMB_Color);
    EXPECT_EQ(Paint(), 9);
}

TEST(BackgroundControl, MillisecondsAreCountedInOutputFrames) {
    FakeFilter filter;
    ASSERT_EQ(filter.SetMasterStream(0), S_OK);
    filter.In(0).enabled = true;
    ASSERT_EQ(filter.RemoveAllRects(0), S_OK);
    ASSERT_EQ(filter.SetBackground(eVMB_Color, 0xC0C0C0, nullptr), S_OK);
    ASSERT_EQ(filter.Run(), S_OK);
    ASSERT_EQ(filter.RemoveAllRects(0), S_OK);
    ASSERT_EQ(filter.SetBackground2(eVMB_Color, 0, nullptr, 1000), S_OK);
    EXPECT_TRUE(filter.dirty);
    filter.Compose(26);
    const std::vector<Delivered> frames = filter.output.Frames();
    EXPECT_EQ(frames[0].At(0, 0), 0xC0);
    EXPECT_GT(frames[24].At(0, 0), 0);
    EXPECT_EQ(frames[25].At(0, 0), 0);
    ASSERT_EQ(filter.SetBackground2(eVMB_Color, 0x101010, nullptr, 19), S_OK);
    filter.Compose(1);
    EXPECT_EQ(filter.output.Last().At(0, 0), 0x10);
    eVM_Background kind{};
    LONG colour = 0;
    BSTR name = nullptr;
    ASSERT_EQ(filter.GetBackground(&kind, &colour, &name), S_OK);
    EXPECT_EQ(kind, eVMB_Color);
    EXPECT_EQ(colour, 0x101010);
    EXPECT_EQ(SysStringLen(name), 0u);
    SysFreeString(name);
    EXPECT_EQ(filter.GetBackground(nullptr, nullptr, nullptr), S_OK);
}

}  // namespace
}  // namespace qdvm::test
