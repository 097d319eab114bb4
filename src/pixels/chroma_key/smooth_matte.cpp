#include "pixels/chroma_key/smooth_matte.h"

#include "pixels/primitives/copy.h"
#include "pixels/primitives/filters.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace qdvm {

namespace {

Sample* Inside(Plane plane) { return plane.data + plane.stride + 1; }

void CopyOutermost(Plane from, Plane to, ImageSize size) {
    const std::ptrdiff_t last = size.width - std::ptrdiff_t{1};
    const auto row = [&](std::ptrdiff_t y) {
        std::memcpy(to.data + y * to.stride, from.data + y * from.stride,
                    static_cast<std::size_t>(size.width));
    };
    row(0);
    row(size.height - std::ptrdiff_t{1});
    for (std::ptrdiff_t y = 0; y < size.height; ++y) {
        to.data[y * to.stride] = from.data[y * from.stride];
        to.data[y * to.stride + last] = from.data[y * from.stride + last];
    }
}

// The smaller of both, row by row.
void LimitTo(Plane limit, Plane plane, ImageSize size) {
    for (std::ptrdiff_t y = 0; y < size.height; ++y) {
        Sample* const row = plane.data + y * plane.stride;
        const Sample* const most = limit.data + y * limit.stride;
        for (std::ptrdiff_t x = 0; x < size.width; ++x) row[x] = std::min(row[x], most[x]);
    }
}

}  // namespace

ImageStatus SmoothMatte(Plane matte, Plane other, Plane plane, ImageSize size,
                        std::int32_t passes) {
    const ImageSize inside{size.width - 2, size.height - 2};
    Plane a = matte;
    Plane b = other;
    CopyOutermost(matte, other, size);
    ImageStatus status = kImageOk;
    for (std::int32_t pass = 1; pass < passes && status == kImageOk; ++pass) {
        status = Erode3x3(Inside(a), a.stride, inside);
        if (status != kImageOk) break;
        status = Box3x3(Inside(a), a.stride, Inside(b), b.stride, inside, kMask3x3);
        // Every second pass writes over the matte, and nothing limits that one.
        if (b.data != matte.data) LimitTo(matte, b, size);
        std::swap(a, b);
    }
    if (status == kImageOk)
        status = Gauss3x3(Inside(a), a.stride, Inside(plane), plane.stride, inside, kMask3x3);
    if (status != kImageOk) {
        (void)Copy_8u_C1R(matte.data, matte.stride, plane.data, plane.stride, size);
        return status;
    }
    CopyOutermost(matte, plane, size);
    return kImageOk;
}

}  // namespace qdvm
