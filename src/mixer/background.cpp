#include "mixer/background.h"

#include "frames/format_table.h"
#include "frames/media_type_map.h"
#include "frames/rounding.h"
#include "mixer/mixer_core.h"
#include "mixer/rect_change.h"
#include "pixels/convert_picture.h"
#include "pixels/img_copy.h"
#include "pixels/img_fill.h"
#include "pixels/img_mix.h"
#include "pixels/img_resize.h"
#include "platform/counted_string.h"
#include "platform/no_throw.h"
#include "platform/trace.h"

#include <algorithm>
#include <utility>

namespace qdvm {
namespace {

constexpr std::int32_t kOpaque = 255;
constexpr std::uint32_t kOpaqueBlack = 0xFF000000u;

void Fill(BYTE* frame, const PIC_PROPS& outProps, std::int32_t colour, std::int32_t opacity) {
    // A fill with nothing would still take a step off every sample.
    if (opacity == 0) return;
    (void)Img_FillRect(frame, &outProps, static_cast<std::uint32_t>(colour), nullptr, opacity);
}

// Scaled first, in the file's own format, then converted.
HRESULT Stretch(const LoadedImage& image, const PIC_PROPS& output,
                CBLOBHolder<CVirtualAlloc>* pixels) {
    PIC_PROPS scaled = output;
    scaled.fccType = image.props.fccType;
    CBLOBHolder<CNewAlloc> temporary;
    HRESULT result = temporary.Resize(FrameBytes(scaled));
    if (Failed(result)) return result;
    result = Img_Resize(image.pixels.At(0), temporary.At(0), &image.props, &scaled, nullptr,
                        nullptr, kResizeMaskLinear, nullptr);
    if (result != S_OK) return Failed(result) ? result : E_FAIL;
    result = pixels->Resize(FrameBytes(output));
    if (Failed(result)) return result;
    return ConvertPicture(temporary.At(0), pixels->At(0), scaled, output, false);
}

}  // namespace

bool BackgroundPicture::IsFor(const PIC_PROPS& output) const {
    return props.fccType == output.fccType && props.nWidth == output.nWidth &&
           props.nHeight == output.nHeight;
}

bool BackgroundPicture::Copy(BYTE* frame, const PIC_PROPS& output) const {
    if (pixels.IsEmpty() || !IsFor(output)) return false;
    return Img_CopyRect(pixels.At(0), frame, &props, &output, nullptr, nullptr) == S_OK;
}

HRESULT BackgroundPicture::Make(const LoadedImage& image, const PIC_PROPS& output) {
    pixels.Clear();
    props = output;
    const HRESULT result = Stretch(image, output, &pixels);
    if (Succeeded(result)) return result;
    pixels.Clear();
    Trace("[Background] no picture in the output's format: %08X", static_cast<unsigned>(result));
    return result;
}

void Background::StartFade(eVM_Background newKind, std::int32_t frames) {
    fadeFrames = std::max(frames, 0);
    fadeDone = 0;
    previousKind = fadeFrames > 0 ? kind : eVMB_None;
    previousColour = colour;
    previousPicture.pixels.Clear();
    // Without the memory for it the new background just appears at once.
    if (previousKind == eVMB_Image && Succeeded(previousPicture.pixels.Assign(picture.pixels)))
        previousPicture.props = picture.props;
    kind = newKind;
}

void Background::Set(BackgroundChange change, std::int32_t frames) {
    StartFade(change.kind, frames);
    if (kind == eVMB_Color) colour = change.colour;
    if (kind != eVMB_Image) return;
    source = std::move(change.image);
    imageName = std::move(change.imageName);
    picture = std::move(change.picture);
    isPictureStale = picture.pixels.IsEmpty();
}

void Background::RefreshBackgroundPicture(const PIC_PROPS& output) {
    if (kind != eVMB_Image || source.pixels.IsEmpty()) return;
    if (!isPictureStale.exchange(false) && picture.IsFor(output)) return;
    // Memory may come back; a format without a conversion stays one.
    if (picture.Make(source, output) == E_OUTOFMEMORY) DropPicture();
}

// The opacity that what comes over it has: kOpaque if nothing of the previous background shows.
std::int32_t Background::PaintPrevious(BYTE* frame, const PIC_PROPS& outProps) const {
    const bool isColour = previousKind == eVMB_Color;
    if (isColour) Fill(frame, outProps, previousColour, kOpaque);
    const bool isThere =
        isColour || (previousKind == eVMB_Image && previousPicture.Copy(frame, outProps));
    return isThere ? RoundToInt32(static_cast<double>(kOpaque) * fadeDone / fadeFrames) : kOpaque;
}

void Background::PaintPicture(BYTE* frame, const PIC_PROPS& outProps, std::int32_t opacity) const {
    if (opacity == 0) return;
    if (opacity == kOpaque) {
        // Black rather than what the frame before has left.
        if (!picture.Copy(frame, outProps))
            (void)Img_FillRect(frame, &outProps, kOpaqueBlack, nullptr, kOpaque);
        return;
    }
    if (picture.pixels.IsEmpty()) return;
    // 255 parts as 256, so that the two weights add up and a fade keeps its brightness.
    const std::int32_t weight = opacity + (opacity >> 7);
    (void)Img_MixConst(picture.pixels.At(0), frame, weight, 256 - weight, &picture.props, &outProps,
                       nullptr, nullptr);
}

void Background::Paint(BYTE* frame, const PIC_PROPS& outProps) {
    if (kind == eVMB_Color) {
        Fill(frame, outProps, colour, PaintPrevious(frame, outProps));
    } else if (kind == eVMB_Image) {
        RefreshBackgroundPicture(outProps);
        PaintPicture(frame, outProps, PaintPrevious(frame, outProps));
    }
    Pass();
}

void Background::Pass() {
    if (previousKind == eVMB_None) return;
    if (++fadeDone >= fadeFrames) previousKind = eVMB_None;
}

HRESULT MixerCore::LoadBackground(eVM_Background kind, LONG colour, BSTR fileName,
                                  BackgroundChange* change) const {
    BackgroundChange loaded;
    loaded.kind = kind;
    loaded.colour = colour;
    if (kind == eVMB_Image) {
        if (!fileName) return E_INVALIDARG;
        const PIC_PROPS output = outputStage->OutputProps().picProps;
        loaded.imageName = ViewOf(fileName);
        const HRESULT result =
            LoadImage(loaded.imageName, output.fccType == kFccARGB32, &loaded.image);
        if (Failed(result)) return result;
        if (outputStage->IsConnected()) (void)loaded.picture.Make(loaded.image, output);
    }
    *change = std::move(loaded);
    return S_OK;
}

void MixerCore::SetBackgroundLocked(BackgroundChange change, std::int32_t milliseconds) {
    const std::int64_t period = outputStage->OutputTypeFrameTime();
    const std::int32_t frames =
        RectFrames(std::max(milliseconds, 0), period > 0 ? period : kDefaultFrameTime);
    background.Set(std::move(change), frames);
}

HRESULT MixerCore::SetBackground(eVM_Background _eBackGround, LONG _nColor, BSTR _bsFileName) {
    return SetBackground2(_eBackGround, _nColor, _bsFileName, 0);
}

HRESULT MixerCore::SetBackground2(eVM_Background _eBackGround, LONG _nColor, BSTR _bsFileName,
                                  LONG _nMSecToChange) {
    // With no lock held: the output goes on while a picture is decoded.
    BackgroundChange change;
    const HRESULT result =
        NoThrow([&] { return LoadBackground(_eBackGround, _nColor, _bsFileName, &change); });
    if (Failed(result)) return result;
    SharedLockGuard mix(mixLock, SharedLockGuard::Mode::kExclusive);
    SetBackgroundLocked(std::move(change), _nMSecToChange);
    dirty = true;
    return S_OK;
}

HRESULT MixerCore::GetBackground(eVM_Background* _peBackGround, LONG* _pnColor,
                                 BSTR* _pbsFileName) {
    SharedLockGuard mix(mixLock, SharedLockGuard::Mode::kExclusive);
    if (_peBackGround) *_peBackGround = background.Kind();
    if (_pnColor) *_pnColor = background.Colour();
    return _pbsFileName ? CopyOut(background.ImageName(), _pbsFileName) : S_OK;
}

}  // namespace qdvm
