#include "frames/format_table.h"

namespace qdvm {

namespace {

constexpr GUID FourCCSubtypeOf(std::int32_t fccType) {
    return FourCCSubtype(static_cast<std::uint32_t>(fccType));
}

// The uncompressed RGB subtypes share all but the first field.
constexpr GUID RgbSubtypeOf(std::int32_t fccType) {
    return {static_cast<std::uint32_t>(fccType),
            0x524F,
            0x11CE,
            {0x9F, 0x53, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70}};
}

constexpr GUID kSubtypeYUY2 = FourCCSubtypeOf(kFccYUY2);
constexpr GUID kSubtypeUYVY = FourCCSubtypeOf(kFccUYVY);
constexpr GUID kSubtypeYV12 = FourCCSubtypeOf(kFccYV12);
constexpr GUID kSubtypeYVYU = FourCCSubtypeOf(kFccYVYU);
constexpr GUID kSubtypeI420 = FourCCSubtypeOf(kFccI420);
constexpr GUID kSubtypeIYU2 = FourCCSubtypeOf(kFccIYU2);
constexpr GUID kSubtypeHDYC = FourCCSubtypeOf(kFccHDYC);
constexpr GUID kSubtypeV210 = FourCCSubtypeOf(kFccV210);
constexpr GUID kSubtypeR210 = FourCCSubtypeOf(kFccR210);
constexpr GUID kSubtypeNV12 = FourCCSubtypeOf(kFccNV12);
constexpr GUID kSubtypeRGB565 = RgbSubtypeOf(kFccRGB565);
constexpr GUID kSubtypeRGB555 = RgbSubtypeOf(kFccRGB555);
constexpr GUID kSubtypeRGB24 = RgbSubtypeOf(kFccRGB24);
constexpr GUID kSubtypeRGB32 = RgbSubtypeOf(kFccRGB32);
constexpr GUID kSubtypeARGB32 = {
    0x773C9AC0, 0x3274, 0x11D0, {0xB7, 0x24, 0x00, 0xAA, 0x00, 0x6C, 0x1A, 0x01}};

constexpr bool IsMultiple(std::int32_t value, int step) { return value % step == 0; }

// a * b for values of 0 and more, or the largest value.
constexpr std::int64_t SaturatingProduct(std::int64_t a, std::int64_t b) {
    constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
    return a != 0 && b > kMax / a ? kMax : a * b;
}

constexpr std::int64_t RoundDownToFour(std::int64_t bytes) { return bytes & ~std::int64_t{3}; }

// Rows of v210 hold groups of 48 pixels, rows of r210 groups of 64.
constexpr std::int64_t V210RowBytes(std::int64_t width) { return (width + 47) / 48 * 128; }
constexpr std::int64_t R210RowBytes(std::int64_t width) { return (width + 63) / 64 * 256; }

bool IsSizedAsPlanar(std::int32_t fccType) {
    return fccType == kFccYV12 || fccType == kFccI420 || fccType == kFccNV12 ||
           fccType == kFccY422 || fccType == kFccY444;
}

std::int64_t FrameBytesWide(const PIC_PROPS& props) {
    const std::int64_t width = RowWidth(props);
    const std::int64_t height = AbsHeight(props);
    const int bits = BitsPerPixel(props.fccType);
    if (props.fccType == kFccV210) return SaturatingProduct(V210RowBytes(width), height);
    if (props.fccType == kFccR210) return SaturatingProduct(R210RowBytes(width), height);
    // The product of two 31-bit sizes leaves no room for the bits.
    if (IsSizedAsPlanar(props.fccType)) return SaturatingProduct(width * height, bits) / 8;
    return SaturatingProduct(RoundDownToFour(width * bits / 8 + 3), height);
}

}  // namespace

// clang-format off
constexpr std::array<VideoFormatEntry, kVideoFormatCount> VideoFormatTable = {{
    // subtype          bits  align  planar YUV
    {&kSubtypeYUY2,     16,   2, 1,  0,     1},
    {&kSubtypeUYVY,     16,   2, 1,  0,     1},
    {&kSubtypeYV12,     12,   2, 2,  1,     1},
    {&kSubtypeYVYU,     16,   2, 1,  0,     1},
    {&kSubtypeI420,     12,   2, 2,  1,     1},
    {&kSubtypeIYU2,     24,   1, 1,  0,     1},
    {&kSubtypeRGB32,    32,   1, 1,  0,     0},
    {&kSubtypeARGB32,   32,   1, 1,  0,     0},
    {&kSubtypeRGB24,    24,   1, 1,  0,     0},
    {&kSubtypeRGB565,   16,   1, 1,  0,     0},
    {&kSubtypeRGB555,   16,   1, 1,  0,     0},
    {&kSubtypeHDYC,     16,   2, 1,  0,     1},
    {&kSubtypeV210,     20,   2, 1,  0,     1},
    {&kSubtypeR210,     32,   1, 1,  0,     0},
    {&kSubtypeNV12,     12,   2, 2,  1,     1},
}};
// clang-format on

int FindFormatByFourCC(std::int32_t fccType) {
    for (std::size_t i = 0; i < VideoFormatTable.size(); ++i)
        if (VideoFormatTable[i].FccType() == fccType) return static_cast<int>(i);
    return -1;
}

int FindFormatBySubtype(const GUID& subtype) {
    for (std::size_t i = 0; i < VideoFormatTable.size(); ++i)
        if (*VideoFormatTable[i].subtype == subtype) return static_cast<int>(i);
    return -1;
}

GUID SubtypeOf(std::int32_t fccType) {
    switch (fccType) {
        case kFccARGB32:
            return kSubtypeARGB32;
        case kFccRGB8:
        case kFccRGB565:
        case kFccRGB555:
        case kFccRGB24:
        case kFccRGB32:
            return RgbSubtypeOf(fccType);
        default:
            return FourCCSubtypeOf(fccType);
    }
}

int BitsPerPixel(std::int32_t fccType) {
    switch (fccType) {
        case kFccYVU9:
            return 9;
        case kFccRGB8:
            return 8;
        case kFccI420:
        case kFccYV12:
        case kFccNV12:
            return 12;
        case kFccYUY2:
        case kFccYVYU:
        case kFccUYVY:
        case kFccHDYC:
        case kFccY422:
        case kFccRGB565:
        case kFccRGB555:
            return 16;
        case kFccIYU2:
        case kFccY444:
        case kFccRGB24:
            return 24;
        case kFccV210:
            return 20;
        case kFccR210:
        case kFccRGB32:
        case kFccARGB32:
            return 32;
        default:
            return 0;
    }
}

bool IsRGBFormat(std::int32_t fccType) {
    switch (fccType) {
        case kFccRGB8:
        case kFccRGB565:
        case kFccRGB555:
        case kFccRGB24:
        case kFccRGB32:
        case kFccARGB32:
        case kFccR210:
            return true;
        default:
            return false;
    }
}

int ValidatePicture(std::int32_t fccType, std::int32_t nWidth, std::int32_t nHeight,
                    std::int32_t nRowWidth) {
    if (nWidth <= 0 || nHeight == 0) return -1;
    if (nRowWidth != 0 && nRowWidth < nWidth) return -1;
    const int index = FindFormatByFourCC(fccType);
    if (index < 0) return -1;
    const VideoFormatEntry& entry = VideoFormatTable[index];
    if (!IsMultiple(nWidth, entry.horzAlign) || !IsMultiple(nRowWidth, entry.horzAlign) ||
        !IsMultiple(nHeight, entry.vertAlign))
        return -1;
    return index;
}

std::int64_t RowBytes(const VideoFormatEntry& entry, std::int32_t width) {
    const std::int64_t wide = width > 0 ? width : 0;
    if (entry.isPlanar && entry.isYuv) return wide;
    if (entry.FccType() == kFccV210) return V210RowBytes(wide);
    if (entry.FccType() == kFccR210) return R210RowBytes(wide);
    return RoundDownToFour(wide * entry.bitsPerPixel / 8 + 3);
}

std::int64_t ImageBytes(std::int32_t fccType, std::int32_t width, std::int32_t height) {
    const int index = FindFormatByFourCC(fccType);
    if (index < 0) return 0;
    const VideoFormatEntry& entry = VideoFormatTable[index];
    const std::int64_t lines = AbsHeight(height);
    const std::int64_t bytes = SaturatingProduct(RowBytes(entry, width), lines);
    if (!entry.isPlanar || !entry.isYuv) return bytes;
    const std::int64_t chromaWidth = (width > 0 ? width : 0) / entry.horzAlign;
    return bytes + chromaWidth * (lines / entry.vertAlign) * 2;
}

std::uint32_t FrameBytes(const PIC_PROPS& props) {
    if (RowWidth(props) < 0) return kNoFrameBytes;
    const std::int64_t bytes = FrameBytesWide(props);
    return bytes < std::int64_t{kNoFrameBytes} ? static_cast<std::uint32_t>(bytes) : kNoFrameBytes;
}

bool IsMixableFormat(const PIC_PROPS& props, bool bAllow16BitRGB) {
    if (props.nWidth < 0) return false;
    if (props.nRowWidth != 0 && props.nRowWidth < props.nWidth) return false;
    switch (props.fccType) {
        case kFccI420:
        case kFccYV12:
        case kFccYUY2:
        case kFccHDYC:
        case kFccYVYU:
        case kFccUYVY:
            return IsMultiple(props.nWidth, 2) && IsMultiple(props.nRowWidth, 2);
        case kFccARGB32:
        case kFccRGB32:
        case kFccRGB24:
        case kFccRGB8:
            return true;
        case kFccRGB565:
        case kFccRGB555:
            return bAllow16BitRGB;
        default:
            return false;
    }
}

}  // namespace qdvm
