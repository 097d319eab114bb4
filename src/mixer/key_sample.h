#pragma once

// The sample that a dialog edits a key on.

#include "frames/blob_holder.h"
#include "platform/counted_string.h"
#include "platform/lock.h"
#include "platform/object_root.h"

#include <qdvideomixer/chroma_key.h>

namespace qdvm {

QDVM_INTERFACE(IQDVideoMixerKeySample, IUnknown, IID_IQDVideoMixerKeySample);

class CCoKeySample final : public ObjectRoot<IQDVideoMixerKeySample> {
public:
    HRESULT LoadPicture(const PIC_PROPS* _pProps, const BYTE* _pBits, double _dblParam1,
                        LONG _nParam2, LONG _nParam3) override;
    HRESULT GetPicture(PIC_PROPS* _pProps, BYTE** _ppBits) override;
    HRESULT GetParams(double* _pdblParam1, LONG* _pnParam2, LONG* _pnParam3) override;
    HRESULT SetSettings(const ChromaKeySettings* _pSettings) override;
    HRESULT GetSettings(ChromaKeySettings* _pSettings) override;
    HRESULT SetLabel(BSTR _bsLabel) override;
    HRESULT GetLabel(BSTR* _pbsLabel) override;

private:
    CriticalSection lock;
    CBLOBHolder<CNewAlloc> picture QDVM_GUARDED_BY(lock);
    PIC_PROPS props QDVM_GUARDED_BY(lock){};
    double param1 QDVM_GUARDED_BY(lock) = 0;
    LONG param2 QDVM_GUARDED_BY(lock) = 0;
    LONG param3 QDVM_GUARDED_BY(lock) = 0;
    ChromaKeySettings settings QDVM_GUARDED_BY(lock){};
    CountedString label QDVM_GUARDED_BY(lock);
};

}  // namespace qdvm
