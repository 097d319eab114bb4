#include "pixels/rect_plan.h"

#include "frames/format_table.h"
#include "frames/rounding.h"
#include "pixels/stream_alpha.h"

#include <algorithm>
#include <limits>

namespace qdvm {

namespace {

ImgRect RectOf(const MixBlockState& state, RectValue left) {
    const auto edge = [&](std::size_t offset) { return RoundToInt32(state.values[left + offset]); };
    return {edge(0), edge(1), edge(2), edge(3)};
}

// How much wider than high a pixel is.
double PixelShape(const VM_VIDEO_PROPS& props) {
    const std::int32_t height = AbsHeight(props.picProps);
    if (props.nAspectX < 1 || props.nAspectY < 1 || height == 0 || props.picProps.nWidth < 1)
        return 1.0;
    const double aspect = static_cast<double>(props.nAspectX) / props.nAspectY;
    return static_cast<double>(props.picProps.nWidth) / height / aspect;
}

void Shrink(ImgRect* rect, double x, double y) {
    const std::int32_t columns = RoundToInt32(x);
    const std::int32_t rows = RoundToInt32(y);
    rect->left += columns;
    rect->right -= columns;
    rect->top += rows;
    rect->bottom -= rows;
}

PIC_PROPS AsWorked(PIC_PROPS props) {
    if (props.fccType == kFccHDYC) props.fccType = kFccUYVY;
    return props;
}

bool SwapsFieldOrder(eVM_Interlace in, eVM_Interlace out) {
    return (in == eVMI_Field1First && out == eVMI_Field2First) ||
           (in == eVMI_Field2First && out == eVMI_Field1First);
}

// Pixels of a pair share their chroma.
void TakePairs(ImgRect* rect) {
    rect->left &= ~1;
    if ((rect->right & 1) != 0 && rect->right < std::numeric_limits<std::int32_t>::max())
        ++rect->right;
}

// Where a picture lies flat before it is turned. Parts that hang over the output's edge can turn
// into view, so nothing is cut: it lies at the corner, and a larger one is made to fit.
ImgRect FlatRect(const ImgRect& target, const PIC_PROPS& output) {
    return {0, 0, static_cast<std::int32_t>(std::min<std::int64_t>(target.Width(), output.nWidth)),
            static_cast<std::int32_t>(std::min<std::int64_t>(target.Height(), AbsHeight(output)))};
}

// The rect as a mirror on the picture's middle shows it.
ImgRect Mirrored(const RectPlan& plan, const ImgRect& rect) {
    ImgRect mirrored = rect;
    const std::int64_t width = plan.output.nWidth;
    const std::int64_t height = AbsHeight(plan.output);
    const auto edge = [](std::int64_t value) {
        return static_cast<std::int32_t>(
            std::clamp<std::int64_t>(value, std::numeric_limits<std::int32_t>::min(),
                                     std::numeric_limits<std::int32_t>::max()));
    };
    if (plan.bFlipHorz) {
        mirrored.left = edge(width - rect.right);
        mirrored.right = edge(width - rect.left);
    }
    if (plan.bFlipVert) {
        mirrored.top = edge(height - rect.bottom);
        mirrored.bottom = edge(height - rect.top);
    }
    return mirrored;
}

// What hangs over the edge of one picture is cut off the other. A flipped picture is cut on the
// side that goes there.
bool CutToPictures(RectPlan* plan, ImgRect source) {
    const PIC_PROPS picture = plan->Converted();
    const ImgRect wanted = Mirrored(*plan, plan->wholeTarget);
    ImgRect target{};
    const HRESULT clipped = Img_ClipRects(picture, plan->output, &source, &wanted, plan->bResample,
                                          &plan->source, &target);
    plan->target = Mirrored(*plan, target);
    return clipped == S_OK && !plan->source.IsEmpty() && !target.IsEmpty();
}

}  // namespace

PIC_PROPS RectPlan::Converted() const {
    PIC_PROPS picture = input;
    if (bMoveUp) picture.nHeight += picture.nHeight < 0 ? 2 : -2;
    if (!bFormatChange) return picture;
    picture.fccType = output.fccType;
    if (IsRGBFormat(output.fccType)) return picture;
    picture.nRowWidth = (RowWidth(picture) + 1) & ~1;
    picture.nWidth &= ~1;
    picture.nHeight = AbsHeight(picture);
    return picture;
}

ImgRect SourceRectOf(const MixBlockState& state) { return RectOf(state, kSourceLeft); }
ImgRect TargetRectOf(const MixBlockState& state) { return RectOf(state, kTargetLeft); }

void FitAspect(const VM_VIDEO_PROPS& in, const VM_VIDEO_PROPS& out, std::int32_t eProcess,
               ImgRect* source, ImgRect* target) {
    if ((eProcess & (eVMP_AR_LetterBox | eVMP_AR_Crop)) == 0) return;
    const double inShape = PixelShape(in);
    const double outShape = PixelShape(out);
    const double sw = static_cast<double>(source->Width()) * inShape;
    const auto sh = static_cast<double>(source->Height());
    const double dw = static_cast<double>(target->Width()) * outShape;
    const auto dh = static_cast<double>(target->Height());
    const double rx = dw / sw;
    const double ry = dh / sh;
    const double k = (eProcess & eVMP_AR_Crop) != 0 ? std::max(rx, ry) : std::min(rx, ry);
    double px = (dw - sw * k) / 2;
    double py = (dh - sh * k) / 2;
    double qx = 0;
    double qy = 0;
    if (px < 0) {
        qx = -px / k;
        px = 0;
    }
    if (py < 0) {
        qy = -py / k;
        py = 0;
    }
    Shrink(source, qx / inShape, qy);
    Shrink(target, px / outShape, py);
}

std::optional<RectPlan> PlanRect(const StreamPixels& stream, const MixBlock& rect,
                                 const VM_VIDEO_PROPS& out) {
    const VM_VIDEO_PROPS& in = stream.inputProps;
    const std::int32_t process = rect.current.eProcess;
    ImgRect source = SourceRectOf(rect.current);
    ImgRect target = TargetRectOf(rect.current);
    if (source.IsEmpty() || target.IsEmpty()) return std::nullopt;
    FitAspect(in, out, process, &source, &target);
    if (source.IsEmpty() || target.IsEmpty()) return std::nullopt;

    RectPlan plan;
    plan.input = AsWorked(in.picProps);
    plan.output = AsWorked(out.picProps);
    if (rect.bProjected) target = FlatRect(target, plan.output);
    const bool bInterlaced = in.eInterlace != eVMI_Progressive;
    const std::int32_t fieldPass = stream.fieldPass;
    const bool bFieldMode = bInterlaced && ((process & eVMP_OneField) != 0 || rect.bProjected ||
                                            out.eInterlace == eVMI_Progressive);
    const bool bResize = source.Width() != target.Width() || source.Height() != target.Height();
    plan.bOneField = bFieldMode || fieldPass != 0;
    plan.bMoveUp = SwapsFieldOrder(in.eInterlace, out.eInterlace) && !plan.bOneField &&
                   AbsHeight(plan.input) > 2;
    plan.bFormatChange = plan.input.fccType != plan.output.fccType;
    plan.bResample = bResize || plan.bOneField;
    plan.bByFields = plan.bResample && bInterlaced && !plan.bOneField;
    plan.field = fieldPass == 2 ? 1 : 0;
    plan.bFlipVert = (process & eVMP_FlipVert) != 0;
    plan.bFlipHorz = (process & eVMP_FlipHorz) != 0;
    plan.bBlend = rect.rectMask.HasData() || rect.current[kAlpha] != 1.0 ||
                  in.picProps.fccType == kFccARGB32 || stream.streamAlpha.HasData();
    plan.bOwnBytes = !WantsStreamAlpha(stream, rect, out);
    if (!IsRGBFormat(plan.output.fccType)) {
        TakePairs(&source);
        TakePairs(&target);
    }
    // The two lines that the move costs are not missing from a target that is scaled.
    if (plan.bMoveUp) source.bottom = std::min(source.bottom, AbsHeight(plan.Converted()));
    plan.wholeTarget = target;
    if (!CutToPictures(&plan, source)) return std::nullopt;
    return plan;
}

}  // namespace qdvm
