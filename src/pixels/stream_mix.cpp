#include "pixels/stream_mix.h"

#include "frames/format_table.h"
#include "frames/rounding.h"
#include "pixels/img_copy.h"
#include "pixels/img_rect.h"
#include "platform/trace.h"

#include <algorithm>

namespace qdvm {
namespace {

ImgRect RectOf(const MixBlockState& state, RectValue left) {
    const auto edge = [&](std::size_t offset) { return RoundToInt32(state.values[left + offset]); };
    return {edge(0), edge(1), edge(2), edge(3)};
}

// What a rect asks for beyond being placed.
struct RectFlags {
    bool bFormatChange;
    bool bResize;
    bool bFieldMode;
    bool bResample;
    bool bFlip;
    bool bBlend;
    bool bKeepAspect;
};

RectFlags FlagsOf(const StreamPixels& stream, const MixBlock& rect, const ImgRect& source,
                  const ImgRect& target, const VM_VIDEO_PROPS& out) {
    const VM_VIDEO_PROPS& in = stream.inputProps;
    const std::int32_t process = rect.current.eProcess;
    RectFlags flags{};
    flags.bFormatChange = in.picProps.fccType != out.picProps.fccType;
    flags.bResize = source.Width() != target.Width() || source.Height() != target.Height();
    flags.bFieldMode =
        in.eInterlace != eVMI_Progressive &&
        ((process & eVMP_OneField) != 0 || rect.bProjected || out.eInterlace == eVMI_Progressive);
    flags.bResample = flags.bResize || stream.fieldPass != 0 || flags.bFieldMode;
    flags.bFlip = (process & (eVMP_FlipHorz | eVMP_FlipVert)) != 0;
    flags.bBlend = rect.rectMask.HasData() || rect.current[kAlpha] != 1.0 ||
                   in.picProps.fccType == kFccARGB32 || stream.streamAlpha.HasData();
    flags.bKeepAspect = (process & (eVMP_AR_LetterBox | eVMP_AR_Crop)) != 0;
    return flags;
}

// The moved field order of an interlaced frame is a stage of its own kind: the frame goes up a
// line.
bool SwapsFields(const StreamPixels& stream, const VM_VIDEO_PROPS& out) {
    const eVM_Interlace in = stream.inputProps.eInterlace;
    return (in == eVMI_Field1First && out.eInterlace == eVMI_Field2First) ||
           (in == eVMI_Field2First && out.eInterlace == eVMI_Field1First);
}

// The first stage that the rect needs and this pipeline lacks; null for a plain copy.
const char* LackingStage(const StreamPixels& stream, const MixBlock& rect, const RectFlags& flags,
                         const VM_VIDEO_PROPS& out) {
    if (flags.bKeepAspect) return "letter-box and crop";
    if (flags.bFormatChange) return "conversion";
    if (flags.bResample) return "resampling";
    if (SwapsFields(stream, out)) return "field order";
    if (flags.bFlip) return "flipping";
    if (rect.bProjected) return "projection";
    if (flags.bBlend) return "blending";
    if (rect.current.nBorderWidth > 0) return "border";
    return nullptr;
}

void DrawRect(const StreamPixels& stream, MixBlock& rect, std::size_t number, const BYTE* frame,
              BYTE* outFrame, const VM_VIDEO_PROPS& out) {
    const ImgRect source = RectOf(rect.current, kSourceLeft);
    const ImgRect target = RectOf(rect.current, kTargetLeft);
    if (source.IsEmpty() || target.IsEmpty()) return;
    const RectFlags flags = FlagsOf(stream, rect, source, target, out);
    const char* const lacking = LackingStage(stream, rect, flags, out);
    if (lacking) {
        if (rect.lackingStage != lacking)
            Trace("[Rect %u not drawn] no stage for %s", static_cast<unsigned>(number), lacking);
        rect.lackingStage = lacking;
        return;
    }
    rect.lackingStage = nullptr;
    (void)Img_CopyRect(frame, outFrame, &stream.inputProps.picProps, &out.picProps, &source,
                       &target);
}

}  // namespace

void StreamPixels::DropDerived() {
    streamAlpha.Clear();
    for (MixBlock& rect : rects) rect.rectCache.Clear();
}

HRESULT MixRects(StreamPixels& stream, const BYTE* frame, BYTE* outFrame,
                 const VM_VIDEO_PROPS& outProps, RectAnimator& animator) {
    if (!frame || !outFrame) return E_POINTER;
    for (std::size_t i = 0; i < stream.rects.size();) {
        const RectAnimator::Outcome outcome = animator.StepRect(i);
        if (outcome == RectAnimator::Outcome::kStreamClosed) return S_FALSE;
        if (outcome == RectAnimator::Outcome::kErased) continue;
        MixBlock& rect = stream.rects[i];
        if (rect.current[kAlpha] > 0) DrawRect(stream, rect, i, frame, outFrame, outProps);
        ++i;
    }
    return S_OK;
}

bool UpdateProjection(MixBlock& rect, const VM_VIDEO_PROPS& /*inputProps*/,
                      const VM_VIDEO_PROPS& /*outProps*/) {
    rect.projectedCorners = {};
    rect.rectCache.Clear();
    rect.rectAlphaFlat.Clear();
    rect.rectAlpha.Clear();
    const MixBlockState& state = rect.current;
    rect.bProjected = state[kViewAngle] != 0 && (state[kHorzAngle] != 0 || state[kVertAngle] != 0);
    return true;
}

}  // namespace qdvm
