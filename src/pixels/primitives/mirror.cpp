#include "pixels/primitives/channels.h"
#include "pixels/primitives/checks.h"
#include "pixels/primitives/forms.h"

#include <algorithm>
#include <cstring>

namespace qdvm {

namespace {

// What changes places: pixels of so many bytes, or pairs of pixels that are turned in themselves.
struct Units {
    int bytes;
    void (*mirrorRow)(const Sample* src, Sample* dst, std::int32_t n, const Sample* next);
};

Units PairsOf(PackedOrder order) {
    return {4, Forms().channels.mirrorPairs[static_cast<int>(order)]};
}

// In units.
ImageSize PairSize(ImageSize size) { return {size.width / 2, size.height}; }

bool IsAxis(std::int32_t axis) { return axis >= kMirrorRows && axis <= kMirrorBoth; }

ImageStatus Mirror(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                   std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis, Units units) {
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{size.width} * units.bytes;
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{src, srcStride, rowBytes, size.height},
                   Side{dst, dstStride, rowBytes, size.height});
    if (status != kImageOk) return status;
    if (!IsAxis(axis)) return kImageNotSupported;
    if (axis != kMirrorColumns) {
        src += (size.height - 1) * srcStride;
        srcStride = -srcStride;
    }
    for (std::ptrdiff_t row = 0; row < size.height; ++row) {
        const Sample* from = src + row * srcStride;
        Sample* to = dst + row * dstStride;
        // With both axes the walk goes on to the left anyway.
        const bool jumps = axis == kMirrorColumns && row + 1 < size.height;
        if (axis == kMirrorRows)
            std::memcpy(to, from, static_cast<std::size_t>(rowBytes));
        else
            units.mirrorRow(from, to, size.width, jumps ? from + srcStride : from);
    }
    return kImageOk;
}

constexpr std::ptrdiff_t kSwapBytes = 3072;  // whole units of any size
constexpr int kMaxUnitBytes = 4;

void SwapRows(Sample* a, Sample* b, std::ptrdiff_t bytes) {
    Sample kept[kSwapBytes];
    for (std::ptrdiff_t done = 0; done < bytes; done += kSwapBytes) {
        const std::size_t part = static_cast<std::size_t>(std::min(kSwapBytes, bytes - done));
        std::memcpy(kept, a + done, part);
        std::memcpy(a + done, b + done, part);
        std::memcpy(b + done, kept, part);
    }
}

// Exchanges the units of a with those of b, both in reverse. a and b do not overlap.
void SwapMirrored(Units units, Sample* a, Sample* b, std::int32_t width) {
    Sample kept[kSwapBytes];
    const std::int32_t most = static_cast<std::int32_t>(kSwapBytes / units.bytes);
    for (std::int32_t done = 0; done < width; done += most) {
        const std::int32_t part = std::min(most, width - done);
        Sample* left = a + std::ptrdiff_t{done} * units.bytes;
        Sample* right = b + std::ptrdiff_t{width - done - part} * units.bytes;
        std::memcpy(kept, left,
                    static_cast<std::size_t>(part) * static_cast<std::size_t>(units.bytes));
        units.mirrorRow(right, left, part, right);
        units.mirrorRow(kept, right, part, kept);
    }
}

void MirrorRowInPlace(Units units, Sample* row, std::int32_t width) {
    const std::int32_t half = width / 2;
    if (half > 0) SwapMirrored(units, row, row + std::ptrdiff_t{width - half} * units.bytes, half);
    if (width % 2 == 0) return;
    Sample* middle = row + std::ptrdiff_t{half} * units.bytes;
    Sample kept[kMaxUnitBytes];
    std::memcpy(kept, middle, static_cast<std::size_t>(units.bytes));
    units.mirrorRow(kept, middle, 1, kept);
}

ImageStatus MirrorInPlace(Sample* buffer, std::ptrdiff_t stride, ImageSize size, std::int32_t axis,
                          Units units) {
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{size.width} * units.bytes;
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{buffer, stride, rowBytes, size.height});
    if (status != kImageOk) return status;
    if (!IsAxis(axis)) return kImageNotSupported;
    if (axis == kMirrorColumns) {
        for (std::ptrdiff_t row = 0; row < size.height; ++row)
            MirrorRowInPlace(units, buffer + row * stride, size.width);
        return kImageOk;
    }
    std::ptrdiff_t top = 0;
    std::ptrdiff_t bottom = size.height - 1;
    for (; top < bottom; ++top, --bottom) {
        if (axis == kMirrorRows)
            SwapRows(buffer + top * stride, buffer + bottom * stride, rowBytes);
        else
            SwapMirrored(units, buffer + top * stride, buffer + bottom * stride, size.width);
    }
    if (axis == kMirrorBoth && top == bottom)
        MirrorRowInPlace(units, buffer + top * stride, size.width);
    return kImageOk;
}

}  // namespace

ImageStatus Mirror_8u_C1(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis) {
    return Mirror(src, srcStride, dst, dstStride, size, axis, {1, Forms().channels.mirror1});
}

ImageStatus Mirror_8u_C3(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis) {
    return Mirror(src, srcStride, dst, dstStride, size, axis, {3, Forms().channels.mirror3});
}

ImageStatus Mirror_8u_C4(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis) {
    return Mirror(src, srcStride, dst, dstStride, size, axis, {4, Forms().channels.mirror4});
}

ImageStatus Mirror_16u_C1(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                          std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis) {
    return Mirror(src, srcStride, dst, dstStride, size, axis, {2, Forms().channels.mirror2});
}

ImageStatus MirrorInPlace_8u_C1(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                std::int32_t axis) {
    return MirrorInPlace(buffer, stride, size, axis, {1, Forms().channels.mirror1});
}

ImageStatus MirrorInPlace_8u_C3(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                std::int32_t axis) {
    return MirrorInPlace(buffer, stride, size, axis, {3, Forms().channels.mirror3});
}

ImageStatus MirrorInPlace_8u_C4(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                std::int32_t axis) {
    return MirrorInPlace(buffer, stride, size, axis, {4, Forms().channels.mirror4});
}

ImageStatus MirrorInPlace_16u_C1(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                 std::int32_t axis) {
    return MirrorInPlace(buffer, stride, size, axis, {2, Forms().channels.mirror2});
}

ImageStatus MirrorPacked(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis,
                         PackedOrder order) {
    return Mirror(src, srcStride, dst, dstStride, PairSize(size), axis, PairsOf(order));
}

ImageStatus MirrorPackedInPlace(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                std::int32_t axis, PackedOrder order) {
    return MirrorInPlace(buffer, stride, PairSize(size), axis, PairsOf(order));
}

}  // namespace qdvm
