#include "frames/media_type_map.h"

#include "frames/format_table.h"
#include "frames/rounding.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>
#include <optional>

namespace qdvm {

namespace {

bool IsVideoFormatType(const GUID& formatType) {
    return formatType == FORMAT_VideoInfo || formatType == FORMAT_VideoInfo2;
}

bool HasBlock(const AM_MEDIA_TYPE& type, std::size_t bytes) {
    return type.pbFormat && type.cbFormat >= bytes;
}

// What either kind of block says, in the larger record; fields that the smaller one lacks are 0.
// Copied out, since blocks of others need not be aligned.
std::optional<VIDEOINFOHEADER2> ReadBlock(const AM_MEDIA_TYPE& type) {
    VIDEOINFOHEADER2 block{};
    if (type.formattype == FORMAT_VideoInfo2 && HasBlock(type, sizeof(VIDEOINFOHEADER2))) {
        std::memcpy(&block, type.pbFormat, sizeof(block));
        return block;
    }
    if (type.formattype == FORMAT_VideoInfo && HasBlock(type, sizeof(VIDEOINFOHEADER))) {
        std::memcpy(&block, type.pbFormat, offsetof(VIDEOINFOHEADER, bmiHeader));
        std::memcpy(&block.bmiHeader, type.pbFormat + offsetof(VIDEOINFOHEADER, bmiHeader),
                    sizeof(block.bmiHeader));
        return block;
    }
    return {};
}

// Visible width of a block, 0 and less if it has none.
std::int64_t VisibleWidth(const VIDEOINFOHEADER2& block) {
    const std::int64_t target = std::int64_t{block.rcTarget.right} - block.rcTarget.left;
    return target != 0 ? target : block.bmiHeader.biWidth;
}

bool IsNegatable(std::int32_t value) { return value != std::numeric_limits<std::int32_t>::min(); }

void FillBitmapHeader(BITMAPINFOHEADER* header, int index, std::int32_t fccType, std::int32_t width,
                      std::int32_t height, std::int32_t rowWidth, std::uint32_t imageBytes) {
    header->biSize = sizeof(BITMAPINFOHEADER);
    header->biWidth = index >= 0 ? rowWidth : width;
    header->biHeight = height;
    header->biPlanes = 1;
    header->biBitCount = index >= 0 ? VideoFormatTable[index].bitsPerPixel : 24;
    header->biCompression =
        index >= 0 && !VideoFormatTable[index].isYuv ? BI_RGB : static_cast<std::uint32_t>(fccType);
    header->biSizeImage = imageBytes;
}

void FillVideoType(MediaType* type, const GUID& subtype, const GUID& formatType,
                   std::uint32_t sampleBytes) {
    AM_MEDIA_TYPE* record = type->operator->();
    record->majortype = MEDIATYPE_Video;
    record->subtype = subtype;
    record->bFixedSizeSamples = 1;
    record->bTemporalCompression = 0;
    record->lSampleSize = sampleBytes;
    record->formattype = formatType;
}

std::size_t HeadBytes(const GUID& formatType) {
    return formatType == FORMAT_VideoInfo2 ? offsetof(VIDEOINFOHEADER2, bmiHeader)
                                           : offsetof(VIDEOINFOHEADER, bmiHeader);
}

// Identifier of an uncompressed picture of that many bits, or 0.
std::int32_t FccOfBitCount(WORD bits) {
    switch (bits) {
        case 32:
            return kFccRGB32;
        case 24:
            return kFccRGB24;
        case 16:
            return kFccRGB565;
        default:
            return 0;
    }
}

void SetVisibleRects(MediaType* type, const RECT& visible) {
    if (VIDEOINFOHEADER* info = type->VideoInfo()) {
        info->rcSource = info->rcTarget = visible;
    } else if (VIDEOINFOHEADER2* info2 = type->VideoInfo2()) {
        info2->rcSource = info2->rcTarget = visible;
    }
}

// The source's block without the fields that only FORMAT_VideoInfo2 has.
HRESULT StripToVideoInfo(MediaType* type, const AM_MEDIA_TYPE& source) {
    constexpr std::size_t kHead = offsetof(VIDEOINFOHEADER, bmiHeader);
    constexpr std::size_t kExtra = offsetof(VIDEOINFOHEADER2, bmiHeader) - kHead;
    const HRESULT result = type->ResizeFormat(static_cast<std::uint32_t>(source.cbFormat - kExtra));
    if (Failed(result)) return result;
    BYTE* block = (*type)->pbFormat;
    std::memcpy(block, source.pbFormat, kHead);
    std::memcpy(block + kHead, source.pbFormat + kHead + kExtra, source.cbFormat - kHead - kExtra);
    FillVideoType(type, source.subtype, FORMAT_VideoInfo, source.lSampleSize);
    (*type)->bFixedSizeSamples = source.bFixedSizeSamples;
    (*type)->bTemporalCompression = source.bTemporalCompression;
    return S_OK;
}

// Fields that both kinds of block have, but for those that tell the picture.
template <class Header>
void CopyCommonFields(Header* info, const VIDEOINFOHEADER2& from) {
    info->AvgTimePerFrame = from.AvgTimePerFrame;
    info->rcSource = from.rcSource;
    info->rcTarget = from.rcTarget;
}

void FillInfo2(VIDEOINFOHEADER2* info, const VIDEOINFOHEADER2& from, bool fromInfo2,
               std::int32_t interlaceFlags, std::int32_t aspectX, std::int32_t aspectY) {
    CopyCommonFields(info, from);
    if (fromInfo2) {
        info->dwInterlaceFlags = from.dwInterlaceFlags;
        info->dwPictAspectRatioX = from.dwPictAspectRatioX;
        info->dwPictAspectRatioY = from.dwPictAspectRatioY;
    } else {
        const AspectRatio aspect =
            AspectOfSize(static_cast<std::int32_t>(VisibleWidth(from)), from.bmiHeader.biHeight);
        info->dwPictAspectRatioX = aspect.x;
        info->dwPictAspectRatioY = aspect.y;
    }
    if (interlaceFlags != -1) info->dwInterlaceFlags = interlaceFlags;
    if (aspectX != 0 && aspectY != 0) {
        info->dwPictAspectRatioX = aspectX;
        info->dwPictAspectRatioY = aspectY;
    }
}

}  // namespace

int ParseVideoMediaType(const AM_MEDIA_TYPE& type, PIC_PROPS* picture) {
    if (!picture || type.majortype != MEDIATYPE_Video) return -1;
    const std::optional<VIDEOINFOHEADER2> block = ReadBlock(type);
    const int index = FindFormatBySubtype(type.subtype);
    if (!block || index < 0) return -1;
    const BITMAPINFOHEADER& header = block->bmiHeader;
    const std::int64_t width = VisibleWidth(*block);
    if (width <= 0 || width > header.biWidth || !IsNegatable(header.biHeight)) return -1;
    PIC_PROPS parsed{VideoFormatTable[index].FccType(), static_cast<std::int32_t>(width),
                     header.biHeight, header.biWidth};
    if (VideoFormatTable[index].isYuv) parsed.nHeight = AbsHeight(parsed);
    if (ValidatePicture(parsed.fccType, parsed.nWidth, parsed.nHeight, parsed.nRowWidth) < 0 ||
        FrameBytes(parsed) == kNoFrameBytes)
        return -1;
    *picture = parsed;
    return index;
}

HRESULT BuildVideoMediaType(MediaType* type, std::int32_t fccType, const GUID& formatType,
                            std::int32_t width, std::int32_t height, std::int32_t rowWidth,
                            bool bForce) {
    if (!type) return E_POINTER;
    type->Clear();
    if (!IsVideoFormatType(formatType)) return E_INVALIDARG;
    int index = ValidatePicture(fccType, width, height, rowWidth);
    if (index < 0 && !bForce) return E_INVALIDARG;
    if (index < 0) index = FindFormatByFourCC(fccType);
    if (rowWidth == 0) rowWidth = width;
    const std::int64_t lines = AbsHeight(height);
    const std::int64_t bytes = index >= 0 ? ImageBytes(fccType, rowWidth, height)
                                          : std::max<std::int64_t>(width, 0) * lines;
    // Three bytes a pixel where the format is unknown.
    const std::int64_t limit = std::numeric_limits<std::uint32_t>::max() / (index >= 0 ? 1 : 3);
    if (bytes > limit) return E_INVALIDARG;
    const auto imageBytes = static_cast<std::uint32_t>(index >= 0 ? bytes : bytes * 3);

    const HRESULT result = type->ResizeFormat(
        static_cast<std::uint32_t>(HeadBytes(formatType) + sizeof(BITMAPINFOHEADER)));
    if (Failed(result)) return result;
    FillVideoType(type, SubtypeOf(fccType), formatType, imageBytes);
    FillBitmapHeader(type->BitmapHeader(), index, fccType, width, height, rowWidth, imageBytes);
    if (rowWidth != width) SetVisibleRects(type, {0, 0, width, AbsHeight(height)});
    if (VIDEOINFOHEADER2* info = type->VideoInfo2()) {
        info->dwPictAspectRatioX = 4;
        info->dwPictAspectRatioY = 3;
    }
    return S_OK;
}

HRESULT BuildMediaTypeFromBitmapHeader(MediaType* type, const GUID& formatType,
                                       std::span<const BYTE> header) {
    if (!type) return E_POINTER;
    type->Clear();
    BITMAPINFOHEADER info;
    if (!IsVideoFormatType(formatType) || header.size() < sizeof(info)) return E_INVALIDARG;
    std::memcpy(&info, header.data(), sizeof(info));
    if (info.biSize < sizeof(info) || info.biSize > header.size()) return E_INVALIDARG;
    if (info.biCompression >= BI_RLE8 && info.biCompression <= BI_BITFIELDS) return E_INVALIDARG;
    const std::int32_t fccType = info.biCompression == BI_RGB
                                     ? FccOfBitCount(info.biBitCount)
                                     : static_cast<std::int32_t>(info.biCompression);
    if (fccType == 0) return E_INVALIDARG;
    const std::size_t head = HeadBytes(formatType);
    if (info.biSize > std::numeric_limits<std::uint32_t>::max() - head) return E_INVALIDARG;

    const HRESULT result = type->ResizeFormat(static_cast<std::uint32_t>(head) + info.biSize);
    if (Failed(result)) return result;
    std::memcpy((*type)->pbFormat + head, header.data(), info.biSize);
    const GUID subtype =
        info.biCompression == BI_RGB ? SubtypeOf(fccType) : FourCCSubtype(info.biCompression);
    FillVideoType(type, subtype, formatType, info.biSizeImage);
    return S_OK;
}

HRESULT PictureOfBitmapHeader(BITMAPINFOHEADER* header, PIC_PROPS* picture) {
    if (!header || !picture) return E_POINTER;
    if (header->biSize != sizeof(BITMAPINFOHEADER) || header->biPlanes != 1 ||
        header->biClrUsed != 0 || header->biClrImportant != 0)
        return E_INVALIDARG;
    const bool isByDepth = header->biCompression == BI_RGB || header->biCompression == BI_BITFIELDS;
    const std::int32_t fccType = isByDepth ? FccOfBitCount(header->biBitCount)
                                           : static_cast<std::int32_t>(header->biCompression);
    const PIC_PROPS found{fccType, header->biWidth, header->biHeight, header->biWidth};
    const std::int64_t bytes = ImageBytes(fccType, header->biWidth, header->biHeight);
    if (!IsNegatable(header->biHeight) ||
        ValidatePicture(fccType, found.nWidth, found.nHeight, found.nRowWidth) < 0 ||
        bytes > std::numeric_limits<std::uint32_t>::max())
        return E_INVALIDARG;
    header->biSizeImage = static_cast<std::uint32_t>(bytes);
    *picture = found;
    return S_OK;
}

HRESULT ConvertVideoMediaType(MediaType* type, const AM_MEDIA_TYPE& source, const GUID* formatType,
                              std::int32_t fccType, std::int32_t interlaceFlags,
                              std::int32_t aspectX, std::int32_t aspectY) {
    if (!type) return E_POINTER;
    MediaType result;
    const std::optional<VIDEOINFOHEADER2> block = ReadBlock(source);
    if (source.majortype != MEDIATYPE_Video || !block) {
        type->Clear();
        return kBadFormatBlock;
    }
    const bool fromInfo2 = source.formattype == FORMAT_VideoInfo2;
    const bool toInfo2 = formatType ? *formatType == FORMAT_VideoInfo2 : !fromInfo2;

    const BITMAPINFOHEADER& header = block->bmiHeader;
    const std::int32_t newFcc =
        fccType != 0 ? fccType : static_cast<std::int32_t>(source.subtype.Data1);
    const bool isUpright = fccType != 0 && !IsRGBFormat(fccType);
    const std::int32_t height = isUpright ? AbsHeight(header.biHeight) : header.biHeight;
    const std::int64_t width = VisibleWidth(*block);

    HRESULT built = E_INVALIDARG;
    if (width > 0 && width <= header.biWidth && IsNegatable(header.biHeight))
        built =
            BuildVideoMediaType(&result, newFcc, toInfo2 ? FORMAT_VideoInfo2 : FORMAT_VideoInfo,
                                static_cast<std::int32_t>(width), height, header.biWidth, false);
    if (VIDEOINFOHEADER2* info = result.VideoInfo2()) {
        FillInfo2(info, *block, fromInfo2, interlaceFlags, aspectX, aspectY);
    } else if (VIDEOINFOHEADER* plain = result.VideoInfo()) {
        CopyCommonFields(plain, *block);
        plain->dwBitRate = block->dwBitRate;
        plain->dwBitErrorRate = block->dwBitErrorRate;
    } else if (!toInfo2 && fromInfo2 && fccType == 0) {
        // The header of the block is kept as it is, so only for the pixel format that it describes.
        built = StripToVideoInfo(&result, source);
    }
    *type = Succeeded(built) ? std::move(result) : MediaType();
    return built;
}

std::int64_t AvgTimePerFrameOf(const AM_MEDIA_TYPE& type) {
    if (type.majortype != MEDIATYPE_Video || !HasBlock(type, sizeof(VIDEOINFOHEADER))) return 0;
    // Both kinds of block have the field at the same place.
    std::int64_t time = 0;
    std::memcpy(&time, type.pbFormat + offsetof(VIDEOINFOHEADER, AvgTimePerFrame), sizeof(time));
    return std::max<std::int64_t>(time, 0);
}

double FramesPerSecondOf(std::int64_t frameTime) {
    return frameTime > 0 ? static_cast<double>(kTimeUnitsPerSecond) / static_cast<double>(frameTime)
                         : 0;
}

std::int64_t FrameTimeOf(double framesPerSecond) {
    return framesPerSecond > 0
               ? RoundToInt64(static_cast<double>(kTimeUnitsPerSecond) / framesPerSecond)
               : 0;
}

eVM_Interlace InterlaceOf(const AM_MEDIA_TYPE& type) {
    const std::optional<VIDEOINFOHEADER2> block = ReadBlock(type);
    if (!block || (block->dwInterlaceFlags & AMINTERLACE_IsInterlaced) == 0)
        return eVMI_Progressive;
    return (block->dwInterlaceFlags & AMINTERLACE_Field1First) != 0 ? eVMI_Field1First
                                                                    : eVMI_Field2First;
}

DWORD InterlaceFlagsOf(eVM_Interlace interlace) {
    constexpr DWORD kAnyField = AMINTERLACE_IsInterlaced | AMINTERLACE_DisplayModeBobOrWeave;
    switch (interlace) {
        case eVMI_Field1First:
            return kAnyField | AMINTERLACE_Field1First;
        case eVMI_Field2First:
            return kAnyField;
        default:
            return 0;
    }
}

AspectRatio AspectOf(const AM_MEDIA_TYPE& type) {
    constexpr DWORD kMax = std::numeric_limits<std::int32_t>::max();
    const std::optional<VIDEOINFOHEADER2> block = ReadBlock(type);
    if (!block || block->dwPictAspectRatioX > kMax || block->dwPictAspectRatioY > kMax) return {};
    return {static_cast<std::int32_t>(block->dwPictAspectRatioX),
            static_cast<std::int32_t>(block->dwPictAspectRatioY)};
}

AspectRatio AspectOfSize(std::int32_t width, std::int32_t height) {
    const std::int64_t lines = AbsHeight(height);
    const std::int64_t divisor = GreatestCommonDivisor(width, lines);
    return {static_cast<std::int32_t>(width / divisor), static_cast<std::int32_t>(lines / divisor)};
}

std::int64_t GreatestCommonDivisor(std::int64_t a, std::int64_t b) {
    const auto size = [](std::int64_t value) {
        const auto bits = static_cast<std::uint64_t>(value);
        return value < 0 ? 0 - bits : bits;
    };
    const std::uint64_t divisor = std::gcd(size(a), size(b));
    if (divisor == 0) return 1;
    constexpr std::uint64_t kMax = std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(std::min(divisor, kMax));
}

}  // namespace qdvm
