// Picture files as backgrounds and masks get them.

#include "mixer/load_image.h"

#include "frames/format_table.h"
#include "support/picture_files.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

#include <vector>

namespace qdvm::test {
namespace {

class LoadImageTest : public ::testing::Test {
protected:
    HRESULT Load(const char* name, const FileBytes& file, bool straight = true) {
        return LoadImage(WriteBytes(directory / name, file), straight, &image);
    }
    std::vector<int> Bytes() const {
        return {image.pixels.At(0), image.pixels.At(0) + image.pixels.Used()};
    }

    TemporaryDirectory directory;
    LoadedImage image;
};

const std::vector<std::uint8_t> kTwoPixels = {10, 20, 30, 0, 40, 50, 60, 128};

TEST_F(LoadImageTest, BitmapsOf32BitsKeepAlphaAndRowOrder) {
    // Premultiplied or not, the bytes are those of the file.
    for (const bool straight : {true, false}) {
        ASSERT_EQ(Load("a.BMP", MakeBmpFile(1, 2, 32, kTwoPixels), straight), S_OK);
        EXPECT_TRUE(image.props == (PIC_PROPS{kFccARGB32, 1, 2, 1}));
        EXPECT_EQ(Bytes(), (std::vector<int>{10, 20, 30, 0, 40, 50, 60, 128}));
    }
    ASSERT_EQ(Load("a.bmp", MakeBmpFile(1, -2, 32, kTwoPixels)), S_OK);
    EXPECT_TRUE(image.props == (PIC_PROPS{kFccARGB32, 1, -2, 1}));
    // A size of the image that is wrong doesn't count.
    FileBytes file = MakeBmpFile(2, 1, 32, kTwoPixels);
    file[34] = 77;
    ASSERT_EQ(Load("a.bmp", file), S_OK);
    EXPECT_EQ(image.pixels.Used(), 8u);
}

TEST_F(LoadImageTest, TheNameDecidesWhichReaderIsFirst) {
    // Not named so, or not of the plain kind: the decoder reads it, bottom line first and opaque.
    const FileBytes file = MakeBmpFile(1, -2, 32, kTwoPixels);
    for (const char* name : {"bmp", "a.bmp.dat", "x.y"}) {
        ASSERT_EQ(Load(name, file), S_OK) << name;
        EXPECT_EQ(image.props.nHeight, 2) << name;
        EXPECT_EQ(Bytes()[0], 40) << name;
    }
    const std::vector<std::uint8_t> rows = {1, 2, 3, 0, 4, 5, 6, 0};
    ASSERT_EQ(Load("24.bmp", MakeBmpFile(1, 2, 24, rows)), S_OK);
    EXPECT_EQ(Bytes(), (std::vector<int>{1, 2, 3, 255, 4, 5, 6, 255}));
}

TEST_F(LoadImageTest, DamagedBitmapsFailWhereverTheyEnd) {
    const FileBytes file = MakeBmpFile(1, 2, 32, kTwoPixels);
    for (std::size_t size = 0; size < file.size(); ++size) {
        EXPECT_EQ(Load("a.bmp", FileBytes(file.begin(), file.begin() + size)), E_FAIL) << size;
        EXPECT_TRUE(image.pixels.IsEmpty());
    }
    for (const std::int32_t side : {100000, INT32_MAX, 0, -1, INT32_MIN})
        EXPECT_EQ(Load("a.bmp", MakeBmpFile(side, side, 32, kTwoPixels)), E_FAIL) << side;
}

TEST_F(LoadImageTest, DecodedPicturesAreStraightOrPremultiplied) {
    const FileBytes file =
        MakePictureFile("png", 1, 1, true, [](int, int) { return MakeRgba(200, 100, 50, 51); });
    ASSERT_EQ(Load("a.png", file, true), S_OK);
    EXPECT_EQ(Bytes(), (std::vector<int>{50, 100, 200, 51}));
    ASSERT_EQ(Load("a.png", file, false), S_OK);
    EXPECT_EQ(Bytes(), (std::vector<int>{10, 20, 40, 51}));
}

TEST_F(LoadImageTest, MissingAndForeignFiles) {
    EXPECT_EQ(LoadImage((directory / "none.bmp").u16string(), true, &image),
              HResultFromWin32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(LoadImage(directory.Path().u16string(), true, &image), E_FAIL);
    EXPECT_EQ(Load("a.png", {}), E_FAIL);
    EXPECT_EQ(Load("a.txt", FileBytes(100, 'x')), E_FAIL);
}

}  // namespace
}  // namespace qdvm::test
