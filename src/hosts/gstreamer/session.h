#pragma once

// What the element does: hosts the mixer, gives it the buffers of the sink pads and pushes what it
// makes.

#include "hosts/gstreamer/downstream_pin.h"
#include "hosts/gstreamer/element_clock.h"
#include "hosts/gstreamer/frame_hook.h"
#include "hosts/gstreamer/frame_layout.h"
#include "hosts/gstreamer/pad_stream.h"
#include "hosts/gstreamer/time_grid.h"
#include "pixels/chroma_key/border_colour.h"
#include "platform/counted_string.h"

#include <qdvideomixer/chroma_key.h>
#include <qdvideomixer/media_graph.h>
#include <qdvideomixer/scene.h>
#include <qdvideomixer/stream_status.h>
#include <qdvideomixer/video_mixer.h>

#include <gst/gst.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qdvm {

// How long the first streams wait for the others before the filter starts.
inline constexpr std::chrono::milliseconds kStartPatience{350};

struct ElementSettings {
    eVM_Background background = eVMB_Color;
    guint32 backgroundColor = 0xFF000000;  // 0xAARRGGBB
    std::string backgroundPicture;         // a file
    guint changeTimeMs = 0;
    std::string master;        // name of a pad, empty for none
    GstClockTime latency = 0;  // ns, added to what is reported
    bool postsHealth = true;
};

// The filter is started when the first streams are there, goes on while the pipeline pauses, and is
// started again, with the layout kept and the time stamps going on, when a pad joins.
//
// Three kinds of thread meet here: the streaming threads of the sink pads, the filter's threads,
// and the source pad's task, which alone starts and stops the filter. The mutex guards the state
// below; no operation of the filter that may wait, and no push, is made with the mutex held.
class Session final : public OutputTaker, public FrameWatcher {
public:
    Session(GstElement* ownElement, GstPad* sourcePad);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Null if no mixer could be made. Borrowed.
    IQDVideoMixer* Mixer() const { return mixer.Get(); }

    void SetSettings(const ElementSettings& newSettings);
    ElementSettings Settings() const;
    guint64 FramesSkipped() const;

    // Pads. The stream is valid until RemovePad, which waits for its streaming thread to leave the
    // filter.
    PadStream* AddPad(GstPad* pad, guint number);
    void RemovePad(PadStream* stream);
    void SetPadSettings(PadStream& stream, const PadSettings& newSettings);
    PadSettings SettingsOf(const PadStream& stream) const;
    PadHealth HealthOf(PadStream& stream);
    PadCounts CountsOf(PadStream& stream);
    int StreamNumberOf(const PadStream& stream) const;

    // Rects of a stream, by their number among a user's: 0 is the pad's own. A new number adds one,
    // on top of the others. What is set here, and the background, reaches the mixer between two
    // frames; with the calls between BeginChanges and CommitChanges all of it between the same two.
    // Pairs may lie within each other.
    // isSet: by a user, who means it even if nothing of it is new.
    void SetRect(PadStream& stream, guint number, const RectSettings& rect, bool isSet);
    void RemoveRect(PadStream& stream, guint number);
    void BeginChanges();
    void CommitChanges();

    // Scenes, by name, and the drawing order. What was set before is in the mixer first; false if
    // the mixer refuses. A scene that is selected before the first frame is shown with it.
    bool SelectScene(const std::string& name, guint timeMs);
    bool AddScene(const std::string& name, const std::string& description);
    bool UpdateScene(const std::string& name);
    bool RemoveScene(const std::string& name);
    std::optional<std::string> SaveScenes(const std::string& name) const;
    bool LoadScenes(const std::string& document, int removeOld);
    std::vector<std::string> SceneNames() const;
    bool MoveStream(const PadStream& stream, int position, bool swaps, bool rearranges,
                    guint timeMs);
    int PositionOf(const PadStream& stream) const;

    // The streaming side of a sink pad.
    GstFlowReturn TakeBuffer(PadStream& stream, GstBuffer* buffer);  // takes the reference
    bool TakeCaps(PadStream& stream, GstCaps* caps);
    bool TakeSegment(PadStream& stream, const GstSegment& segment);
    GstFlowReturn TakeGap(PadStream& stream, GstClockTime start, GstClockTime duration);
    void TakeEndOfStream(PadStream& stream);
    void BeginStream(PadStream& stream);
    void BeginFlush(PadStream& stream);
    // begins: the pad is switched on. After a flush in flight the stream may begin at any time,
    // since its upstream's running time starts over.
    void EndFlush(PadStream& stream, bool begins);
    void Unlink(PadStream& stream);
    GstCaps* SinkCaps(const GstCaps* filter) const;  // the caller's

    // The source side. Start and Stop switch the task.
    bool Start();
    void Stop();
    void SetPlaying(bool isPlaying) { clock->SetPlaying(isPlaying); }
    // A flushing seek: what downstream says from BeginSeek on counts for nothing, and after
    // AwaitHalt the filter has stopped.
    void BeginSeek();
    void AwaitHalt();
    // position: where the stream begins now, ns.
    void EndSeek(GstClockTime position);
    // Adds what the mixer adds to the latency of live inputs.
    void AddLatency(bool isLive, GstClockTime* min, GstClockTime* max);
    bool Position(GstClockTime* position) const;

private:
    using Lock = std::unique_lock<std::mutex>;

