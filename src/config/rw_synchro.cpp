#include "config/rw_synchro.h"

#include <chrono>
#include <thread>

namespace qdvm {
namespace {

// Most locks are held for less than a time slice, so every 128th try alone gives up a whole one.
void Rest(unsigned tries) {
    if (tries % 128 == 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    else
        std::this_thread::yield();
}

}  // namespace

// The locks are handed from one function to another, which the static analysis can't follow.

bool CRWSynchroLiteCS::LockRead(bool wait) { return LockWrite(wait); }

void CRWSynchroLiteCS::UnlockRead() { UnlockWrite(); }

bool CRWSynchroLiteCS::LockWrite(bool wait) QDVM_NO_THREAD_SAFETY_ANALYSIS {
    if (!wait) return section.TryLock();
    section.Lock();
    return true;
}

void CRWSynchroLiteCS::UnlockWrite() QDVM_NO_THREAD_SAFETY_ANALYSIS { section.Unlock(); }

bool CRWSynchroLiteRW::AddReader() {
    std::int32_t count = readers.load(std::memory_order_relaxed);
    while (count >= 0)
        if (readers.compare_exchange_weak(count, count + 1, std::memory_order_acquire)) return true;
    return false;
}

bool CRWSynchroLiteRW::AddWrite() {
    std::int32_t count = readers.load(std::memory_order_relaxed);
    while (count <= 0)
        if (readers.compare_exchange_weak(count, count - 1, std::memory_order_acquire)) return true;
    return false;
}

bool CRWSynchroLiteRW::LockRead(bool wait) QDVM_NO_THREAD_SAFETY_ANALYSIS {
    if (AddReader()) return true;
    if (!wait) {
        if (!section.TryLock()) return false;
    } else {
        section.Lock();
    }
    // Inside the thread's own write the count stays negative, and the read needs no count.
    (void)AddReader();
    section.Unlock();
    return true;
}

void CRWSynchroLiteRW::UnlockRead() {
    std::int32_t count = readers.load(std::memory_order_relaxed);
    while (count >= 1)
        if (readers.compare_exchange_weak(count, count - 1, std::memory_order_release)) return;
}

bool CRWSynchroLiteRW::LockWrite(bool wait) QDVM_NO_THREAD_SAFETY_ANALYSIS {
    if (!wait) {
        if (!section.TryLock()) return false;
    } else {
        section.Lock();
    }
    pendingWrites.fetch_add(1, std::memory_order_relaxed);
    for (unsigned tries = 1; !AddWrite(); ++tries) {
        if (!wait) {
            pendingWrites.fetch_sub(1, std::memory_order_relaxed);
            section.Unlock();
            return false;
        }
        Rest(tries);
    }
    return true;
}

void CRWSynchroLiteRW::UnlockWrite() QDVM_NO_THREAD_SAFETY_ANALYSIS {
    std::int32_t count = readers.load(std::memory_order_relaxed);
    while (count <= -1)
        if (readers.compare_exchange_weak(count, count + 1, std::memory_order_release)) break;
    pendingWrites.fetch_sub(1, std::memory_order_relaxed);
    section.Unlock();
}

SynchroGuard::SynchroGuard(CRWSynchroLiteBase* guarded, Access wanted)
    : lock(guarded), access(wanted) {
    if (lock == nullptr) return;
    (void)(access == Access::Write ? lock->LockWrite(true) : lock->LockRead(true));
}

SynchroGuard::~SynchroGuard() {
    if (lock == nullptr) return;
    if (access == Access::Write)
        lock->UnlockWrite();
    else
        lock->UnlockRead();
}

}  // namespace qdvm
