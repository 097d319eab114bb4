#include "mixer/load_image.h"

#include "frames/format_table.h"
#include "platform/no_throw.h"
#include "platform/picture_file.h"

#include <cstdint>
#include <cstring>
#include <span>
#include <vector>

namespace qdvm {
namespace {

using FileBytes = std::span<const std::uint8_t>;

constexpr std::uint32_t kFileHeaderBytes = 14;
constexpr std::uint32_t kInfoHeaderBytes = 40;
constexpr std::uint32_t kHeaderBytes = kFileHeaderBytes + kInfoHeaderBytes;

// A little-endian number of a header.
template <class T>
T ReadAt(FileBytes file, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i)
        value |= static_cast<std::uint32_t>(file[offset + i]) << (8 * i);
    return static_cast<T>(value);
}

// What follows the last point of the name itself is ".bmp".
bool IsBitmapName(std::u16string_view path) {
    const std::size_t slash = path.find_last_of(u"/\\:");
    if (slash != path.npos) path.remove_prefix(slash + 1);
    const std::size_t point = path.rfind(u'.');
    if (point == path.npos) return false;
    const std::u16string_view extension = path.substr(point);
    constexpr std::u16string_view kWanted = u".bmp";
    if (extension.size() != kWanted.size()) return false;
    for (std::size_t i = 0; i < kWanted.size(); ++i) {
        const char16_t c = extension[i];
        const char16_t lower = c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
        if (lower != kWanted[i]) return false;
    }
    return true;
}

struct BitmapHeader {
    std::uint32_t bfSize;
    std::uint32_t bfOffBits;
    PIC_PROPS props;
    std::uint32_t imageBytes;
};

// The header of a bitmap of 32 bits a pixel without a palette. The size of the image is worked out:
// files state it wrongly or not at all.
bool ReadBitmapHeader(FileBytes file, BitmapHeader* header) {
    if (file.size() < kHeaderBytes || file[0] != 'B' || file[1] != 'M') return false;
    header->bfSize = ReadAt<std::uint32_t>(file, 2);
    header->bfOffBits = ReadAt<std::uint32_t>(file, 10);
    if (header->bfOffBits < kHeaderBytes || header->bfOffBits >= header->bfSize) return false;
    const auto compression = ReadAt<std::uint32_t>(file, 30);
    const bool isPlain = ReadAt<std::uint32_t>(file, 14) == kInfoHeaderBytes &&
                         ReadAt<std::uint16_t>(file, 26) == 1 &&
                         ReadAt<std::uint16_t>(file, 28) == 32 &&
                         (compression == 0 || compression == 3);  // BI_RGB, BI_BITFIELDS
    const bool hasPalette =
        ReadAt<std::uint32_t>(file, 46) != 0 || ReadAt<std::uint32_t>(file, 50) != 0;
    if (!isPlain || hasPalette) return false;
    const auto width = ReadAt<std::int32_t>(file, 18);
    const auto height = ReadAt<std::int32_t>(file, 22);
    header->props = {kFccARGB32, width, height, width};
    const std::int64_t lines = AbsHeight(height);
    if (width <= 0 || width > kMaxPictureSide || lines == 0 || lines > kMaxPictureSide ||
        width * lines > kMaxPicturePixels)
        return false;
    header->imageBytes = FrameBytes(header->props);
    return true;
}

// S_FALSE if the file is not of the kind that is read here.
HRESULT ReadBitmap(FileBytes file, LoadedImage* image) {
    BitmapHeader header{};
    if (!ReadBitmapHeader(file, &header)) return S_FALSE;
    const std::uint64_t end = std::uint64_t{header.bfOffBits} + header.imageBytes;
    if (end > header.bfSize || end > file.size()) return S_FALSE;
    const HRESULT result = image->pixels.Resize(header.imageBytes);
    if (Failed(result)) return result;
    image->pixels.CopyIn(file.data() + header.bfOffBits, header.imageBytes, 0);
    image->props = header.props;
    return S_OK;
}

HRESULT Decode(FileBytes file, AlphaForm form, LoadedImage* image) {
    DecodedPicture picture;
    const HRESULT result = DecodePicture(file, form, &picture);
    if (Failed(result)) return result;
    image->props = {kFccARGB32, picture.width, picture.height, picture.width};
    image->pixels.Attach({FrameBytes(image->props), picture.pixels.release()});
    return S_OK;
}

// Throws std::bad_alloc.
HRESULT Load(std::u16string_view path, bool bStraightAlpha, LoadedImage* image) {
    std::vector<std::uint8_t> file;
    HRESULT result = ReadPictureFile(path, file);
    if (result == HResultFromWin32(ERROR_FILE_NOT_FOUND) || result == E_OUTOFMEMORY) return result;
    if (Failed(result)) return E_FAIL;
    if (IsBitmapName(path)) {
        result = ReadBitmap(file, image);
        if (result != S_FALSE) return result;
    }
    return Decode(file, bStraightAlpha ? AlphaForm::kStraight : AlphaForm::kPremultiplied, image);
}

}  // namespace

HRESULT LoadImage(std::u16string_view path, bool bStraightAlpha, LoadedImage* image) {
    *image = {};
    return NoThrow([&] { return Load(path, bStraightAlpha, image); });
}

}  // namespace qdvm
