#pragma once

// Channels of four-channel regions, their order, and pixels turned around. Sizes in pixels.

#include "pixels/primitives/region.h"

namespace qdvm {

// One channel into a plane; src points at that channel of the first pixel. Other channels are only
// read between the first and the last pixel of a row.
ImageStatus Copy_8u_C4C1R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                          std::ptrdiff_t dstStride, ImageSize size);

// Sets one channel, the others stay; dst points at that channel of the first pixel.
ImageStatus Set_8u_C4CR(Sample value, Sample* dst, std::ptrdiff_t dstStride, ImageSize size);

// Four channels to the first three of them.
ImageStatus CopyDropAlpha_8u_C4C3R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                                   std::ptrdiff_t dstStride, ImageSize size);

// Three channels into the first three of four; the fourth byte of dst stays.
ImageStatus BGRToBGRA(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                      std::ptrdiff_t dstStride, ImageSize size);

// In place: new byte i of each group of four is old byte order[i]. size counts groups.
// kImageNotSupported if an order is not 0 to 3.
ImageStatus ChannelOrder_8u_C4(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                               const std::uint8_t* order);

enum MirrorAxis : std::int32_t {
    kMirrorRows = 0,     // top to bottom
    kMirrorColumns = 1,  // left to right
    kMirrorBoth = 2,
};

// The pixels of the region change places by the axis. kImageNotSupported for another axis.
ImageStatus Mirror_8u_C1(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis);
ImageStatus Mirror_8u_C3(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis);
ImageStatus Mirror_8u_C4(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis);
ImageStatus Mirror_16u_C1(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                          std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis);

ImageStatus MirrorInPlace_8u_C1(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                std::int32_t axis);
ImageStatus MirrorInPlace_8u_C3(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                std::int32_t axis);
ImageStatus MirrorInPlace_8u_C4(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                std::int32_t axis);
ImageStatus MirrorInPlace_16u_C1(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                 std::int32_t axis);

// The same for packed 4:2:2, in pairs of pixels: chroma goes along with its pair and keeps its
// places in it. The width is rounded down to even.
ImageStatus MirrorPacked(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                         std::ptrdiff_t dstStride, ImageSize size, std::int32_t axis,
                         PackedOrder order);
ImageStatus MirrorPackedInPlace(Sample* buffer, std::ptrdiff_t stride, ImageSize size,
                                std::int32_t axis, PackedOrder order);

}  // namespace qdvm
