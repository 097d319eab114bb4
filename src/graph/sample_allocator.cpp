#include "graph/sample_allocator.h"

#include "platform/event.h"

#include <bit>
#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace qdvm {

#define QDVM_ALLOCATOR_MEMBER(Result)                     \
    template <class Derived, class Buffers, class Sample> \
    Result CMemAllocBase<Derived, Buffers, Sample>

QDVM_ALLOCATOR_MEMBER()::~CMemAllocBase() {
    ScopedLock guard(lock);
    state = AllocatorState::kDead;
}

QDVM_ALLOCATOR_MEMBER(AllocatorState)::State() const {
    ScopedLock guard(lock);
    return state;
}

QDVM_ALLOCATOR_MEMBER(HRESULT)::Normalise(ALLOCATOR_PROPERTIES* wanted) {
    constexpr std::uint32_t kLargestAlign = 0x40000000;
    const auto align = static_cast<std::uint32_t>(wanted->cbAlign);
    if (align > kLargestAlign) return VFW_E_BADALIGN;
    if (align != 0) wanted->cbAlign = static_cast<LONG>(std::bit_ceil(align));
    if (wanted->cBuffers < 1 || wanted->cbBuffer < 1) return VFW_E_SIZENOTSET;
    if (wanted->cbPrefix < 0) return E_INVALIDARG;
    if (wanted->cbAlign == 0) wanted->cbAlign = 1;
    const std::int64_t whole = std::int64_t{wanted->cbBuffer} + wanted->cbPrefix;
    const std::int64_t aligned = (whole + wanted->cbAlign - 1) / wanted->cbAlign * wanted->cbAlign;
    const std::int64_t buffer = aligned - wanted->cbPrefix;
    if (buffer > std::numeric_limits<LONG>::max()) return E_OUTOFMEMORY;
    wanted->cbBuffer = static_cast<LONG>(buffer);
    return S_OK;
}

QDVM_ALLOCATOR_MEMBER(HRESULT)::SetProperties(ALLOCATOR_PROPERTIES* request,
                                              ALLOCATOR_PROPERTIES* actual) {
    if (!request || !actual) return E_POINTER;
    ALLOCATOR_PROPERTIES wanted = *request;
    *actual = {};
    ScopedLock guard(lock);
    switch (state) {
        case AllocatorState::kDead:
            return E_ABORT;
        case AllocatorState::kCommittedIdle:
        case AllocatorState::kCommittedBusy:
        case AllocatorState::kCommittedWaiting:
            return VFW_E_ALREADY_COMMITTED;
        case AllocatorState::kDecommitting:
            return VFW_E_BUFFERS_OUTSTANDING;
        case AllocatorState::kCreated:
        case AllocatorState::kSized:
            break;
    }
    const HRESULT result = Normalise(&wanted);
    if (Failed(result)) return result;
    props = *actual = wanted;
    state = AllocatorState::kSized;
    return S_OK;
}

QDVM_ALLOCATOR_MEMBER(HRESULT)::GetProperties(ALLOCATOR_PROPERTIES* out) {
    if (!out) return E_POINTER;
    *out = {};
    ScopedLock guard(lock);
    if (state == AllocatorState::kDead) return E_ABORT;
    if (state == AllocatorState::kCreated) return VFW_E_BUFFER_NOTSET;
    *out = props;
    return S_OK;
}

QDVM_ALLOCATOR_MEMBER(HRESULT)::Commit() {
    ScopedLock guard(lock);
    switch (state) {
        case AllocatorState::kDead:
            return E_ABORT;
        case AllocatorState::kCreated:
            return E_FAIL;
        case AllocatorState::kSized:
            break;
        case AllocatorState::kCommittedIdle:
        case AllocatorState::kCommittedBusy:
        case AllocatorState::kCommittedWaiting:
            return S_OK;
        case AllocatorState::kDecommitting:
            state = buffers.FreeCount() > 0 ? AllocatorState::kCommittedBusy
                                            : AllocatorState::kCommittedWaiting;
            return S_OK;
    }
    const bool isMade =
        slots.Make(static_cast<std::size_t>(props.cBuffers)) && Succeeded(buffers.Commit(props));
    if (!isMade) {
        slots.Clear();
        return E_OUTOFMEMORY;
    }
    self = this;
    state = AllocatorState::kCommittedIdle;
    return S_OK;
}

QDVM_ALLOCATOR_MEMBER(HRESULT)::Decommit() {
    Ref<CMemAllocBase> last;  // let go of after the lock
    ScopedLock guard(lock);
    if (state == AllocatorState::kDead) return E_ABORT;
    if (state == AllocatorState::kCreated) return E_FAIL;
    if (state == AllocatorState::kSized) return S_OK;
    state = AllocatorState::kDecommitting;
    if (AllFree()) {
        state = AllocatorState::kSized;
        buffers.Decommit();
        slots.Clear();
        last = std::move(self);
    }
    WakeWaiters();
    return S_OK;
}

QDVM_ALLOCATOR_MEMBER(HRESULT)::NotCommittedResult() const {
    switch (state) {
        case AllocatorState::kDead:
            return E_ABORT;
        case AllocatorState::kCreated:
            return VFW_E_BUFFER_NOTSET;
        case AllocatorState::kSized:
        case AllocatorState::kDecommitting:
            return VFW_E_NOT_COMMITTED;
        default:
            return S_OK;
    }
}

