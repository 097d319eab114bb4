#pragma once

// A reader-writer lock and a plain one behind one interface, for trees.

#include "platform/lock.h"

#include <atomic>
#include <cstdint>

namespace qdvm {

// With wait, taking the lock always succeeds. Without, it may give false and then holds nothing.
class CRWSynchroLiteBase {
public:
    CRWSynchroLiteBase() = default;
    CRWSynchroLiteBase(const CRWSynchroLiteBase&) = delete;
    CRWSynchroLiteBase& operator=(const CRWSynchroLiteBase&) = delete;
    virtual ~CRWSynchroLiteBase() = default;

    virtual bool LockRead(bool wait) = 0;
    virtual void UnlockRead() = 0;
    virtual bool LockWrite(bool wait) = 0;
    virtual void UnlockWrite() = 0;
};

// One lock for readers and writers alike, which its thread can take again in either way.
class CRWSynchroLiteCS final : public CRWSynchroLiteBase {
public:
    bool LockRead(bool wait) override;
    void UnlockRead() override;
    bool LockWrite(bool wait) override;
    void UnlockWrite() override;

private:
    CriticalSection section;
};

// Any number of readers, or one writer, who may read and write again inside. A reader must not go
// on to write: it would wait for itself.
class CRWSynchroLiteRW final : public CRWSynchroLiteBase {
public:
    bool LockRead(bool wait) override;
    void UnlockRead() override;
    bool LockWrite(bool wait) override;
    void UnlockWrite() override;

private:
    // Moves the count by one if it stands where `from` allows.
    bool AddReader();
    bool AddWrite();

    CriticalSection section;                     // held by the writer
    std::atomic<std::int32_t> readers{0};        // negative: depth of the writer
    std::atomic<std::int32_t> pendingWrites{0};  // writers that wait or hold the lock
};

// Holds a lock for a scope; a null lock is none.
class SynchroGuard {
public:
    enum class Access { Read, Write };

    SynchroGuard(CRWSynchroLiteBase* guarded, Access wanted);
    SynchroGuard(CRWSynchroLiteBase& guarded, Access wanted) : SynchroGuard(&guarded, wanted) {}
    ~SynchroGuard();
    SynchroGuard(const SynchroGuard&) = delete;
    SynchroGuard& operator=(const SynchroGuard&) = delete;

private:
    CRWSynchroLiteBase* const lock;
    const Access access;
};

}  // namespace qdvm
