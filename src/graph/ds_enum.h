#pragma once

// The enumerator behind EnumPins and EnumMediaTypes.

#include "platform/object_root.h"

#include <qdvideomixer/media_graph.h>
#include <qdvideomixer/object.h>

#include <limits>
#include <utility>

namespace qdvm {

// It copies nothing: each step asks the owner anew, so what it walks over may change under it.
//
// Accessor, which holds its owner, has Interface (the enumerator's), Item, and the operations
//   HRESULT Get(ULONG index, Item** item)   0 and an item of the caller's, 1 for no such index
//   static void GiveBack(Item* item)
// Thread-safety: one thread at a time, but for the reference count.
template <class Accessor>
class CComDSEnum final : public ObjectRoot<typename Accessor::Interface> {
public:
    using Interface = typename Accessor::Interface;
    using Item = typename Accessor::Item;

    explicit CComDSEnum(Accessor from, ULONG start = 0)
        : accessor(std::move(from)), position(start) {}

    HRESULT Next(ULONG count, Item** items, ULONG* fetched) override {
        if (!items) return E_POINTER;
        if (!fetched && count >= 2) return E_INVALIDARG;
        if (fetched) *fetched = 0;
        ULONG taken = 0;
        while (taken < count) {
            const HRESULT result = accessor.Get(position + taken, &items[taken]);
            if (result == S_FALSE) break;
            if (Failed(result)) {
                while (taken > 0) Accessor::GiveBack(std::exchange(items[--taken], nullptr));
                return result;
            }
            ++taken;
        }
        position += taken;
        if (fetched) *fetched = taken;
        return taken == count ? S_OK : S_FALSE;
    }

    // Moves even past the end, which S_FALSE then tells.
    HRESULT Skip(ULONG count) override {
        if (count == 0) return S_OK;
        constexpr ULONG kEnd = std::numeric_limits<ULONG>::max();
        position = count > kEnd - position ? kEnd : position + count;
        Item* last = nullptr;
        const HRESULT result = accessor.Get(position - 1, &last);
        if (result == S_OK) Accessor::GiveBack(last);
        return result;
    }

    HRESULT Reset() override {
        position = 0;
        return S_OK;
    }

    HRESULT Clone(Interface** copy) override {
        if (!copy) return E_POINTER;
        return Make(accessor, copy, position);
    }

    // A new enumerator for the caller. E_OUTOFMEMORY.
    static HRESULT Make(Accessor from, Interface** out, ULONG start = 0) {
        *out = MakeObject<CComDSEnum>(std::move(from), start).Detach();
        return *out ? S_OK : E_OUTOFMEMORY;
    }

private:
    Accessor accessor;
    ULONG position;
};

}  // namespace qdvm
