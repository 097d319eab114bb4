#include "config/property_bag.h"

#include "platform/no_throw.h"

#include <algorithm>
#include <utility>

namespace qdvm {

std::vector<CCoPropertyBag::Entry>::iterator CCoPropertyBag::Find(std::u16string_view name) {
    return std::ranges::find(entries, name, &Entry::name);
}

// Values hold objects of others, so none is taken or given up with the lock held.
HRESULT CCoPropertyBag::Read(LPCOLESTR name, VARIANT* value, IErrorLog*) {
    if (!name || !value) return E_POINTER;
    return NoThrow([&] {
        OwnedVariant copy;
        {
            ScopedLock guard(lock);
            const auto found = Find(name);
            if (found == entries.end()) return E_INVALIDARG;
            if (Failed(VariantCopy(&copy.value, &found->own.value))) return E_FAIL;
        }
        const VARTYPE wanted = value->vt == VT_EMPTY ? copy.value.vt : value->vt;
        return Failed(VariantChangeType(value, &copy.value, 0, wanted)) ? E_FAIL : S_OK;
    });
}

HRESULT CCoPropertyBag::Write(LPCOLESTR name, VARIANT* value) {
    if (!name || !value) return E_POINTER;
    return NoThrow([&] {
        Entry entry{name, {}};
        if (Failed(VariantCopy(&entry.own.value, value))) return E_FAIL;
        OwnedVariant former;
        {
            ScopedLock guard(lock);
            if (entries.size() >= kMostEntries) return E_FAIL;
            const auto found = Find(name);
            if (found != entries.end()) {
                former = std::move(found->own);
                entries.erase(found);
            }
            entries.push_back(std::move(entry));
            dirty = true;
        }
        return S_OK;
    });
}

HRESULT CCoPropertyBag::AddError(LPCOLESTR, void*) { return S_OK; }

bool CCoPropertyBag::IsDirty() const {
    ScopedLock guard(lock);
    return dirty;
}

}  // namespace qdvm
