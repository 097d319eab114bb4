// IQDVideoMixerChromaKey: the key of the selected stream, and samples of it.

#include "mixer/key_sample.h"
#include "mixer/mixer_core.h"
#include "platform/counted_string.h"

#include <utility>
#include <vector>

namespace qdvm {
namespace {

using Mode = SharedLockGuard::Mode;

}  // namespace

void MixerCore::SetKeyLocked(InputStream& stream, const ChromaKeySettings& settings) {
    const VM_VIDEO_PROPS out = outputStage->OutputProps();
    ScopedLock guard(stream.streamLock);
    stream.pixels.key.settings = settings;
    stream.pixels.key.toldFormat = 0;
    stream.pixels.DropDerived();
    for (MixBlock& rect : stream.pixels.rects) (void)UpdateProjection(rect, stream.inputProps, out);
}

HRESULT MixerCore::SetChromaKey(const ChromaKeySettings* _pSettings) {
    if (!_pSettings) return E_POINTER;
    SharedLockGuard pins(pinsLock, Mode::kShared);
    SharedLockGuard mix(mixLock, Mode::kExclusive);
    InputStream* stream = FindStream(chromaKeyStream);
    if (!stream) return E_INVALIDARG;
    SetKeyLocked(*stream, *_pSettings);
    return S_OK;
}

HRESULT MixerCore::GetChromaKey(ChromaKeySettings* _pSettings) {
    if (!_pSettings) return E_POINTER;
    SharedLockGuard pins(pinsLock, Mode::kShared);
    const InputStream* stream = FindStream(chromaKeyStream);
    if (!stream) return E_INVALIDARG;
    ScopedLock guard(stream->streamLock);
    *_pSettings = stream->pixels.key.settings;
    return S_OK;
}

HRESULT MixerCore::MakeSampleOf(CCoKeySample* sample, ThumbnailSize size, double param1,
                                LONG param2, LONG param3) {
    Ref<InputStream> stream;
    {
        SharedLockGuard pins(pinsLock, Mode::kShared);
        stream = Ref<InputStream>(FindStream(chromaKeyStream));
    }
    if (!stream) return E_INVALIDARG;
    // With no lock held: pins that come and go must not wait for this stream's next frame.
    HRESULT result = stream->RequestThumbnail(size, state == PlayState::kRunning);
    if (Failed(result)) return result;
    PIC_PROPS props{};
    CBLOBHolder<CNewAlloc> picture;
    ChromaKeySettings settings;
    CountedString label;
    {
        ScopedLock guard(stream->streamLock);
        props = stream->thumbnailProps;
        result = picture.Resize(stream->thumbnail.Used());
        if (Failed(result)) return result;
        if (picture.IsEmpty()) return E_UNEXPECTED;
        picture.CopyIn(stream->thumbnail.At(0), picture.Used(), 0);
        settings = stream->pixels.key.settings;
        label = CountedString(stream->keyLabel.View());
    }
    result = sample->LoadPicture(&props, picture.At(0), param1, param2, param3);
    if (Failed(result)) return result;
    (void)sample->SetSettings(&settings);
    return label.Get() ? sample->SetLabel(label.Get()) : E_OUTOFMEMORY;
}

HRESULT MixerCore::MakeKeySample(IUnknown** _ppSample, LONG _nWidth, LONG _nHeight,
                                 double _dblParam1, LONG _nParam2, LONG _nParam3) {
    if (!_ppSample) return E_POINTER;
    *_ppSample = nullptr;
    Ref<CCoKeySample> sample = MakeObject<CCoKeySample>();
    if (!sample) return E_OUTOFMEMORY;
    const HRESULT result =
        MakeSampleOf(sample.Get(), {_nWidth, _nHeight}, _dblParam1, _nParam2, _nParam3);
    if (Succeeded(result)) *_ppSample = sample.Detach();
    return result;
}

HRESULT MixerCore::GetKeySample(IUnknown** _ppSample, LONG _nParam2, LONG _nParam3) {
    return MakeKeySample(_ppSample, 0, 0, 0, _nParam2, _nParam3);
}

HRESULT MixerCore::GetKeySampleControl(IQDVideoMixerKeySample** _ppControl, LONG _nParam2,
                                       LONG _nParam3) {
    if (!_ppControl) return E_POINTER;
    *_ppControl = nullptr;
    Ref<IUnknown> sample;
    const HRESULT result = GetKeySample(sample.Put(), _nParam2, _nParam3);
    if (Failed(result)) return result;
    return sample->QueryInterface(IID_IQDVideoMixerKeySample, reinterpret_cast<void**>(_ppControl));
}

HRESULT MixerCore::TakeKeySample(IUnknown* _pSample) {
    if (!_pSample) return E_POINTER;
    {
        SharedLockGuard pins(pinsLock, Mode::kShared);
        if (!FindStream(chromaKeyStream)) return E_INVALIDARG;
    }
    // The sample may be anybody's, so it is asked with no lock held.
    Ref<IQDVideoMixerKeySample> control;
    HRESULT result = _pSample->QueryInterface(IID_IQDVideoMixerKeySample, control.PutVoid());
    if (Failed(result)) return result;
    ChromaKeySettings settings{};
    CountedString label;
    result = control->GetSettings(&settings);
    if (Succeeded(result)) result = control->GetLabel(label.Put());
    if (Failed(result)) return result;

    SharedLockGuard pins(pinsLock, Mode::kShared);
    SharedLockGuard mix(mixLock, Mode::kExclusive);
    InputStream* stream = FindStream(chromaKeyStream);
    if (!stream) return E_INVALIDARG;
    SetKeyLocked(*stream, settings);
    ScopedLock guard(stream->streamLock);
    stream->keyLabel = std::move(label);
    return S_OK;
}

HRESULT MixerCore::SetKeyLabel(BSTR _bsLabel) {
    if (!_bsLabel) return E_POINTER;
    CountedString label(ViewOf(_bsLabel));
    if (!label.Get()) return E_OUTOFMEMORY;
    SharedLockGuard pins(pinsLock, Mode::kShared);
    InputStream* stream = FindStream(chromaKeyStream);
    if (!stream) return E_INVALIDARG;
    ScopedLock guard(stream->streamLock);
    stream->keyLabel = std::move(label);
    return S_OK;
}

HRESULT MixerCore::GetKeyLabel(BSTR* _pbsLabel) {
    if (!_pbsLabel) return E_POINTER;
    *_pbsLabel = nullptr;
    SharedLockGuard pins(pinsLock, Mode::kShared);
    const InputStream* stream = FindStream(chromaKeyStream);
    if (!stream) return E_INVALIDARG;
    ScopedLock guard(stream->streamLock);
    return CopyOut(stream->keyLabel.View(), _pbsLabel);
}

}  // namespace qdvm
