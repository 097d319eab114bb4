#pragma once

// Critical sections, and the check that threads take them in the documented order.

#include "platform/thread_annotations.h"

#include <cstdint>
#include <mutex>

namespace qdvm {

// The order of locks, outermost first. A thread that holds a lock may take only locks of a later
// rank, besides those that it holds already. Two locks of one rank may be held together only for
// the ranks that stand before Pins, which belong to the filters and pins of a whole chain; Leaf
// stands for locks under which nothing but the lock's own data is touched. Unranked locks are not
// checked: they are parts of a lock that reports itself.
enum class LockRank : std::uint8_t {
    Filter,
    InputPin,
    OutputPin,
    Receive,
    Pins,
    Mix,
    Stream,
    Leaf,
    Unranked,
};

const char* LockRankName(LockRank rank);

// The check behind the locks; builds that define QDVM_CHECK_LOCK_ORDER print the two ranks and
// abort at a violation, all others do nothing. A lock of a kind of its own calls Acquired before it
// may block, and Released when it is given up.
//
// owner: locks are compared only with locks of the same owner, so that one filter may call another
// of its kind with its own locks held. Null is an owner like any other.
//
// A lock that the thread holds already may be taken again, but for exclusive inside shared, which
// would wait for itself.
class LockOrder {
public:
    enum class Mode : std::uint8_t { Exclusive, Shared };

#ifdef QDVM_CHECK_LOCK_ORDER
    static void Acquired(LockRank rank, const void* lock, Mode mode = Mode::Exclusive,
                         const void* owner = nullptr);
    static void Released(LockRank rank, const void* lock);
#else
    static void Acquired(LockRank, const void*, Mode = Mode::Exclusive, const void* = nullptr) {}
    static void Released(LockRank, const void*) {}
#endif
};

// A lock that its thread can take again.
class QDVM_CAPABILITY("mutex") CriticalSection {
public:
    // lockOwner: see LockOrder.
    explicit CriticalSection(LockRank lockRank = LockRank::Unranked,
                             const void* lockOwner = nullptr)
        : owner(lockOwner), rank(lockRank) {}
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void Lock() QDVM_ACQUIRE() {
        LockOrder::Acquired(rank, this, LockOrder::Mode::Exclusive, owner);
        mutex.lock();
    }

    void Unlock() QDVM_RELEASE() {
        mutex.unlock();
        LockOrder::Released(rank, this);
    }

    // Takes the lock if that needs no waiting; the order is checked in any case.
    bool TryLock() QDVM_TRY_ACQUIRE(true) {
        LockOrder::Acquired(rank, this, LockOrder::Mode::Exclusive, owner);
        if (mutex.try_lock()) {
            return true;
        }
        LockOrder::Released(rank, this);
        return false;
    }

private:
    std::recursive_mutex mutex;
    const void* const owner;
    const LockRank rank;
};

// Holds a critical section for a scope. It can be given up before the end of the scope, and taken
// again.
class QDVM_SCOPED_CAPABILITY ScopedLock {
public:
    explicit ScopedLock(CriticalSection& lock) QDVM_ACQUIRE(lock) : section(lock) {
        section.Lock();
    }

    ~ScopedLock() QDVM_RELEASE() {
        if (isHeld) {
            section.Unlock();
        }
    }

    ScopedLock(const ScopedLock&) = delete;
    ScopedLock& operator=(const ScopedLock&) = delete;

    void Unlock() QDVM_RELEASE() {
        section.Unlock();
        isHeld = false;
    }

    void Lock() QDVM_ACQUIRE() {
        section.Lock();
        isHeld = true;
    }

private:
    CriticalSection& section;
    bool isHeld = true;
};

}  // namespace qdvm
