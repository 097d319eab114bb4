// The last output frame as a bitmap.

#include "frames/format_table.h"
#include "mixer/mixer_core.h"
#include "pixels/convert_picture.h"
#include "pixels/img_resize.h"
#include "platform/bitmap_table.h"

#include <memory>
#include <new>
#include <utility>

namespace qdvm {
namespace {

// The field of the top line stretched to a frame of its own.
HRESULT StretchField(const BYTE* frame, const PIC_PROPS& props, CBLOBHolder<CNewAlloc>* stretched) {
    HRESULT result = stretched->Resize(FrameBytes(props), true);
    if (Failed(result)) return result;
    const bool isBottomUp = IsRGBFormat(props.fccType) && props.nHeight > 0;
    const int field = isBottomUp ? (AbsHeight(props) - 1) & 1 : 0;
    return Img_ResizeOneField(frame, stretched->At(0), &props, &props, nullptr, nullptr, field,
                              kResizeMaskLinear, nullptr);
}

HRESULT MakeBitmap(const BYTE* frame, const PIC_PROPS& props, LONG* handle) {
    const std::int32_t height = AbsHeight(props);
    const PIC_PROPS target = {kFccRGB24, props.nWidth, height, props.nWidth};
    try {
        auto bitmap = std::make_shared<Bitmap>();
        bitmap->info = {props.nWidth, height, 24};
        bitmap->rows.resize(FrameBytes(target));
        const HRESULT result = ConvertPicture(frame, bitmap->rows.data(), props, target, false);
        if (Failed(result)) return result;
        return AddBitmap(std::move(bitmap), handle);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace

HRESULT MixerCore::CaptureBitmap(LONG* _phBitmap, BOOL _bOnlyOneField) {
    if (!_phBitmap) return E_POINTER;
    *_phBitmap = 0;
    MediaFrame frame;  // held, so that its memory isn't used anew meanwhile
    PIC_PROPS props{};
    {
        ScopedLock guard(captureLock);
        frame = lastFrame;
        props = lastFrameProps;
    }
    if (!frame) return VFW_E_WRONG_STATE;
    BYTE* data = nullptr;
    HRESULT result = frame.GetPointer(&data);
    if (Failed(result) || !data) return Failed(result) ? result : E_UNEXPECTED;
    if (static_cast<std::int64_t>(frame.Size()) < FrameBytes(props)) return E_UNEXPECTED;
    if (!_bOnlyOneField) return MakeBitmap(data, props, _phBitmap);
    CBLOBHolder<CNewAlloc> stretched;
    result = StretchField(data, props, &stretched);
    if (result != S_OK) return Failed(result) ? result : E_FAIL;
    return MakeBitmap(stretched.At(0), props, _phBitmap);
}

}  // namespace qdvm
