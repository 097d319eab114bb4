#pragma once

// The reader/writer lock of the pin table and of the layout.

#include "platform/event.h"
#include "platform/lock.h"

#include <cstdint>

namespace qdvm {

// Shared inside shared on one thread is allowed, exclusive inside exclusive too; the two kinds must
// not be nested on one thread. Readers that keep overlapping hold a writer back.
class QDVM_CAPABILITY("shared lock") SharedLock {
public:
    // lockOwner: as for CriticalSection.
    explicit SharedLock(LockRank lockRank, const void* lockOwner = nullptr)
        : rank(lockRank), owner(lockOwner) {}
    SharedLock(const SharedLock&) = delete;
    SharedLock& operator=(const SharedLock&) = delete;

    void AcquireShared();
    void ReleaseShared();
    void AcquireExclusive() QDVM_NO_THREAD_SAFETY_ANALYSIS;
    void ReleaseExclusive() QDVM_NO_THREAD_SAFETY_ANALYSIS;

private:
    const LockRank rank;
    const void* const owner;
    CriticalSection innerLock;
    CriticalSection writerLock;
    Event noWriters{Event::Reset::Manual, true};
    Event noReaders{Event::Reset::Manual, true};
    std::uint32_t readers = 0;
    std::uint32_t writers = 0;
};

// Takes the lock for a scope.
class SharedLockGuard {
public:
    enum class Mode { kShared, kExclusive };
    SharedLockGuard(SharedLock& guarded, Mode wanted);
    ~SharedLockGuard();
    SharedLockGuard(const SharedLockGuard&) = delete;
    SharedLockGuard& operator=(const SharedLockGuard&) = delete;

private:
    SharedLock& lock;
    const Mode mode;
};

}  // namespace qdvm
