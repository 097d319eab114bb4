#include "pixels/primitives/copy.h"

#include <cstring>

namespace qdvm {

ImageStatus CopyRows(const BYTE* src, std::ptrdiff_t srcStride, BYTE* dst, std::ptrdiff_t dstStride,
                     ImageSize size, std::size_t pixelBytes) {
    if (!src || !dst) return kImageNullPointer;
    if (size.width <= 0 || size.height <= 0) return kImageSizeError;
    const std::size_t rowBytes = static_cast<std::size_t>(size.width) * pixelBytes;
    if (srcStride == dstStride && srcStride == static_cast<std::ptrdiff_t>(rowBytes)) {
        std::memcpy(dst, src, rowBytes * static_cast<std::size_t>(size.height));
        return kImageOk;
    }
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        std::memcpy(dst + row * dstStride, src + row * srcStride, rowBytes);
    return kImageOk;
}

}  // namespace qdvm
