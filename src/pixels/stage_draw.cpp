// From a rect's picture into the output frame.

#include "frames/format_table.h"
#include "frames/rounding.h"
#include "pixels/img_border.h"
#include "pixels/img_copy.h"
#include "pixels/img_mix.h"
#include "pixels/img_perspective.h"
#include "pixels/primitives/arithmetic.h"
#include "pixels/primitives/channels.h"
#include "pixels/primitives/perspective.h"
#include "pixels/primitives/resize.h"
#include "pixels/stage_chain.h"
#include "platform/trace.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace qdvm {

namespace {

constexpr std::ptrdiff_t kAlphaByte = 3;

BYTE ToByte(double value) { return static_cast<BYTE>(std::clamp(RoundToInt32(value), 0, 255)); }

std::uint32_t BorderColour(const MixBlockState& state) {
    return static_cast<std::uint32_t>(ToByte(state[kBorderRed])) |
           static_cast<std::uint32_t>(ToByte(state[kBorderGreen])) << 8 |
           static_cast<std::uint32_t>(ToByte(state[kBorderBlue])) << 16 |
           static_cast<std::uint32_t>(ToByte(state[kBorderAlpha])) << 24;
}

using Corners = std::array<PointD, 4>;

// Where the visible part of a rect lands when the whole of it lands on these corners.
bool CornersOfPart(const Corners& whole, const ImgRect& wholeRect, const ImgRect& part,
                   Corners* corners) {
    const ImageRect roi{wholeRect.left, wholeRect.top, static_cast<std::int32_t>(wholeRect.Width()),
                        static_cast<std::int32_t>(wholeRect.Height())};
    std::array<QuadPoint, 4> quad{};
    for (std::size_t i = 0; i < 4; ++i) quad[i] = {whole[i].x, whole[i].y};
    PerspectiveCoeffs map{};
    if (GetPerspectiveTransform(roi, quad.data(), &map) != kImageOk) return false;
    const auto land = [&map](double x, double y) {
        const double w = map.c[6] * x + map.c[7] * y + map.c[8];
        return PointD{(map.c[0] * x + map.c[1] * y + map.c[2]) / w,
                      (map.c[3] * x + map.c[4] * y + map.c[5]) / w};
    };
    *corners = {land(part.left, part.top), land(part.right, part.top),
                land(part.right, part.bottom), land(part.left, part.bottom)};
    return true;
}

// A rect of the output that holds all that a picture on these corners can touch.
ImgRect AreaOf(const Corners& corners, const PIC_PROPS& O) {
    constexpr double kMargin = 4;
    ImgRect area{O.nWidth, AbsHeight(O), 0, 0};
    const auto within = [](double value, std::int32_t end) {
        return static_cast<std::int32_t>(std::clamp(value, 0.0, static_cast<double>(end)));
    };
    for (const PointD& corner : corners) {
        if (!std::isfinite(corner.x) || !std::isfinite(corner.y))
            return {0, 0, O.nWidth, AbsHeight(O)};
        area.left = std::min(area.left, within(corner.x - kMargin, O.nWidth) & ~1);
        area.top = std::min(area.top, within(corner.y - kMargin, AbsHeight(O)) & ~1);
        area.right = std::max(area.right, within(corner.x + 2 * kMargin, O.nWidth));
        area.bottom = std::max(area.bottom, within(corner.y + 2 * kMargin, AbsHeight(O)));
    }
    return area;
}

// The fourth byte of each pixel inside the rect.
void SetFourthBytes(BYTE* frame, const PIC_PROPS& props, const ImgRect& area, BYTE value) {
    RectWalk walk;
    if (area.IsEmpty() || !WalkRect(props, area, false, &walk)) return;
    (void)Set_8u_C4CR(
        value, frame + walk.firstRow[0] + kAlphaByte, walk.stride[0],
        {static_cast<std::int32_t>(area.Width()), static_cast<std::int32_t>(area.Height())});
}

// The plane as the fourth bytes of a picture, inside the rect.
void InsertAlpha(BYTE* frame, const PIC_PROPS& props, const BYTE* plane, const ImgRect& area) {
    RectWalk walk;
    if (!WalkRect(props, area, false, &walk)) return;
    const auto rows = static_cast<std::int32_t>(area.Height());
    if (walk.bBottomUp) ReverseWalk(&walk, rows);
    const std::ptrdiff_t stride = RowWidth(props);
    for (std::int32_t row = 0; row < rows; ++row) {
        BYTE* const pixels = frame + walk.firstRow[0] + row * walk.stride[0];
        Img_AlphaInsertRow(pixels, pixels, plane + (area.top + row) * stride + area.left,
                           static_cast<std::int32_t>(area.Width()));
    }
}

void ClearRows(CBLOBHolder<CVirtualAlloc>& plane, const PIC_PROPS& props, const ImgRect& area) {
    const auto stride = static_cast<std::uint32_t>(RowWidth(props));
    plane.Fill(0, static_cast<std::uint32_t>(area.top) * stride,
               static_cast<std::int32_t>(area.Height() * stride));
}

}  // namespace

