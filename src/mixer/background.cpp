#include "mixer/background.h"

#include "frames/media_type_map.h"
#include "frames/rounding.h"
#include "mixer/mixer_core.h"
#include "mixer/rect_change.h"
#include "pixels/img_fill.h"
#include "platform/counted_string.h"
#include "platform/trace.h"

#include <algorithm>

namespace qdvm {

HRESULT Background::Set(eVM_Background newKind, std::int32_t newColour, BSTR fileName,
                        std::int32_t frames) {
    if (newKind == eVMB_Image) {
        if (!fileName) return E_INVALIDARG;
        Trace("[Background] no picture decoder in this version");
        return E_NOTIMPL;
    }
    previousKind = kind;
    previousColour = colour;
    if (newKind == eVMB_Color) colour = newColour;
    kind = newKind;
    fadeFrames = std::max(frames, 0);
    fadeDone = 0;
    if (fadeFrames == 0) previousKind = eVMB_None;
    return S_OK;
}

void Background::Paint(BYTE* frame, const PIC_PROPS& outProps) {
    if (kind == eVMB_Color) {
        std::int32_t alpha = 255;
        if (previousKind == eVMB_Color) {
            (void)Img_FillRect(frame, &outProps, static_cast<std::uint32_t>(previousColour),
                               nullptr, 255);
            alpha = RoundToInt32(255.0 * fadeDone / fadeFrames);
        }
        // At 0 a fill would take a step off every sample, and the fade begins with the old colour.
        if (alpha != 0)
            (void)Img_FillRect(frame, &outProps, static_cast<std::uint32_t>(colour), nullptr,
                               alpha);
    }
    if (previousKind == eVMB_None) return;
    if (++fadeDone >= fadeFrames) previousKind = eVMB_None;
}

HRESULT MixerCore::SetBackgroundLocked(eVM_Background kind, LONG colour, BSTR fileName,
                                       std::int32_t milliseconds) {
    const std::int64_t period = outputStage->OutputTypeFrameTime();
    const std::int32_t frames =
        RectFrames(std::max(milliseconds, 0), period > 0 ? period : kDefaultFrameTime);
    return background.Set(kind, colour, fileName, frames);
}

HRESULT MixerCore::SetBackground(eVM_Background _eBackGround, LONG _nColor, BSTR _bsFileName) {
    return SetBackground2(_eBackGround, _nColor, _bsFileName, 0);
}

HRESULT MixerCore::SetBackground2(eVM_Background _eBackGround, LONG _nColor, BSTR _bsFileName,
                                  LONG _nMSecToChange) {
    SharedLockGuard mix(mixLock, SharedLockGuard::Mode::kExclusive);
    const HRESULT result = SetBackgroundLocked(_eBackGround, _nColor, _bsFileName, _nMSecToChange);
    if (Succeeded(result)) dirty = true;
    return result;
}

HRESULT MixerCore::GetBackground(eVM_Background* _peBackGround, LONG* _pnColor,
                                 BSTR* _pbsFileName) {
    SharedLockGuard mix(mixLock, SharedLockGuard::Mode::kExclusive);
    if (_peBackGround) *_peBackGround = background.Kind();
    if (_pnColor) *_pnColor = background.Colour();
    return _pbsFileName ? CopyOut(background.ImageName(), _pbsFileName) : S_OK;
}

}  // namespace qdvm
