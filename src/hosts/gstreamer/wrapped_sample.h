#pragma once

// Samples around the memory of buffers.

#include "frames/media_type.h"
#include "platform/lock.h"
#include "platform/object_root.h"
#include "platform/ref.h"

#include <qdvideomixer/media_graph.h>

#include <gst/gst.h>

#include <memory>
#include <vector>

namespace qdvm {

class WrappedSample;

// Samples of one pad that have come back and wait for their next buffer, so that a frame allocates
// nothing once there are as many samples as are held at a time. Lives until its last sample is
// back.
//
// Thread-safety: all operations can be called from any thread.
class SamplePool final : public std::enable_shared_from_this<SamplePool> {
public:
    SamplePool() = default;
    ~SamplePool();
    SamplePool(const SamplePool&) = delete;
    SamplePool& operator=(const SamplePool&) = delete;

    // A sample without a buffer; null if memory is short.
    Ref<WrappedSample> Take();

private:
    friend class WrappedSample;
    void GiveBack(WrappedSample* sample);

    CriticalSection lock{LockRank::Leaf};
    std::vector<WrappedSample*> idle QDVM_GUARDED_BY(lock);
};

// The memory of a buffer, mapped for reading for as long as the sample is held. Times and flags are
// the sample's own.
//
// Thread-safety: the reference count only, as with any sample.
class WrappedSample final : public ObjectRoot<IMediaSample> {
public:
    WrappedSample() = default;

    // Maps the buffer and keeps a reference on it; the frame starts `offset` bytes in and has
    // `length` bytes. False if the buffer can't be mapped or is too short. A null buffer gives an
    // empty sample.
    bool Wrap(GstBuffer* wrapped, gsize offset, gsize length);

    HRESULT GetPointer(BYTE** out) override;
    LONG GetSize() override { return size; }
    HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override;
    HRESULT SetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override;
    HRESULT IsSyncPoint() override { return isSyncPoint ? S_OK : S_FALSE; }
    HRESULT SetSyncPoint(BOOL set) override;
    HRESULT IsPreroll() override { return isPreroll ? S_OK : S_FALSE; }
    HRESULT SetPreroll(BOOL set) override;
    LONG GetActualDataLength() override { return length; }
    HRESULT SetActualDataLength(LONG newLength) override;
    HRESULT GetMediaType(AM_MEDIA_TYPE** out) override;
    HRESULT SetMediaType(AM_MEDIA_TYPE* newType) override;
    HRESULT IsDiscontinuity() override { return isDiscontinuity ? S_OK : S_FALSE; }
    HRESULT SetDiscontinuity(BOOL set) override;
    HRESULT GetMediaTime(LONGLONG* start, LONGLONG* stop) override;
    HRESULT SetMediaTime(LONGLONG* start, LONGLONG* stop) override;

protected:
    void OnLastRelease() override;

private:
    friend class SamplePool;
    ~WrappedSample() override { Unwrap(); }

    void Unwrap();

    struct Span {
        REFERENCE_TIME start = 0;
        REFERENCE_TIME stop = 0;
        bool hasStart = false;
        bool hasStop = false;
    };

    std::shared_ptr<SamplePool> pool;
    GstBuffer* buffer = nullptr;
    GstMapInfo map{};
    BYTE* data = nullptr;
    LONG size = 0;
    LONG length = 0;
    Span times;
    Span mediaTimes;
    MediaType type;
    bool hasType = false;
    bool isSyncPoint = true;
    bool isPreroll = false;
    bool isDiscontinuity = false;
};

}  // namespace qdvm
