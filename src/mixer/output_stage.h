#pragma once

// The logic half of the output pin: the output format and the way of a finished frame to the
// downstream pin, through a queue and a thread of its own.

#include "frames/media_type.h"
#include "mixer/media_frame.h"
#include "platform/event.h"
#include "platform/lock.h"
#include "platform/thread.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace qdvm {

class OutputStage {
public:
    // lockOwner: whose locks the stage takes its own inside of, see LockOrder.
    explicit OutputStage(const void* lockOwner = nullptr)
        : formatLock(LockRank::Leaf, lockOwner), queueLock(LockRank::Leaf, lockOwner) {}
    OutputStage(const OutputStage&) = delete;
    OutputStage& operator=(const OutputStage&) = delete;

    // What the graph's side supplies.
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;
    virtual bool IsConnected() const = 0;
    // An empty frame of the connection's allocator; blocks until one is free or the allocator is
    // decommitted. VFW_E_NO_ALLOCATOR without one.
    virtual HRESULT GetBuffer(MediaFrame* frame) = 0;
    // Whether its frames lie in plain memory of ours, which is as fast to read as to write.
    virtual bool HasOwnMemory() const = 0;
    // Takes over the media type that the sample carries, if any. VFW_E_INVALIDMEDIATYPE if it does
    // not fit, S_FALSE if there is none.
    virtual HRESULT AdoptSampleType(const MediaFrame& frame) = 0;
    // Hands the frame to the downstream pin on this thread; no lock is held meanwhile.
    virtual HRESULT DeliverFrame(const MediaFrame& frame) = 0;
    virtual void DeliverEndOfStream() = 0;
    virtual HRESULT CommitAllocator() = 0;
    virtual HRESULT DecommitAllocator() = 0;
    // Text for the trace after a delivery: pin, allocator and its counts are the graph's to tell.
    virtual void TraceDelivery(std::uint32_t milliseconds, std::size_t queueLength) = 0;

    // Sets the format from a type, or clears it with null. A type that can't be parsed leaves an
    // empty picture.
    HRESULT SetOutputType(const MediaType* type);
    MediaType OutputType() const;
    std::int64_t OutputTypeFrameTime() const;  // 100 ns; 0 if the type doesn't tell
    VM_VIDEO_PROPS OutputProps() const;

    // An empty frame stands for the end of the stream. Does nothing unless delivery is started, or
    // where memory is too short for one more to wait.
    void PutOutput(MediaFrame frame);
    void FlushOutputQueue();
    HRESULT StartDelivery();
    void StopDelivery();
    bool IsDeliveryThread() const { return deliveryThread.IsCurrent(); }

protected:
    ~OutputStage() = default;

private:
    void DeliveryLoop();
    bool TakeItem(MediaFrame* frame, std::size_t* left);
    bool GrowQueue() QDVM_REQUIRES(queueLock);

    mutable CriticalSection formatLock;
    VM_VIDEO_PROPS outputProps QDVM_GUARDED_BY(formatLock){};
    MediaType outputType QDVM_GUARDED_BY(formatLock);

    // A ring that doubles when it is full: the allocator's buffer count bounds what can wait.
    CriticalSection queueLock;
    std::vector<MediaFrame> deliveryQueue QDVM_GUARDED_BY(queueLock);
    std::size_t queueHead QDVM_GUARDED_BY(queueLock) = 0;
    std::size_t queueCount QDVM_GUARDED_BY(queueLock) = 0;
    Event wakeEvent{Event::Reset::Automatic};
    std::atomic<bool> runDelivery{false};
    Thread deliveryThread;
};

}  // namespace qdvm
