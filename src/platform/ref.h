#pragma once

// A counted pointer.

#include "platform/iid.h"

#include <cstddef>
#include <type_traits>
#include <utility>

namespace qdvm {

// Holds one reference on an object with AddRef and Release: interfaces and plain counted classes
// alike. Not safe for use by several threads at a time, unlike the object itself.
template <class T>
class Ref {
public:
    Ref() = default;
    Ref(std::nullptr_t) {}

    // Adds a reference.
    explicit Ref(T* held) : object(held) {
        if (object != nullptr) {
            (void)object->AddRef();
        }
    }

    Ref(const Ref& other) : Ref(other.object) {}
    Ref(Ref&& other) noexcept : object(std::exchange(other.object, nullptr)) {}

    template <class U>
    requires std::is_convertible_v<U*, T*> Ref(const Ref<U>& other)
        : Ref(static_cast<T*>(other.Get())) {}

    template <class U>
    requires std::is_convertible_v<U*, T*> Ref(Ref<U>&& other)
    noexcept : object(other.Detach()) {}

    ~Ref() { Reset(); }

    Ref& operator=(const Ref& other) {
        Ref(other).Swap(*this);
        return *this;
    }

    Ref& operator=(Ref&& other) noexcept {
        Ref(std::move(other)).Swap(*this);
        return *this;
    }

    // Adds a reference.
    Ref& operator=(T* newObject) {
        Ref(newObject).Swap(*this);
        return *this;
    }

    // Takes over a reference that the caller holds.
    static Ref Adopt(T* object) {
        Ref ref;
        ref.object = object;
        return ref;
    }

    // Borrowed: no reference is added.
    T* Get() const { return object; }
    T* operator->() const { return object; }
    T& operator*() const { return *object; }
    explicit operator bool() const { return object != nullptr; }

    // For an operation that hands out a reference: releases what is held and gives the place to
    // fill.
    T** Put() {
        Reset();
        return &object;
    }

    // The same for QueryInterface and the like.
    void** PutVoid() { return reinterpret_cast<void**>(Put()); }

    void Reset() {
        if (T* held = std::exchange(object, nullptr)) {
            (void)held->Release();
        }
    }

    // Gives the reference to the caller.
    T* Detach() { return std::exchange(object, nullptr); }

    // Fills an out parameter with a reference of its own; null if nothing is held.
    void CopyTo(T** out) const {
        if (object != nullptr) {
            (void)object->AddRef();
        }
        *out = object;
    }

    void Swap(Ref& other) noexcept { std::swap(object, other.object); }

    // Another interface of the object, null if it has none such or nothing is held.
    template <class U>
    Ref<U> As() const {
        Ref<U> other;
        if (object != nullptr && object->QueryInterface(IidOf<U>(), other.PutVoid()) < 0) {
            (void)other.Detach();
        }
        return other;
    }

    friend bool operator==(const Ref& a, const Ref& b) { return a.object == b.object; }
    friend bool operator==(const Ref& a, const T* b) { return a.object == b; }
    friend bool operator==(const Ref& a, std::nullptr_t) { return a.object == nullptr; }

private:
    T* object = nullptr;
};

// Whether two interface pointers, of any interface, belong to one object. Null equals null only.
template <class T, class U>
bool IsSameObject(T* a, U* b) {
    if (a == nullptr || b == nullptr) {
        return static_cast<const void*>(a) == static_cast<const void*>(b);
    }
    Ref<IUnknown> first;
    Ref<IUnknown> second;
    return a->QueryInterface(IID_IUnknown, first.PutVoid()) >= 0 &&
           b->QueryInterface(IID_IUnknown, second.PutVoid()) >= 0 && first == second;
}

}  // namespace qdvm
