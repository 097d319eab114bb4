// Picture files: first picture, alpha, and what damaged ones cost.

#include "platform/picture_file.h"

#include "support/picture_files.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstdlib>
#include <vector>

namespace qdvm::test {
namespace {

constexpr int kWidth = 13;
constexpr int kHeight = 7;

Rgba Pattern(int x, int y) { return MakeRgba(x * 17, y * 30, (x + y) * 11, 255 - 12 * x); }

// Pixel (x, y), top line 0, as blue, green, red, alpha.
std::vector<int> At(const DecodedPicture& picture, int x, int y) {
    const BYTE* const pixel =
        picture.pixels.get() + 4 * ((picture.height - 1 - y) * picture.width + x);
    return {pixel[0], pixel[1], pixel[2], pixel[3]};
}

void PutBytes(FileBytes& file, std::size_t offset, std::uint32_t value, bool bigEndian) {
    for (int i = 0; i < 4; ++i)
        file.at(offset + i) = static_cast<std::uint8_t>(value >> (bigEndian ? 24 - 8 * i : 8 * i));
}

// Two frames of 2 x 2: the first red, the second blue. LZW codes of three bits: clear, four times
// the colour, end.
FileBytes TwoFrameGif() {
    FileBytes file = {'G', 'I', 'F', '8', '9', 'a', 2, 0, 2, 0, 0x80, 0, 0, 255, 0, 0, 0, 0, 255};
    for (const bool blue : {false, true}) {
        const FileBytes control = {0x21, 0xF9, 4, 0, 10, 0, 0, 0};
        const FileBytes head = {0x2C, 0, 0, 0, 0, 2, 0, 2, 0, 0, 2};
        // 100 then four colour codes, then 101, low bits first.
        std::uint32_t bits = 4;
        for (int i = 1; i <= 4; ++i) bits |= (blue ? 1u : 0u) << (3 * i);
        bits |= 5u << 15;
        const FileBytes data = {3, static_cast<std::uint8_t>(bits),
                                static_cast<std::uint8_t>(bits >> 8),
                                static_cast<std::uint8_t>(bits >> 16), 0};
        for (const FileBytes* part : {&control, &head, &data})
            file.insert(file.end(), part->begin(), part->end());
    }
    file.push_back(0x3B);
    return file;
}

TEST(PictureFile, FilesWithoutLossComeBackExactly) {
    for (const char* kind : {"png", "tiff", "bmp"}) {
        SCOPED_TRACE(kind);
        const bool hasAlpha = std::string_view(kind) == "png";
        DecodedPicture picture;
        ASSERT_EQ(DecodePicture(MakePictureFile(kind, kWidth, kHeight, hasAlpha, Pattern),
                                AlphaForm::kStraight, &picture),
                  S_OK);
        ASSERT_EQ(picture.width, kWidth);
        ASSERT_EQ(picture.height, kHeight);
        for (int y = 0; y < kHeight; ++y) {
            for (int x = 0; x < kWidth; ++x) {
                EXPECT_EQ(At(picture, x, y), (std::vector<int>{(x + y) * 11, y * 30, x * 17,
                                                               hasAlpha ? 255 - 12 * x : 255}));
            }
        }
    }
}

TEST(PictureFile, PremultipliedColoursAreRounded) {
    const FileBytes file = MakePictureFile("png", 3, 1, true, [](int x, int) {
        return MakeRgba(255, 100, 3, x == 0 ? 0 : x == 1 ? 128 : 255);
    });
    DecodedPicture picture;
    ASSERT_EQ(DecodePicture(file, AlphaForm::kPremultiplied, &picture), S_OK);
    EXPECT_EQ(At(picture, 0, 0), (std::vector<int>{0, 0, 0, 0}));
    EXPECT_EQ(At(picture, 1, 0), (std::vector<int>{2, 50, 128, 128}));
    EXPECT_EQ(At(picture, 2, 0), (std::vector<int>{3, 100, 255, 255}));
}

TEST(PictureFile, JpegIsCloseAndOpaque) {
    const FileBytes file =
        MakePictureFile("jpeg", 32, 16, false, [](int, int) { return MakeRgba(200, 100, 50); });
    DecodedPicture picture;
    ASSERT_EQ(DecodePicture(file, AlphaForm::kStraight, &picture), S_OK);
    const std::vector<int> pixel = At(picture, 9, 9);
    EXPECT_LE(std::abs(pixel[0] - 50) + std::abs(pixel[1] - 100) + std::abs(pixel[2] - 200), 9);
    EXPECT_EQ(pixel[3], 255);
}

TEST(PictureFile, AnAnimationGivesItsFirstFrame) {
    FileBytes file = TwoFrameGif();
    DecodedPicture picture;
    ASSERT_EQ(DecodePicture(file, AlphaForm::kStraight, &picture), S_OK);
    EXPECT_EQ(picture.width, 2);
    EXPECT_EQ(At(picture, 1, 1), (std::vector<int>{0, 0, 255, 255}));
    // What comes behind the first frame doesn't matter.
    file.erase(file.end() - 6, file.end());
    ASSERT_EQ(DecodePicture(file, AlphaForm::kStraight, &picture), S_OK);
    EXPECT_EQ(At(picture, 0, 0), (std::vector<int>{0, 0, 255, 255}));
}

TEST(PictureFile, IncompleteFilesFailWhereverTheyEnd) {
    const std::vector<std::pair<const char*, FileBytes>> files = {
        {"png", MakePictureFile("png", kWidth, kHeight, true, Pattern)},
        {"jpeg", MakePictureFile("jpeg", kWidth, kHeight, false, Pattern)},
        {"bmp", MakePictureFile("bmp", kWidth, kHeight, false, Pattern)},
        {"tiff", MakePictureFile("tiff", kWidth, kHeight, false, Pattern)},
    };
    for (const auto& [kind, whole] : files) {
        for (std::size_t size = 0; size < whole.size(); ++size) {
            DecodedPicture decoded;
            EXPECT_EQ(DecodePicture(std::span(whole).first(size), AlphaForm::kStraight, &decoded),
                      E_FAIL)
                << kind << " of " << size << " bytes of " << whole.size();
            EXPECT_EQ(decoded.pixels, nullptr);
        }
    }
}

TEST(PictureFile, SizesBeyondTheBoundsFailBeforeMemoryIsTaken) {
    FileBytes png = MakePictureFile("png", kWidth, kHeight, true, Pattern);
    PutBytes(png, 16, 100000, true);
    PutBytes(png, 20, 100000, true);
    // The check sum of the changed header, so that the size itself is what is refused.
    PutBytes(png, 29, 0xA8520BC8u, true);
    FileBytes bmp = MakePictureFile("bmp", kWidth, kHeight, false, Pattern);
    PutBytes(bmp, 18, 100000, false);
    PutBytes(bmp, 22, 100000, false);
    FileBytes farPixels = MakePictureFile("bmp", kWidth, kHeight, false, Pattern);
    PutBytes(farPixels, 10, 0xFFFFFF47u, false);
    FileBytes longHeader = MakePictureFile("bmp", kWidth, kHeight, false, Pattern);
    PutBytes(longHeader, 14, 0xFFFFFFF0u, false);
    FileBytes gif = TwoFrameGif();
    for (const std::size_t at : {6, 7, 8, 9}) gif[at] = 0xFF;
    for (const FileBytes* file : {&png, &bmp, &farPixels, &longHeader, &gif}) {
        DecodedPicture picture;
        EXPECT_EQ(DecodePicture(*file, AlphaForm::kStraight, &picture), E_FAIL);
    }
}

TEST(PictureFile, OtherFilesAreRefused) {
    DecodedPicture picture;
    const std::string drawing = "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>";
    EXPECT_EQ(
        DecodePicture(FileBytes(drawing.begin(), drawing.end()), AlphaForm::kStraight, &picture),
        E_FAIL);
    EXPECT_EQ(DecodePicture({}, AlphaForm::kStraight, &picture), E_FAIL);
    const TemporaryDirectory directory;
    FileBytes contents;
    EXPECT_EQ(ReadPictureFile((directory / "none.png").u16string(), contents),
              HResultFromWin32(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(ReadPictureFile((directory / ".").u16string(), contents), E_FAIL);
    ASSERT_EQ(mkfifo((directory / "pipe").c_str(), 0600), 0);
    EXPECT_EQ(ReadPictureFile((directory / "pipe").u16string(), contents), E_FAIL);
}

TEST(PictureFile, WrittenPicturesReadBack) {
    const std::vector<BYTE> rows = {1, 2, 3, 4, 5, 6, 0, 0, 11, 12, 13, 14, 15, 16, 0, 0};
    FileBytes file;
    // Bottom line first.
    ASSERT_EQ(EncodePng({rows.data() + 8, -8, 2, 2, 24}, &file), S_OK);
    DecodedPicture picture;
    ASSERT_EQ(DecodePicture(file, AlphaForm::kStraight, &picture), S_OK);
    EXPECT_EQ(At(picture, 0, 0), (std::vector<int>{11, 12, 13, 255}));
    EXPECT_EQ(At(picture, 1, 1), (std::vector<int>{4, 5, 6, 255}));
    ASSERT_EQ(EncodePng({rows.data(), 8, 2, 1, 32}, &file), S_OK);
    ASSERT_EQ(DecodePicture(file, AlphaForm::kStraight, &picture), S_OK);
    EXPECT_EQ(At(picture, 0, 0), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(EncodePng({rows.data(), 8, 2, 1, 16}, &file), E_INVALIDARG);
}

}  // namespace
}  // namespace qdvm::test
