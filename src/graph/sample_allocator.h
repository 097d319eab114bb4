#pragma once

// The two allocators of media samples. They share states, waiting and samples, and differ in how
// they keep memory for their buffers.

#include "frames/media_type.h"
#include "graph/allocator_ex.h"
#include "graph/greedy_buffers.h"
#include "graph/media_sample.h"
#include "graph/plain_buffers.h"
#include "graph/slot_pool.h"
#include "platform/lock.h"
#include "platform/object_root.h"
#include "platform/ref.h"
#include "platform/semaphore.h"

#include <qdvideomixer/media_graph.h>

#include <cstdint>

namespace qdvm {

QDVM_INTERFACE(IMemAllocatorEx, IUnknown, IID_IMemAllocatorEx);

enum class AllocatorState : std::uint32_t {
    kDead = 0,
    kCreated = 1,           // no properties yet
    kSized = 2,             // properties set, no memory
    kCommittedIdle = 3,     // all buffers free
    kCommittedBusy = 4,     // buffers out
    kCommittedWaiting = 5,  // a GetBuffer found none free
    kDecommitting = 6,      // memory goes when the last sample is back
};

// Buffers keeps the memory (Commit, Decommit, Take, Put, FreeCount, Total), Sample is the class of
// the samples. While committed the allocator holds a reference on itself, so that it outlives its
// owner as long as samples are out. Any thread may call it, and may release a sample.
//
// GetBuffer without AM_GBF_NOWAIT waits without a time limit: a returned buffer or Decommit ends
// it.
template <class Derived, class Buffers, class Sample>
class CMemAllocBase : public ObjectRoot<IMemAllocatorCallbackTemp, IMemAllocatorEx> {
public:
    using SampleObject = CComSampleObject<CMemAllocBase, Sample>;

    // IMemAllocator
    HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override;
    HRESULT GetProperties(ALLOCATOR_PROPERTIES* out) override;
    HRESULT Commit() override;
    HRESULT Decommit() override;
    HRESULT GetBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                      DWORD flags) override;
    HRESULT ReleaseBuffer(IMediaSample* sample) override;

    // IMemAllocatorCallbackTemp
    HRESULT SetNotify(IMemAllocatorNotifyCallbackTemp* callback) override;
    HRESULT GetFreeCount(LONG* buffersFree) override;

    // IMemAllocatorEx
    HRESULT SetNextSampleMediaType(const AM_MEDIA_TYPE* type) override;

    virtual const char* ClassName() const { return Derived::kClassName; }

    // For tests and traces.
    AllocatorState State() const;

    // A sample whose last reference went.
    void Reclaim(SampleObject* sample);

protected:
    CMemAllocBase() = default;
    ~CMemAllocBase() override;

private:
    static HRESULT Normalise(ALLOCATOR_PROPERTIES* wanted);

    bool AllFree() const QDVM_REQUIRES(lock) { return buffers.FreeCount() == buffers.Total(); }
    HRESULT NotCommittedResult() const QDVM_REQUIRES(lock);
    HRESULT GiveSample(IMediaSample** sample) QDVM_REQUIRES(lock);
    bool AfterReturn() QDVM_REQUIRES(lock);
    void WakeWaiters() QDVM_REQUIRES(lock);
    void NotifyRelease();

    // Unranked: frames are let go of under any lock, and nothing else is taken inside.
    mutable CriticalSection lock;
    AllocatorState state QDVM_GUARDED_BY(lock) = AllocatorState::kCreated;
    ALLOCATOR_PROPERTIES props QDVM_GUARDED_BY(lock){0, 0, 1, 0};
    Semaphore wake;
    Ref<IMemAllocatorNotifyCallbackTemp> notify QDVM_GUARDED_BY(lock);
    Buffers buffers QDVM_GUARDED_BY(lock);
    SlotPool slots QDVM_GUARDED_BY(lock){sizeof(SampleObject)};
    LONG waiters QDVM_GUARDED_BY(lock) = 0;
    MediaType nextType QDVM_GUARDED_BY(lock);
    bool hasNextType QDVM_GUARDED_BY(lock) = false;
    Ref<CMemAllocBase> self QDVM_GUARDED_BY(lock);  // while committed
};

// What an input pin offers: keeps memory only for the buffers that are out.
class CGreedMemoryAllocator final
    : public CMemAllocBase<CGreedMemoryAllocator, CGreedArrayOnVirtualAlloc, CMediaSample> {
public:
    static constexpr const char* kClassName = "CGreedMemoryAllocator";
};

// What the output pin falls back on.
template <class Buffers>
class CMemoryAllocatorT final
    : public CMemAllocBase<CMemoryAllocatorT<Buffers>, Buffers, CMediaSample> {
public:
    static constexpr const char* kClassName = "CMemoryAllocatorT";
};

using PlainMemoryAllocator = CMemoryAllocatorT<CBufferOnVirtualAlloc>;

}  // namespace qdvm
