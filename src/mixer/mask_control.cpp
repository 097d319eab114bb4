// IQDVideoMixer: the masks of rects.

#include "frames/format_table.h"
#include "mixer/load_image.h"
#include "mixer/mixer_core.h"
#include "mixer/rect_mask.h"
#include "platform/bitmap_table.h"
#include "platform/counted_string.h"
#include "platform/no_throw.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace qdvm {
namespace {

using Mode = SharedLockGuard::Mode;

// Needs the stream's lock; null for a number out of range.
MixBlock* FindRect(InputStream* stream, LONG number) {
    if (!stream || number < 0 || static_cast<std::size_t>(number) >= stream->pixels.rects.size())
        return nullptr;
    return &stream->pixels.rects[static_cast<std::size_t>(number)];
}

// A mask that can't be made leaves none, and no name.
HRESULT Named(MixBlock& rect, std::u16string& name, HRESULT made) {
    if (Succeeded(made))
        rect.maskName = std::move(name);
    else if (rect.rectMask.IsEmpty())
        rect.maskName.clear();
    return made;
}

}  // namespace

bool MixerCore::HasRect(LONG streamNo, LONG rectNo) const {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    InputStream* const stream = FindStream(streamNo);
    if (!stream) return false;
    ScopedLock guard(stream->streamLock);
    return FindRect(stream, rectNo) != nullptr;
}

template <class Make>
HRESULT MixerCore::ChangeMask(LONG streamNo, LONG rectNo, const Make& make) {
    SharedLockGuard pins(pinsLock, Mode::kShared);
    SharedLockGuard mix(mixLock, Mode::kExclusive);
    InputStream* const stream = FindStream(streamNo);
    if (!stream) return E_INVALIDARG;
    ScopedLock guard(stream->streamLock);
    MixBlock* const rect = FindRect(stream, rectNo);
    return rect ? make(*rect) : E_INVALIDARG;
}

HRESULT MixerCore::SetRectMask(LONG _nStream, LONG _nRect, BSTR _bsFile) {
    const std::u16string_view name = ViewOf(_bsFile);
    const BuiltInMask shape = FindBuiltInMask(name);
    LoadedImage image;
    if (!name.empty() && shape == BuiltInMask::kNone) {
        if (!HasRect(_nStream, _nRect)) return E_INVALIDARG;
        // With no lock held: the output goes on while a picture is decoded.
        const HRESULT result = LoadImage(name, false, &image);
        if (Failed(result)) return result;
    }
    return NoThrow([&] {
        // Before the mask is touched: one that isn't kept is no reason to lose the other.
        std::u16string kept(name);
        return ChangeMask(_nStream, _nRect, [&](MixBlock& rect) {
            if (name.empty()) {
                ClearMask(rect);
                return S_OK;
            }
            return Named(rect, kept,
                         shape != BuiltInMask::kNone
                             ? MakeBuiltInMask(rect, shape)
                             : MakeMask(rect, image.props, image.pixels.At(0)));
        });
    });
}

HRESULT MixerCore::SetRectMaskHandle(LONG _nStream, LONG _nRect, LONG _lHandle, BSTR _bsMaskName) {
    if (!HasRect(_nStream, _nRect)) return E_INVALIDARG;
    if (_lHandle == 0) return E_POINTER;
    const std::shared_ptr<const Bitmap> bitmap = FindBitmap(_lHandle);
    if (!bitmap) return E_HANDLE;
    const VM_BITMAP& info = bitmap->info;
    if (info.nBitsPerPixel != 24 && info.nBitsPerPixel != 32) return E_INVALIDARG;
    const PIC_PROPS props = {info.nBitsPerPixel == 24 ? kFccRGB24 : kFccRGB32, info.nWidth,
                             info.nHeight, info.nWidth};
    return NoThrow([&] {
        std::u16string kept(ViewOf(_bsMaskName));
        return ChangeMask(_nStream, _nRect, [&](MixBlock& rect) {
            return Named(rect, kept, MakeMask(rect, props, bitmap->rows.data()));
        });
    });
}

HRESULT MixerCore::GetRectMask(LONG _nStream, LONG _nRect, BSTR* _pbsFile) {
    if (!_pbsFile) return E_POINTER;
    SharedLockGuard pins(pinsLock, Mode::kShared);
    InputStream* const stream = FindStream(_nStream);
    if (!stream) return E_INVALIDARG;
    ScopedLock guard(stream->streamLock);
    const MixBlock* const rect = FindRect(stream, _nRect);
    return rect ? CopyOut(rect->maskName, _pbsFile) : E_INVALIDARG;
}

}  // namespace qdvm