QDVM_ALLOCATOR_MEMBER(HRESULT)::GetBuffer(IMediaSample** sample, REFERENCE_TIME* /*start*/,
                                          REFERENCE_TIME* /*stop*/, DWORD flags) {
    if (!sample) return E_POINTER;
    *sample = nullptr;
    // A waiting thread may be the only one that still knows this object.
    const Ref<CMemAllocBase> keep(this);
    ScopedLock guard(lock);
    for (;;) {
        const HRESULT refused = NotCommittedResult();
        if (Failed(refused)) return refused;
        if (state != AllocatorState::kCommittedWaiting) {
            const HRESULT given = GiveSample(sample);
            if (given != S_FALSE) return given;
            if (state == AllocatorState::kCommittedIdle) return E_FAIL;
            state = AllocatorState::kCommittedWaiting;
        }
        if ((flags & AM_GBF_NOWAIT) != 0) return VFW_E_TIMEOUT;
        ++waiters;
        guard.Unlock();
        (void)wake.WaitFor(kInfinite);
        guard.Lock();
    }
}

// S_FALSE if no buffer is free.
QDVM_ALLOCATOR_MEMBER(HRESULT)::GiveSample(IMediaSample** sample) {
    BYTE* const data = buffers.Take();
    if (!data) return S_FALSE;
    void* const slot = slots.Take();
    if (!slot) {
        buffers.Put(data);
        return E_OUTOFMEMORY;
    }
    auto* const object = new (slot) SampleObject(*this, data, props.cbBuffer);
    if (std::exchange(hasNextType, false)) {
        (void)object->SetMediaType(nextType.operator->());
        nextType.Clear();
    }
    state = AllocatorState::kCommittedBusy;
    *sample = object;
    return S_OK;
}

QDVM_ALLOCATOR_MEMBER(void)::Reclaim(SampleObject* sample) {
    Ref<CMemAllocBase> keep;  // outlives the lock
    Ref<CMemAllocBase> last;
    bool notifies = false;
    {
        ScopedLock guard(lock);
        keep = this;
        BYTE* data = nullptr;
        (void)sample->GetPointer(&data);
        std::destroy_at(sample);
        buffers.Put(data);
        notifies = AfterReturn();
        slots.Put(sample);
        if (state == AllocatorState::kSized) last = std::move(self);
        WakeWaiters();
    }
    if (notifies) NotifyRelease();
}

// The step that the state makes when a buffer has come back; whether the callback is to be told.
QDVM_ALLOCATOR_MEMBER(bool)::AfterReturn() {
    switch (state) {
        case AllocatorState::kCommittedBusy:
        case AllocatorState::kCommittedWaiting:
            state = AllFree() ? AllocatorState::kCommittedIdle : AllocatorState::kCommittedBusy;
            return true;
        case AllocatorState::kDecommitting:
            // The store keeps its memory until the next Commit or the end.
            if (AllFree()) state = AllocatorState::kSized;
            return true;
        default:
            return false;
    }
}

QDVM_ALLOCATOR_MEMBER(HRESULT)::ReleaseBuffer(IMediaSample* /*sample*/) {
    Ref<CMemAllocBase> last;
    bool notifies = false;
    {
        ScopedLock guard(lock);
        if (state == AllocatorState::kDead) return E_ABORT;
        notifies = AfterReturn();
        if (state == AllocatorState::kSized) last = std::move(self);
        WakeWaiters();
    }
    if (notifies) NotifyRelease();
    return S_OK;
}

// Outside the lock, so that the callback may do as it likes.
QDVM_ALLOCATOR_MEMBER(void)::NotifyRelease() {
    Ref<IMemAllocatorNotifyCallbackTemp> callback;
    {
        ScopedLock guard(lock);
        callback = notify;
    }
    if (callback) (void)callback->NotifyRelease();
}

// All of them: who loses the race for a buffer waits again.
QDVM_ALLOCATOR_MEMBER(void)::WakeWaiters() {
    if (waiters > 0) (void)wake.Release(std::exchange(waiters, 0));
}

QDVM_ALLOCATOR_MEMBER(HRESULT)::SetNotify(IMemAllocatorNotifyCallbackTemp* callback) {
    Ref<IMemAllocatorNotifyCallbackTemp> old(callback);  // then the one that was set before
    ScopedLock guard(lock);
    notify.Swap(old);
    return S_OK;
}

QDVM_ALLOCATOR_MEMBER(HRESULT)::GetFreeCount(LONG* buffersFree) {
    if (!buffersFree) return E_POINTER;
    *buffersFree = 0;
    ScopedLock guard(lock);
    const HRESULT refused = NotCommittedResult();
    if (Failed(refused)) return refused;
    *buffersFree = buffers.FreeCount();
    return S_OK;
}

QDVM_ALLOCATOR_MEMBER(HRESULT)::SetNextSampleMediaType(const AM_MEDIA_TYPE* type) {
    ScopedLock guard(lock);
    nextType.Clear();
    hasNextType = false;
    if (!type) return S_OK;
    const HRESULT result = nextType.Assign(type);
    hasNextType = Succeeded(result);
    return result;
}

#undef QDVM_ALLOCATOR_MEMBER

template class CMemAllocBase<CGreedMemoryAllocator, CGreedArrayOnVirtualAlloc, CMediaSample>;
template class CMemAllocBase<PlainMemoryAllocator, CBufferOnVirtualAlloc, CMediaSample>;

}  // namespace qdvm
