#include "mixer/key_sample.h"

#include "frames/format_table.h"

#include <cstring>
#include <utility>

namespace qdvm {

HRESULT CCoKeySample::LoadPicture(const PIC_PROPS* _pProps, const BYTE* _pBits, double _dblParam1,
                                  LONG _nParam2, LONG _nParam3) {
    if (!_pProps || !_pBits) return E_POINTER;
    const std::uint32_t bytes = FrameBytes(*_pProps);
    if (_pProps->fccType != kFccRGB24 || bytes == 0 || bytes == kNoFrameBytes) return E_INVALIDARG;
    ScopedLock guard(lock);
    const HRESULT result = picture.Resize(bytes);
    if (Failed(result)) return result;
    picture.CopyIn(_pBits, bytes, 0);
    props = *_pProps;
    param1 = _dblParam1;
    param2 = _nParam2;
    param3 = _nParam3;
    return S_OK;
}

HRESULT CCoKeySample::GetPicture(PIC_PROPS* _pProps, BYTE** _ppBits) {
    if (!_pProps || !_ppBits) return E_POINTER;
    *_ppBits = nullptr;
    ScopedLock guard(lock);
    if (picture.IsEmpty()) return E_UNEXPECTED;
    void* const copy = CoTaskMemAlloc(picture.Used());
    if (!copy) return E_OUTOFMEMORY;
    std::memcpy(copy, picture.At(0), picture.Used());
    *_ppBits = static_cast<BYTE*>(copy);
    *_pProps = props;
    return S_OK;
}

HRESULT CCoKeySample::GetParams(double* _pdblParam1, LONG* _pnParam2, LONG* _pnParam3) {
    ScopedLock guard(lock);
    if (_pdblParam1) *_pdblParam1 = param1;
    if (_pnParam2) *_pnParam2 = param2;
    if (_pnParam3) *_pnParam3 = param3;
    return S_OK;
}

HRESULT CCoKeySample::SetSettings(const ChromaKeySettings* _pSettings) {
    if (!_pSettings) return E_POINTER;
    ScopedLock guard(lock);
    settings = *_pSettings;
    return S_OK;
}

HRESULT CCoKeySample::GetSettings(ChromaKeySettings* _pSettings) {
    if (!_pSettings) return E_POINTER;
    ScopedLock guard(lock);
    *_pSettings = settings;
    return S_OK;
}

HRESULT CCoKeySample::SetLabel(BSTR _bsLabel) {
    if (!_bsLabel) return E_POINTER;
    CountedString copy(ViewOf(_bsLabel));
    if (!copy.Get()) return E_OUTOFMEMORY;
    ScopedLock guard(lock);
    label = std::move(copy);
    return S_OK;
}

HRESULT CCoKeySample::GetLabel(BSTR* _pbsLabel) {
    if (!_pbsLabel) return E_POINTER;
    ScopedLock guard(lock);
    return CopyOut(label.View(), _pbsLabel);
}

}  // namespace qdvm
