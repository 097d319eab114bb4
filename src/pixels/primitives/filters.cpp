#include "pixels/primitives/filters.h"

#include "pixels/primitives/checks.h"
#include "pixels/primitives/forms.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace qdvm {

namespace {

using RowFilter = void (*)(const Sample* a, const Sample* b, const Sample* c, Sample* dst,
                           std::int32_t n);

ImageStatus Filter3x3(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size, std::int32_t mask,
                      RowFilter filter) {
    // The rows of the source are read with the frame's columns.
    const ImageStatus status = CheckSides(
        size, kOnePixel, Side{src, srcStride, std::ptrdiff_t{size.width} + 2, size.height},
        Side{dst, dstStride, size.width, size.height});
    if (status != kImageOk) return status;
    if (mask != kMask3x3) return kImageNotSupported;
    for (std::ptrdiff_t row = 0; row < size.height; ++row) {
        const Sample* left = src + row * srcStride - 1;
        filter(left - srcStride, left, left + srcStride, dst + row * dstStride, size.width);
    }
    return kImageOk;
}

constexpr std::int32_t kStrip = 1024;

// Each sample of the strip from its column of three. Columns do not see each other, so strips of a
// wide plane can be done in turn.
void FilterColumns(Sample* plane, std::ptrdiff_t stride, std::int32_t width, std::int32_t height,
                   RowFilter filter) {
    Sample rows[2][kStrip];
    Sample* above = rows[0];
    Sample* here = rows[1];
    const std::size_t bytes = static_cast<std::size_t>(width);
    std::memcpy(above, plane - stride, bytes);
    for (std::ptrdiff_t row = 0; row < height; ++row) {
        Sample* line = plane + row * stride;
        std::memcpy(here, line, bytes);
        filter(above, here, line + stride, line, width);
        std::swap(above, here);
    }
}

// Each sample of a row from itself and its neighbours; those beyond the ends are given.
void FilterAlong(Sample* row, std::int32_t width, Sample before, Sample after, RowFilter filter) {
    Sample line[kStrip + 2];
    line[0] = before;
    for (std::int32_t start = 0; start < width; start += kStrip) {
        const std::int32_t count = std::min(kStrip, width - start);
        std::memcpy(line + 1, row + start, static_cast<std::size_t>(count));
        line[count + 1] = start + count < width ? row[start + count] : after;
        filter(line, line + 1, line + 2, row + start, count);
        line[0] = line[count];
    }
}

// Minimum and maximum of nine are those of three columns of three.
ImageStatus Extreme3x3(Sample* plane, std::ptrdiff_t stride, ImageSize size, RowFilter filter) {
    const ImageStatus status = CheckSides(
        size, kOnePixel, Side{plane, stride, std::ptrdiff_t{size.width} + 2, size.height});
    if (status != kImageOk) return status;
    for (std::int32_t start = 0; start < size.width; start += kStrip)
        FilterColumns(plane + start, stride, std::min(kStrip, size.width - start), size.height,
                      filter);
    for (std::ptrdiff_t row = 0; row < size.height; ++row) {
        Sample* line = plane + row * stride;
        // The frame still holds what it held.
        const auto column = [&](std::ptrdiff_t x) {
            Sample result = 0;
            filter(line + x - stride, line + x, line + x + stride, &result, 1);
            return result;
        };
        FilterAlong(line, size.width, column(-1), column(size.width), filter);
    }
    return kImageOk;
}

template <class Operation>
ImageStatus Threshold(Sample* plane, std::ptrdiff_t stride, ImageSize size, Sample threshold,
                      Sample value, Operation operation) {
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{plane, stride, size.width, size.height});
    if (status != kImageOk) return status;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        operation(plane + row * stride, size.width, threshold, value);
    return kImageOk;
}

}  // namespace

ImageStatus Box3x3(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                   std::ptrdiff_t dstStride, ImageSize size, std::int32_t mask) {
    return Filter3x3(src, srcStride, dst, dstStride, size, mask, Forms().filters.box3);
}

ImageStatus Gauss3x3(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size, std::int32_t mask) {
    return Filter3x3(src, srcStride, dst, dstStride, size, mask, Forms().filters.gauss3);
}

ImageStatus Erode3x3(Sample* plane, std::ptrdiff_t stride, ImageSize size) {
    return Extreme3x3(plane, stride, size, Forms().filters.min3);
}

ImageStatus Dilate3x3(Sample* plane, std::ptrdiff_t stride, ImageSize size) {
    return Extreme3x3(plane, stride, size, Forms().filters.max3);
}

ImageStatus ThresholdGT_8u_C1IR(Sample* plane, std::ptrdiff_t stride, ImageSize size,
                                Sample threshold, Sample value) {
    return Threshold(plane, stride, size, threshold, value, Forms().filters.thresholdGreater);
}

ImageStatus ThresholdLT_8u_C1IR(Sample* plane, std::ptrdiff_t stride, ImageSize size,
                                Sample threshold, Sample value) {
    return Threshold(plane, stride, size, threshold, value, Forms().filters.thresholdLess);
}

}  // namespace qdvm
