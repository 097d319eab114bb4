#include "pixels/primitives/copy.h"

#include "pixels/primitives/checks.h"

#include <cstring>

namespace qdvm {

ImageStatus CopyRows(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size, std::size_t pixelBytes) {
    const std::ptrdiff_t rowBytes = size.width * static_cast<std::ptrdiff_t>(pixelBytes);
    const ImageStatus status =
        CheckSides(size, kOnePixel, Side{src, srcStride, rowBytes, size.height},
                   Side{dst, dstStride, rowBytes, size.height});
    if (status != kImageOk) return status;
    if (srcStride == dstStride && srcStride == rowBytes) {
        std::memcpy(dst, src, static_cast<std::size_t>(rowBytes) * size.height);
        return kImageOk;
    }
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        std::memcpy(dst + row * dstStride, src + row * srcStride,
                    static_cast<std::size_t>(rowBytes));
    return kImageOk;
}

}  // namespace qdvm