// Frames of odd size can have samples that no copy of theirs reaches.
bool StageChain::CoversFrame() const {
    const PIC_PROPS& O = plan.output;
    const ImgRect whole{0, 0, O.nWidth, AbsHeight(O)};
    return !plan.bBlend && !rect.bProjected && plan.target == whole && C.Width() == whole.Width() &&
           C.Height() == whole.Height() && O.nWidth % 2 == 0 && whole.bottom % 2 == 0;
}

bool StageChain::Copy(BYTE* outFrame) const {
    return Img_CopyRect(picture, outFrame, &S, &plan.output, &C, &plan.target) == S_OK;
}

bool StageChain::Cover(BYTE* outFrame, const VM_VIDEO_PROPS& out) {
    if (!CoversFrame() || !Copy(outFrame)) return false;
    DrawBorder(outFrame, out.picProps);
    return true;
}

void StageChain::Draw(BYTE* outFrame, const VM_VIDEO_PROPS& out) {
    Plane plane;
    if (MakePlane(&plane) != S_OK) return;
    if (rect.bProjected) {
        Project(plane, outFrame);
        return;
    }
    if (plan.bBlend) {
        Blend(plane, outFrame);
    } else {
        (void)Copy(outFrame);
    }
    DrawBorder(outFrame, out.picProps);
}

void StageChain::Blend(const Plane& plane, BYTE* outFrame) {
    if (plan.bOwnBytes) {
        const BYTE alpha = ToByte(Opacity() * 255);
        const std::int32_t opacity = alpha == 255 ? 256 : alpha;
        (void)Img_Composite(picture, outFrame, opacity, &S, &plan.output, &C, &plan.target);
        return;
    }
    if (plane.rows) {
        MixThroughPlane(picture, plane.rows, plane.isOwn, outFrame, C, plan.target);
        return;
    }
    const std::int32_t a = std::clamp(RoundToInt32(Opacity() * 256), 0, 255);
    (void)Img_MixConst(picture, outFrame, a, 256 - a, &S, &plan.output, &C, &plan.target);
}

// ARGB32 is composited by the pixels' own fourth bytes. Where the rect has opacity or a mask beside
// them, or the stream is keyed, the plane, which holds all factors, takes their place first, in a
// copy. The plane of a key can also rule alone.
void StageChain::MixThroughPlane(const BYTE* source, const BYTE* plane, bool isOwn, BYTE* outFrame,
                                 const ImgRect& sourceRect, const ImgRect& targetRect) {
    const TraceTimer timer("[Alpha Mix]");
    if (S.fccType == kFccARGB32 && stream.key.IsKeyed() && !stream.bARGB32Mix) {
        // The plane alone counts, and the output's fourth bytes are no opacity.
        const PIC_PROPS from{kFccRGB32, S.nWidth, S.nHeight, S.nRowWidth};
        const PIC_PROPS to{kFccRGB32, plan.output.nWidth, plan.output.nHeight,
                           plan.output.nRowWidth};
        (void)Img_MixPlane(source, plane, outFrame, &from, &to, false, &sourceRect, &targetRect);
        return;
    }
    if (S.fccType == kFccARGB32 && isOwn) {
        BYTE* const copy = SliceAt(kBordered);
        if (!copy) return;
        if (copy != source && Img_CopyRect(source, copy, &S, &S, &sourceRect, &sourceRect) != S_OK)
            return;
        InsertAlpha(copy, S, plane, sourceRect);
        source = copy;
    }
    (void)Img_MixPlane(source, plane, outFrame, &S, &plan.output, false, &sourceRect, &targetRect);
}

