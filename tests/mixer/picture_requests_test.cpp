// Pictures that are asked for: thumbnails of streams, the last frame as a bitmap, colour bars.

#include "mixer/colour_bars.h"
#include "support/fake_filter.h"

#include <qdvideomixer/bitmap.h>

#include <gtest/gtest.h>

#include <thread>
#include <utility>
#include <vector>

namespace qdvm::test {
namespace {

class Thumbnails : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(filter.SetMasterStream(0), S_OK);
        ASSERT_EQ(filter.Run(), S_OK);
    }
    // Asks on a thread of its own and calls `next` once the request stands.
    template <class Next>
    HRESULT Ask(LONG width, LONG height, Next next) {
        HRESULT result = E_FAIL;
        std::thread asking([&] { result = Request(width, height); });
        EXPECT_TRUE(WaitUntil([&] { return filter.In(0).IsThumbnailWanted(); }));
        next();
        asking.join();
        return result;
    }
    HRESULT Request(LONG width, LONG height) {
        return filter.In(0).RequestThumbnail({width, height}, true);
    }
    PIC_PROPS Size() { return filter.In(0).thumbnailProps; }
    int FirstByte() {
        return filter.In(0).thumbnail.HasData() ? *filter.In(0).thumbnail.At(0) : -1;
    }

    FakeFilter filter;
};

TEST_F(Thumbnails, AreMadeOfTheNextFrameInTheSizeAskedFor) {
    EXPECT_EQ(Request(0, 0), E_UNEXPECTED);
    EXPECT_EQ(Request(-2, 0), E_INVALIDARG);
    filter.Compose(1, 10);
    struct Case {
        LONG width, height;
        std::int32_t x, y;
    };
    // The picture is told to be shown at 4:3.
    for (const Case& wanted : {Case{0, 0, 64, 32}, Case{15, 0, 16, 12}, Case{0, 5, 6, 6},
                               Case{31, 31, 32, 32}, Case{200, 0, 200, 150}}) {
        ASSERT_EQ(Ask(wanted.width, wanted.height, [&] { filter.Compose(1, 77); }), S_OK);
        EXPECT_TRUE(Size() == (PIC_PROPS{kFccRGB24, wanted.x, wanted.y, wanted.x}));
        EXPECT_EQ(filter.In(0).thumbnail.Used(), FrameBytes(Size()));
        EXPECT_EQ(FirstByte(), 77);
    }
}

TEST_F(Thumbnails, NoWaitOutlastsTheStream) {
    // A flush, an end and a stop leave what the stream showed last.
    filter.Compose(1, 20);
    ASSERT_EQ(Ask(8, 8, [&] { (void)filter.FlushBuffers(0); }), S_OK);
    EXPECT_EQ(FirstByte(), 20);
    filter.Compose(1, 30);
    filter.In(0).loop = false;
    ASSERT_EQ(Ask(8, 8, [&] { filter.In(0).EndStream(); }), S_OK);
    EXPECT_EQ(Size().nWidth, 8);
    EXPECT_EQ(FirstByte(), 30);
    filter.Stop();
    ASSERT_EQ(filter.Run(), S_OK);
    filter.Compose(1, 40);
    ASSERT_EQ(Ask(4, 4, [&] { filter.Stop(); }), S_OK);
    EXPECT_EQ(Size().nWidth, 4);
    EXPECT_EQ(FirstByte(), 40);
}

class Captures : public ::testing::Test {
protected:
    // Field of line 0: 100; the other: 200.
    static MediaFrame Interlaced(const PIC_PROPS& picture) {
        const MediaFrame frame = MakeFrame(0);
        std::vector<BYTE>& bytes = FakeSample::Of(frame).bytes;
        const std::size_t row = bytes.size() / static_cast<std::size_t>(AbsHeight(picture));
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const std::size_t inMemory = i / row;
            const std::size_t line = picture.nHeight > 0 ? 31 - inMemory : inMemory;
            bytes[i] = line % 2 == 0 ? 100 : 200;
        }
        return frame;
    }
};

