// Masks of rects: the built-in shapes, files and bitmaps.

#include "platform/counted_string.h"
#include "support/fake_filter.h"
#include "support/picture_files.h"
#include "support/temporary_directory.h"

#include <qdvideomixer/bitmap.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qdvm::test {
namespace {

class Masks : public ::testing::Test {
protected:
    MixBlock& Block() { return filter.In(0).pixels.rects[0]; }
    HRESULT Set(std::u16string_view name) {
        return filter.SetRectMask(0, 0, CountedString(name).Get());
    }
    std::u16string Name() {
        CountedString name;
        EXPECT_EQ(filter.GetRectMask(0, 0, name.Put()), S_OK);
        return std::u16string(name.View());
    }
    int At(int x, int y) { return Block().rectMask.At(0)[y * Block().maskProps.nWidth + x]; }
    std::vector<int> Mask() {
        return {Block().rectMask.At(0), Block().rectMask.At(0) + Block().rectMask.Used()};
    }

    FakeFilter filter;
    TemporaryDirectory directory;
};

TEST_F(Masks, BuiltInShapes) {
    struct Point {
        const char16_t* shape;
        int x, y, value;
    };
    const Point points[] = {
        {u"Rect", 128, 128, 252},
        {u"Rect", 0, 128, 0},
        {u"Rect", 1, 60, 0},
        {u"Rect", 2, 128, 5},
        {u"Rect", 128, 254, 5},
        {u"Rect", 11, 10, 82},
        {u"Rect", 27, 128, 252},
        {u"Rect", 26, 128, 251},
        {u"Circle", 128, 128, 252},
        {u"Circle", 0, 128, 12},
        {u"Circle", 255, 128, 20},
        {u"Circle", 0, 0, 0},
        {u"Circle", 24, 128, 252},
        {u"Circle", 23, 128, 251},
        {u"Circle", 43, 43, 92},
        {u"Rounded Rect", 128, 128, 252},
        {u"Rounded Rect", 58, 198, 252},
        {u"Rounded Rect", 57, 128, 251},
        {u"Rounded Rect", 0, 128, 5},
        {u"Rounded Rect", 255, 128, 6},
        {u"Rounded Rect", 0, 0, 0},
        {u"Rounded Rect", 28, 28, 92},
    };
    for (const Point& point : points) {
        ASSERT_EQ(Set(point.shape), S_OK);
        ASSERT_TRUE(Block().maskProps == (PIC_PROPS{kFccRGB8, 256, -256, 256}));
        ASSERT_EQ(Block().rectMask.Used(), 256u * 256);
        EXPECT_EQ(At(point.x, point.y), point.value)
            << CountedString(point.shape).View().size() << " " << point.x << "," << point.y;
    }
}

TEST_F(Masks, NamesComeBackAsGivenAndGoWithTheMask) {
    ASSERT_EQ(Set(u"rounded RECT"), S_OK);
    EXPECT_EQ(Name(), u"rounded RECT");
    // What was scaled from the mask before is made anew.
    (void)Block().rectAlpha.Resize(8);
    (void)Block().rectAlphaFlat.Resize(8);
    ASSERT_EQ(Set(u"circle"), S_OK);
    EXPECT_TRUE(Block().rectAlpha.IsEmpty());
    EXPECT_TRUE(Block().rectAlphaFlat.IsEmpty());
    // A scene keeps a rect's mask: a change of its values doesn't touch it.
    LONG number = 0;
    ASSERT_EQ(filter.SetInputRect(0, &number, nullptr), S_OK);
    EXPECT_EQ(Name(), u"circle");
    (void)Block().rectAlpha.Resize(8);
    ASSERT_EQ(filter.SetRectMask(0, 0, nullptr), S_OK);
    EXPECT_TRUE(Block().rectMask.IsEmpty());
    EXPECT_TRUE(Block().rectAlpha.IsEmpty());
    EXPECT_EQ(Name(), u"");
}

TEST_F(Masks, FilesBecomeGrey) {
    const FileBytes file = MakePictureFile(
        "png", 3, 2, true, [](int x, int y) { return MakeRgba(10 * x, 20, 100 * y + 1, 255); });
    const std::u16string name = WriteBytes(directory / "mask.png", file);
    ASSERT_EQ(Set(name), S_OK);
    EXPECT_EQ(Name(), name);
    EXPECT_TRUE(Block().maskProps == (PIC_PROPS{kFccRGB8, 3, -2, 3}));
    EXPECT_EQ(Mask(), (std::vector<int>{7, 10, 13, 40, 43, 47}));
    // A file that fails leaves the mask and its name.
    EXPECT_EQ(Set((directory / "none.png").u16string()), HResultFromWin32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(Set(WriteBytes(directory / "bad.png", FileBytes(9, 1))), E_FAIL);
    EXPECT_EQ(Name(), name);
    EXPECT_EQ(Mask().size(), 6u);
    EXPECT_EQ(filter.SetRectMask(0, 1, CountedString(u"circle").Get()), E_INVALIDARG);
    EXPECT_EQ(filter.SetRectMask(7, 0, CountedString(name).Get()), E_INVALIDARG);
}

TEST_F(Masks, OfAnySize) {
    for (const auto& [width, height] : {std::pair{1, 1}, std::pair{8000, 3}}) {
        const FileBytes file = MakePictureFile("png", width, height, false, [](int x, int y) {
            return MakeRgba(x & 255, x & 255, (x & 255) / 3 + y);
        });
        ASSERT_EQ(Set(WriteBytes(directory / "mask.png", file)), S_OK);
        EXPECT_EQ(Mask().size(), static_cast<std::size_t>(width) * height);
        const int x = width - 1;
        EXPECT_EQ(At(x, height - 1), (2 * (x & 255) + (x & 255) / 3 + height - 1) / 3);
    }
}

TEST_F(Masks, BitmapsByHandle) {
    const CountedString name(u"mine");
    // Rows of 2 pixels and padding.
    const BYTE rows[] = {3, 3, 3, 6, 6, 6, 99, 99, 9, 9, 9, 0, 0, 7, 99, 99};
    const auto set = [&](const VM_BITMAP& info) {
        LONG handle = 0;
        EXPECT_EQ(CreateBitmap(&info, rows, &handle), S_OK);
        const HRESULT result = filter.SetRectMaskHandle(0, 0, handle, name.Get());
        EXPECT_EQ(DeleteBitmap(handle), S_OK);
        EXPECT_EQ(filter.SetRectMaskHandle(0, 0, handle, name.Get()), E_HANDLE);
        return result;
    };
    ASSERT_EQ(set({2, 2, 24}), S_OK);
    EXPECT_EQ(Name(), u"mine");
    EXPECT_EQ(Mask(), (std::vector<int>{9, 2, 3, 6}));
    ASSERT_EQ(set({2, -2, 24}), S_OK);
    EXPECT_EQ(Mask(), (std::vector<int>{3, 6, 9, 2}));
    EXPECT_EQ(set({2, 2, 16}), E_INVALIDARG);
    EXPECT_EQ(Mask().size(), 4u);
    // The fourth byte is no colour.
    ASSERT_EQ(set({2, -1, 32}), S_OK);
    EXPECT_EQ(Mask(), (std::vector<int>{3, (6 + 6 + 99) / 3}));
}

TEST(Bitmaps, AreCopiedInAndOut) {
    const BYTE rows[] = {1, 2, 3, 0, 4, 5, 6, 0};
    const VM_BITMAP info = {1, 2, 24};
    LONG handle = 0;
    ASSERT_EQ(CreateBitmap(&info, rows, &handle), S_OK);
    EXPECT_GT(handle, 0);
    VM_BITMAP read{};
    ASSERT_EQ(GetBitmapInfo(handle, &read), S_OK);
    EXPECT_EQ(read.nHeight, 2);
    BYTE copy[8] = {};
    EXPECT_EQ(ReadBitmap(handle, copy, 7), E_INVALIDARG);
    ASSERT_EQ(ReadBitmap(handle, copy, 8), S_OK);
    EXPECT_EQ(std::vector<BYTE>(copy, copy + 8), std::vector<BYTE>(rows, rows + 8));
    ASSERT_EQ(DeleteBitmap(handle), S_OK);
    EXPECT_EQ(DeleteBitmap(handle), E_HANDLE);
    EXPECT_EQ(ReadBitmap(handle, copy, 8), E_HANDLE);
    for (const VM_BITMAP& bad : {VM_BITMAP{0, 1, 24}, VM_BITMAP{1, 0, 24}, VM_BITMAP{1, 1, 12},
                                 VM_BITMAP{INT32_MAX, INT32_MIN, 32}})
        EXPECT_EQ(CreateBitmap(&bad, rows, &handle), E_INVALIDARG);
    EXPECT_EQ(CreateBitmap(&info, nullptr, &handle), E_POINTER);
}

}  // namespace
}  // namespace qdvm::test
