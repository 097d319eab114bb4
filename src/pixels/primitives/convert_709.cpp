#include "pixels/primitives/convert_709.h"

#include "pixels/primitives/checks.h"
#include "pixels/primitives/forms.h"

namespace qdvm {

namespace {

using Row = void (*)(const Sample* src, Sample* dst, std::int32_t pairs);

ImageStatus ConvertPairs(const Sample* src, std::ptrdiff_t srcStride, int srcPairBytes, Sample* dst,
                         std::ptrdiff_t dstStride, int dstPairBytes, ImageSize size, Row convert) {
    const std::int32_t pairs = size.width / 2;
    const ImageStatus status = CheckSides(
        size, kPixelPair, Side{src, srcStride, std::ptrdiff_t{pairs} * srcPairBytes, size.height},
        Side{dst, dstStride, std::ptrdiff_t{pairs} * dstPairBytes, size.height});
    if (status != kImageOk) return status;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        convert(src + row * srcStride, dst + row * dstStride, pairs);
    return kImageOk;
}

}  // namespace

ImageStatus CbYCr422ToBGR_709CSC_8u_C2C4R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                                          std::ptrdiff_t dstStride, ImageSize size) {
    return ConvertPairs(src, srcStride, 4, dst, dstStride, 8, size, Forms().colour709.packedToBgra);
}

ImageStatus BGRToCbYCr422_709CSC_8u_C4C2R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                                          std::ptrdiff_t dstStride, ImageSize size) {
    return ConvertPairs(src, srcStride, 8, dst, dstStride, 4, size, Forms().colour709.bgraToPacked);
}

}  // namespace qdvm
