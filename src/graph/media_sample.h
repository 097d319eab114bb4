#pragma once

// The media sample that the allocators of this library hand out.

#include "frames/media_type.h"

#include <qdvideomixer/media_graph.h>

#include <atomic>
#include <cstdint>

namespace qdvm {

// All of a sample but its way back to the allocator. Thread-safety: the reference count is atomic;
// nothing else is guarded, as a sample is worked on by one filter at a time.
class CMediaSample : public IMediaSample2 {
public:
    CMediaSample(const CMediaSample&) = delete;
    CMediaSample& operator=(const CMediaSample&) = delete;

    // IMediaSample
    HRESULT GetPointer(BYTE** data) override;
    LONG GetSize() override;
    HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override;
    HRESULT SetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override;
    HRESULT IsSyncPoint() override;
    HRESULT SetSyncPoint(BOOL isSyncPoint) override;
    HRESULT IsPreroll() override;
    HRESULT SetPreroll(BOOL isPreroll) override;
    LONG GetActualDataLength() override;
    HRESULT SetActualDataLength(LONG length) override;
    HRESULT GetMediaType(AM_MEDIA_TYPE** copy) override;
    HRESULT SetMediaType(AM_MEDIA_TYPE* type) override;
    HRESULT IsDiscontinuity() override;
    HRESULT SetDiscontinuity(BOOL isDiscontinuity) override;
    HRESULT GetMediaTime(LONGLONG* start, LONGLONG* stop) override;
    HRESULT SetMediaTime(LONGLONG* start, LONGLONG* stop) override;

    // IMediaSample2. The record is read and written as a prefix of `bytes` bytes.
    HRESULT GetProperties(DWORD bytes, BYTE* properties) override;
    HRESULT SetProperties(DWORD bytes, const BYTE* properties) override;

    virtual const char* ClassName() const { return "CMediaSample"; }

protected:
    CMediaSample(BYTE* data, LONG bytes) : buffer(data), size(bytes) {}
    ~CMediaSample() = default;

private:
    HRESULT FlagResult(DWORD flag) const { return (flags & flag) != 0 ? S_OK : S_FALSE; }
    void SetFlag(DWORD flag, bool set) { flags = set ? flags | flag : flags & ~flag; }
    HRESULT CheckProperties(DWORD bytes, const AM_SAMPLE2_PROPERTIES& given) const;

    BYTE* const buffer;
    const LONG size;  // bytes that the buffer can hold
    LONG actualLength = 0;
    DWORD flags = 0;
    DWORD typeSpecificFlags = 0;
    MediaType mediaType;
    bool hasType = false;  // mediaType holds one, whether or not the flag shows it
    REFERENCE_TIME startTime = 0;
    REFERENCE_TIME stopTime = 0;
    LONGLONG mediaStart = 0;
    LONGLONG mediaStop = 0;
    DWORD streamId = 0;
};

// A sample as it stands in a slot of `Allocator`, which takes it back by Reclaim when the last
// reference goes. The allocator outlives its samples: it holds itself while any is out.
template <class Allocator, class Sample>
class CComSampleObject final : public Sample {
public:
    CComSampleObject(Allocator& owner, BYTE* data, LONG bytes)
        : Sample(data, bytes), allocator(owner) {}
    ~CComSampleObject() = default;

    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (iid != IID_IUnknown && iid != IID_IMediaSample && iid != IID_IMediaSample2)
            return E_NOINTERFACE;
        *object = static_cast<IMediaSample2*>(this);
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return references.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG Release() override {
        const ULONG left = references.fetch_sub(1, std::memory_order_acq_rel) - 1;
        if (left == 0) allocator.Reclaim(this);
        return left;
    }

private:
    Allocator& allocator;
    std::atomic<ULONG> references{1};
};

}  // namespace qdvm
