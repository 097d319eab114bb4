#include "pixels/primitives/channels.h"
#include "pixels/primitives/checks.h"
#include "pixels/primitives/forms.h"

#include <algorithm>
#include <cstring>

namespace qdvm {

namespace {

using MirrorRow = void (*)(const Sample* src, Sample* dst, std::int32_t n);

MirrorRow MirrorRowOf(int pixelBytes) {
    const ChannelRows& forms = Forms().channels;
    switch (pixelBytes) {
        case 1:
            return forms.mirror1;
        case 2:
            return forms.mirror2;
        case 3:
            return forms.mirror3;
        default:
            return forms.mirror4;
    }
}

bool IsAxis(std::int32_t axis) { return axis >= kMirrorRows && axis <= kMirrorBoth; }

ImageStatus Mirror(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                   std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis, int pixelBytes) {
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{size.width} * pixelBytes;
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{src, srcStride, rowBytes, size.height},
                   Side{dst, dstStride, rowBytes, size.height});
    if (status != kImageOk) return status;
    if (!IsAxis(axis)) return kImageNotSupported;
    if (axis != kMirrorColumns) {
        dst += (size.height - 1) * dstStride;
        dstStride = -dstStride;
    }
    const MirrorRow mirrorRow = MirrorRowOf(pixelBytes);
    for (std::ptrdiff_t row = 0; row < size.height; ++row) {
        const Sample* from = src + row * srcStride;
        Sample* to = dst + row * dstStride;
        if (axis == kMirrorRows)
            std::memcpy(to, from, static_cast<std::size_t>(rowBytes));
        else
            mirrorRow(from, to, size.width);
    }
    return kImageOk;
}

constexpr std::ptrdiff_t kSwapBytes = 3072;  // whole pixels of any size

void SwapRows(Sample* a, Sample* b, std::ptrdiff_t bytes) {
    Sample kept[kSwapBytes];
    for (std::ptrdiff_t done = 0; done < bytes; done += kSwapBytes) {
        const std::size_t part = static_cast<std::size_t>(std::min(kSwapBytes, bytes - done));
        std::memcpy(kept, a + done, part);
        std::memcpy(a + done, b + done, part);
        std::memcpy(b + done, kept, part);
    }
}

// Exchanges the pixels of a with those of b, both in reverse. a and b do not overlap.
void SwapMirrored(MirrorRow mirrorRow, Sample* a, Sample* b, std::int32_t width, int pixelBytes) {
    Sample kept[kSwapBytes];
    const std::int32_t most = static_cast<std::int32_t>(kSwapBytes / pixelBytes);
    for (std::int32_t done = 0; done < width; done += most) {
        const std::int32_t part = std::min(most, width - done);
        Sample* left = a + std::ptrdiff_t{done} * pixelBytes;
        Sample* right = b + std::ptrdiff_t{width - done - part} * pixelBytes;
        std::memcpy(kept, left,
                    static_cast<std::size_t>(part) * static_cast<std::size_t>(pixelBytes));
        mirrorRow(right, left, part);
        mirrorRow(kept, right, part);
    }
}

// The middle pixel of an odd width stays.
void MirrorRowInPlace(MirrorRow mirrorRow, Sample* row, std::int32_t width, int pixelBytes) {
    const std::int32_t half = width / 2;
    if (half > 0)
        SwapMirrored(mirrorRow, row, row + std::ptrdiff_t{width - half} * pixelBytes, half,
                     pixelBytes);
}

ImageStatus MirrorInPlace(Sample* buffer, std::ptrdiff_t stride, ImageSize size, std::int32_t axis,
                          int pixelBytes) {
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{size.width} * pixelBytes;
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{buffer, stride, rowBytes, size.height});
    if (status != kImageOk) return status;
    if (!IsAxis(axis)) return kImageNotSupported;
    const MirrorRow mirrorRow = MirrorRowOf(pixelBytes);
    if (axis == kMirrorColumns) {
        for (std::ptrdiff_t row = 0; row < size.height; ++row)
            MirrorRowInPlace(mirrorRow, buffer + row * stride, size.width, pixelBytes);
        return kImageOk;
    }
    std::ptrdiff_t top = 0;
    std::ptrdiff_t bottom = size.height - 1;
    for (; top < bottom; ++top, --bottom) {
        if (axis == kMirrorRows)
            SwapRows(buffer + top * stride, buffer + bottom * stride, rowBytes);
        else
            SwapMirrored(mirrorRow, buffer + top * stride, buffer + bottom * stride, size.width,
                         pixelBytes);
    }
    if (axis == kMirrorBoth && top == bottom)
        MirrorRowInPlace(mirrorRow, buffer + top * stride, size.width, pixelBytes);
    return kImageOk;
}

}  // namespace

ImageStatus Mirror_8u_C1(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis) {
    return Mirror(src, srcStride, dst, dstStride, size, axis, 1);
}

ImageStatus Mirror_8u_C3(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis) {
    return Mirror(src, srcStride, dst, dstStride, size, axis, 3);
}

ImageStatus Mirror_8u_C4(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis) {
    return Mirror(src, srcStride, dst, dstStride, size, axis, 4);
}

ImageStatus Mirror_16u_C1(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                          std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis) {
    return Mirror(src, srcStride, dst, dstStride, size, axis, 2);
}

ImageStatus MirrorInPlace_8u_C1(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                std::int32_t axis) {
    return MirrorInPlace(buffer, stride, size, axis, 1);
}

ImageStatus MirrorInPlace_8u_C3(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                std::int32_t axis) {
    return MirrorInPlace(buffer, stride, size, axis, 3);
}

ImageStatus MirrorInPlace_8u_C4(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                std::int32_t axis) {
    return MirrorInPlace(buffer, stride, size, axis, 4);
}

ImageStatus MirrorInPlace_16u_C1(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                 std::int32_t axis) {
    return MirrorInPlace(buffer, stride, size, axis, 2);
}

}  // namespace qdvm
