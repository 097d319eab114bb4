#include "mixer/rect_mask.h"

#include "frames/format_table.h"
#include "frames/rounding.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace qdvm {
namespace {

constexpr std::int32_t kShapeSide = 256;
constexpr std::int32_t kShapeCentre = 128;
constexpr double kShapePeak = 252;

// The soft edge of the disc and of the rectangle, by the distance from the outline inwards.
constexpr std::array<double, 27> kEdge = {0,   5,   12,  20,  28,  38,  48,  59,  70,
                                          82,  94,  107, 119, 131, 144, 156, 168, 180,
                                          192, 202, 212, 222, 231, 238, 246, 251, 252};

double Edge(double distance) {
    if (distance <= 0) return 0;
    constexpr std::size_t kLast = kEdge.size() - 1;
    if (distance >= static_cast<double>(kLast)) return kEdge[kLast];
    const auto below = static_cast<std::size_t>(distance);
    const double part = distance - static_cast<double>(below);
    return kEdge[below] + (kEdge[below + 1] - kEdge[below]) * part;
}

// The edge of the rounded rectangle along one axis, by the distance from the centre, in parts of
// the peak. Level up to kSlopeStart.
constexpr std::int32_t kSlopeStart = 70;
constexpr std::array<double, 58> kSlope = {
    251, 251, 251, 251, 250, 249, 249, 248, 247, 246, 244, 242, 240, 238, 235,
    232, 229, 225, 221, 217, 212, 207, 201, 195, 189, 182, 175, 168, 160, 152,
    145, 137, 129, 120, 112, 105, 97,  89,  82,  74,  67,  61,  55,  49,  43,
    38,  33,  29,  25,  22,  18,  16,  13,  11,  9,   7,   6,   5};

double Slope(std::int32_t distance) {
    if (distance <= kSlopeStart) return 1;
    return kSlope[static_cast<std::size_t>(distance - kSlopeStart - 1)] / kShapePeak;
}

double ShapeValue(BuiltInMask shape, std::int32_t x, std::int32_t y) {
    const std::int32_t dx = std::abs(x - kShapeCentre);
    const std::int32_t dy = std::abs(y - kShapeCentre);
    switch (shape) {
        case BuiltInMask::kRect:
            return Edge(127 - std::max(dx, dy));
        case BuiltInMask::kCircle:
            return Edge(130 - std::hypot(dx, dy));
        default:
            return kShapePeak * Slope(dx) * Slope(dy);
    }
}

// Room for a mask of the size, which then has to be filled.
HRESULT ResizeMask(MixBlock& rect, std::int32_t width, std::int32_t height) {
    rect.rectAlpha.Clear();
    rect.rectAlphaFlat.Clear();
    rect.rectMask.Clear();
    const PIC_PROPS props = {kFccRGB8, width, -height, width};
    const std::int64_t bytes = std::int64_t{width} * height;
    if (bytes > kMaxBlockBytes) return E_OUTOFMEMORY;
    const HRESULT result = rect.rectMask.Resize(static_cast<std::uint32_t>(bytes));
    if (Failed(result)) return result;
    rect.maskProps = props;
    return S_OK;
}

bool EqualsAnyCase(std::u16string_view text, std::u16string_view lower) {
    return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                      [](char16_t given, char16_t wanted) {
                          const bool isUpper = given >= u'A' && given <= u'Z';
                          return (isUpper ? given + (u'a' - u'A') : given) == wanted;
                      });
}

}  // namespace

HRESULT MakeMask(MixBlock& rect, const PIC_PROPS& props, const BYTE* pixels) {
    if (props.fccType != kFccRGB24 && props.fccType != kFccRGB32 && props.fccType != kFccARGB32)
        return E_NOTIMPL;
    const std::int32_t width = props.nWidth;
    const std::int32_t height = AbsHeight(props);
    if (!pixels || width <= 0 || height <= 0 || FrameBytes(props) == kNoFrameBytes)
        return E_INVALIDARG;
    const HRESULT result = ResizeMask(rect, width, height);
    if (Failed(result)) return result;
    const std::size_t pixelBytes = props.fccType == kFccRGB24 ? 3 : 4;
    const std::size_t stride =
        (static_cast<std::size_t>(RowWidth(props)) * pixelBytes + 3) & ~std::size_t{3};
    for (std::int32_t y = 0; y < height; ++y) {
        const std::int32_t row = props.nHeight > 0 ? height - 1 - y : y;
        const BYTE* from = pixels + stride * static_cast<std::size_t>(row);
        BYTE* const to = rect.rectMask.At(0) + std::size_t(y) * static_cast<std::size_t>(width);
        for (std::int32_t x = 0; x < width; ++x, from += pixelBytes)
            to[x] = static_cast<BYTE>((from[0] + from[1] + from[2]) / 3);
    }
    return S_OK;
}

void ClearMask(MixBlock& rect) {
    rect.rectMask.Clear();
    rect.rectAlpha.Clear();
    rect.rectAlphaFlat.Clear();
    rect.maskName.clear();
}

BuiltInMask FindBuiltInMask(std::u16string_view name) {
    if (EqualsAnyCase(name, u"circle")) return BuiltInMask::kCircle;
    if (EqualsAnyCase(name, u"rect")) return BuiltInMask::kRect;
    return EqualsAnyCase(name, u"rounded rect") ? BuiltInMask::kRoundedRect : BuiltInMask::kNone;
}

HRESULT MakeBuiltInMask(MixBlock& rect, BuiltInMask shape) {
    if (shape == BuiltInMask::kNone) return E_INVALIDARG;
    const HRESULT result = ResizeMask(rect, kShapeSide, kShapeSide);
    if (Failed(result)) return result;
    BYTE* to = rect.rectMask.At(0);
    for (std::int32_t y = 0; y < kShapeSide; ++y)
        for (std::int32_t x = 0; x < kShapeSide; ++x)
            *to++ = static_cast<BYTE>(RoundToInt32(ShapeValue(shape, x, y)));
    return S_OK;
}

}  // namespace qdvm
