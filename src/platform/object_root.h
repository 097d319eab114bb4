#pragma once

// What makes a class a counted object with interfaces.

#include "platform/iid.h"
#include "platform/ref.h"

#include <atomic>
#include <new>
#include <type_traits>
#include <utility>

namespace qdvm {

// A reference count that starts at 1, for the one who makes the object.
class ReferenceCount {
public:
    ULONG Add() { return count.fetch_add(1, std::memory_order_relaxed) + 1; }

    // The last one to call it sees everything that others did with the object before.
    ULONG Drop() { return count.fetch_sub(1, std::memory_order_acq_rel) - 1; }

    // For an object on its way out: references that come and go during its destruction don't make
    // it go a second time.
    void Pin() { count.store(0x40000000, std::memory_order_relaxed); }

    // For an object that is kept to be used again.
    void Restart() { count.store(1, std::memory_order_relaxed); }

private:
    std::atomic<ULONG> count{1};
};

// Whether Interface or an interface that it extends has the identifier.
template <class Interface>
bool AnswersTo(REFIID iid) {
    if constexpr (std::is_same_v<Interface, IUnknown>) {
        return false;
    } else {
        return iid == IidOf<Interface>() ||
               AnswersTo<typename InterfaceTraits<Interface>::Base>(iid);
    }
}

// The pointer to the first of the interfaces that answers to iid, null if none does; no reference
// is added. An extended interface has the pointer of the one that extends it, since interfaces
// derive from one base only.
template <class... Interfaces, class Object>
void* FindInterface(Object* object, REFIID iid) {
    void* found = nullptr;
    (void)((AnswersTo<Interfaces>(iid) &&
            (found = static_cast<void*>(static_cast<Interfaces*>(object)), true)) ||
           ...);
    return found;
}

// Base of a class with interfaces: class Clock final : public ObjectRoot<IReferenceClock>. Several
// interfaces are listed in the order of search, and the first stands for the object as IUnknown.
// Interfaces that another listed one extends are not listed. Objects are made with MakeObject.
//
// Thread-safety: the three operations can be called from any thread.
template <class First, class... Others>
class ObjectRoot : public First, public Others... {
public:
    ObjectRoot(const ObjectRoot&) = delete;
    ObjectRoot& operator=(const ObjectRoot&) = delete;

    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (object == nullptr) {
            return E_POINTER;
        }
        *object = iid == IID_IUnknown
                      ? static_cast<void*>(static_cast<IUnknown*>(static_cast<First*>(this)))
                      : FindInterface<First, Others...>(this, iid);
        if (*object == nullptr) {
            *object = FindOther(iid);
        }
        if (*object == nullptr) {
            return E_NOINTERFACE;
        }
        (void)AddRef();
        return S_OK;
    }

    ULONG AddRef() override { return references.Add(); }

    ULONG Release() override {
        const ULONG left = references.Drop();
        if (left == 0) {
            references.Pin();
            OnLastRelease();
        }
        return left;
    }

protected:
    ObjectRoot() = default;
    virtual ~ObjectRoot() = default;

    // For interfaces that the list doesn't name: the pointer, without a reference, or null. What it
    // gives must be counted by this object.
    virtual void* FindOther(REFIID) { return nullptr; }

    // The last reference went; the count has been pinned. An object that is kept for use calls
    // RestartReferences.
    virtual void OnLastRelease() { delete this; }

    void RestartReferences() { references.Restart(); }

private:
    ReferenceCount references;
};

// A new object with its one reference. Null if memory is short; the constructor must not throw
// anything else.
template <class Object, class... Arguments>
Ref<Object> MakeObject(Arguments&&... arguments) {
    try {
        return Ref<Object>::Adopt(new Object(std::forward<Arguments>(arguments)...));
    } catch (const std::bad_alloc&) {
        return {};
    }
}

}  // namespace qdvm