    enum class Mode {
        kIdle,       // not started
        kGathering,  // waits for the first streams
        kRunning,
        kChanging,  // the filter is being started, drained or stopped
    };

    enum class Placement { kDeliver, kAlign, kDrop, kHold };

    enum class Step { kNothing, kPush, kStart, kRestart, kKeyStill, kHalt, kEnd, kQuit };

    // The layout that a stream takes along to another number.
    struct KeptRect {
        VM_MIXING_RECT rect{};
        CountedString mask;
    };

    struct KeptLayout {
        std::vector<KeptRect> rects;
        ChromaKeySettings key{};
        bool isEnabled = true;
    };

    struct Member {
        PadStream* stream = nullptr;
        int oldNumber = -1;
        int newNumber = -1;
        KeptLayout layout;
    };

    // session_input.cpp
    GstFlowReturn Deliver(PadStream& stream, GstBuffer* buffer, FrameSpan span);
    std::optional<Placement> AwaitPlace(PadStream& stream, Lock& lock);
    std::optional<GstFlowReturn> WayOut(const PadStream& stream) const;
    Placement Place(PadStream& stream, const FrameSpan& span);
    bool ShiftIfLate(PadStream& stream, REFERENCE_TIME late);
    bool IsFarAhead(const PadStream& stream, const FrameSpan& span) const;
    void Hold(PadStream& stream, Lock& lock);
    HRESULT Send(PadStream& stream, GstBuffer* buffer, FrameSpan span);
    bool CountSlot(PadStream& stream, IMediaSample* sample) const;
    Ref<WrappedSample> WrapBuffer(PadStream& stream, GstBuffer* buffer, std::int32_t* rowWidth,
                                  HeldFrame* frame);
    Ref<WrappedSample> WrapAsItIs(PadStream& stream, GstBuffer* buffer, std::int32_t* rowWidth,
                                  HeldFrame* frame);
    GstBuffer* CopyToMixerLayout(PadStream& stream, GstBuffer* buffer);
    FrameSpan SpanOf(PadStream& stream, GstBuffer* buffer, bool* isInside) const;
    void FollowFields(PadStream& stream, GstBuffer* buffer);
    void ForgetPicture(PadStream& stream);
    void WaitUntilOut(PadStream& stream, Lock& lock);

    // session_start.cpp
    bool StartFilter();
    bool StartIsDue();
    bool NegotiateOutput();
    OutputWish WishedOutput() const;
    const PixelFormat* LikelyFormat() const;
    bool SetOutput(GstCaps* caps);
    std::vector<Member> Members();
    // Whether the first one is drawn after the second.
    static bool IsAbove(const PadStream& first, const PadStream& second);
    static void NumberMembers(std::vector<Member>& members);
    HRESULT Connect(std::vector<Member>& members);
    HRESULT ConnectMember(Member& member);
    void DisconnectMoved(std::vector<Member>& members);
    HRESULT ConnectOutput();
    HRESULT RunFilter();
    void ShowOn(const std::vector<Member>& members);
    void SendHeld(PadStream& stream, std::uint64_t slot);
    std::vector<PadStream*> SilentStreams() const;
    void ChooseMaster(const std::vector<Member>& members);
    bool ConnectAndRun(const std::vector<PadStream*>& silent);
    void MeasureUpstream(const std::vector<Member>& members);
    void Drain();
    void Restart();
    void Halt();
    void StopFilter();
    void CloseFilter();
    GstClockTime FirstTime() const;
    std::vector<Ref<IPin>> FilterPins() const;
    HRESULT BuildTypeFor(PadStream& stream, MediaType* type);

    // session_rects.cpp
    void BeforeFrame(std::uint64_t frame) override;
    void ApplyDueChanges(std::uint64_t frame);
    bool CanShow() const;
    GstClockTime TimeOf(std::uint64_t frame) const;
    void SyncControlled(GstClockTime time);
    void Mark(Change& change);
    bool IsDue(const Change& change);
    void ApplyChanges(std::uint64_t frame);
    void ApplyRects(PadStream& stream, std::uint64_t frame);
    bool ApplyRect(PadStream& stream, std::size_t place, std::uint64_t frame);
    void ApplyMask(const PadStream& stream, int number, LONG rectNumber, const std::string& mask);
    void ApplyAllRects(PadStream& stream);
    void ApplyOrder();
    void DropRemovedRects(PadStream& stream);
    std::size_t CountRects(const PadStream& stream) const;
    void FollowSize(PadStream& stream, std::uint64_t frame);
    StreamSize SizeOf(const PadStream& stream) const;
    VM_MIXING_RECT MixingRectFor(const PadStream& stream, const RectSettings& rect) const;
    KeptLayout LayoutOf(int number) const;
    void SetLayout(int number, const KeptLayout& layout);

