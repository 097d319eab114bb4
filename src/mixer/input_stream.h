#pragma once

// The mixer's view of one input: the one frame that it shows now, the format of that frame, the
// times that place it on the output grid, and what to show when no frame comes. The logic half of
// an input pin; the pin derives from it and supplies what only the graph can tell.

#include "config/stream_defaults.h"
#include "frames/blob_holder.h"
#include "frames/media_type.h"
#include "mixer/media_frame.h"
#include "pixels/stream_mix.h"
#include "platform/counted_string.h"
#include "platform/event.h"
#include "platform/lock.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_mixer.h>

#include <atomic>
#include <cstdint>
#include <limits>

namespace qdvm {

// A time not yet known, 100 ns.
inline constexpr std::int64_t kUnknownTime = std::numeric_limits<std::int64_t>::min();

// Frame time taken when a stream's is unknown, 100 ns (40 ms).
inline constexpr std::int64_t kDefaultFrameTime = 400000;

// Pixels; 0: follows from the picture.
struct ThumbnailSize {
    LONG width = 0;
    LONG height = 0;
};

// Thread-safety: flags and counters are atomic words, written under streamLock or by the one thread
// that owns them at the moment; everything else is guarded by streamLock. One thread at a time
// delivers frames.
class InputStream {
public:
    // lockOwner: whose locks streamLock is taken inside of, see LockOrder.
    explicit InputStream(const void* lockOwner = nullptr);
    InputStream(const InputStream&) = delete;
    InputStream& operator=(const InputStream&) = delete;

    // What the graph's side supplies.
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;
    virtual bool IsConnected() const = 0;
    // Seeks the upstream to its start, on a thread of its own. False if it offers no seeking.
    virtual bool SeekUpstreamToStart() = 0;
    // Duration of one frame as a filter further up tells it, 100 ns; 0 if none does.
    virtual std::int64_t UpstreamFrameTime() = 0;

    // Takes a new format over, or none. Rebuilds the lost picture.
    HRESULT ApplyMediaType(const MediaType* type);

    // At each pause from stopped / at each stop / when buffers are to be dropped.
    void ResetStream();
    void StopStream();
    void FlushStream();

    // The upstream has ended: starts it over if the stream loops, else marks the end.
    void EndStream();

    // lostShow null leaves what is shown; a negative maxWait leaves the wait. E_UNEXPECTED if the
    // picture to show can't be made.
    HRESULT MarkStreamLost(bool lostNow, std::int32_t maxWait, const eVM_LostShow* lostShow);

    // Restarts the wait after which the stream counts as lost: maxWaitFrames of its own frames, of
    // kDefaultFrameTime each while their duration is not known.
    void RestartWait();

    // What PutFrame stores: the frame, or the sign that the held one is to be shown again. False if
    // the stream was flushed or stopped since `flushesSeen` was read from flushCount, or is
    // stopped.
    bool StoreFrame(const MediaFrame& frame, std::uint32_t flushesSeen);

    // Waits for a small picture of the stream's next frame while frames come, up to 50 s; a flush,
    // a stop and the stream's end let it go. S_OK if there is one, of this or an earlier frame;
    // E_UNEXPECTED otherwise; E_INVALIDARG for sizes below 0 or beyond 16384. With no lock held.
    HRESULT RequestThumbnail(ThumbnailSize size, bool isRunning);

    bool IsThumbnailWanted() const { return thumbnailWanted; }

    // A frame that came: makes the picture from it if one is wanted.
    void OfferThumbnail(const MediaFrame& frame);

    // Makes the picture that is wanted from a frame, or lets go who waits for it. Needs streamLock.
    void ServeThumbnail(const MediaFrame& frame, const VM_VIDEO_PROPS& props);

    // The mixer has taken the stream's frame: a new one may come. Needs streamLock.
    void ReleaseFrame();

    // Ends a stream that was fading out when its last rect has gone; true if it did. Needs
    // streamLock.
    bool CloseIfFadedOut();

    // Switched on and not fading out.
    bool IsShown() const { return enabled && !hidePending; }

    VM_VIDEO_PROPS InputProps() const;

    VM_VIDEO_PROPS inputProps{};             // streamLock; fccType 0 while unconnected
    MediaType mediaType;                     // streamLock
    std::atomic<std::int64_t> frameTime{0};  // 100 ns, 0 while unknown

    MediaFrame currentFrame;              // streamLock
    VM_VIDEO_PROPS frameProps{};          // streamLock; the format that currentFrame came in
    std::atomic<bool> newFrame{false};    // a frame or a flush since the last transition step
    std::atomic<bool> hasData{false};     // a frame of non-zero length has been seen; never cleared
    std::atomic<bool> frameWaits{false};  // the held frame has not been composed yet
    std::atomic<std::int32_t> framesReceived{0};
    std::atomic<std::uint32_t> lastReceiveTick{0};  // ms
    std::atomic<std::int64_t> gridSlot{0};
    std::atomic<std::int64_t> gridLag{0};  // output frame less slot of the frame taken last
    std::atomic<std::int64_t> lastFrameStart{kUnknownTime};
    std::atomic<bool> ignoreTime{false};
    std::atomic<bool> keepRate{false};
    std::atomic<std::int64_t> clockOffset{kUnknownTime};
    std::atomic<bool> enabled{false};
    std::atomic<bool> hidePending{false};
    std::atomic<bool> endOfStream{false};
    std::atomic<bool> loop{true};
    std::atomic<bool> stopAllForEOS{false};
    std::atomic<bool> lost{false};
    std::atomic<std::int32_t> maxWaitFrames{8};
    std::atomic<std::int32_t> waitLeftMs{0};
    std::atomic<std::int32_t> lostShow{eVMLS_Last};
    CBLOBHolder<CCoTaskAlloc> lostPicture;  // streamLock; in the stream's own format
    CountedString keyLabel;                 // streamLock; travels with the key
    CBLOBHolder<CVirtualAlloc> thumbnail;   // streamLock; RGB24, used size 0: none
    PIC_PROPS thumbnailProps{};             // streamLock
    // Settings, fixed at construction.
    const StreamDefaults settings = LoadStreamDefaults();

    // Frames that ReceiveFrame dropped, frames shown again for want of a new one, since the start.
    std::atomic<std::uint32_t> framesDropped{0};
    std::atomic<std::uint32_t> framesRepeated{0};

    StreamPixels pixels;  // streamLock; rects also under mixLock

    Event readyEvent{Event::Reset::Manual};  // something for the next output frame
    // The frame has been taken, a new one may come. Set from the start, so that a stream that joins
    // between two starts holds nobody.
    Event freeEvent{Event::Reset::Manual, true};
    Event thumbnailEvent{Event::Reset::Manual};  // a thumbnail is done, or won't come
    Event pacingEvent{Event::Reset::Automatic};  // wakes a thread held by keepRate
    std::atomic<bool> freeEventOpen{false};      // between pause and stop; streamLock to change
    std::atomic<std::uint32_t> flushCount{0};    // a frame from before a flush must not be stored

    mutable CriticalSection streamLock;

protected:
    ~InputStream() = default;

private:
    void MakeThumbnail(const MediaFrame& frame, const VM_VIDEO_PROPS& props);
    HRESULT BuildLostPicture(eVM_LostShow show);
    HRESULT FillLostPicture(eVM_LostShow show);
    void RepeatOneField();

    std::atomic<bool> thumbnailWanted{false};  // streamLock to change
    ThumbnailSize thumbnailSize;               // streamLock
};

}  // namespace qdvm
