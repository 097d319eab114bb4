#include "mixer/shared_lock.h"

namespace qdvm {

void SharedLock::AcquireShared() {
    LockOrder::Acquired(rank, this, LockOrder::Mode::Shared, owner);
    for (;;) {
        noWriters.Wait();
        ScopedLock guard(innerLock);
        if (writers != 0) continue;
        ++readers;
        noReaders.Clear();
        return;
    }
}

void SharedLock::ReleaseShared() {
    {
        ScopedLock guard(innerLock);
        if (--readers == 0) noReaders.Set();
    }
    LockOrder::Released(rank, this);
}

void SharedLock::AcquireExclusive() {
    LockOrder::Acquired(rank, this, LockOrder::Mode::Exclusive, owner);
    for (;;) {
        noReaders.Wait();
        ScopedLock guard(innerLock);
        if (readers != 0) continue;
        ++writers;
        noWriters.Clear();
        break;
    }
    writerLock.Lock();
}

void SharedLock::ReleaseExclusive() {
    writerLock.Unlock();
    {
        ScopedLock guard(innerLock);
        if (--writers == 0) noWriters.Set();
    }
    LockOrder::Released(rank, this);
}

SharedLockGuard::SharedLockGuard(SharedLock& guarded, Mode wanted) : lock(guarded), mode(wanted) {
    if (mode == Mode::kShared)
        lock.AcquireShared();
    else
        lock.AcquireExclusive();
}

SharedLockGuard::~SharedLockGuard() {
    if (mode == Mode::kShared)
        lock.ReleaseShared();
    else
        lock.ReleaseExclusive();
}

}  // namespace qdvm
