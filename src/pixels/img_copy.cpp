#include "pixels/img_copy.h"

#include "frames/format_table.h"
#include "pixels/chroma_rows.h"
#include "pixels/primitives/copy.h"
#include "platform/guarded_copy.h"

#include <algorithm>

namespace qdvm {

namespace {

constexpr std::int32_t kV210GroupPixels = 6;
constexpr std::int64_t kV210GroupBytes = 16;
constexpr std::int64_t kR210PixelBytes = 4;

// Formats that only this copy knows; the kernels do not work in them.
bool IsGrouped(const PIC_PROPS& props) {
    return props.fccType == kFccV210 || props.fccType == kFccR210;
}

bool IsCopyable(const PIC_PROPS& props) {
    if (!IsGrouped(props)) return FormatInfo(props).has_value();
    return ValidatePicture(props.fccType, props.nWidth, props.nHeight, props.nRowWidth) >= 0 &&
           FrameBytes(props) != kNoFrameBytes;
}

// Bytes of a row's stored groups from the one that holds the rect's left edge: those of the
// destination, as far as the source's row goes.
std::int64_t GroupedRowBytes(std::int32_t fccType, const ImgRect& source, const ImgRect& dest,
                             std::int64_t sourceStride) {
    if (fccType == kFccR210) return dest.Width() * kR210PixelBytes;
    const std::int64_t firstGroup = source.left / kV210GroupPixels;
    const std::int64_t groups =
        (dest.right + std::int64_t{kV210GroupPixels} - 1) / kV210GroupPixels -
        dest.left / kV210GroupPixels;
    return std::min(groups * kV210GroupBytes, sourceStride - firstGroup * kV210GroupBytes);
}

bool CopyGrouped(const BYTE* src, BYTE* dst, const RectWalk& from, const RectWalk& to,
                 std::size_t rowBytes, std::int64_t rows) {
    for (std::int64_t row = 0; row < rows; ++row)
        if (!GuardedCopy(dst + to.firstRow[0] + row * to.stride[0],
                         src + from.firstRow[0] + row * from.stride[0], rowBytes))
            return false;
    return true;
}

bool CopyPlanes(const BYTE* src, BYTE* dst, const RectWalk& from, const RectWalk& to,
                ImageSize size, std::int32_t chromaRows, std::size_t pixelBytes) {
    for (int plane = 0; plane < to.planes; ++plane) {
        if (plane == 1) size = {size.width / 2, chromaRows};
        if (size.width == 0 || size.height == 0) break;
        if (CopyRows(src + from.firstRow[plane], from.stride[plane], dst + to.firstRow[plane],
                     to.stride[plane], size, pixelBytes) != kImageOk)
            return false;
    }
    return true;
}

}  // namespace

HRESULT Img_CopyRect(const BYTE* src, BYTE* dst, const PIC_PROPS* S, const PIC_PROPS* D,
                     const ImgRect* s, const ImgRect* d) {
    if (!src || !dst || !S || !D) return E_INVALIDARG;
    if (S->fccType != D->fccType) return E_NOTIMPL;
    if (!IsCopyable(*S) || !IsCopyable(*D)) return E_INVALIDARG;
    ImgRect source{};
    ImgRect dest{};
    const HRESULT clipped = Img_ClipRects(*S, *D, s, d, false, &source, &dest);
    if (clipped != S_OK) return clipped;
    if (dest.IsEmpty()) return S_FALSE;
    RectWalk from;
    RectWalk to;
    if (!WalkRect(*S, source, false, &from) || !WalkRect(*D, dest, false, &to)) return E_FAIL;

    const std::int64_t rowsToWalk = dest.Height();
    const std::int64_t sourceStride = from.stride[0];
    if (from.bBottomUp != to.bBottomUp) ReverseWalk(&from, rowsToWalk);
    if (IsGrouped(*D)) {
        const std::int64_t bytes = GroupedRowBytes(D->fccType, source, dest, sourceStride);
        const bool done =
            CopyGrouped(src, dst, from, to, static_cast<std::size_t>(bytes), rowsToWalk);
        return done ? S_OK : E_ACCESSDENIED;
    }
    const ImageSize size{static_cast<std::int32_t>(dest.Width()),
                         static_cast<std::int32_t>(rowsToWalk)};
    // The planes of planar formats hold one byte a sample.
    const int bits = to.planes == 3 ? 8 : BitsPerPixel(D->fccType);
    const std::int32_t chromaRows = ChromaRowsOf(dest, source, *S);
    return CopyPlanes(src, dst, from, to, size, chromaRows, bits / 8) ? S_OK : E_ACCESSDENIED;
}

}  // namespace qdvm
