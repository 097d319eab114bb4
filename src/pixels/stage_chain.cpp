#include "pixels/stage_chain.h"

#include "frames/format_table.h"
#include "pixels/convert_any.h"
#include "pixels/img_copy.h"
#include "pixels/img_flip.h"
#include "pixels/img_resize.h"

#include <algorithm>

namespace qdvm {

namespace {

bool IsPlanarYuv(std::int32_t fccType) { return fccType == kFccI420 || fccType == kFccYV12; }

std::uint64_t PixelsOf(const PIC_PROPS& props) {
    return static_cast<std::uint64_t>(RowWidth(props)) *
           static_cast<std::uint64_t>(AbsHeight(props));
}

// 4:2:0 has no description of its own for a picture that begins a line further down.
bool CopyLowerPlanes(const BYTE* frame, BYTE* to, const PIC_PROPS& S, const PIC_PROPS& moved) {
    const PictureLayout from = PlaneLayout(S, false);
    const PictureLayout layout = PlaneLayout(moved, false);
    for (std::size_t plane = 0; plane < 3; ++plane) {
        const int shift = plane == 0 ? 0 : 1;
        PIC_PROPS rows{kFccRGB8, S.nWidth >> shift, -(AbsHeight(moved) >> shift),
                       static_cast<std::int32_t>(from.stride[plane])};
        // One line of luma and one row of chroma: each field's chroma stays with its field.
        const BYTE* const source = frame + from.offset[plane] + from.stride[plane];
        if (Img_CopyRect(source, to + layout.offset[plane], &rows, &rows, nullptr, nullptr) != S_OK)
            return false;
    }
    return true;
}

}  // namespace

std::uint32_t SliceBytes(const VM_VIDEO_PROPS& in, const VM_VIDEO_PROPS& out) {
    constexpr std::uint64_t kMostPixelBytes = 4;
    // Conversion can round rows up to a pair.
    const std::uint64_t more = 2 * static_cast<std::uint64_t>(AbsHeight(in.picProps));
    const std::uint64_t pixels = std::max(PixelsOf(in.picProps) + more, PixelsOf(out.picProps));
    const std::uint64_t bytes = (pixels * kMostPixelBytes + 63) & ~std::uint64_t{63};
    return bytes < kNoFrameBytes ? static_cast<std::uint32_t>(bytes) : kNoFrameBytes;
}

StageChain::StageChain(StreamPixels& streamPixels, MixBlock& mixBlock, const RectPlan& rectPlan,
                       const BYTE* streamFrame, std::uint32_t bytesOfSlice)
    : stream(streamPixels),
      rect(mixBlock),
      plan(rectPlan),
      sliceBytes(bytesOfSlice),
      picture(streamFrame),
      S(rectPlan.input),
      C(rectPlan.source),
      alphaProps(streamPixels.streamAlphaProps) {}

BYTE* StageChain::SliceAt(Slice slice) {
    const std::uint64_t bytes = std::uint64_t{sliceBytes} * kCount;
    if (bytes > kMaxBlockBytes ||
        Failed(stream.stageBuffers.Resize(static_cast<std::uint32_t>(bytes))))
        return nullptr;
    return stream.stageBuffers.At(slice * sliceBytes);
}

bool StageChain::MoveUp() {
    PIC_PROPS moved = S;
    moved.nHeight += moved.nHeight < 0 ? 2 : -2;
    if (IsPlanarYuv(S.fccType)) {
        BYTE* const to = SliceAt(kMoved);
        const bool isKept = wasKept && plan.HasPictureStage();
        if (!to || (!isKept && !CopyLowerPlanes(picture, to, S, moved))) return false;
        picture = to;
    } else {
        // Of bottom-up pictures too: their first row in memory is the line that goes at the end.
        picture += PlaneLayout(S, false).stride[0];
    }
    S = moved;
    alphaOffset = RowWidth(alphaProps);
    alphaProps.nHeight += 2;
    return true;
}

bool StageChain::Convert(BYTE* to) {
    const PIC_PROPS converted = plan.Converted();
    if (!wasKept && ConvertAny(picture, to, S, converted, C, Scratch()) != S_OK) return false;
    S = converted;
    return true;
}

bool StageChain::ResamplePicture(const BYTE* from, BYTE* to, const PIC_PROPS& from_,
                                 const PIC_PROPS& to_, std::int32_t mode, BYTE* scratch) const {
    if (plan.bOneField) {
        const bool bBottomUp = PlaneLayout(from_, false).bBottomUp;
        const int row = bBottomUp ? (AbsHeight(from_) - 1 - plan.field) & 1 : plan.field;
        return Img_ResizeOneField(from, to, &from_, &to_, &C, &plan.target, row, mode, scratch) ==
               S_OK;
    }
    const auto resize = plan.bByFields ? Img_ResizeFields : Img_Resize;
    return resize(from, to, &from_, &to_, &C, &plan.target, mode, scratch) == S_OK;
}

bool StageChain::Resample(BYTE* to) {
    if (!wasKept && !ResamplePicture(picture, to, S, plan.output, kResizeLinear, Scratch()))
        return false;
    S = plan.output;
    C = plan.target;
    return true;
}

bool StageChain::Flip(BYTE* to) {
    return wasKept || Img_Flip(picture, to, &S, &S, plan.bFlipVert, plan.bFlipHorz, &C, &C) == S_OK;
}

// The last stage writes the picture that is kept, those before it the two slices in turn.
bool StageChain::RunStage(bool (StageChain::*stage)(BYTE* to), bool isWanted, int* left) {
    if (!isWanted) return true;
    --*left;
    BYTE* const to = *left == 0 ? rect.rectCache.At(0) : SliceAt(*left % 2 == 0 ? kFirst : kSecond);
    if (!to || !(this->*stage)(to)) return false;
    picture = to;
    return true;
}

bool StageChain::MakePicture() {
    // 16-bit RGB can be copied and converted to, no more.
    if (Is16BitRGB(plan.output.fccType) &&
        (plan.bResample || plan.bFlip() || plan.bBlend || rect.bProjected))
        return false;
    const std::uint32_t mark = rect.rectCache.Used();
    const bool isNeeded = plan.HasPictureStage();
    if (isNeeded) {
        const HRESULT grown =
            rect.rectCache.Resize(sliceBytes, false, 0, static_cast<std::int32_t>(mark));
        if (Failed(grown)) return false;
        if (grown == S_OK) rect.rectCache.Clear();
    }
    wasKept = rect.rectCache.HasData();
    if (plan.bMoveUp && !MoveUp()) return false;
    int left = (plan.bFormatChange ? 1 : 0) + (plan.bResample ? 1 : 0) + (plan.bFlip() ? 1 : 0);
    if (!RunStage(&StageChain::Convert, plan.bFormatChange, &left) ||
        !RunStage(&StageChain::Resample, plan.bResample, &left) ||
        !RunStage(&StageChain::Flip, plan.bFlip(), &left))
        return false;
    if (isNeeded) (void)rect.rectCache.SetUsed(1);
    return true;
}

}  // namespace qdvm
