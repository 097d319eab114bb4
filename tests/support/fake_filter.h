#pragma once

// The mixer without a graph: inputs that a test feeds, an output that keeps what it gets, a clock
// that the test moves.

#include "frames/format_table.h"
#include "mixer/mixer_core.h"
#include "support/manual_clock.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace qdvm::test {

inline constexpr std::int64_t kMs = 10000;        // 100 ns
inline constexpr std::int64_t kFrame = 40 * kMs;  // 25 frames a second
inline constexpr std::uint32_t kLimitMs = 20000;  // only a fault reaches it
inline constexpr PIC_PROPS kPicture = {kFccRGB32, 64, 32, 64};

// Waits for something that another thread does; false after the limit.
bool WaitUntil(const std::function<bool()>& isSo);

// The memory and the properties of a media sample. Counted; one of a pool goes back to it.
struct FakeSample {
    std::atomic<int> holds{0};
    std::vector<BYTE> bytes;
    LONG length = 0;
    HRESULT timeResult = S_OK;  // of GetTime
    std::int64_t start = 0;
    std::int64_t stop = 0;
    bool hasMediaTime = false;
    std::int64_t mediaStart = 0;
    std::int64_t mediaStop = 0;
    bool syncPoint = false;
    bool preroll = false;
    bool discontinuity = false;
    bool hasMemory = true;
    std::function<void(FakeSample*)> goHome;  // at the last drop, in place of deletion

    static MediaFrame FrameOf(FakeSample* sample);
    static FakeSample& Of(const MediaFrame& frame) {
        return *static_cast<FakeSample*>(frame.Sample());
    }
};

// A frame of kPicture with every byte set to `value`.
MediaFrame MakeFrame(BYTE value, std::int64_t start = 0, std::int64_t stop = 0);

class FakeInput final : public InputStream {
public:
    explicit FakeInput(const void* lockOwner) : InputStream(lockOwner) {}
    ULONG AddRef() override { return ++references; }
    ULONG Release() override;
    bool IsConnected() const override { return connected; }
    bool SeekUpstreamToStart() override;
    std::int64_t UpstreamFrameTime() override { return 0; }

    std::atomic<bool> connected{false};
    std::atomic<bool> canSeek{false};
    std::atomic<int> seeks{0};

private:
    std::atomic<ULONG> references{0};
};

// What the output got.
struct Delivered {
    std::vector<BYTE> bytes;
    std::int64_t start;
    std::int64_t stop;
    std::int64_t mediaStart;
    std::int64_t mediaStop;
    bool hasMediaTime;
    bool syncPoint;
    bool preroll;
    bool discontinuity;
    LONG length;

    // The first byte of a pixel of kPicture, top line 0.
    BYTE At(std::size_t x, std::size_t y) const { return bytes[((31 - y) * 64 + x) * 4]; }
};

class FakeOutput final : public OutputStage {
public:
    explicit FakeOutput(std::size_t buffers = 8);
    ~FakeOutput() = default;
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    bool IsConnected() const override { return connected; }
    HRESULT GetBuffer(MediaFrame* frame) override;
    bool HasOwnMemory() const override { return hasOwnMemory; }
    HRESULT AdoptSampleType(const MediaFrame&) override { return adoptResult; }
    HRESULT DeliverFrame(const MediaFrame& frame) override;
    void DeliverEndOfStream() override;
    HRESULT CommitAllocator() override;
    HRESULT DecommitAllocator() override;
    void TraceDelivery(std::uint32_t, std::size_t) override {}

    bool WaitForFrames(std::size_t count, std::uint32_t limitMs = kLimitMs);
    bool WaitForEnd();
    std::size_t FrameCount();
    std::size_t FreeBuffers();
    std::vector<Delivered> Frames();
    Delivered Last() { return Frames().back(); }

    std::atomic<bool> connected{true};
    std::atomic<bool> hasOwnMemory{true};
    std::atomic<bool> keepsFrames{true};  // otherwise they are only counted
    std::atomic<HRESULT> commitResult{S_OK};
    std::atomic<HRESULT> adoptResult{S_FALSE};
    std::atomic<std::size_t> ends{0};
    std::atomic<std::size_t> framesAtEnd{0};  // delivered before the first end
    Event gate{Event::Reset::Manual, true};   // clear: the receiver is stuck
    std::vector<std::unique_ptr<FakeSample>> pool;

private:
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<FakeSample*> free;
    bool committed = false;
    std::vector<Delivered> frames;
    std::size_t count = 0;
};

class FakeFilter final : public MixerCore {
public:
    // With `connected` inputs of kPicture at 25 frames a second, shown whole, and the free one; the
    // output has the same format. Stopped.
    explicit FakeFilter(std::size_t connected = 1, std::size_t buffers = 8);
    ~FakeFilter() {
        Stop();
        outputStage.Reset();  // goes before the base that holds it
    }

    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT SetOutputProps(const VM_VIDEO_PROPS*) override { return E_NOTIMPL; }
    HRESULT BuildOutputFormat(bool reconnect) override;

    FakeInput& In(std::size_t number);
    // Appends a stream, not connected.
    FakeInput& AddInput();
    static void Connect(FakeInput& input, const PIC_PROPS& picture, std::int64_t frameTime = kFrame,
                        DWORD interlaceFlags = 0);
    void SetOutputFormat(const PIC_PROPS& picture);

    HRESULT Pause();
    HRESULT Run(std::int64_t start = 0);
    void Stop();

    // A frame in slot `slot` of a grid of kFrame.
    HRESULT Send(std::size_t number, BYTE value, std::int64_t slot = 0);
    HRESULT SendFrame(std::size_t number, const MediaFrame& frame) {
        const std::uint32_t flushesSeen =
            number < inputs.size() ? inputs[number]->flushCount.load() : 0;
        return ReceiveFrame(static_cast<std::uint32_t>(number), frame, flushesSeen);
    }
    // Frame after frame of a master stream, each composed before this returns.
    void Compose(int frames, BYTE value = 1);

    FakeOutput output;
    Ref<ManualClock> clock = Ref<ManualClock>::Adopt(new ManualClock);
    std::atomic<bool> hasClock{false};
    std::atomic<int> rebuilds{0};

private:
    ClockHandle Clock() const override;
};

}  // namespace qdvm::test
