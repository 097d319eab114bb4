#pragma once

// The central object: the table of streams, the order in which they are drawn, the output stage,
// and MixFrame, which composes one output frame. Its operations stand in files named after their
// subject: mix_frame, mix_thread, receive, put_frame, stream_control, rect_control, mask_control,
// rect_change, background, capture, key_control, state, info. The graph's filter derives from it
// and supplies the pins.
//
// Locks, outermost first: filterLock, a pin's lock, pinsLock, mixLock, a stream's streamLock.
// captureLock is never held while another is taken.

#include "frames/blob_holder.h"
#include "mixer/background.h"
#include "mixer/clock_handle.h"
#include "mixer/input_stream.h"
#include "mixer/media_frame.h"
#include "mixer/output_stage.h"
#include "mixer/shared_lock.h"
#include "platform/lock.h"
#include "platform/ref.h"
#include "platform/thread.h"

#include <qdvideomixer/chroma_key.h>
#include <qdvideomixer/frame_listener.h>
#include <qdvideomixer/stream_status.h>
#include <qdvideomixer/video_mixer.h>

#include <atomic>
#include <cstdint>
#include <vector>

namespace qdvm {

class CCoKeySample;
class Underlay;

enum class PlayState : std::int32_t { kStopped = 0, kPaused = 1, kRunning = 2 };

class MixerCore : public IQDVideoMixer,
                  public IQDVideoMixerStatus,
                  public IQDVideoMixerFrames,
                  public IQDVideoMixerChromaKey {
public:
    MixerCore() = default;
    MixerCore(const MixerCore&) = delete;
    MixerCore& operator=(const MixerCore&) = delete;

    // By which the check of the lock order knows the locks of one mixer and its pins.
    const void* LockOwner() const { return this; }

    // --- frames (upstream threads) ---

    // Entry from input pin `pinId`: places the frame on the output grid and hands it on. Holds
    // pinsLock shared throughout and may block until the mixer has taken the stream's last frame.
    // E_UNEXPECTED without such a pin, VFW_E_NOT_RUNNING with the filter stopped.
    // flushesSeen: the stream's flushCount from before the pin was found not to be flushing.
    HRESULT ReceiveFrame(std::uint32_t pinId, const MediaFrame& frame, std::uint32_t flushesSeen);

    // --- states (under filterLock) ---

    // Leaving stopped. VFW_E_NOT_CONNECTED unless an input and the output are connected; the
    // allocator's failure otherwise. A failure leaves the state stopped and nothing started.
    HRESULT StartFromStopped(PlayState newState, std::int64_t startTimeGiven);
    HRESULT StopRunning();
    void GoRunning(std::int64_t startTimeGiven);
    PlayState State() const { return state; }

    // --- composition (mix thread, or the master stream's thread) ---

    // Composes and sends one frame. inFrame is the master stream's frame, or empty.
    HRESULT MixFrame(const MediaFrame& inFrame, bool allLost);

    // --- output format ---

    // Output period, 100 ns: the master's, else the rate asked for, else that of the fastest
    // connected stream but `excludedStream`; 0 if it can't be told yet. Needs pinsLock shared.
    std::int64_t ComputeOutputFrameTime(std::int32_t excludedStream) const;

    // Works the output format out anew; `reconnect` brings it to a connected output.
    virtual HRESULT BuildOutputFormat(bool reconnect) = 0;

    // --- layout, for callers that hold mixLock exclusive (scenes) ---

    // Throws std::bad_alloc where a rect is added, and then adds none.
    HRESULT SetRectLocked(InputStream& stream, LONG* rectNo, const VM_MIXING_RECT* rect,
                          std::int32_t milliseconds);
    // A negative number means all rects, at once.
    HRESULT RemoveRectLocked(InputStream& stream, LONG rectNo, std::int32_t milliseconds);
    // For a stream that has got its format: rects that were set before it had one, and mean the
    // whole picture, show it.
    void FillEmptyRectsLocked(InputStream& stream);
    void SetBackgroundLocked(BackgroundChange change, std::int32_t milliseconds);
    // Drops all that was made for the former key, so that a frame that is shown again changes too.
    void SetKeyLocked(InputStream& stream, const ChromaKeySettings& settings);

    // What SetBackgroundLocked needs. Takes no lock of the order: the output goes on while a
    // picture is read and brought to the output's size. A failure leaves *change as it was. Throws
    // std::bad_alloc.
    HRESULT LoadBackground(eVM_Background kind, LONG colour, BSTR fileName,
                           BackgroundChange* change) const;

    // The stream of a number, null if it is out of range. Needs pinsLock shared.
    InputStream* FindStream(LONG number) const;

    // --- IQDVideoMixer; SetOutputProps is the filter's ---

    HRESULT SetBackground(eVM_Background, LONG, BSTR) override;
    HRESULT GetOutputProps(BOOL, VM_VIDEO_PROPS*) override;
    HRESULT GetStreamCount(LONG*) override;
    HRESULT GetInputProps(LONG, VM_VIDEO_PROPS*) override;
    HRESULT GetInputRectCount(LONG, LONG*) override;
    HRESULT SetInputRect(LONG, LONG*, const VM_MIXING_RECT*) override;
    HRESULT GetInputRect(LONG, LONG, VM_MIXING_RECT*) override;
    HRESULT RemoveInputRect(LONG, LONG) override;
    HRESULT RemoveAllRects(LONG) override;
    HRESULT EnableStream(LONG, BOOL) override;
    HRESULT IsStreamEnabled(LONG, BOOL*) override;
    HRESULT IgnoreTime(LONG, BOOL) override;
    HRESULT IsIgnoreTime(LONG, BOOL*) override;
    HRESULT KeepStreamRate(LONG, BOOL) override;
    HRESULT IsKeepStreamRate(LONG, BOOL*) override;
    HRESULT SetRectMask(LONG, LONG, BSTR) override;
    HRESULT SetRectMaskHandle(LONG, LONG, LONG, BSTR) override;
    HRESULT SetInputRect2(LONG, LONG*, const VM_MIXING_RECT*, LONG) override;
    HRESULT RemoveInputRect2(LONG, LONG, LONG) override;
    HRESULT GetRectMask(LONG, LONG, BSTR*) override;
    HRESULT GetBackground(eVM_Background*, LONG*, BSTR*) override;
    HRESULT SetBackground2(eVM_Background, LONG, BSTR, LONG) override;
    HRESULT LoopStream(LONG, BOOL, BOOL) override;
    HRESULT IsStreamLooped(LONG, BOOL*, BOOL*) override;
    HRESULT CaptureBitmap(LONG*, BOOL) override;
    HRESULT SetStreamLost(LONG, eVM_LostShow) override;
    HRESULT IsStreamLost(LONG, BOOL*, eVM_LostShow*) override;
    HRESULT SetStreamMaxWait(LONG, LONG, eVM_LostShow) override;
    HRESULT GetStreamMaxWait(LONG, LONG*, eVM_LostShow*) override;
    HRESULT SetStreamForChromaKey(LONG) override;
    HRESULT GetStreamForChromaKey(LONG*) override;
    HRESULT FlushBuffers(LONG) override;
    HRESULT SetInputRectGL(LONG, LONG*, const VM_MIXING_RECT_GL*, LONG) override;
    HRESULT GetInputRectGL(LONG, LONG, VM_MIXING_RECT_GL*) override;
    HRESULT SetMasterStream(LONG) override;
    HRESULT GetMasterStream(LONG*) override;

    // --- IQDVideoMixerStatus ---

    HRESULT GetStreamStatus(LONG, VM_STREAM_STATUS*) override;
    HRESULT GetFramesMixed(std::uint64_t*) override;

    // --- IQDVideoMixerFrames ---

    HRESULT SetFrameListener(IQDVideoMixerFrameListener*) override;

    // --- IQDVideoMixerChromaKey ---

    HRESULT SetChromaKey(const ChromaKeySettings*) override;
    HRESULT GetChromaKey(ChromaKeySettings*) override;
    HRESULT MakeKeySample(IUnknown**, LONG, LONG, double, LONG, LONG) override;
    HRESULT GetKeySample(IUnknown**, LONG, LONG) override;
    HRESULT GetKeySampleControl(IQDVideoMixerKeySample**, LONG, LONG) override;
    HRESULT TakeKeySample(IUnknown*) override;
    HRESULT SetKeyLabel(BSTR) override;
    HRESULT GetKeyLabel(BSTR*) override;

    // Reads a rect: where a running change ends, else what is drawn.
    static void ReadRect(const MixBlock& block, VM_MIXING_RECT* rect);

    // --- data ---

    CriticalSection filterLock{LockRank::Filter, this};
    mutable SharedLock pinsLock{LockRank::Pins, this};
    mutable SharedLock mixLock{LockRank::Mix, this};

    std::vector<Ref<InputStream>> inputs;  // pinsLock; the last one is always unconnected
    // Stream numbers, first drawn first. Read with pinsLock and mixLock, shared at the least;
    // changed with pinsLock exclusive, or with pinsLock shared and mixLock exclusive.
    std::vector<std::int32_t> order;
    Ref<OutputStage> outputStage;        // pinsLock; lives as long as the filter
    std::vector<MediaType> outputTypes;  // typesLock: offered besides the current one
    mutable CriticalSection typesLock{LockRank::Leaf, this};

    std::atomic<std::int32_t> masterStream{-1};
    std::atomic<std::int64_t> outputFrameTime{0};  // 100 ns, 0 while unknown
    VM_VIDEO_PROPS givenOutputProps{};             // propsLock
    mutable CriticalSection propsLock{LockRank::Leaf, this};

    std::atomic<std::uint64_t> framesMixed{0};
    std::atomic<std::int64_t> timeBase{0};
    std::atomic<std::uint32_t> lastOutputTick{0};  // ms
    std::atomic<std::uint32_t> startTick{0};       // ms
    std::atomic<std::uint32_t> framesDelivered{0};
    std::atomic<bool> dirty{false};
    std::atomic<std::int32_t> chromaKeyStream{-1};

    Background background;  // mixLock

protected:
    ~MixerCore() = default;

    // At a start, before the streams: brings a layout in that has waited for it; whether one did.
    virtual bool ApplyDeferredLayout() { return false; }

    // The graph's reference clock now, empty if there is none. Takes no lock of the order.
    virtual ClockHandle Clock() const = 0;

    // Whether the caller is the thread that composes or the one that delivers.
    bool IsEngineThread() const { return mixThread.IsCurrent() || outputStage->IsDeliveryThread(); }
    void SetState(PlayState newState, std::int64_t startTimeGiven);
    VM_VIDEO_PROPS GivenOutputProps() const;

private:
    // receive, put_frame
    // flushesSeen: the stream's flushCount when the frame came.
    struct TimeSpan {
        std::int64_t start;
        std::int64_t stop;
        std::int64_t period;  // of the output grid, at least 1
    };
    HRESULT SubmitFrame(std::uint32_t pinId, const MediaFrame& frame, std::uint32_t flushesSeen);
    HRESULT RetimeFrame(InputStream& stream, std::uint32_t pinId, const MediaFrame& frame,
                        TimeSpan time, std::uint32_t flushesSeen);
    void PutFrame(InputStream& stream, const MediaFrame& frame, std::uint32_t flushesSeen);
    HRESULT PaceFrame(InputStream& stream, const MediaFrame& frame, std::uint32_t flushesSeen);

    // mix_frame
    void TellListener();
    HRESULT FillSample(const MediaFrame& sample, const MediaFrame& inFrame, HRESULT* lastStream,
                       PIC_PROPS* picture);
    HRESULT ComposeInBuffer(const VM_VIDEO_PROPS& outProps, HRESULT* lastStream)
        QDVM_REQUIRES(composeLock);
    void TakeLastFrame(const PIC_PROPS& props) QDVM_REQUIRES(composeLock);
    HRESULT ComposeFrame(BYTE* target, const VM_VIDEO_PROPS& outProps);
    HRESULT MixStream(InputStream& stream, BYTE* target, const VM_VIDEO_PROPS& outProps,
                      Underlay& underlay);
    // On the input's thread, as far as its settings say.
    void PrepareFrame(InputStream& stream);
    void StampFrame(const MediaFrame& sample, const MediaFrame& inFrame, LONG length);
    void KeepLastFrame(const MediaFrame& sample, const PIC_PROPS& picture);
    void PaceLostFrame(const MediaFrame& sample);

    // mix_thread
    HRESULT StartMixThread();
    void StopMixThread();
    void MixLoop();
    void MixRound();
    std::int32_t ShortestWait() const;
    void AccountWait(std::int32_t milliseconds);

    // state
    void ResetStreams();
    void ShowWhole(InputStream& stream);

    // key_control
    HRESULT MakeSampleOf(CCoKeySample* sample, ThumbnailSize size, double param1, LONG param2,
                         LONG param3);

    // rect_control
    std::int64_t ShortestFrameTime() const;

    // mask_control
    bool HasRect(LONG streamNo, LONG rectNo) const;
    template <class Make>
    HRESULT ChangeMask(LONG streamNo, LONG rectNo, const Make& make);

    std::atomic<PlayState> state{PlayState::kStopped};
    std::atomic<std::int64_t> startTime{0};
    // Held while a frame is composed: with a change of the master an old one may still be under
    // way. Taken with mixLock held, before any streamLock.
    CriticalSection composeLock;
    CBLOBHolder<CVirtualAlloc> mixBuffer QDVM_GUARDED_BY(composeLock);
    // The last frame was composed in its sample.
    bool isMixBufferBehind QDVM_GUARDED_BY(composeLock) = false;
    CriticalSection captureLock{LockRank::Leaf, this};
    MediaFrame lastFrame QDVM_GUARDED_BY(captureLock);
    PIC_PROPS lastFrameProps QDVM_GUARDED_BY(captureLock){};
    CriticalSection listenerLock{LockRank::Leaf, this};
    Ref<IQDVideoMixerFrameListener> frameListener QDVM_GUARDED_BY(listenerLock);
    std::vector<Event*> readyEvents;  // fixed while not stopped
    Thread mixThread;
    std::atomic<bool> runMixThread{false};
    Event stopEvent{Event::Reset::Manual};        // ends the pauses of the mix thread
    Event lostPacingEvent{Event::Reset::Manual};  // set by the clock, or by a stop
};

}  // namespace qdvm
