#include "pixels/stream_mix.h"

#include "frames/format_table.h"
#include "pixels/img_perspective.h"
#include "pixels/rect_plan.h"
#include "pixels/stage_chain.h"
#include "pixels/stream_alpha.h"
#include "platform/trace.h"

#include <algorithm>

namespace qdvm {

namespace {

// All rects of a stream share its scratch memory. It is taken whole, but pages that no stage
// touches cost nothing.
HRESULT TakeScratch(StreamPixels& stream, std::uint32_t sliceBytes) {
    const std::uint64_t bytes = std::uint64_t{sliceBytes} * kScratchSlices;
    if (bytes > kMaxBlockBytes) return E_OUTOFMEMORY;
    return stream.scratchBuffer.Resize(static_cast<std::uint32_t>(bytes));
}

void Tell(MixBlock& rect, std::size_t number, bool isDrawn, const RectPlan& plan) {
    if (!isDrawn && !rect.cannotDraw)
        Trace("[Rect %u not drawn] no way from %08x to %08x", static_cast<unsigned>(number),
              static_cast<unsigned>(plan.input.fccType),
              static_cast<unsigned>(plan.output.fccType));
    rect.cannotDraw = !isDrawn;
}

// A stream that is lost or comes back shows another picture than before.
HRESULT TakeFrame(StreamPixels& stream, const BYTE* frame, std::uint32_t sliceBytes) {
    if (stream.drawnFrom != frame) stream.DropDerived();
    stream.drawnFrom = frame;
    return TakeScratch(stream, sliceBytes);
}

bool IsShapedAlike(const VM_VIDEO_PROPS& a, const VM_VIDEO_PROPS& b) {
    return a.picProps == b.picProps && a.eInterlace == b.eInterlace && a.nAspectX == b.nAspectX &&
           a.nAspectY == b.nAspectY;
}

// What was kept for other formats is of no use, and the corners move with them.
void FollowFormats(MixBlock& rect, const VM_VIDEO_PROPS& in, const VM_VIDEO_PROPS& out) {
    if (IsShapedAlike(rect.keptFor[0], in) && IsShapedAlike(rect.keptFor[1], out)) return;
    (void)UpdateProjection(rect, in, out);
    rect.keptFor = {in, out};
}

void DrawOn(Underlay* underlay, StageChain& chain, BYTE* outFrame, const VM_VIDEO_PROPS& outProps) {
    if (!underlay) {
        chain.Draw(outFrame, outProps);
    } else if (chain.Cover(outFrame, outProps)) {
        underlay->Skip();
    } else {
        underlay->Paint();
        chain.Draw(outFrame, outProps);
    }
}

bool StandsStill(const MixBlock& rect) { return rect.stepsLeft == 0 && rect.step.IsZero(); }

}  // namespace

void StreamPixels::DropDerived() {
    streamAlpha.Clear();
    ++frameNumber;
    for (MixBlock& rect : rects) rect.rectCache.Clear();
}

HRESULT MixRects(StreamPixels& stream, const BYTE* frame, BYTE* outFrame,
                 const VM_VIDEO_PROPS& outProps, RectAnimator& animator, Underlay* underlay) {
    if (!frame || !outFrame) return E_POINTER;
    const std::uint32_t sliceBytes = SliceBytes(stream.inputProps, outProps);
    const HRESULT taken = TakeFrame(stream, frame, sliceBytes);
    if (Failed(taken)) return taken;
    // Before any rect: with spill removal it changes the frame that they draw.
    if (stream.key.IsKeyed()) (void)MakeStreamAlpha(stream, outProps, &frame);
    for (std::size_t i = 0; i < stream.rects.size();) {
        const RectAnimator::Outcome outcome = animator.StepRect(i);
        if (outcome == RectAnimator::Outcome::kStreamClosed) return S_FALSE;
        if (outcome == RectAnimator::Outcome::kErased) continue;
        MixBlock& rect = stream.rects[i];
        FollowFormats(rect, stream.inputProps, outProps);
        const std::optional<RectPlan> plan =
            rect.current[kAlpha] > 0 ? PlanRect(stream, rect, outProps) : std::nullopt;
        if (plan) {
            if (!plan->bOwnBytes) (void)MakeStreamAlpha(stream, outProps, &frame);
            StageChain chain(stream, rect, *plan, frame, sliceBytes);
            const bool isDrawn = chain.MakePicture();
            if (isDrawn) DrawOn(underlay, chain, outFrame, outProps);
            Tell(rect, i, isDrawn, *plan);
        }
        ++i;
    }
    return S_OK;
}

HRESULT PrepareStream(StreamPixels& stream, const BYTE* frame, const VM_VIDEO_PROPS& outProps,
                      bool bAlphaOnly) {
    if (!frame) return E_POINTER;
    const std::uint32_t sliceBytes = SliceBytes(stream.inputProps, outProps);
    const HRESULT taken = TakeFrame(stream, frame, sliceBytes);
    if (Failed(taken)) return taken;
    const bool wantsAlpha = std::ranges::any_of(stream.rects, [&](const MixBlock& rect) {
        return WantsStreamAlpha(stream, rect, outProps);
    });
    HRESULT result = S_FALSE;
    if (wantsAlpha && MakeStreamAlpha(stream, outProps, &frame) == S_OK) result = S_OK;
    if (bAlphaOnly) return result;
    for (MixBlock& rect : stream.rects) {
        if (!StandsStill(rect) || !(rect.current[kAlpha] > 0)) continue;
        FollowFormats(rect, stream.inputProps, outProps);
        const std::optional<RectPlan> plan = PlanRect(stream, rect, outProps);
        if (!plan || !plan->HasPictureStage()) continue;
        StageChain chain(stream, rect, *plan, frame, sliceBytes);
        if (chain.MakePicture()) result = S_OK;
    }
    return result;
}

bool UpdateProjection(MixBlock& rect, const VM_VIDEO_PROPS& inputProps,
                      const VM_VIDEO_PROPS& outProps) {
    rect.projectedCorners = {};
    rect.rectCache.Clear();
    rect.rectAlphaFlat.Clear();
    rect.rectAlpha.Clear();
    rect.bProjected = false;
    const MixBlockState& state = rect.current;
    if ((state[kVertAngle] == 0 && state[kHorzAngle] == 0) || state[kViewAngle] == 0) return true;
    rect.bProjected = true;
    ImgRect source = SourceRectOf(state);
    ImgRect target = TargetRectOf(state);
    if (source.IsEmpty() || target.IsEmpty()) return true;
    FitAspect(inputProps, outProps, state.eProcess, &source, &target);
    rect.bProjected = Succeeded(Img_ProjectCorners(
        &target, outProps.picProps.nWidth, state[kHorzOffset], state[kVertOffset],
        rect.projectedCorners.data(), state[kViewAngle], state[kHorzAngle], state[kVertAngle]));
    return rect.bProjected;
}

}  // namespace qdvm
