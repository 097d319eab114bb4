#include "pixels/img_rect.h"

#include "frames/format_table.h"
#include "frames/rounding.h"

#include <algorithm>
#include <limits>

namespace qdvm {

namespace {

// Wide enough for any rect of 32-bit edges, scaled by any ratio of two of them, without overflow of
// the sums below. What is cut off lies beyond every picture.
constexpr std::int64_t kFarAway = std::int64_t{1} << 40;

std::int64_t Scaled(double value) { return std::clamp(RoundToInt64(value), -kFarAway, kFarAway); }

struct WideRect {
    std::int64_t left;
    std::int64_t top;
    std::int64_t right;
    std::int64_t bottom;

    std::int64_t Width() const { return right - left; }
    std::int64_t Height() const { return bottom - top; }
    bool IsEmpty() const { return right <= left || bottom <= top; }

    void WidenToPairs() {
        left &= ~std::int64_t{1};
        right = (right + 1) & ~std::int64_t{1};
    }
};

WideRect Widen(const PIC_PROPS& props, const ImgRect* rect) {
    if (rect) return {rect->left, rect->top, rect->right, rect->bottom};
    return {0, 0, props.nWidth, AbsHeight(props)};
}

ImgRect Narrow(const WideRect& rect) {
    const auto edge = [](std::int64_t value) {
        return static_cast<std::int32_t>(
            std::clamp<std::int64_t>(value, std::numeric_limits<std::int32_t>::min(),
                                     std::numeric_limits<std::int32_t>::max()));
    };
    return {edge(rect.left), edge(rect.top), edge(rect.right), edge(rect.bottom)};
}

// Cuts what lies before 0 off a pair of edges that move together, `factor` being destination per
// source.
void ClipLow(std::int64_t& source, std::int64_t& dest, double factor) {
    dest -= Scaled(static_cast<double>(std::min<std::int64_t>(source, 0)) * factor);
    source = std::max<std::int64_t>(source, 0);
    source -= Scaled(static_cast<double>(std::min<std::int64_t>(dest, 0)) / factor);
    dest = std::max<std::int64_t>(dest, 0);
}

void ClipHigh(std::int64_t& source, std::int64_t& dest, double factor, std::int64_t sourceSize,
              std::int64_t destSize) {
    dest -= Scaled(static_cast<double>(std::max<std::int64_t>(source - sourceSize, 0)) * factor);
    source = std::min(source, sourceSize);
    source -= Scaled(static_cast<double>(std::max<std::int64_t>(dest - destSize, 0)) / factor);
    dest = std::min(dest, destSize);
}

bool IsOutside(const WideRect& rect, const PIC_PROPS& props) {
    return rect.right < 0 || rect.left >= props.nWidth || rect.bottom < 0 ||
           rect.top >= AbsHeight(props);
}

// Widening to pairs can step over the edge of an RGB picture of odd width that meets a YUV one.
// The pair that has no second column goes.
void DropHalfPair(WideRect& rect, WideRect& other, const PIC_PROPS& props, bool bScaled) {
    if (rect.right <= props.nWidth) return;
    rect.right -= 2;
    if (!bScaled) other.right -= 2;
}

}  // namespace

HRESULT Img_ClipRects(const PIC_PROPS& S, const PIC_PROPS& D, const ImgRect* s, const ImgRect* d,
                      bool bScaled, ImgRect* sourceRect, ImgRect* destRect) {
    WideRect source = Widen(S, s);
    WideRect dest = Widen(D, d);
    if (source.IsEmpty() || dest.IsEmpty()) return E_INVALIDARG;
    const bool inPairs = !IsRGBFormat(S.fccType) || !IsRGBFormat(D.fccType);
    if (inPairs) {
        source.WidenToPairs();
        dest.WidenToPairs();
    }
    double factorX = 1;
    double factorY = 1;
    if (bScaled) {
        factorX = static_cast<double>(dest.Width()) / static_cast<double>(source.Width());
        factorY = static_cast<double>(dest.Height()) / static_cast<double>(source.Height());
    } else {
        const std::int64_t width = std::min(source.Width(), dest.Width());
        const std::int64_t height = std::min(source.Height(), dest.Height());
        source.right = source.left + width;
        dest.right = dest.left + width;
        source.bottom = source.top + height;
        dest.bottom = dest.top + height;
    }
    ClipLow(source.top, dest.top, factorY);
    ClipLow(source.left, dest.left, factorX);
    ClipHigh(source.right, dest.right, factorX, S.nWidth, D.nWidth);
    ClipHigh(source.bottom, dest.bottom, factorY, AbsHeight(S), AbsHeight(D));
    if (inPairs) {
        source.WidenToPairs();
        dest.WidenToPairs();
        DropHalfPair(source, dest, S, bScaled);
        DropHalfPair(dest, source, D, bScaled);
    }
    *sourceRect = Narrow(source);
    *destRect = Narrow(dest);
    return IsOutside(source, S) || IsOutside(dest, D) ? S_FALSE : S_OK;
}

bool WalkRect(const PIC_PROPS& props, const ImgRect& rect, bool bSplit, RectWalk* walk) {
    const PictureLayout layout = PlaneLayout(props, bSplit);
    if (rect.left < 0 || rect.top < 0 || rect.right < rect.left || rect.bottom < rect.top ||
        rect.right > RowWidth(props) || rect.bottom > AbsHeight(props))
        return false;
    const std::int32_t row = layout.bBottomUp ? AbsHeight(props) - rect.bottom : rect.top;
    const std::optional<PixelOffset> pixel = PixelOffsets(props, rect.left, row, bSplit);
    if (!pixel) return false;
    walk->planes = layout.planes;
    walk->bBottomUp = layout.bBottomUp;
    walk->stride = layout.stride;
    walk->firstRow = {layout.offset[0] + pixel->first, layout.offset[1] + pixel->chroma,
                      layout.offset[2] + pixel->chroma};
    return true;
}

void ReverseWalk(RectWalk* walk, std::int64_t rows) {
    walk->firstRow[0] += (rows - 1) * walk->stride[0];
    walk->stride[0] = -walk->stride[0];
}

}  // namespace qdvm
