#pragma once

// Picture files in memory: reading the first picture of one, and writing one.
//
// Files come from anywhere, so what reading takes is bounded: a picture of at most kMaxPictureSide
// pixels on a side and kMaxPicturePixels in all, which is checked before its memory is taken, and
// kMaxDecodingMs of time.

#include <qdvideomixer/object.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

namespace qdvm {

inline constexpr std::int32_t kMaxPictureSide = 32767;
inline constexpr std::int64_t kMaxPicturePixels = std::int64_t{1} << 26;
inline constexpr std::uint64_t kMaxPictureFileBytes = std::uint64_t{1} << 28;
inline constexpr std::uint32_t kMaxDecodingMs = 10000;

struct TaskMemoryDelete {
    void operator()(BYTE* block) const { CoTaskMemFree(block); }
};

// A picture of 32 bits a pixel: blue, green, red, alpha. Bottom line first, width * 4 bytes to a
// row.
struct DecodedPicture {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::unique_ptr<BYTE[], TaskMemoryDelete> pixels;  // task memory
};

enum class AlphaForm {
    kStraight,
    kPremultiplied,  // colour times alpha / 255, rounded to nearest
};

// Reads a picture file whole. Not found: 0x80070002. E_FAIL: no regular file, or one of more than
// kMaxPictureFileBytes. Otherwise as ReadFile.
HRESULT ReadPictureFile(std::u16string_view name, std::vector<std::uint8_t>& contents);

// Decodes the first picture of a PNG, JPEG, GIF, BMP or TIFF file; pictures without alpha get 255.
// E_FAIL: another kind of file, a damaged or incomplete one, or one beyond the bounds.
// E_OUTOFMEMORY. The picture is empty after a failure.
HRESULT DecodePicture(std::span<const std::uint8_t> file, AlphaForm form, DecodedPicture* picture);

// Rows of a picture to be written, top line first: `stride` bytes from one to the next, negative
// for memory with the bottom line first. 24 bits a pixel (blue, green, red) or 32 (and alpha,
// straight).
struct PictureRows {
    const BYTE* topRow;
    std::ptrdiff_t stride;
    std::int32_t width;
    std::int32_t height;
    std::int32_t bitsPerPixel;
};

// The picture as a PNG file. E_INVALIDARG: no pixels, or another depth. E_FAIL, E_OUTOFMEMORY.
HRESULT EncodePng(const PictureRows& picture, std::vector<std::uint8_t>* file);

}  // namespace qdvm
