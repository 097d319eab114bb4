#include "pixels/primitives/channels.h"

#include "pixels/primitives/checks.h"
#include "pixels/primitives/forms.h"

#include <algorithm>

namespace qdvm {

namespace {

// From one channel of a row's first pixel to the same of its last one.
std::ptrdiff_t ChannelBytes(std::int32_t width) { return 4 * (std::ptrdiff_t{width} - 1) + 1; }

template <class Operation>
ImageStatus BetweenRows(const Sample* src, std::ptrdiff_t srcStride, std::ptrdiff_t srcRowBytes,
                        Sample* dst, std::ptrdiff_t dstStride, std::ptrdiff_t dstRowBytes,
                        ImageSize size, Operation operation) {
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{src, srcStride, srcRowBytes, size.height},
                   Side{dst, dstStride, dstRowBytes, size.height});
    if (status != kImageOk) return status;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        operation(src + row * srcStride, dst + row * dstStride, size.width);
    return kImageOk;
}

}  // namespace

ImageStatus Copy_8u_C4C1R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                          std::ptrdiff_t dstStride, ImageSize size) {
    return BetweenRows(src, srcStride, ChannelBytes(size.width), dst, dstStride, size.width, size,
                       Forms().channels.extract4);
}

ImageStatus Set_8u_C4CR(Sample value, Sample* dst, std::ptrdiff_t dstStride, ImageSize size) {
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{dst, dstStride, ChannelBytes(size.width), size.height});
    if (status != kImageOk) return status;
    const auto set = Forms().channels.set4;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        set(value, dst + row * dstStride, size.width);
    return kImageOk;
}

ImageStatus CopyDropAlpha_8u_C4C3R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                                   std::ptrdiff_t dstStride, ImageSize size) {
    return BetweenRows(src, srcStride, std::ptrdiff_t{size.width} * 4, dst, dstStride,
                       std::ptrdiff_t{size.width} * 3, size, Forms().channels.dropFourth);
}

ImageStatus BGRToBGRA(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size) {
    return BetweenRows(src, srcStride, std::ptrdiff_t{size.width} * 3, dst, dstStride,
                       std::ptrdiff_t{size.width} * 4, size, Forms().channels.addFourth);
}

ImageStatus ChannelOrder_8u_C4(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                               const std::uint8_t* order) {
    if (!buffer || !order) return kImageNullPointer;
    const ImageStatus status = CheckSides(
        size, kOnePixel, Side{buffer, stride, std::ptrdiff_t{size.width} * 4, size.height});
    if (status != kImageOk) return status;
    if (std::any_of(order, order + 4, [](std::uint8_t from) { return from > 3; }))
        return kImageNotSupported;
    const auto reorder = Forms().channels.order4;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        reorder(buffer + row * stride, buffer + row * stride, size.width, order);
    return kImageOk;
}

}  // namespace qdvm
