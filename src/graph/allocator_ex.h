#pragma once

// What an allocator of this library offers beyond the published interfaces.

#include "platform/iid.h"

#include <qdvideomixer/media_type.h>
#include <qdvideomixer/object.h>

namespace qdvm {

// {2D0B4C38-6C61-4E0A-9C0D-47C7E0E1B6A4}
inline constexpr IID IID_IMemAllocatorEx = {
    0x2D0B4C38, 0x6C61, 0x4E0A, {0x9C, 0x0D, 0x47, 0xC7, 0xE0, 0xE1, 0xB6, 0xA4}};

struct IMemAllocatorEx : IUnknown {
    // The next sample handed out carries a copy of this type, and no other; null calls it off.
    // E_OUTOFMEMORY.
    virtual HRESULT SetNextSampleMediaType(const AM_MEDIA_TYPE* type) = 0;

protected:
    ~IMemAllocatorEx() = default;
};

}  // namespace qdvm
