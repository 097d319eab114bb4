#include "pixels/primitives/fill.h"

#include <algorithm>
#include <cstring>

namespace qdvm {

namespace {

constexpr std::size_t kMaxGroupBytes = 4;

// Whole groups of any length fit: a multiple of 12.
constexpr std::size_t kPatternBytes = 3072;

ImageStatus CheckFill(const BYTE* group, std::size_t groupBytes, const BYTE* dst, ImageSize size) {
    if (!group || !dst) return kImageNullPointer;
    if (size.width <= 0 || size.height <= 0 || groupBytes < 1 || groupBytes > kMaxGroupBytes)
        return kImageSizeError;
    return kImageOk;
}

// Repeats the group over `bytes` bytes, a multiple of its length, by doubling what is there.
void RepeatGroup(const BYTE* group, std::size_t groupBytes, BYTE* row, std::size_t bytes) {
    std::memcpy(row, group, groupBytes);
    for (std::size_t done = groupBytes; done < bytes; done += std::min(done, bytes - done))
        std::memcpy(row + done, row, std::min(done, bytes - done));
}

void BlendRow(const BYTE* pattern, unsigned colourWeight, unsigned oldWeight, BYTE* row,
              std::size_t bytes) {
    // The sum is at most 255 * 255, so 16-bit lanes hold it.
    for (std::size_t i = 0; i < bytes; ++i)
        row[i] = static_cast<BYTE>((row[i] * oldWeight + pattern[i] * colourWeight) >> 8);
}

}  // namespace

ImageStatus FillRows(const BYTE* group, std::size_t groupBytes, BYTE* dst, std::ptrdiff_t dstStride,
                     ImageSize size) {
    const ImageStatus status = CheckFill(group, groupBytes, dst, size);
    if (status != kImageOk) return status;
    const std::size_t rowBytes = static_cast<std::size_t>(size.width) * groupBytes;
    if (groupBytes == 1) {
        for (std::ptrdiff_t row = 0; row < size.height; ++row)
            std::memset(dst + row * dstStride, *group, rowBytes);
        return kImageOk;
    }
    RepeatGroup(group, groupBytes, dst, rowBytes);
    for (std::ptrdiff_t row = 1; row < size.height; ++row)
        std::memcpy(dst + row * dstStride, dst, rowBytes);
    return kImageOk;
}

ImageStatus BlendFillRows(const BYTE* group, std::size_t groupBytes, BYTE alpha, BYTE* dst,
                          std::ptrdiff_t dstStride, ImageSize size) {
    const ImageStatus status = CheckFill(group, groupBytes, dst, size);
    if (status != kImageOk) return status;
    const std::size_t rowBytes = static_cast<std::size_t>(size.width) * groupBytes;
    BYTE pattern[kPatternBytes];
    RepeatGroup(group, groupBytes, pattern, std::min(rowBytes, kPatternBytes));
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        for (std::size_t done = 0; done < rowBytes; done += kPatternBytes)
            BlendRow(pattern, alpha, 255u - alpha, dst + row * dstStride + done,
                     std::min(kPatternBytes, rowBytes - done));
    return kImageOk;
}

}  // namespace qdvm