TEST_F(Captures, GiveTheLastFrameAsABitmap) {
    for (const PIC_PROPS& picture :
         {PIC_PROPS{kFccRGB32, 64, 32, 64}, PIC_PROPS{kFccRGB32, 64, -32, 64}}) {
        FakeFilter filter;
        filter.SetOutputFormat(picture);
        FakeFilter::Connect(filter.In(0), picture);
        ASSERT_EQ(filter.SetMasterStream(0), S_OK);
        ASSERT_EQ(filter.Run(), S_OK);
        ASSERT_EQ(filter.SendFrame(0, Interlaced(picture)), S_OK);
        for (const bool oneField : {false, true}) {
            LONG handle = 0;
            ASSERT_EQ(filter.CaptureBitmap(&handle, oneField ? 1 : 0), S_OK);
            VM_BITMAP info{};
            ASSERT_EQ(GetBitmapInfo(handle, &info), S_OK);
            EXPECT_EQ(info.nWidth, 64);
            EXPECT_EQ(info.nHeight, 32);
            EXPECT_EQ(info.nBitsPerPixel, 24);
            std::vector<BYTE> rows(64 * 3 * 32);
            ASSERT_EQ(ReadBitmap(handle, rows.data(), static_cast<DWORD>(rows.size())), S_OK);
            EXPECT_EQ(DeleteBitmap(handle), S_OK);
            // The last row of a bitmap is line 0.
            EXPECT_EQ(rows[31 * 192], 100);
            for (const std::size_t row : {0, 30, 14})
                EXPECT_EQ(rows[row * 192 + 5], oneField || row % 2 == 1 ? 100 : 200) << row;
        }
    }
}

TEST(ColourBars, StandInTheirPlaces) {
    const PIC_PROPS props = {kFccRGB24, 720, -576, 720};
    std::vector<BYTE> frame(FrameBytes(props));
    ASSERT_EQ(DrawColourBars(frame.data(), props), S_OK);
    const auto at = [&](std::size_t x, std::size_t y) {
        const BYTE* const pixel = frame.data() + (y * 720 + x) * 3;
        return pixel[2] << 16 | pixel[1] << 8 | pixel[0];
    };
    EXPECT_EQ(at(101, 0), 0xC0C0C0);
    EXPECT_EQ(at(102, 383), 0xC0C000);
    EXPECT_EQ(at(719, 383), 0x0000C0);
    EXPECT_EQ(at(0, 384), 0x0000C0);
    EXPECT_EQ(at(412, 431), 0x00C0C0);
    EXPECT_EQ(at(0, 432), 0x00214C);
    EXPECT_EQ(at(128, 575), 0xFFFFFF);
    EXPECT_EQ(at(582, 575), 0x1D1D1D);
    EXPECT_EQ(at(719, 575), 0x131313);
}

TEST(ColourBars, FitEveryFormatAndSize) {
    for (const std::int32_t fccType :
         {kFccI420, kFccYV12, kFccYUY2, kFccUYVY, kFccYVYU, kFccHDYC}) {
        const PIC_PROPS props = {fccType, 36, 16, 40};
        std::vector<BYTE> frame(FrameBytes(props));
        ASSERT_EQ(DrawColourBars(frame.data(), props), S_OK) << fccType;
        // Luma of the grey bar at the top left.
        const bool isLumaSecond = fccType == kFccUYVY || fccType == kFccHDYC;
        EXPECT_NEAR(frame[isLumaSecond ? 1 : 0], 181, 1) << fccType;
    }
    const PIC_PROPS other = {kFccRGB565, 36, 16, 36};
    std::vector<BYTE> frame(FrameBytes(other));
    EXPECT_EQ(DrawColourBars(frame.data(), other), E_NOTIMPL);
}

}  // namespace
}  // namespace qdvm::test
