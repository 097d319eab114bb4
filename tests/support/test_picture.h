#pragma once

// Pictures for tests of kernels: memory between guard bytes, and where the samples of a pixel lie,
// told in a way of its own so that it can stand against the code under test.

#include "frames/format_table.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace qdvm::test {

// The formats that kernels work in, RGB8 aside.
inline constexpr std::int32_t kKernelFormats[] = {kFccI420,   kFccYV12,  kFccYUY2,  kFccUYVY,
                                                  kFccHDYC,   kFccYVYU,  kFccRGB32, kFccARGB32,
                                                  kFccRGB565, kFccRGB24, kFccRGB555};

inline bool IsPlanar(std::int32_t fccType) { return fccType == kFccI420 || fccType == kFccYV12; }

class TestPicture {
public:
    static constexpr std::size_t kGuardBytes = 64;

    // Random bytes, guards included.
    TestPicture(const PIC_PROPS& pictureProps, std::uint_fast32_t seed)
        : props(pictureProps), memory(FrameBytes(pictureProps) + 2 * kGuardBytes) {
        std::mt19937 random(seed);
        for (BYTE& byte : memory) byte = static_cast<BYTE>(random());
    }

    BYTE* Frame() { return memory.data() + kGuardBytes; }
    const BYTE* Frame() const { return memory.data() + kGuardBytes; }

    // Offsets from Frame() of the samples that show pixel (x, y), top line 0: the bytes of an RGB
    // pixel, or Y, U, V.
    std::vector<std::size_t> Samples(std::int32_t x, std::int32_t y) const {
        const std::size_t rowWidth = RowWidth(props);
        const std::size_t height = AbsHeight(props);
        if (IsPlanar(props.fccType)) return PlanarSamples(rowWidth, height, x, y);
        const std::size_t pixelBytes = BitsPerPixel(props.fccType) / 8;
        const std::size_t padding = props.fccType == kFccRGB8 ? 0 : 3;
        const std::size_t stride = (rowWidth * pixelBytes + padding) & ~padding;
        const bool bottomUp = IsRGBFormat(props.fccType) && props.nHeight > 0;
        const std::size_t row = (bottomUp ? height - 1 - y : y) * stride;
        if (!IsRGBFormat(props.fccType)) return PackedSamples(row, x);
        std::vector<std::size_t> bytes(pixelBytes);
        for (std::size_t i = 0; i < pixelBytes; ++i) bytes[i] = row + x * pixelBytes + i;
        return bytes;
    }

    PIC_PROPS props;
    std::vector<BYTE> memory;

private:
    std::vector<std::size_t> PlanarSamples(std::size_t rowWidth, std::size_t height, std::size_t x,
                                           std::size_t y) const {
        const std::size_t luma = rowWidth * height;
        const std::size_t chroma = y / 2 * (rowWidth / 2) + x / 2;
        const std::size_t first = luma + chroma;
        const std::size_t second = luma + luma / 4 + chroma;
        const bool vFirst = props.fccType == kFccYV12;
        return {y * rowWidth + x, vFirst ? second : first, vFirst ? first : second};
    }

    std::vector<std::size_t> PackedSamples(std::size_t row, std::size_t x) const {
        const std::size_t pair = row + x / 2 * 4;
        switch (props.fccType) {
            case kFccYUY2:
                return {row + 2 * x, pair + 1, pair + 3};
            case kFccYVYU:
                return {row + 2 * x, pair + 3, pair + 1};
            default:
                return {row + 2 * x + 1, pair, pair + 2};
        }
    }
};

}  // namespace qdvm::test
