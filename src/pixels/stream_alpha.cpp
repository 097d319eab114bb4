#include "pixels/stream_alpha.h"

#include "frames/format_table.h"
#include "pixels/chroma_key/chroma_key.h"
#include "pixels/chroma_key/key_plan.h"
#include "pixels/img_rect.h"
#include "pixels/primitives/channels.h"
#include "platform/trace.h"

#include <qdvideomixer/graph_results.h>

#include <cstring>

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

// The frame as the key may rewrite it.
HRESULT OwnFrame(StreamKey& key, const PIC_PROPS& S, const BYTE** frame) {
    const std::uint32_t bytes = FrameBytes(S);
    const HRESULT result = key.frame.Resize(bytes);
    if (Failed(result)) return result;
    std::memcpy(key.frame.At(0), *frame, bytes);
    *frame = key.frame.At(0);
    return S_OK;
}

// The plane's rows run from the top, the key's in the order of the frame's memory.
HRESULT KeyFrame(StreamKey& key, const VM_VIDEO_PROPS& in, const PIC_PROPS& plane, BYTE* alpha,
                 const BYTE** frame) {
    const TraceTimer timer("[Alpha Get]");
    const PIC_PROPS& S = in.picProps;
    const std::int32_t rows = AbsHeight(S);
    const std::ptrdiff_t stride = RowWidth(plane);
    if (CanBeKeyed(S.fccType) && RemovesSpill(key.settings)) {
        const HRESULT owned = OwnFrame(key, S, frame);
        if (Failed(owned)) return owned;
    }
    FrameDesc desc = MakeFrameDesc(S);
    // The stages put the plane where fourth bytes count, so the frame can stay as it is.
    if (desc.fccType == kFccARGB32) desc.fccType = kFccRGB32;
    ChromaKeySettings settings = key.settings;
    settings.bInterlaced = in.eInterlace != eVMI_Progressive ? 1 : 0;
    const bool isTurned = IsRGBFormat(S.fccType) && S.nHeight > 0;
    // Without spill removal nothing is written to the frame.
    const HRESULT result =
        KeyIntoPlane(const_cast<BYTE*>(*frame), isTurned ? alpha + (rows - 1) * stride : alpha,
                     isTurned ? -stride : stride, desc, settings, &key.working);
    if (result == VFW_E_INVALIDSUBTYPE && key.toldFormat != S.fccType) {
        Trace("[Alpha Get] no key for format %08x", static_cast<unsigned>(S.fccType));
        key.toldFormat = S.fccType;
    }
    return result;
}

}  // namespace

PIC_PROPS StreamAlphaProps(const StreamPixels& stream, const VM_VIDEO_PROPS& out) {
    PIC_PROPS props = stream.inputProps.picProps;
    // YUV has rows of whole pairs.
    if (!IsRGBFormat(out.picProps.fccType)) props.nRowWidth = (RowWidth(props) + 1) & ~1;
    return {kFccRGB8, props.nWidth, -AbsHeight(props), props.nRowWidth};
}

HRESULT MakeStreamAlpha(StreamPixels& stream, const VM_VIDEO_PROPS& out, const BYTE** frame) {
    const PIC_PROPS& S = stream.inputProps.picProps;
    const PIC_PROPS plane = StreamAlphaProps(stream, out);
    StreamKey& key = stream.key;
    if (stream.streamAlpha.HasData() && stream.streamAlphaProps == plane) {
        if (key.frame.HasData()) *frame = key.frame.At(0);
        return S_FALSE;
    }
    stream.streamAlpha.Clear();
    key.frame.Clear();
    if (!key.IsKeyed() && S.fccType != kFccARGB32) return S_FALSE;
    if (key.keylessFrame == stream.frameNumber) return S_FALSE;
    HRESULT result = stream.streamAlpha.Resize(FrameBytes(plane));
    if (Failed(result)) return result;
    BYTE* const alpha = stream.streamAlpha.At(0);
    stream.streamAlphaProps = plane;
    const BYTE* const given = *frame;
    result = key.IsKeyed() ? KeyFrame(key, stream.inputProps, plane, alpha, frame)
                           : CopyFourthBytes(given, S, plane, alpha);
    // The status of a primitive comes from smoothing, behind the plane.
    if (result >= kImageNotSupported) return result;
    stream.streamAlpha.Clear();
    key.frame.Clear();
    key.keylessFrame = stream.frameNumber;
    *frame = given;
    return result;
}

bool WantsStreamAlpha(const StreamPixels& stream, const MixBlock& rect, const VM_VIDEO_PROPS& out) {
    return stream.key.IsKeyed() || stream.inputProps.picProps.fccType != kFccARGB32 ||
           out.picProps.fccType != kFccARGB32 || rect.rectMask.HasData() || rect.bProjected;
}

}  // namespace qdvm
