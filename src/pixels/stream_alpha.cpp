#include "pixels/stream_alpha.h"

#include "frames/format_table.h"
#include "pixels/img_rect.h"
#include "pixels/primitives/channels.h"

namespace qdvm {

namespace {

constexpr std::ptrdiff_t kAlphaByte = 3;

HRESULT CopyFourthBytes(const BYTE* frame, const PIC_PROPS& S, const PIC_PROPS& plane,
                        BYTE* alpha) {
    const std::int32_t rows = AbsHeight(S);
    RectWalk walk;
    if (!WalkRect(S, {0, 0, S.nWidth, rows}, false, &walk)) return E_FAIL;
    if (walk.bBottomUp) ReverseWalk(&walk, rows);
    const ImageStatus status = Copy_8u_C4C1R(frame + walk.firstRow[0] + kAlphaByte, walk.stride[0],
                                             alpha, RowWidth(plane), {S.nWidth, rows});
    return status == kImageOk ? S_OK : E_FAIL;
}

}  // namespace

PIC_PROPS StreamAlphaProps(const StreamPixels& stream, const VM_VIDEO_PROPS& out) {
    PIC_PROPS props = stream.inputProps.picProps;
    // YUV has rows of whole pairs.
    if (!IsRGBFormat(out.picProps.fccType)) props.nRowWidth = (RowWidth(props) + 1) & ~1;
    return {kFccRGB8, props.nWidth, -AbsHeight(props), props.nRowWidth};
}

HRESULT MakeStreamAlpha(StreamPixels& stream, const BYTE* frame, const VM_VIDEO_PROPS& out) {
    const PIC_PROPS& S = stream.inputProps.picProps;
    const PIC_PROPS plane = StreamAlphaProps(stream, out);
    if (stream.streamAlpha.HasData() && stream.streamAlphaProps == plane) return S_FALSE;
    stream.streamAlpha.Clear();
    if (S.fccType != kFccARGB32) return S_FALSE;
    HRESULT result = stream.streamAlpha.Resize(FrameBytes(plane));
    if (Succeeded(result)) result = CopyFourthBytes(frame, S, plane, stream.streamAlpha.At(0));
    if (Failed(result)) stream.streamAlpha.Clear();
    stream.streamAlphaProps = plane;
    return result;
}

}  // namespace qdvm
