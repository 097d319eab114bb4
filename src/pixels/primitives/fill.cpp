#include "pixels/primitives/fill.h"

#include "pixels/primitives/checks.h"
#include "pixels/primitives/forms.h"

#include <algorithm>
#include <cstring>

namespace qdvm {

namespace {

constexpr std::size_t kMaxGroupBytes = 4;

// Whole groups of any length fit: a multiple of 12.
constexpr std::size_t kPatternBytes = 3072;

ImageStatus CheckFill(const Sample* group, std::size_t groupBytes, const Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size) {
    if (!group || !dst) return kImageNullPointer;
    if (groupBytes < 1 || groupBytes > kMaxGroupBytes) return kImageSizeError;
    return CheckSides(
        size, kOnePixel,
        Side{dst, dstStride, size.width * static_cast<std::ptrdiff_t>(groupBytes), size.height});
}

// Repeats the group over `bytes` bytes, at least one group, by doubling what is there.
void RepeatGroup(const void* group, std::size_t groupBytes, Sample* row, std::size_t bytes) {
    std::memcpy(row, group, groupBytes);
    for (std::size_t done = groupBytes; done < bytes; done += std::min(done, bytes - done))
        std::memcpy(row + done, row, std::min(done, bytes - done));
}

ImageStatus SetPattern(const void* pattern, std::size_t patternBytes, void* dst,
                       std::int32_t count) {
    if (!dst) return kImageNullPointer;
    if (count < 1) return kImageSizeError;
    const std::size_t bytes = patternBytes * static_cast<std::size_t>(count);
    const std::size_t block = std::min(bytes, kPatternBytes);
    Sample* row = static_cast<Sample*>(dst);
    RepeatGroup(pattern, patternBytes, row, block);
    for (std::size_t done = block; done < bytes; done += block)
        std::memcpy(row + done, row, std::min(block, bytes - done));
    return kImageOk;
}

constexpr int kOpaque = 255;

// The group times its alpha, along a row as far as patterns go.
struct BlendWords {
    std::uint16_t even[kPatternBytes / 2];
    std::uint16_t odd[kPatternBytes / 2];

    BlendWords(const Sample* group, std::size_t groupBytes, Sample alpha, std::size_t rowBytes) {
        // Groups of any length begin anew after so many even and odd bytes.
        constexpr std::size_t kPeriod = 6;
        std::uint16_t first[2][kPeriod];
        for (std::size_t i = 0; i < 2 * kPeriod; ++i)
            first[i % 2][i / 2] = static_cast<std::uint16_t>(group[i % groupBytes] * alpha);
        const std::size_t blocks = (rowBytes + kPatternBlock - 1) / kPatternBlock;
        const std::size_t bytes =
            std::max(std::min(blocks * kPatternBlock, kPatternBytes), sizeof(first[0]));
        RepeatGroup(first[0], sizeof(first[0]), reinterpret_cast<Sample*>(even), bytes);
        RepeatGroup(first[1], sizeof(first[1]), reinterpret_cast<Sample*>(odd), bytes);
    }
};

}  // namespace

ImageStatus FillRows(const Sample* group, std::size_t groupBytes, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size) {
    const ImageStatus status = CheckFill(group, groupBytes, dst, dstStride, size);
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

ImageStatus BlendFillRows(const Sample* group, std::size_t groupBytes, Sample alpha, Sample* dst,
                          std::ptrdiff_t dstStride, ImageSize size) {
    const ImageStatus status = CheckFill(group, groupBytes, dst, dstStride, size);
    if (status != kImageOk) return status;
    const auto blend = Forms().blends.blendPattern;
    const std::size_t rowBytes = static_cast<std::size_t>(size.width) * groupBytes;
    const BlendWords words(group, groupBytes, alpha, rowBytes);
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        for (std::size_t done = 0; done < rowBytes; done += kPatternBytes)
            blend(words.even, words.odd, dst + row * dstStride + done,
                  static_cast<std::int32_t>(std::min(kPatternBytes, rowBytes - done)),
                  kOpaque - alpha);
    return kImageOk;
}

ImageStatus SetPattern32(std::uint32_t value, void* dst, std::int32_t count) {
    return SetPattern(&value, sizeof(value), dst, count);
}

ImageStatus SetPattern64(std::uint64_t value, void* dst, std::int32_t count) {
    return SetPattern(&value, sizeof(value), dst, count);
}

}  // namespace qdvm
