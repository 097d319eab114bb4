// The alpha plane of a rect.

#include "frames/format_table.h"
#include "frames/rounding.h"
#include "pixels/img_copy.h"
#include "pixels/img_flip.h"
#include "pixels/img_resize.h"
#include "pixels/primitives/arithmetic.h"
#include "pixels/primitives/resize.h"
#include "pixels/stage_chain.h"

#include <algorithm>
#include <cstring>

namespace qdvm {

namespace {

constexpr std::int32_t kByteShift = 8;

// The rows of a rect inside a plane.
struct PlaneRows {
    std::ptrdiff_t first;
    std::ptrdiff_t stride;
    std::int32_t columns;
    std::int32_t rows;

    PlaneRows(const PIC_PROPS& plane, const ImgRect& rect) {
        const std::int32_t top = std::max(rect.top, 0);
        const std::int32_t left = std::max(rect.left, 0);
        stride = RowWidth(plane);
        first = top * stride + left;
        columns = std::max(std::min(rect.right, plane.nWidth) - left, 0);
        rows = std::max(std::min(rect.bottom, AbsHeight(plane)) - top, 0);
    }
};

}  // namespace

// In the geometry of the picture.
PIC_PROPS StageChain::PlaneProps() const {
    return {kFccRGB8, S.nWidth, -AbsHeight(S), S.nRowWidth};
}

// The rect that the mask covers, counted where the picture lies.
ImgRect StageChain::MaskRect() const {
    const auto moved = [](std::int32_t edge, std::int32_t from, std::int32_t to) {
        return RoundToInt32(static_cast<double>(edge) + to - from);
    };
    const ImgRect& whole = plan.wholeTarget;
    return {moved(whole.left, plan.target.left, C.left), moved(whole.top, plan.target.top, C.top),
            moved(whole.right, plan.target.left, C.left),
            moved(whole.bottom, plan.target.top, C.top)};
}

bool StageChain::TakeStreamAlpha(BYTE* plane, const PIC_PROPS& props) {
    const BYTE* const from = stream.streamAlpha.At(0) + alphaOffset;
    const bool isTaken =
        plan.bResample
            ? [&] {
                  const ImgRect drawn = C;
                  C = plan.source;
                  const std::int32_t mode = plan.bByFields || plan.bOneField ? kResizeLinear
                                                                             : kResizeCubic;
                  const bool done = ResamplePicture(from, plane, alphaProps, props, mode, nullptr);
                  C = drawn;
                  return done;
              }()
            : Img_CopyRect(from, plane, &alphaProps, &props, &C, &C) == S_OK;
    if (!isTaken || !plan.bFlip()) return isTaken;
    return Img_FlipInPlace(plane, &props, plan.bFlipVert, plan.bFlipHorz, &C) == S_OK;
}

// The part of the mask that lies on the rect's part of the plane.
bool StageChain::ScaleMask(BYTE* plane, const PIC_PROPS& props) {
    const ImgRect whole = MaskRect();
    const PIC_PROPS& mask = rect.maskProps;
    const ImageSize size{mask.nWidth, AbsHeight(mask)};
    if (size.width < 1 || size.height < 1) return false;
    const PlaneRows at(props, C);
    const ImageRect part{std::max(C.left, 0), std::max(C.top, 0), at.columns, at.rows};
    // Not cut with the rect, so that it stands still while the rect moves over an edge.
    return ResizeSqrPixel_8u_C1R(rect.rectMask.At(0), size, RowWidth(mask),
                                 {0, 0, size.width, size.height}, plane, at.stride, part,
                                 static_cast<double>(whole.Width()) / size.width,
                                 static_cast<double>(whole.Height()) / size.height, whole.left,
                                 whole.top, kLinear, plane) == kImageOk;
}

bool StageChain::MultiplyMask(BYTE* plane, const PIC_PROPS& props) {
    BYTE* const scaled = Scratch();
    if (!ScaleMask(scaled, props)) return false;
    const PlaneRows at(props, C);
    for (std::int32_t row = 0; row < at.rows; ++row)
        (void)Mul8Rows(scaled + at.first + row * at.stride, plane + at.first + row * at.stride,
                       at.columns, kByteShift);
    return true;
}

void StageChain::MultiplyOpacity(BYTE* plane, const PIC_PROPS& props) {
    const auto opacity = static_cast<BYTE>(std::clamp(RoundToInt32(Opacity() * 255), 0, 255));
    const PlaneRows at(props, C);
    for (std::int32_t row = 0; row < at.rows; ++row)
        (void)MulC8Rows(opacity, plane + at.first + row * at.stride, at.columns, kByteShift);
}

bool StageChain::BuildPlane(BYTE* plane, bool hasStream, bool hasMask) {
    const PIC_PROPS props = PlaneProps();
    const std::int32_t opacity = std::clamp(RoundToInt32(Opacity() * 255), 0, 255);
    if (hasStream) {
        if (!TakeStreamAlpha(plane, props)) return false;
        if (hasMask && !MultiplyMask(plane, props)) return false;
        // A plane that was resampled and nothing else is multiplied by full opacity too.
        if (opacity != 255 || (plan.bResample && !hasMask)) MultiplyOpacity(plane, props);
        return true;
    }
    if (hasMask) {
        if (!ScaleMask(plane, props)) return false;
        MultiplyOpacity(plane, props);
        return true;
    }
    const PlaneRows at(props, C);
    for (std::int32_t row = 0; row < at.rows; ++row)
        std::memset(plane + at.first + row * at.stride, opacity,
                    static_cast<std::size_t>(at.columns));
    return true;
}

// S_OK, also without a plane; S_FALSE: nothing of the rect is visible.
HRESULT StageChain::MakePlane(Plane* plane) {
    if (!plan.bBlend || plan.bOwnBytes) return S_OK;
    const bool hasStream = stream.streamAlpha.HasData();
    const bool hasMask = rect.rectMask.HasData();
    const bool isFaint = Opacity() != 1.0;
    CBLOBHolder<CVirtualAlloc>& own = rect.bProjected ? rect.rectAlphaFlat : rect.rectAlpha;
    const bool needsOwn = hasMask || (rect.bProjected && isFaint) ||
                          (hasStream && (plan.bResample || plan.bFlip() || isFaint));
    if (!needsOwn) {
        own.Clear();
        if (hasStream) *plane = {stream.streamAlpha.At(0) + alphaOffset, stream.key.IsKeyed()};
        return S_OK;
    }
    // Planes of nothing but mask and opacity outlive the frame.
    const bool isKept = own.HasData() && rect.alphaProps == PlaneProps() && rect.alphaPart == C &&
                        rect.alphaIsStreams == hasStream &&
                        (!hasStream || rect.alphaFrame == stream.frameNumber);
    if (!isKept) {
        const HRESULT grown = own.Resize(FrameBytes(PlaneProps()));
        if (Failed(grown)) return grown;
        if (!BuildPlane(own.At(0), hasStream, hasMask)) {
            own.Clear();
            return S_FALSE;
        }
        rect.alphaProps = PlaneProps();
        rect.alphaPart = C;
        rect.alphaIsStreams = hasStream;
        rect.alphaFrame = stream.frameNumber;
    }
    *plane = {own.At(0), hasMask || isFaint || stream.key.IsKeyed()};
    return S_OK;
}

}  // namespace qdvm
