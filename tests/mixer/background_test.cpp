#include "mixer/background.h"

#include "platform/counted_string.h"
#include "support/fake_filter.h"
#include "support/picture_files.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
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
    void Grey(int level, std::int32_t frames) {
        BackgroundChange change;
        change.colour = level * 0x010101;
        background.Set(std::move(change), frames);
    }
    void Kind(eVM_Background kind, std::int32_t frames) {
        BackgroundChange change;
        change.kind = kind;
        background.Set(std::move(change), frames);
    }
    // A picture of one level, in a size of its own.
    void Image(int level, std::int32_t frames, const PIC_PROPS* output = &kPicture) {
        BackgroundChange change;
        change.kind = eVMB_Image;
        change.imageName = u"grey";
        change.image.props = {kFccARGB32, 3, 5, 3};
        ASSERT_EQ(change.image.pixels.Resize(60, true, static_cast<BYTE>(level)), S_OK);
        if (output) (void)change.picture.Make(change.image, *output);
        background.Set(std::move(change), frames);
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
    Grey(200, 0);
    EXPECT_EQ(Paint(), 200);
    Grey(0, 4);
    for (const int opacity : {0, 64, 128, 191})  // round(255 * 0/4, 1/4, 2/4, 3/4)
        EXPECT_EQ(Paint(), opacity == 0 ? 200 : 200 * (255 - opacity) >> 8);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Paint(), 0);
}

TEST_F(BackgroundTest, ANewFadeBeginsAtTheTargetOfTheLast) {
    Grey(200, 0);
    Grey(100, 10);
    EXPECT_EQ(Paint(), 200);
    Grey(0, 10);
    EXPECT_EQ(Paint(), 100);
    Grey(40, -3);
    EXPECT_EQ(Paint(), 40);
}

TEST_F(BackgroundTest, ThereIsNoFadeFromNothing) {
    for (const eVM_Background kind : {eVMB_None, eVMB_Stream}) {
        Kind(kind, 0);
        EXPECT_EQ(Paint(), 0x55);
        Grey(200, 10);
        EXPECT_EQ(Paint(), 200);
    }
    // A fade goes on counting under a kind that paints nothing.
    Kind(eVMB_Stream, 2);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(Paint(), 0x55);
    EXPECT_EQ(background.Colour(), 200 * 0x010101);
}

TEST_F(BackgroundTest, PicturesFadeFromAndToEverything) {
    Grey(100, 0);
    Image(200, 4);
    // 100 parts of the old and the new, of 256: 0, 64, 129 and 192.
    for (const int weight : {0, 64, 129, 192})
        EXPECT_EQ(Paint(), (200 * weight + 100 * (256 - weight)) >> 8);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(Paint(), 200);
    Image(50, 2);
    EXPECT_EQ(Paint(), 200);
    EXPECT_EQ(Paint(), (50 * 129 + 200 * 127) >> 8);
    EXPECT_EQ(Paint(), 50);
    Grey(0, 2);
    EXPECT_EQ(Paint(), 50);
    EXPECT_EQ(Paint(), 50 * 127 >> 8);
    EXPECT_EQ(Paint(), 0);
    Image(60, 0);
    EXPECT_EQ(Paint(), 60);
    Kind(eVMB_None, 3);
    EXPECT_EQ(Paint(), 0x55);
    Image(70, 3);
    EXPECT_EQ(Paint(), 70);
}

TEST_F(BackgroundTest, APictureFollowsTheOutputsFormat) {
    Image(60, 0, nullptr);
    for (const std::int32_t fccType : {kFccI420, kFccYUY2, kFccYVYU, kFccRGB24, kFccARGB32}) {
        const PIC_PROPS output = {fccType, 32, 16, 32};
        frame.assign(FrameBytes(output), 0x55);
        background.Paint(frame.data(), output);
        const bool isYuv = !IsRGBFormat(fccType);
        EXPECT_NEAR(frame[0], isYuv ? 68 : 60, 1) << fccType;
        EXPECT_NEAR(frame[511],
                    fccType == kFccYUY2 || fccType == kFccYVYU ? 128
                    : isYuv                                    ? 68
                                                               : 60,
                    1);
    }
    // A fade out of a picture that was made for another format shows the new background at once.
    Grey(9, 5);
    EXPECT_EQ(Paint(), 9);
    // There is no way into this format: black rather than what was there.
    const PIC_PROPS grey = {kFccRGB565, 32, 16, 32};
    Image(60, 0);
    frame.assign(FrameBytes(grey), 0x55);
    background.Paint(frame.data(), grey);
    EXPECT_EQ(frame[0], 0);
}

class BackgroundFiles : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(filter.SetMasterStream(0), S_OK);
        ASSERT_EQ(filter.Run(), S_OK);
        ASSERT_EQ(filter.RemoveAllRects(0), S_OK);
    }
    HRESULT SetImage(const std::u16string& name) {
        return filter.SetBackground(eVMB_Image, 0x123456, CountedString(name).Get());
    }

    FakeFilter filter;
    TemporaryDirectory directory;
};

TEST_F(BackgroundFiles, AreStretchedToTheOutput) {
    // Green above blue, 2 x 8 on 64 x 32.
    const FileBytes file = MakePictureFile("png", 2, 8, false, [](int, int y) {
        return y < 4 ? MakeRgba(0, 255, 0) : MakeRgba(0, 0, 255);
    });
    const std::u16string name = WriteBytes(directory / "a.png", file);
    ASSERT_EQ(filter.SetBackground(eVMB_Color, 7, nullptr), S_OK);
    ASSERT_EQ(SetImage(name), S_OK);
    filter.Compose(1);
    for (const std::size_t x : {0, 63}) {
        EXPECT_EQ(filter.output.Last().At(x, 0), 0);
        EXPECT_EQ(filter.output.Last().At(x, 31), 255);
    }
    eVM_Background kind{};
    LONG colour = 0;
    CountedString image;
    ASSERT_EQ(filter.GetBackground(&kind, &colour, image.Put()), S_OK);
    EXPECT_EQ(kind, eVMB_Image);
    EXPECT_EQ(colour, 7);
    EXPECT_EQ(image.View(), name);
    // A colour leaves the picture's name.
    ASSERT_EQ(filter.SetBackground(eVMB_Color, 0xFF, nullptr), S_OK);
    ASSERT_EQ(filter.GetBackground(nullptr, nullptr, image.Put()), S_OK);
    EXPECT_EQ(image.View(), name);
}

TEST_F(BackgroundFiles, ThatFailChangeNothing) {
    ASSERT_EQ(filter.SetBackground(eVMB_Color, 0x090909, nullptr), S_OK);
    filter.dirty = false;
    ASSERT_EQ(filter.SetBackground2(eVMB_Color, 0x494949, nullptr, 160), S_OK);
    filter.Compose(1);
    EXPECT_EQ(filter.SetBackground2(eVMB_Image, 0, nullptr, 80), E_INVALIDARG);
    EXPECT_EQ(SetImage((directory / "none.png").u16string()),
              HResultFromWin32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(SetImage(WriteBytes(directory / "bad.jpg", FileBytes(99, 0))), E_FAIL);
    eVM_Background kind{};
    CountedString image;
    ASSERT_EQ(filter.GetBackground(&kind, nullptr, image.Put()), S_OK);
    EXPECT_EQ(kind, eVMB_Color);
    EXPECT_EQ(image.View(), u"");
    // Not even the fade that runs.
    filter.Compose(1);
    EXPECT_EQ(filter.output.Last().At(0, 0), (9 * 191 + 0x49 * 64) >> 8);
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
