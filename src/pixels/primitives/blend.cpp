#include "pixels/primitives/blend.h"

#include "pixels/primitives/checks.h"
#include "pixels/primitives/forms.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>

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

// Planes of keys and masks are empty or full nearly everywhere. There nothing has to be weighed: an
// empty plane leaves dst as it is, a full one copies.

// Blocks of a part of a row, one bit for each.
struct Cover {
    std::uint64_t some = 0;  // neither empty nor full
    std::uint64_t all = 0;
};

constexpr std::int32_t kBlocks = 64;
constexpr std::int32_t kBlock = 32;  // samples, whole vectors of every form
constexpr std::int32_t kBandRows = 8;

// How the samples of a plane and the bytes of the pictures go together.
struct PlaneScale {
    std::int32_t block;    // samples, kBlock or twice as many
    std::int32_t samples;  // of the plane for...
    std::int32_t bytes;    // ...these of a picture

    std::ptrdiff_t BytesAt(std::int32_t sample) const {
        return std::ptrdiff_t{sample / samples} * bytes;
    }
};

void AddBlock(const Sample* plane, std::int32_t count, std::int32_t bit, Cover* cover) {
    std::uint64_t any = 0;
    std::uint64_t all = ~std::uint64_t{0};
    for (std::int32_t i = 0; i < count; i += 8) {
        std::uint64_t samples = 0;
        std::memcpy(&samples, plane + i, sizeof(samples));
        any |= samples;
        all &= samples;
    }
    const std::uint64_t isAll = all == ~std::uint64_t{0} ? 1 : 0;
    const std::uint64_t isSome = any != 0 ? 1 - isAll : 0;
    cover->all |= isAll << bit;
    cover->some |= isSome << bit;
}

constexpr std::int32_t kGroup = 4;  // blocks that are told together where they are all alike

// Whether all bytes of a group are 0, or all are 255, in *value.
template <std::int32_t kBlockSamples>
bool IsUniform(const Sample* plane, Sample* value) {
    std::uint64_t first = 0;
    std::uint64_t differences = 0;
    std::memcpy(&first, plane, sizeof(first));
    for (std::int32_t i = 0; i < kGroup * kBlockSamples; i += 8) {
        std::uint64_t samples = 0;
        std::memcpy(&samples, plane + i, sizeof(samples));
        differences |= samples ^ first;
    }
    *value = static_cast<Sample>(first);
    return differences == 0 && (first == 0 || first == ~std::uint64_t{0});
}

template <std::int32_t kBlockSamples>
Cover CoverOf(const Sample* plane, std::int32_t samples) {
    Cover cover;
    const std::int32_t whole = samples / kBlockSamples;
    for (std::int32_t i = 0; i < whole;) {
        const Sample* const from = plane + i * kBlockSamples;
        Sample value = 0;
        if (i + kGroup <= whole && IsUniform<kBlockSamples>(from, &value)) {
            if (value != 0) cover.all |= std::uint64_t{0xf} << i;
            i += kGroup;
            continue;
        }
        AddBlock(from, kBlockSamples, i, &cover);
        ++i;
    }
    if (whole * kBlockSamples < samples) cover.some |= std::uint64_t{1} << whole;
    return cover;
}

// Calls run(first block, count, is full) for what isn't empty.
template <class Run>
void WalkCover(Cover cover, Run run) {
    for (std::uint64_t left = cover.some | cover.all; left != 0;) {
        const int first = std::countr_zero(left);
        const bool isAll = (cover.all >> first & 1) != 0;
        const int count = std::countr_one((isAll ? cover.all : cover.some) >> first);
        run(first, count, isAll);
        left &= first + count < kBlocks ? ~std::uint64_t{0} << (first + count) : 0;
    }
}

