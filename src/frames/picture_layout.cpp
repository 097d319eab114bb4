#include "frames/picture_layout.h"

#include "frames/format_table.h"

#include <utility>

namespace qdvm {

namespace {

bool IsPlanarYuv(std::int32_t fccType) { return fccType == kFccI420 || fccType == kFccYV12; }

bool IsPackedYuv(std::int32_t fccType) {
    return fccType == kFccYUY2 || fccType == kFccUYVY || fccType == kFccHDYC || fccType == kFccYVYU;
}

// Formats whose stored rows are made of large groups.
bool IsGrouped(std::int32_t fccType) { return fccType == kFccV210 || fccType == kFccR210; }

bool IsYuv(std::int32_t fccType) {
    const int index = FindFormatByFourCC(fccType);
    return index >= 0 && VideoFormatTable[index].isYuv;
}

std::ptrdiff_t PackedStride(const PIC_PROPS& props) {
    const std::ptrdiff_t width = RowWidth(props);
    if (props.fccType == kFccRGB8) return width;
    if (IsGrouped(props.fccType))
        return RowBytes(VideoFormatTable[FindFormatByFourCC(props.fccType)], RowWidth(props));
    return (width * BitsPerPixel(props.fccType) / 8 + 3) & ~std::ptrdiff_t{3};
}

PictureLayout ThreePlanes(const PIC_PROPS& props) {
    const std::ptrdiff_t stride = RowWidth(props);
    const std::ptrdiff_t luma = stride * AbsHeight(props);
    const std::ptrdiff_t chroma = IsPlanarYuv(props.fccType) ? luma / 4 : luma / 2;
    const bool vFirst = props.fccType == kFccYV12 || props.fccType == kFccYVYU;
    PictureLayout layout{3, {0, luma, luma + chroma}, {stride, stride / 2, stride / 2}, false};
    if (vFirst) std::swap(layout.offset[1], layout.offset[2]);
    return layout;
}

}  // namespace

std::optional<PictureFormat> FormatInfo(const PIC_PROPS& props) {
    if (props.nWidth < 0 || (props.nRowWidth != 0 && props.nRowWidth < props.nWidth)) return {};
    if (FrameBytes(props) == kNoFrameBytes) return {};
    const int bits = BitsPerPixel(props.fccType);
    if (IsPlanarYuv(props.fccType) || IsPackedYuv(props.fccType)) {
        if (props.nWidth % 2 != 0 || props.nRowWidth % 2 != 0) return {};
        return PictureFormat{true, IsPlanarYuv(props.fccType), bits};
    }
    if (!IsRGBFormat(props.fccType) || props.fccType == kFccR210) return {};
    return PictureFormat{false, false, bits};
}

PictureLayout PlaneLayout(const PIC_PROPS& props, bool bSplit) {
    // What no memory holds has no layout either, and its offsets could leave 64 bits.
    if (FrameBytes(props) == kNoFrameBytes) return {1, {}, {}, false};
    if (IsPlanarYuv(props.fccType) || (bSplit && IsPackedYuv(props.fccType)))
        return ThreePlanes(props);
    return {1, {}, {PackedStride(props), 0, 0}, props.nHeight >= 1 && !IsYuv(props.fccType)};
}

std::optional<PixelOffset> PixelOffsets(const PIC_PROPS& props, std::int32_t x, std::int32_t y,
                                        bool bSplit) {
    if (FrameBytes(props) == kNoFrameBytes) return {};
    if (x < 0 || y < 0 || x > RowWidth(props) || y > AbsHeight(props)) return {};
    const std::ptrdiff_t row = y;
    const std::ptrdiff_t width = RowWidth(props);
    // A chroma row belongs to two lines, so an odd line points at the row of the even one.
    if (IsPlanarYuv(props.fccType))
        return PixelOffset{row * width + x, row / 2 * (width / 2) + x / 2};
    if (bSplit && IsPackedYuv(props.fccType))
        return PixelOffset{row * width + x, (row * width + x) / 2};
    const std::ptrdiff_t start = row * PackedStride(props);
    if (props.fccType == kFccV210) return PixelOffset{start + std::ptrdiff_t{x} / 6 * 16, 0};
    const int bits = BitsPerPixel(props.fccType);
    if (bits == 0 || bits % 8 != 0) return {};
    return PixelOffset{start + std::ptrdiff_t{x} * bits / 8, 0};
}

}  // namespace qdvm
