#include "pixels/chroma_key/border_colour.h"

#include "frames/format_table.h"
#include "pixels/convert_picture.h"
#include "pixels/primitives/colour_space.h"
#include "platform/no_throw.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

namespace qdvm {

namespace {

// A wall is lit unevenly, and somebody's hand may be before it.
constexpr double kLeastShare = 0.75;
constexpr int kLeastChroma = 24;  // steps from grey
constexpr std::array<int, 3> kReach = {70, 34, 34};

struct BorderPixel {
    std::array<Sample, 4> bgrx;
    std::array<Sample, 4> yuv;
};

std::vector<BorderPixel> BorderOf(const BYTE* rgb32, std::int32_t width, std::int32_t height) {
    const std::int32_t thickness = std::clamp(std::min(width, height) / 24, 1, 64);
    const std::int32_t sideEnd = std::max(height * 3 / 4, thickness);
    std::vector<BorderPixel> pixels;
    for (std::int32_t y = 0; y < std::min(sideEnd, height); ++y)
        for (std::int32_t x = 0; x < width; ++x) {
            const bool isBorder = y < thickness || x < thickness || x >= width - thickness;
            if (!isBorder) continue;
            BorderPixel& pixel = pixels.emplace_back();
            std::copy_n(rgb32 + (std::ptrdiff_t{y} * width + x) * 4, 4, pixel.bgrx.begin());
            (void)RGBToYUV(pixel.bgrx.data(), 4, pixel.yuv.data(), 4, {1, 1});
        }
    return pixels;
}

std::array<int, 3> MiddleOf(std::vector<BorderPixel>& pixels) {
    std::array<int, 3> middle{};
    const auto half = pixels.begin() + static_cast<std::ptrdiff_t>(pixels.size() / 2);
    for (std::size_t i = 0; i < middle.size(); ++i) {
        std::nth_element(
            pixels.begin(), half, pixels.end(),
            [i](const BorderPixel& a, const BorderPixel& b) { return a.yuv[i] < b.yuv[i]; });
        middle[i] = half->yuv[i];
    }
    return middle;
}

bool IsNear(const BorderPixel& pixel, const std::array<int, 3>& middle) {
    double distance = 0;
    for (std::size_t i = 0; i < middle.size(); ++i) {
        const double steps = static_cast<double>(pixel.yuv[i] - middle[i]) / kReach[i];
        distance += steps * steps;
    }
    return distance < 1;
}

BorderColour Judge(std::vector<BorderPixel>& pixels) {
    const std::array<int, 3> middle = MiddleOf(pixels);
    std::array<std::uint64_t, 3> sums{};
    std::uint64_t count = 0;
    for (const BorderPixel& pixel : pixels) {
        if (!IsNear(pixel, middle)) continue;
        ++count;
        for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += pixel.bgrx[i];
    }
    BorderColour found;
    for (std::size_t i = 0; i < sums.size(); ++i)
        found.colour |=
            static_cast<std::uint32_t>((sums[i] + count / 2) / std::max<std::uint64_t>(count, 1))
            << (8 * i);
    found.share = static_cast<double>(count) / static_cast<double>(pixels.size());
    found.isOne = found.share >= kLeastShare;
    found.isColourful =
        std::max(std::abs(middle[1] - 128), std::abs(middle[2] - 128)) >= kLeastChroma;
    return found;
}

}  // namespace

HRESULT ReadBorderColour(const BYTE* frame, const PIC_PROPS& props, BorderColour* found) {
    if (!frame || !found) return E_POINTER;
    const std::int32_t height = AbsHeight(props);
    if (props.nWidth < 1 || height < 1) return E_INVALIDARG;
    const PIC_PROPS topDown{kFccRGB32, props.nWidth, -height, props.nWidth};
    return NoThrow([&] {
        std::vector<BYTE> picture(FrameBytes(topDown));
        const HRESULT result = ConvertPicture(frame, picture.data(), props, topDown, false);
        if (result != S_OK) return Failed(result) ? result : E_FAIL;
        std::vector<BorderPixel> pixels = BorderOf(picture.data(), props.nWidth, height);
        *found = Judge(pixels);
        return S_OK;
    });
}

}  // namespace qdvm