// Some columns of some rows. Single blocks lie far apart, so all of them are on their way from
// memory before the first is needed.
template <class Mix>
void MixBand(Region src, Region plane, Sample* dst, std::ptrdiff_t dstStride, ImageSize size,
             PlaneScale scale, Mix mix) {
    std::array<Cover, kBandRows> covers;
    for (std::int32_t row = 0; row < size.height; ++row) {
        Cover& cover = covers[static_cast<std::size_t>(row)];
        cover = scale.block == kBlock
                    ? CoverOf<kBlock>(plane.data + row * plane.stride, size.width)
                    : CoverOf<2 * kBlock>(plane.data + row * plane.stride, size.width);
        for (std::uint64_t left = cover.some; left != 0; left &= left - 1) {
            const std::ptrdiff_t at = scale.BytesAt(std::countr_zero(left) * scale.block);
            __builtin_prefetch(src.data + row * src.stride + at);
            __builtin_prefetch(dst + row * dstStride + at, 1);
        }
    }
    for (std::int32_t row = 0; row < size.height; ++row)
        WalkCover(covers[static_cast<std::size_t>(row)], [&](int first, int count, bool isAll) {
            const std::int32_t x = first * scale.block;
            const std::int32_t samples = std::min(count * scale.block, size.width - x);
            const std::ptrdiff_t at = scale.BytesAt(x);
            Sample* const to = dst + row * dstStride + at;
            const Sample* const from = src.data + row * src.stride + at;
            if (isAll)
                std::memcpy(to, from, static_cast<std::size_t>(scale.BytesAt(samples)));
            else
                mix(from, plane.data + row * plane.stride + x, to, samples / scale.samples);
        });
}

// size in samples of the plane; mix(from, plane, to, units) weighs, a unit being scale.samples.
template <class Mix>
ImageStatus MixByCover(Region src, Region plane, Sample* dst, std::ptrdiff_t dstStride,
                       ImageSize size, ImageSize smallest, PlaneScale scale, Mix mix) {
    const std::ptrdiff_t rowBytes = scale.BytesAt(size.width);
    const ImageStatus status =
        CheckSides(size, smallest, Side{src.data, src.stride, rowBytes, size.height},
                   Side{plane.data, plane.stride, size.width, size.height},
                   Side{dst, dstStride, rowBytes, size.height});
    if (status != kImageOk) return status;
    const std::int32_t columns = scale.block * kBlocks;
    for (std::ptrdiff_t y = 0; y < size.height; y += kBandRows)
        for (std::int32_t x = 0; x < size.width; x += columns) {
            const ImageSize part{
                std::min(columns, size.width - x),
                static_cast<std::int32_t>(std::min<std::ptrdiff_t>(kBandRows, size.height - y))};
            const std::ptrdiff_t at = scale.BytesAt(x);
            MixBand({src.data + y * src.stride + at, src.stride},
                    {plane.data + y * plane.stride + x, plane.stride}, dst + y * dstStride + at,
                    dstStride, part, scale, mix);
        }
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
    return MixByCover({src, srcStride}, {plane, planeStride}, dst, dstStride, size, kOnePixel,
                      {kBlock, 1, pixelBytes}, mix);
}

ImageStatus MixPlaneHalf(const Sample* src, std::ptrdiff_t srcStride, const Sample* plane,
                         std::ptrdiff_t planeStride, Sample* dst, std::ptrdiff_t dstStride,
                         ImageSize size) {
    if (size.width > std::numeric_limits<std::int32_t>::max() / 2) return kImageSizeError;
    return MixByCover({src, srcStride}, {plane, planeStride}, dst, dstStride,
                      {2 * size.width, size.height}, kPixelPair, {2 * kBlock, 2, 1},
                      Forms().blends.mixPlaneHalf);
}

ImageStatus MixPlanePacked(const Sample* src, std::ptrdiff_t srcStride, const Sample* plane,
                           std::ptrdiff_t planeStride, Sample* dst, std::ptrdiff_t dstStride,
                           ImageSize size, PackedOrder order) {
    return MixByCover({src, srcStride}, {plane, planeStride}, dst, dstStride,
                      {size.width / 2 * 2, size.height}, kPixelPair, {kBlock, 2, 4},
                      Forms().blends.mixPlanePacked[static_cast<int>(order)]);
}

}  // namespace qdvm