    // session_scenes.cpp
    void FlushChanges();
    void LeaveRects();
    bool HasScene(const std::string& name) const;
    bool SelectNow(const std::string& name, guint timeMs);
    void SelectWaitingScene();

    // session_key.cpp
    ChromaKeySettings KeyOf(const PadStream& stream) const;
    void ApplyKey(PadStream& stream);
    void SetMixerKey(int number, const ChromaKeySettings& key);
    ChromaKeySettings MixerKey(int number) const;
    bool NeedsConversion(const PadStream& stream) const;
    void FollowKey(PadStream& stream);
    void ReadKeyColour(PadStream& stream, IMediaSample* sample, const PIC_PROPS& picture);
    void TellKeyColour(const PadStream& stream, const BorderColour& found, HRESULT result);
    PadStream* FindStillToKey() const;
    void KeyStills();
    void KeyStill(PadStream& stream, const StreamFormat& format, HeldFrame held, bool isConversion);
    bool SendConverted(PadStream& stream, IMediaSample* sample, HeldFrame frame);
    Ref<WrappedSample> ConvertForKey(PadStream& stream, IMediaSample* from,
                                     const PIC_PROPS& picture, HeldFrame* frame);

    // session_settings.cpp
    void ApplyBackground(guint changeTimeMs);
    void ApplyStreamPolicy(int number, const PadSettings& settings);
    VM_STREAM_STATUS StatusOf(int number) const;
    PadHealth MeasureHealth(const PadStream& stream) const;
    PadCounts MeasureCounts(const PadStream& stream) const;
    void CarryCounts(PadStream& stream);
    void ReportHealth();

    // session_output.cpp
    static void RunTask(gpointer session);
    void RunStep();
    Step NextStep(Lock& lock);
    HRESULT TakeFrame(IMediaSample* sample) override;
    void TakeEnd() override;
    GstBuffer* MakeBuffer(IMediaSample* sample);
    GstBuffer* CopyOut(const BYTE* data, gsize length);
    void MarkBuffer(GstBuffer* buffer) const;
    bool Stamp(GstBuffer* buffer, IMediaSample* sample);
    void SkipIfLate(std::uint64_t frame);
    void PushNext();
    void PushHead();
    void PushEnd();
    void TakeFlow(GstFlowReturn result);
    void DropQueue();
    void Fail(const char* what, HRESULT result);
    std::uint64_t NextFrame() const;

    GstElement* const element;
    GstPad* const srcPad;
    const Ref<ElementClock> clock;
    Ref<IBaseFilter> filter;
    Ref<IQDVideoMixer> mixer;
    Ref<IQDVideoMixerStatus> status;
    Ref<IQDVideoMixerChromaKey> keys;
    Ref<IQDVideoMixerScene> scenes;
    Ref<DownstreamPin> outputPin;

    // Layout operations, and changes of the list of streams, one at a time; taken before the mutex.
    std::mutex layoutMutex;

    mutable std::mutex mutex;
    std::condition_variable changed;
    ElementSettings settings;
    std::vector<std::unique_ptr<PadStream>> streams;  // by number
    std::vector<Ref<UpstreamPin>> orphans;            // of pads that left; connected until a stop
    Mode mode = Mode::kIdle;
    bool isQuitting = true;
    bool isSeeking = false;
    bool wantsRestart = false;
    bool isDrained = false;
    bool hasEnded = false;  // the filter has signalled its end
    bool endIsPushed = false;
    bool isLive = false;
    bool outputIsConnected = false;
    GstFlowReturn flow = GST_FLOW_OK;
    GstClockTime upstreamLatency = 0;
    bool anyChange = false;  // something waits for the next frame
    Change backgroundChange;
    Change orderChange;
    std::optional<std::pair<std::string, guint>> waitingScene;  // and ms
    std::uint64_t lastChange = 0;
    std::uint64_t lastDue = 0;     // a user's changes after this one aren't for the present frame
    std::uint64_t lastBefore = 0;  // the last change before those that are being gathered
    int openChanges = 0;           // BeginChanges without their CommitChanges
    std::vector<GstObject*> syncedPads;  // kept for its memory; the mixer's thread only
    std::optional<std::chrono::steady_clock::time_point> startDeadline;

    // The output.
    StreamFormat output;
    GstCaps* outputCaps = nullptr;
    PlanePlaces outputPlaces;
    gsize outputBytes = 0;
    bool outputNeedsMeta = false;  // the planes don't lie where the caps alone would put them
    bool downstreamReadsMeta = false;
    TimeGrid grid;
    PadStream* master = nullptr;
    REFERENCE_TIME masterPosition = 0;  // end of the master's last frame
    std::uint64_t framesTaken = 0;      // of the filter since its start
    guint64 framesSkipped = 0;
    bool nextIsDiscont = true;
    bool capsArePushed = false;
    bool segmentIsPushed = false;
    GstClockTime segmentTime = 0;
    GstClockTime lastStamp = GST_CLOCK_TIME_NONE;
    std::deque<GstBuffer*> queue;
};

}  // namespace qdvm
