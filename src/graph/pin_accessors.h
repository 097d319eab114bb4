#pragma once

// What the enumerators of pins and types walk over.

#include "frames/media_type.h"
#include "graph/ds_enum.h"
#include "graph/input_pin.h"
#include "graph/mixer_filter.h"
#include "graph/output_pin.h"

#include <utility>

namespace qdvm {

// The input pins in stream order, then the output pin.
class PinAccessor {
public:
    using Interface = IEnumPins;
    using Item = IPin;

    explicit PinAccessor(CCoQDVideoMixer* mixer) : owner(mixer) {}
    HRESULT Get(ULONG index, IPin** pin) const { return owner->GetPin(index, pin); }
    static void GiveBack(IPin* pin) { (void)pin->Release(); }

private:
    Ref<CCoQDVideoMixer> owner;
};

// The one type of an input's connection.
class InputTypeAccessor {
public:
    using Interface = IEnumMediaTypes;
    using Item = AM_MEDIA_TYPE;

    explicit InputTypeAccessor(CCoQDVideoMixerIn* pin) : owner(pin) {}
    HRESULT Get(ULONG index, AM_MEDIA_TYPE** type) const {
        if (index > 0) return S_FALSE;
        return GiveType(owner->ConnectionType(), type);
    }
    static void GiveBack(AM_MEDIA_TYPE* type) { DeleteMediaType(type); }

    // S_FALSE for an empty type.
    static HRESULT GiveType(const MediaType& from, AM_MEDIA_TYPE** type) {
        if (!from.HasMajorType()) return S_FALSE;
        *type = from.NewCopy();
        return *type ? S_OK : E_OUTOFMEMORY;
    }

private:
    Ref<CCoQDVideoMixerIn> owner;
};

// The output's present type, then the others on offer.
class OutputTypesAccessor {
public:
    using Interface = IEnumMediaTypes;
    using Item = AM_MEDIA_TYPE;

    explicit OutputTypesAccessor(CCoQDVideoMixerOut* pin) : owner(pin) {}
    HRESULT Get(ULONG index, AM_MEDIA_TYPE** type) const {
        if (index == 0) return InputTypeAccessor::GiveType(owner->OutputType(), type);
        const Ref<CCoQDVideoMixer> mixer = owner->Filter();
        return mixer ? mixer->GetOfferedType(index - 1, type) : S_FALSE;
    }
    static void GiveBack(AM_MEDIA_TYPE* type) { DeleteMediaType(type); }

private:
    Ref<CCoQDVideoMixerOut> owner;
};

}  // namespace qdvm
