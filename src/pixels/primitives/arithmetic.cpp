#include "pixels/primitives/arithmetic.h"

#include "pixels/primitives/checks.h"
#include "pixels/primitives/forms.h"

namespace qdvm {

namespace {

constexpr std::int32_t kProductShift = 8;

ImageStatus CheckRow(const void* a, const void* b, std::int32_t count) {
    if (!a || !b) return kImageNullPointer;
    return count < 1 ? kImageSizeError : kImageOk;
}

}  // namespace

ImageStatus Mul8Rows(const Sample* a, Sample* b, std::int32_t count, std::int32_t shift) {
    const ImageStatus status = CheckRow(a, b, count);
    if (status != kImageOk) return status;
    if (shift != kProductShift) return kImageNotSupported;
    Forms().blends.mul8(a, b, count);
    return kImageOk;
}

ImageStatus MulC8Rows(Sample value, Sample* b, std::int32_t count, std::int32_t shift) {
    const ImageStatus status = CheckRow(b, b, count);
    if (status != kImageOk) return status;
    if (shift != kProductShift) return kImageNotSupported;
    Forms().blends.mulC8(value, b, count);
    return kImageOk;
}

ImageStatus AddC_8u_C1IR(Sample value, Sample* plane, std::ptrdiff_t stride, ImageSize size,
                         std::int32_t shift) {
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{plane, stride, size.width, size.height});
    if (status != kImageOk) return status;
    if (shift != 0) return kImageNotSupported;
    const auto add = Forms().blends.addC;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        add(value, plane + row * stride, size.width);
    return kImageOk;
}

ImageStatus AlphaComp_8u_AC4R(const Sample* src1, std::ptrdiff_t stride1, const Sample* src2,
                              std::ptrdiff_t stride2, Sample* dst, std::ptrdiff_t dstStride,
                              ImageSize size, std::int32_t type) {
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{size.width} * 4;
    const ImageStatus status = CheckSides(
        size, kOnePixel, Side{src1, stride1, rowBytes, size.height},
        Side{src2, stride2, rowBytes, size.height}, Side{dst, dstStride, rowBytes, size.height});
    if (status != kImageOk) return status;
    if (type != kAlphaOver) return kImageNotSupported;
    const auto over = Forms().blends.alphaOver;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        over(src1 + row * stride1, src2 + row * stride2, dst + row * dstStride, size.width);
    return kImageOk;
}

ImageStatus UnpremultiplyRow(Sample* dst, const Sample* src, std::int32_t pixels) {
    const ImageStatus status = CheckRow(dst, src, pixels);
    if (status == kImageOk) Forms().blends.unpremultiply(src, dst, pixels);
    return status;
}

ImageStatus InsertAlphaRow(Sample* dst, const Sample* src, const Sample* plane,
                           std::int32_t pixels) {
    if (!plane) return kImageNullPointer;
    const ImageStatus status = CheckRow(dst, src, pixels);
    if (status == kImageOk) Forms().blends.insertFourth(src, plane, dst, pixels);
    return status;
}

}  // namespace qdvm