// A border that has faded out keeps its width; it takes nothing off the picture.
bool StageChain::HasBorder(BYTE opacity) const {
    return rect.current.nBorderWidth > 0 && opacity != 0;
}

void StageChain::DrawBorder(BYTE* outFrame, const PIC_PROPS& O) const {
    const BYTE opacity = ToByte(Opacity() * rect.current[kBorderAlpha]);
    if (!HasBorder(opacity)) return;
    (void)Img_Border(outFrame, &O, BorderColour(rect.current), rect.current.nBorderWidth,
                     &plan.wholeTarget, opacity);
}

// On the flat picture, which may be the stream's frame or what is kept: in a copy.
void StageChain::DrawProjectedBorder() {
    const BYTE opacity = ToByte(rect.current[kBorderAlpha]);
    if (!HasBorder(opacity)) return;
    BYTE* const copy = SliceAt(kBordered);
    if (!copy || Img_CopyRect(picture, copy, &S, &S, &C, &C) != S_OK) return;
    (void)Img_Border(copy, &S, BorderColour(rect.current), rect.current.nBorderWidth, &C, opacity);
    picture = copy;
}

// A border is seen also where the stream is transparent.
const BYTE* StageChain::PlaneWithBorder(const BYTE* plane) {
    const BYTE opacity = ToByte(Opacity() * rect.current[kBorderAlpha]);
    if (!HasBorder(opacity) || stream.streamAlpha.IsEmpty()) return plane;
    const PIC_PROPS props = PlaneProps();
    BYTE* const copy = SliceAt(kBorderedPlane);
    if (!copy || Img_CopyRect(plane, copy, &props, &props, &C, &C) != S_OK) return plane;
    (void)Img_Border(copy, &props, opacity, rect.current.nBorderWidth + 1, &C, 255);
    return copy;
}

void StageChain::Project(const Plane& plane, BYTE* outFrame) {
    Corners corners = rect.projectedCorners;
    if (plan.target != plan.wholeTarget &&
        !CornersOfPart(rect.projectedCorners, plan.wholeTarget, plan.target, &corners))
        return;
    DrawProjectedBorder();
    if (plane.rows) {
        BlendProjected(plane, corners.data(), outFrame);
        return;
    }
    (void)Img_Perspective(picture, outFrame, &S, &plan.output, corners.data(), &C, nullptr, true,
                          kLinear, Scratch());
}

// The picture is projected onto a copy of what lies below, so that its smooth edges hold nothing
// foreign, and blended from there through the plane, which is projected in the same way.
void StageChain::BlendProjected(const Plane& plane, const PointD* corners, BYTE* outFrame) {
    const PIC_PROPS& O = plan.output;
    BYTE* const layer = SliceAt(kLayer);
    if (!layer) return;
    const ImgRect area = AreaOf({corners[0], corners[1], corners[2], corners[3]}, O);
    if (area.IsEmpty() || Img_CopyRect(outFrame, layer, &O, &O, &area, &area) != S_OK) return;
    if (O.fccType == kFccARGB32) SetFourthBytes(layer, O, area, 0);
    ImgRect bound{};
    if (Img_Perspective(picture, layer, &S, &O, corners, &C, &bound, true, kLinear, Scratch()) !=
        S_OK)
        return;
    const PIC_PROPS flat = PlaneProps();
    const BYTE* const flatPlane = PlaneWithBorder(plane.rows);
    const PIC_PROPS projected{kFccRGB8, O.nWidth, -AbsHeight(O), O.nRowWidth};
    bound = {bound.left, bound.top, std::min(bound.right, O.nWidth),
             std::min(bound.bottom, AbsHeight(O))};
    if (Failed(rect.rectAlpha.Resize(FrameBytes(projected)))) return;
    ClearRows(rect.rectAlpha, projected, bound);
    (void)Img_Perspective(flatPlane, rect.rectAlpha.At(0), &flat, &projected, corners, &C, nullptr,
                          true, kLinear, Scratch());
    S = O;
    if (S.fccType == kFccARGB32 && plane.isOwn) InsertAlpha(layer, S, rect.rectAlpha.At(0), bound);
    MixThroughPlane(layer, rect.rectAlpha.At(0), false, outFrame, bound, bound);
}

}  // namespace qdvm
