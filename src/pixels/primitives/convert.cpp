#include "pixels/primitives/convert.h"

#include "pixels/primitives/checks.h"
#include "pixels/primitives/forms.h"

namespace qdvm {

namespace {

constexpr int kPlanes = 3;

constexpr std::uint8_t kSwapPairs[4] = {1, 0, 3, 2};
constexpr std::uint8_t kSwapChroma[4] = {0, 3, 2, 1};

// Bytes of `pairs` pixel pairs.
std::ptrdiff_t PairBytes(std::int32_t width, int pixelBytes) {
    return std::ptrdiff_t{width / 2} * 2 * pixelBytes;
}

// operation(source row, target row, pairs) over rows of pixels of the given sizes.
template <class Operation>
ImageStatus Interleaved(const Sample* src, std::ptrdiff_t srcStride, int srcBytes, Sample* dst,
                        std::ptrdiff_t dstStride, int dstBytes, ImageSize size,
                        Operation operation) {
    const ImageStatus status = CheckSides(
        size, kPixelPair, Side{src, srcStride, PairBytes(size.width, srcBytes), size.height},
        Side{dst, dstStride, PairBytes(size.width, dstBytes), size.height});
    if (status != kImageOk) return status;
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        operation(src + row * srcStride, dst + row * dstStride, size.width / 2);
    return kImageOk;
}

// The planes of a picture: chroma at half width, and with `lines` of 2 at half height.
template <class Pointers>
ImageStatus CheckPlanar(Pointers planes, PlaneStrides strides, const Sample* packed,
                        std::ptrdiff_t packedStride, int packedBytes, ImageSize size, int lines) {
    if (!planes || !strides) return kImageNullPointer;
    const std::int32_t pairs = size.width / 2;
    const std::int32_t rows = size.height / lines * lines;
    return CheckSides(size, ImageSize{2, lines},
                      Side{packed, packedStride, PairBytes(size.width, packedBytes), rows},
                      Side{planes[0], strides[0], std::ptrdiff_t{pairs} * 2, rows},
                      Side{planes[1], strides[1], pairs, rows / lines},
                      Side{planes[2], strides[2], pairs, rows / lines});
}

// operation(rows of the three planes, target row, pairs); a chroma line serves `lines` lines.
template <class Operation>
ImageStatus FromPlanes(ConstPlanes src, PlaneStrides strides, Sample* dst, std::ptrdiff_t dstStride,
                       int dstBytes, ImageSize size, int lines, Operation operation) {
    const ImageStatus status = CheckPlanar(src, strides, dst, dstStride, dstBytes, size, lines);
    if (status != kImageOk) return status;
    for (std::ptrdiff_t row = 0; row < size.height / lines * lines; ++row) {
        const std::ptrdiff_t chroma = row / lines;
        operation(src[0] + row * strides[0], src[1] + chroma * strides[1],
                  src[2] + chroma * strides[2], dst + row * dstStride, size.width / 2);
    }
    return kImageOk;
}

// Luma of every line; chroma of the upper line of each pair, its first byte into plane `c0`.
ImageStatus PackedTo420(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                        PlaneStrides strides, ImageSize size, LumaPlace place, int c0) {
    const ImageStatus status = CheckPlanar(dst, strides, src, srcStride, 2, size, 2);
    if (status != kImageOk) return status;
    const PackedRows& forms = Forms().packed;
    const int c1 = kPlanes - c0;
    const std::int32_t pairs = size.width / 2;
    for (std::ptrdiff_t pair = 0; pair < size.height / 2; ++pair) {
        const Sample* upper = src + 2 * pair * srcStride;
        Sample* luma = dst[0] + 2 * pair * strides[0];
        forms.split[place](upper, luma, dst[c0] + pair * strides[c0], dst[c1] + pair * strides[c1],
                           pairs);
        forms.luma[place](upper + srcStride, luma + strides[0], pairs);
    }
    return kImageOk;
}

template <class Operation>
ImageStatus RgbTo420(const Sample* src, std::ptrdiff_t srcStride, int srcBytes, Planes dst,
                     PlaneStrides strides, ImageSize size, Operation operation) {
    const ImageStatus status = CheckPlanar(dst, strides, src, srcStride, srcBytes, size, 2);
    if (status != kImageOk) return status;
    for (std::ptrdiff_t pair = 0; pair < size.height / 2; ++pair) {
        const Sample* upper = src + 2 * pair * srcStride;
        Sample* luma = dst[0] + 2 * pair * strides[0];
        operation(upper, upper + srcStride, luma, luma + strides[0], dst[1] + pair * strides[1],
                  dst[2] + pair * strides[2], size.width / 2);
    }
    return kImageOk;
}

ImageStatus Split(const Sample* src, std::ptrdiff_t srcStride, Planes dst, PlaneStrides strides,
                  ImageSize size, LumaPlace place) {
    const ImageStatus status = CheckPlanar(dst, strides, src, srcStride, 2, size, 1);
    if (status != kImageOk) return status;
    const auto split = Forms().packed.split[place];
    for (std::ptrdiff_t row = 0; row < size.height; ++row)
        split(src + row * srcStride, dst[0] + row * strides[0], dst[1] + row * strides[1],
              dst[2] + row * strides[2], size.width / 2);
    return kImageOk;
}

ImageStatus Reorder(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                    std::ptrdiff_t dstStride, ImageSize size, const std::uint8_t* order) {
    return Interleaved(src, srcStride, 2, dst, dstStride, 2, size,
                       [reorder = Forms().channels.order4, order](const Sample* from, Sample* to,
                                                                  std::int32_t pairs) {
                           reorder(from, to, pairs, order);
                       });
}

ImageStatus PackedToBgra(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size, Sample fourth, LumaPlace place) {
    return Interleaved(src, srcStride, 2, dst, dstStride, 4, size,
                       [convert = Forms().colour.packedToBgra[place], fourth](
                           const Sample* from, Sample* to, std::int32_t pairs) {
                           convert(from, to, pairs, fourth);
                       });
}

// With the second and third plane exchanged.
ImageStatus Pack420(ConstPlanes src, PlaneStrides strides, Sample* dst, std::ptrdiff_t dstStride,
                    ImageSize size, LumaPlace place) {
    return FromPlanes(src, strides, dst, dstStride, 2, size, 2,
                      [pack = Forms().packed.pack[place]](
                          const Sample* y, const Sample* second, const Sample* third, Sample* to,
                          std::int32_t pairs) { pack(y, third, second, to, pairs); });
}

}  // namespace

ImageStatus BGRAToYUY2(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size) {
    return Interleaved(src, srcStride, 4, dst, dstStride, 2, size,
                       Forms().colour.bgraToPacked[kLumaFirst]);
}

ImageStatus BGRAToUYVY(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size) {
    return Interleaved(src, srcStride, 4, dst, dstStride, 2, size,
                       Forms().colour.bgraToPacked[kLumaSecond]);
}

ImageStatus BGRToYUY2(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size) {
    return Interleaved(src, srcStride, 3, dst, dstStride, 2, size, Forms().colour.bgrToPacked);
}

ImageStatus YUY2ToBGR(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size) {
    return Interleaved(src, srcStride, 2, dst, dstStride, 3, size, Forms().colour.packedToBgr);
}

ImageStatus YUY2ToRGB565(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size) {
    return Interleaved(src, srcStride, 2, dst, dstStride, 2, size, Forms().colour.packedToRgb565);
}

ImageStatus YUY2ToRGB555(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size) {
    return Interleaved(src, srcStride, 2, dst, dstStride, 2, size, Forms().colour.packedToRgb555);
}

ImageStatus YUY2ToYVYU(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size) {
    return Reorder(src, srcStride, dst, dstStride, size, kSwapChroma);
}

ImageStatus SwapYUYV(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size) {
    return Reorder(src, srcStride, dst, dstStride, size, kSwapPairs);
}

ImageStatus YUY2ToBGRA(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size, Sample fourth) {
    return PackedToBgra(src, srcStride, dst, dstStride, size, fourth, kLumaFirst);
}

ImageStatus UYVYToBGRA(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size, Sample fourth) {
    return PackedToBgra(src, srcStride, dst, dstStride, size, fourth, kLumaSecond);
}

ImageStatus I420ToBGRA(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size, Sample fourth) {
    return FromPlanes(src, srcStrides, dst, dstStride, 4, size, 2,
                      [convert = Forms().colour.planesToBgra, fourth](
                          const Sample* y, const Sample* u, const Sample* v, Sample* to,
                          std::int32_t pairs) { convert(y, u, v, to, pairs, fourth); });
}

ImageStatus I420ToBGR(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size) {
    return FromPlanes(src, srcStrides, dst, dstStride, 3, size, 2, Forms().colour.planesToBgr);
}

ImageStatus I420ToRGB565(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size) {
    return FromPlanes(src, srcStrides, dst, dstStride, 2, size, 2, Forms().colour.planesToRgb565);
}

ImageStatus I420ToRGB555(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size) {
    return FromPlanes(src, srcStrides, dst, dstStride, 2, size, 2, Forms().colour.planesToRgb555);
}

ImageStatus I420ToYUYV(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size) {
    return Pack420(src, srcStrides, dst, dstStride, size, kLumaFirst);
}

ImageStatus I420ToUYVY(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                       std::ptrdiff_t dstStride, ImageSize size) {
    return Pack420(src, srcStrides, dst, dstStride, size, kLumaSecond);
}

ImageStatus PackYUY2(ConstPlanes src, PlaneStrides srcStrides, Sample* dst,
                     std::ptrdiff_t dstStride, ImageSize size) {
    return FromPlanes(src, srcStrides, dst, dstStride, 2, size, 1, Forms().packed.pack[kLumaFirst]);
}

ImageStatus BGRAToI420(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                       PlaneStrides dstStrides, ImageSize size) {
    return RgbTo420(src, srcStride, 4, dst, dstStrides, size, Forms().colour.bgraToPlanes);
}

ImageStatus BGRToI420(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                      PlaneStrides dstStrides, ImageSize size) {
    return RgbTo420(src, srcStride, 3, dst, dstStrides, size, Forms().colour.bgrToPlanes);
}

ImageStatus YUY2ToI420(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                       PlaneStrides dstStrides, ImageSize size) {
    return PackedTo420(src, srcStride, dst, dstStrides, size, kLumaFirst, 1);
}

ImageStatus UYVYToI420(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                       PlaneStrides dstStrides, ImageSize size) {
    return PackedTo420(src, srcStride, dst, dstStrides, size, kLumaSecond, 1);
}

ImageStatus YVYUToI420(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                       PlaneStrides dstStrides, ImageSize size) {
    return PackedTo420(src, srcStride, dst, dstStrides, size, kLumaFirst, 2);
}

ImageStatus SplitYUY2(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                      PlaneStrides dstStrides, ImageSize size) {
    return Split(src, srcStride, dst, dstStrides, size, kLumaFirst);
}

ImageStatus SplitUYVY(const Sample* src, std::ptrdiff_t srcStride, Planes dst,
                      PlaneStrides dstStrides, ImageSize size) {
    return Split(src, srcStride, dst, dstStrides, size, kLumaSecond);
}

}  // namespace qdvm
