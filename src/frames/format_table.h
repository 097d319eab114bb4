#pragma once

// The known pixel formats and the byte arithmetic that follows from them. Free functions on plain
// values, safe with any values: sizes are worked out in 64 bits and cannot wrap.

#include <qdvideomixer/media_type.h>
#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace qdvm {

// The identifier of four characters, the first in the low byte.
constexpr std::int32_t MakeFourCC(char a, char b, char c, char d) {
    const auto at = [](char character, int shift) {
        return static_cast<std::uint32_t>(static_cast<unsigned char>(character)) << shift;
    };
    return static_cast<std::int32_t>(at(a, 0) | at(b, 8) | at(c, 16) | at(d, 24));
}

inline constexpr std::int32_t kFccYUY2 = MakeFourCC('Y', 'U', 'Y', '2');
inline constexpr std::int32_t kFccUYVY = MakeFourCC('U', 'Y', 'V', 'Y');
inline constexpr std::int32_t kFccYV12 = MakeFourCC('Y', 'V', '1', '2');
inline constexpr std::int32_t kFccYVYU = MakeFourCC('Y', 'V', 'Y', 'U');
inline constexpr std::int32_t kFccI420 = MakeFourCC('I', '4', '2', '0');
inline constexpr std::int32_t kFccIYU2 = MakeFourCC('I', 'Y', 'U', '2');
inline constexpr std::int32_t kFccHDYC = MakeFourCC('H', 'D', 'Y', 'C');
inline constexpr std::int32_t kFccV210 = MakeFourCC('v', '2', '1', '0');
inline constexpr std::int32_t kFccR210 = MakeFourCC('r', '2', '1', '0');
inline constexpr std::int32_t kFccNV12 = MakeFourCC('N', 'V', '1', '2');
inline constexpr std::int32_t kFccYVU9 = MakeFourCC('Y', 'V', 'U', '9');
inline constexpr std::int32_t kFccY422 = MakeFourCC('Y', '4', '2', '2');
inline constexpr std::int32_t kFccY444 = MakeFourCC('Y', '4', '4', '4');
inline constexpr std::int32_t kFccRGB8 = static_cast<std::int32_t>(0xE436EB7Au);
inline constexpr std::int32_t kFccRGB565 = static_cast<std::int32_t>(0xE436EB7Bu);
inline constexpr std::int32_t kFccRGB555 = static_cast<std::int32_t>(0xE436EB7Cu);
inline constexpr std::int32_t kFccRGB24 = static_cast<std::int32_t>(0xE436EB7Du);
inline constexpr std::int32_t kFccRGB32 = static_cast<std::int32_t>(0xE436EB7Eu);
inline constexpr std::int32_t kFccARGB32 = static_cast<std::int32_t>(0x773C9AC0u);

// One known format. Alignments are in pixels (horizontal) and lines (vertical).
struct VideoFormatEntry {
    const GUID* subtype;
    std::uint16_t bitsPerPixel;
    std::uint8_t horzAlign;
    std::uint8_t vertAlign;
    std::uint8_t isPlanar;
    std::uint8_t isYuv;

    std::int32_t FccType() const { return static_cast<std::int32_t>(subtype->Data1); }
};

inline constexpr std::size_t kVideoFormatCount = 15;

// The order counts: it is the order in which output types are offered.
extern const std::array<VideoFormatEntry, kVideoFormatCount> VideoFormatTable;

// Index into VideoFormatTable, or -1.
int FindFormatByFourCC(std::int32_t fccType);
int FindFormatBySubtype(const GUID& subtype);

// The media subtype of an identifier, whether it stands in the table or not.
GUID SubtypeOf(std::int32_t fccType);

// Bits of a pixel as buffers are sized by it; knows more identifiers than the table. 0: unknown.
int BitsPerPixel(std::int32_t fccType);

// RGB8, RGB565, RGB555, RGB24, RGB32, ARGB32 and r210.
bool IsRGBFormat(std::int32_t fccType);

// RGB565 and RGB555: three colours in a word.
constexpr bool Is16BitRGB(std::int32_t fccType) {
    return fccType == kFccRGB565 || fccType == kFccRGB555;
}

// Index of the format if the picture is possible in it, or -1: the format is in the table, no size
// is 0, width and row width are not negative and keep the horizontal alignment, the height keeps
// the vertical one, and a given row width is no less than the width.
int ValidatePicture(std::int32_t fccType, std::int32_t nWidth, std::int32_t nHeight,
                    std::int32_t nRowWidth);

// Bytes from one row to the next as media types state it: the luma row of planar YUV, otherwise
// a multiple of 4. `width` in pixels; a negative one counts as 0.
std::int64_t RowBytes(const VideoFormatEntry& entry, std::int32_t width);

// Bytes of a picture as media types state it. 0 for a format outside the table.
std::int64_t ImageBytes(std::int32_t fccType, std::int32_t width, std::int32_t height);

// What FrameBytes gives for a picture that no memory holds. No CBLOBHolder takes it, and no sample
// of a media graph can be as large.
inline constexpr std::uint32_t kNoFrameBytes = std::numeric_limits<std::uint32_t>::max();

// Bytes of a frame buffer; every buffer of frames is sized by it. kNoFrameBytes for negative widths
// and for sizes beyond 32 bits.
std::uint32_t FrameBytes(const PIC_PROPS& props);

// Whether the mixer can work in a format. RGB565 and RGB555 only with bAllow16BitRGB.
bool IsMixableFormat(const PIC_PROPS& props, bool bAllow16BitRGB);

// Lines of the picture whatever its row order; safe for every value.
constexpr std::int32_t AbsHeight(std::int32_t nHeight) {
    if (nHeight == std::numeric_limits<std::int32_t>::min())
        return std::numeric_limits<std::int32_t>::max();
    return nHeight < 0 ? -nHeight : nHeight;
}
constexpr std::int32_t AbsHeight(const PIC_PROPS& props) { return AbsHeight(props.nHeight); }

// Pixels of one stored row.
constexpr std::int32_t RowWidth(const PIC_PROPS& props) {
    return props.nRowWidth != 0 ? props.nRowWidth : props.nWidth;
}

}  // namespace qdvm
