#include "pixels/primitives/blend.h"

#include "pixels/primitives/checks.h"
#include "pixels/primitives/forms.h"

namespace qdvm {

namespace {

template <class Operation>
ImageStatus BlendRowsOf(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                        std::ptrdiff_t dstStride, std::ptrdiff_t rowBytes, ImageSize size,
                        ImageSize smallest, Operation operation) {
    const ImageStatus status =
        CheckSides(size, smallest, Side{src, srcStride, rowBytes, size.height},
                   Side{dst, dstStride, rowBytes, size.height});
    if (status != kImageOk) return status;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        operation(src + row * srcStride, dst + row * dstStride);
    return kImageOk;
}

struct Region {
    const Sample* data;
    std::ptrdiff_t stride;
};

// operation(source row, plane row, target row)
template <class Operation>
ImageStatus BlendThrough(Region src, Region plane, Sample* dst, std::ptrdiff_t dstStride,
                         std::ptrdiff_t rowBytes, std::ptrdiff_t planeBytes, ImageSize size,
                         ImageSize smallest, Operation operation) {
    const ImageStatus status =
        CheckSides(size, smallest, Side{src.data, src.stride, rowBytes, size.height},
                   Side{plane.data, plane.stride, planeBytes, size.height},
                   Side{dst, dstStride, rowBytes, size.height});
    if (status != kImageOk) return status;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        operation(src.data + row * src.stride, plane.data + row * plane.stride,
                  dst + row * dstStride);
    return kImageOk;
}

}  // namespace

ImageStatus MixConst(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size, int a, int b) {
    return BlendRowsOf(src, srcStride, dst, dstStride, size.width, size, kOnePixel,
                       [=, mix = Forms().blends.mixConst](const Sample* from, Sample* to) {
                           mix(from, to, size.width, a, b);
                       });
}

ImageStatus MixConstChroma(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                           std::ptrdiff_t dstStride, ImageSize size, int a, int b) {
    return BlendRowsOf(src, srcStride, dst, dstStride, size.width, size, kOnePixel,
                       [=, mix = Forms().blends.mixConstChroma](const Sample* from, Sample* to) {
                           mix(from, to, size.width, a, b);
                       });
}

ImageStatus MixConstPacked(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                           std::ptrdiff_t dstStride, ImageSize size, PackedOrder order, int a2,
                           int b2) {
    const std::int32_t pairs = size.width / 2;
    return BlendRowsOf(src, srcStride, dst, dstStride, std::ptrdiff_t{pairs} * 4, size, kPixelPair,
                       [=, mix = Forms().blends.mixConstPacked[static_cast<int>(order)]](
                           const Sample* from, Sample* to) { mix(from, to, pairs, a2, b2); });
}

ImageStatus Composite(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size, int opacity) {
    return BlendRowsOf(src, srcStride, dst, dstStride, std::ptrdiff_t{size.width} * 4, size,
                       kOnePixel,
                       [=, composite = Forms().blends.composite](const Sample* from, Sample* to) {
                           composite(from, to, size.width, opacity);
                       });
}

ImageStatus MixPlane(const Sample* src, std::ptrdiff_t srcStride, const Sample* plane,
                     std::ptrdiff_t planeStride, Sample* dst, std::ptrdiff_t dstStride,
                     ImageSize size, int pixelBytes) {
    if (!src || !plane || !dst) return kImageNullPointer;
    if (pixelBytes != 1 && pixelBytes != 3 && pixelBytes != 4) return kImageNotSupported;
    const BlendRows& forms = Forms().blends;
    const auto mix = pixelBytes == 1   ? forms.mixPlane1
                     : pixelBytes == 3 ? forms.mixPlane3
                                       : forms.mixPlane4;
    return BlendThrough({src, srcStride}, {plane, planeStride}, dst, dstStride,
                        std::ptrdiff_t{size.width} * pixelBytes, size.width, size, kOnePixel,
                        [=](const Sample* from, const Sample* through, Sample* to) {
                            mix(from, through, to, size.width);
                        });
}

ImageStatus MixPlaneHalf(const Sample* src, std::ptrdiff_t srcStride, const Sample* plane,
                         std::ptrdiff_t planeStride, Sample* dst, std::ptrdiff_t dstStride,
                         ImageSize size) {
    return BlendThrough(
        {src, srcStride}, {plane, planeStride}, dst, dstStride, size.width,
        std::ptrdiff_t{size.width} * 2, size, kOnePixel,
        [=, mix = Forms().blends.mixPlaneHalf](const Sample* from, const Sample* through,
                                               Sample* to) { mix(from, through, to, size.width); });
}

ImageStatus MixPlanePacked(const Sample* src, std::ptrdiff_t srcStride, const Sample* plane,
                           std::ptrdiff_t planeStride, Sample* dst, std::ptrdiff_t dstStride,
                           ImageSize size, PackedOrder order) {
    const std::int32_t pairs = size.width / 2;
    return BlendThrough({src, srcStride}, {plane, planeStride}, dst, dstStride,
                        std::ptrdiff_t{pairs} * 4, std::ptrdiff_t{pairs} * 2, size, kPixelPair,
                        [=, mix = Forms().blends.mixPlanePacked[static_cast<int>(order)]](
                            const Sample* from, const Sample* through, Sample* to) {
                            mix(from, through, to, pairs);
                        });
}

}  // namespace qdvm
