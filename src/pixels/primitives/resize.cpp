#include "pixels/primitives/resize.h"

#include "pixels/primitives/checks.h"
#include "pixels/primitives/resize_job.h"

#include <cmath>

namespace qdvm {

namespace {

bool IsInside(ImageRect rect, ImageSize size) {
    return rect.x >= 0 && rect.y >= 0 && rect.width >= 1 && rect.height >= 1 &&
           rect.width <= size.width - rect.x && rect.height <= size.height - rect.y;
}

struct Source {
    const Sample* data;
    ImageSize size;
    std::ptrdiff_t stride;
    ImageRect roi;
};

struct Target {
    Sample* data;  // first pixel written
    std::ptrdiff_t stride;
    ImageSize size;
};

struct Mapping {
    double factor;
    double shift;
};

ImageStatus Check(const Source& src, const Target& dst, Mapping x, Mapping y, int pixelBytes) {
    const ImageStatus status = CheckSides(
        dst.size, kOnePixel,
        Side{src.data, src.stride, std::ptrdiff_t{src.roi.width} * pixelBytes, src.roi.height},
        Side{dst.data, dst.stride, std::ptrdiff_t{dst.size.width} * pixelBytes, dst.size.height});
    if (status == kImageNullPointer) return status;
    if (!IsInside(src.roi, src.size)) return kImageSizeError;
    if (status != kImageOk) return status;
    if (!IsFactor(x.factor) || !IsFactor(y.factor)) return kImageSizeError;
    if (!std::isfinite(x.shift) || !std::isfinite(y.shift)) return kImageSizeError;
    return kImageOk;
}

ImageStatus Resize(const Source& src, const Target& dst, Mapping x, Mapping y, int pixelBytes,
                   std::int32_t interpolation) {
    const ImageStatus status = Check(src, dst, x, y, pixelBytes);
    if (status != kImageOk) return status;
    const ResizeJob job{
        .src = src.data + src.roi.y * src.stride + std::ptrdiff_t{src.roi.x} * pixelBytes,
        .srcStride = src.stride,
        .dst = dst.data,
        .dstStride = dst.stride,
        .x = ResizeAxis(src.roi.width, dst.size.width, x.factor, x.shift),
        .y = ResizeAxis(src.roi.height, dst.size.height, y.factor, y.shift),
        .pixelBytes = pixelBytes,
        .pixelKind = pixelBytes == 1 ? 0 : pixelBytes - 2,
    };
    switch (interpolation) {
        case kNearest:
            ResizeNearest(job);
            return kImageOk;
        case kLinear:
            ResizeLinear(job);
            return kImageOk;
        case kCubic:
            ResizeCubic(job);
            return kImageOk;
        case kSuperSampling:
            ResizeArea(job);
            return kImageOk;
        default:
            return kImageNotSupported;
    }
}

}  // namespace

ImageStatus Resize_8u_C1R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                          ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                          ImageSize dstSize, double xFactor, double yFactor,
                          std::int32_t interpolation) {
    return Resize({src, srcSize, srcStride, srcRoi}, {dst, dstStride, dstSize}, {xFactor, 0.0},
                  {yFactor, 0.0}, 1, interpolation);
}

ImageStatus Resize_8u_C3R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                          ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                          ImageSize dstSize, double xFactor, double yFactor,
                          std::int32_t interpolation) {
    return Resize({src, srcSize, srcStride, srcRoi}, {dst, dstStride, dstSize}, {xFactor, 0.0},
                  {yFactor, 0.0}, 3, interpolation);
}

ImageStatus Resize_8u_C4R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                          ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                          ImageSize dstSize, double xFactor, double yFactor,
                          std::int32_t interpolation) {
    return Resize({src, srcSize, srcStride, srcRoi}, {dst, dstStride, dstSize}, {xFactor, 0.0},
                  {yFactor, 0.0}, 4, interpolation);
}

ImageStatus ResizeSqrPixel_8u_C1R(const Sample* src, ImageSize srcSize, std::ptrdiff_t srcStride,
                                  ImageRect srcRoi, Sample* dst, std::ptrdiff_t dstStride,
                                  ImageRect dstRoi, double xFactor, double yFactor, double xShift,
                                  double yShift, std::int32_t interpolation, Sample* buffer) {
    if (!src || !dst || !buffer) return kImageNullPointer;
    if (dstRoi.x < 0 || dstRoi.y < 0) return kImageSizeError;
    // The mapping of a roi's pixels is that of a target which begins at the roi.
    return Resize({src, srcSize, srcStride, srcRoi},
                  {dst + dstRoi.y * dstStride + dstRoi.x, dstStride, {dstRoi.width, dstRoi.height}},
                  {xFactor, xShift - dstRoi.x}, {yFactor, yShift - dstRoi.y}, 1, interpolation);
}

ImageStatus ResizeSqrPixelBufferSize(ImageRect srcRoi, ImageRect dstRoi, std::int32_t channels,
                                     std::int32_t interpolation, std::int32_t* size) {
    if (!size) return kImageNullPointer;
    if (srcRoi.width < 1 || srcRoi.height < 1 || dstRoi.width < 1 || dstRoi.height < 1)
        return kImageSizeError;
    if (channels != 1) return kImageNotSupported;
    switch (interpolation) {
        case kNearest:
        case kLinear:
        case kCubic:
        case kSuperSampling:
            // The rows in work stand on the stack. A caller gets a size that memory can be had for.
            *size = kWindowBytes;
            return kImageOk;
        default:
            return kImageNotSupported;
    }
}

}  // namespace qdvm
