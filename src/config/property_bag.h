#pragma once

// The bag in which parameters travel to an effect.

#include "platform/lock.h"
#include "platform/object_root.h"

#include <qdvideomixer/property_bag.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qdvm {

QDVM_INTERFACE(IPropertyBag, IUnknown, IID_IPropertyBag);
QDVM_INTERFACE(IErrorLog, IUnknown, IID_IErrorLog);

// A value that gives up what it holds.
class OwnedVariant {
public:
    OwnedVariant() = default;
    OwnedVariant(OwnedVariant&& other) noexcept : value(std::exchange(other.value, VARIANT{})) {}
    OwnedVariant& operator=(OwnedVariant&& other) noexcept {
        std::swap(value, other.value);
        return *this;
    }
    ~OwnedVariant() { (void)VariantClear(&value); }

    VARIANT value{};
};

// Values under names, in the order of writing. Names match exactly. Every operation can be called
// from any thread. What a reader does wrong is for the reader: its error log takes everything and
// keeps nothing.
class CCoPropertyBag final : public ObjectRoot<IPropertyBag, IErrorLog> {
public:
    static constexpr const char* kClassName = "CCoPropertyBag";
    static constexpr std::size_t kMostEntries = 89'478'485;

    HRESULT Read(LPCOLESTR name, VARIANT* value, IErrorLog* log) override;
    HRESULT Write(LPCOLESTR name, VARIANT* value) override;
    HRESULT AddError(LPCOLESTR name, void* exception) override;

    const char* ClassName() const { return kClassName; }
    // Whether something was written.
    bool IsDirty() const;

private:
    struct Entry {
        std::u16string name;
        OwnedVariant own;
    };

    std::vector<Entry>::iterator Find(std::u16string_view name) QDVM_REQUIRES(lock);

    mutable CriticalSection lock{LockRank::Leaf};
    std::vector<Entry> entries QDVM_GUARDED_BY(lock);
    bool dirty QDVM_GUARDED_BY(lock) = false;
};

}  // namespace qdvm
