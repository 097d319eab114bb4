#include "support/fake_filter.h"

#include "frames/media_type_map.h"
#include "support/own_settings.h"

#include <algorithm>
#include <utility>

namespace qdvm::test {
namespace {

const OwnSettings kOwnSettings;

FakeSample& Sample(void* sample) { return *static_cast<FakeSample*>(sample); }

void Drop(void* held) {
    FakeSample& sample = Sample(held);
    if (--sample.holds != 0) return;
    if (sample.goHome)
        sample.goHome(&sample);
    else
        delete &sample;
}

HRESULT SetTimes(void* held, std::int64_t* start, std::int64_t* stop) {
    FakeSample& sample = Sample(held);
    sample.timeResult = !start ? VFW_E_SAMPLE_TIME_NOT_SET : stop ? S_OK : VFW_S_NO_STOP_TIME;
    if (start) sample.start = *start;
    if (start && stop) sample.stop = *stop;
    return S_OK;
}

HRESULT SetMediaTimes(void* held, std::int64_t* start, std::int64_t* stop) {
    FakeSample& sample = Sample(held);
    sample.hasMediaTime = start && stop;
    if (!sample.hasMediaTime) return S_OK;
    sample.mediaStart = *start;
    sample.mediaStop = *stop;
    return S_OK;
}

constexpr MediaFrameMethods kSampleMethods = {
    .hold = [](void* s) { ++Sample(s).holds; },
    .drop = Drop,
    .getPointer =
        [](void* s, BYTE** data) {
            *data = Sample(s).hasMemory ? Sample(s).bytes.data() : nullptr;
            return S_OK;
        },
    .getSize = [](void* s) { return static_cast<LONG>(Sample(s).bytes.size()); },
    .getActualLength = [](void* s) { return Sample(s).length; },
    .setActualLength =
        [](void* s, LONG length) {
            Sample(s).length = length;
            return S_OK;
        },
    .getTime =
        [](void* s, std::int64_t* start, std::int64_t* stop) {
            *start = Sample(s).start;
            *stop = Sample(s).stop;
            return Sample(s).timeResult;
        },
    .setTime = SetTimes,
    .getMediaTime = [](void*, std::int64_t*, std::int64_t*) { return E_NOTIMPL; },
    .setMediaTime = SetMediaTimes,
    .isSyncPoint = [](void* s) { return Sample(s).syncPoint; },
    .setSyncPoint =
        [](void* s, bool set) {
            Sample(s).syncPoint = set;
            return S_OK;
        },
    .isPreroll = [](void* s) { return Sample(s).preroll; },
    .setPreroll =
        [](void* s, bool set) {
            Sample(s).preroll = set;
            return S_OK;
        },
    .isDiscontinuity = [](void* s) { return Sample(s).discontinuity; },
    .setDiscontinuity =
        [](void* s, bool set) {
            Sample(s).discontinuity = set;
            return S_OK;
        },
};

ManualClock& ClockAt(void* clock) { return *static_cast<ManualClock*>(clock); }

constexpr ClockMethods kClockMethods = {
    .hold = [](void* clock) { (void)ClockAt(clock).AddRef(); },
    .drop = [](void* clock) { (void)ClockAt(clock).Release(); },
    .getTime = [](void* clock, std::int64_t* now) { return ClockAt(clock).GetTime(now); },
    .advise =
        [](void* clock, std::int64_t base, std::int64_t offset, Event& event,
           std::uintptr_t* cookie) {
            return ClockAt(clock).AdviseTime(base, offset, event.Handle(), cookie);
        },
    .unadvise = [](void* clock, std::uintptr_t cookie) { return ClockAt(clock).Unadvise(cookie); },
};

MediaType TypeOf(const PIC_PROPS& picture, std::int64_t frameTime, DWORD interlaceFlags) {
    MediaType type;
    (void)BuildVideoMediaType(&type, picture.fccType, FORMAT_VideoInfo2, picture.nWidth,
                              picture.nHeight, picture.nRowWidth, false);
    type.VideoInfo2()->AvgTimePerFrame = frameTime;
    type.VideoInfo2()->dwInterlaceFlags = interlaceFlags;
    return type;
}

}  // namespace

bool WaitUntil(const std::function<bool()>& isSo) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kLimitMs);
    while (!isSo()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

MediaFrame FakeSample::FrameOf(FakeSample* sample) { return MediaFrame(sample, &kSampleMethods); }

MediaFrame MakeFrame(BYTE value, std::int64_t start, std::int64_t stop) {
    auto* const sample = new FakeSample;
    sample->bytes.assign(FrameBytes(kPicture), value);
    sample->length = static_cast<LONG>(sample->bytes.size());
    sample->start = start;
    sample->stop = stop;
    return FakeSample::FrameOf(sample);
}

ULONG FakeInput::Release() {
    const ULONG left = --references;
    if (left == 0) delete this;
    return left;
}

bool FakeInput::SeekUpstreamToStart() {
    if (canSeek) ++seeks;
    return canSeek;
}

FakeOutput::FakeOutput(std::size_t buffers) {
    free.reserve(buffers);
    for (std::size_t i = 0; i < buffers; ++i) {
        pool.push_back(std::make_unique<FakeSample>());
        FakeSample& sample = *pool.back();
        sample.bytes.resize(FrameBytes(kPicture));
        sample.goHome = [this](FakeSample* returned) {
            const std::lock_guard guard(mutex);
            free.push_back(returned);
            changed.notify_all();
        };
        free.push_back(&sample);
    }
}

HRESULT FakeOutput::GetBuffer(MediaFrame* frame) {
    FakeSample* sample = nullptr;
    {
        std::unique_lock guard(mutex);
        changed.wait(guard, [&] { return !committed || !free.empty(); });
        if (!committed) return VFW_E_NOT_COMMITTED;
        sample = free.back();
        free.pop_back();
    }
    *frame = FakeSample::FrameOf(sample);
    return S_OK;
}

HRESULT FakeOutput::DeliverFrame(const MediaFrame& frame) {
    gate.Wait();
    const FakeSample& sample = FakeSample::Of(frame);
    const std::lock_guard guard(mutex);
    ++count;
    if (keepsFrames)
        frames.push_back({sample.bytes, sample.start, sample.stop, sample.mediaStart,
                          sample.mediaStop, sample.hasMediaTime, sample.syncPoint, sample.preroll,
                          sample.discontinuity, sample.length});
    changed.notify_all();
    return S_OK;
}

void FakeOutput::DeliverEndOfStream() {
    const std::lock_guard guard(mutex);
    if (ends++ == 0) framesAtEnd = count;
    changed.notify_all();
}

HRESULT FakeOutput::CommitAllocator() {
    const std::lock_guard guard(mutex);
    committed = commitResult == S_OK;
    return commitResult;
}

HRESULT FakeOutput::DecommitAllocator() {
    const std::lock_guard guard(mutex);
    committed = false;
    changed.notify_all();
    return S_OK;
}

bool FakeOutput::WaitForFrames(std::size_t wanted, std::uint32_t limitMs) {
    std::unique_lock guard(mutex);
    return changed.wait_for(guard, std::chrono::milliseconds(limitMs),
                            [&] { return count >= wanted; });
}

bool FakeOutput::WaitForEnd() {
    std::unique_lock guard(mutex);
    return changed.wait_for(guard, std::chrono::milliseconds(kLimitMs), [&] { return ends > 0; });
}

std::size_t FakeOutput::FrameCount() {
    const std::lock_guard guard(mutex);
    return count;
}

std::size_t FakeOutput::FreeBuffers() {
    const std::lock_guard guard(mutex);
    return free.size();
}

std::vector<Delivered> FakeOutput::Frames() {
    const std::lock_guard guard(mutex);
    return frames;
}

FakeFilter::FakeFilter(std::size_t connected, std::size_t buffers) : output(buffers) {
    outputStage = Ref<OutputStage>(&output);
    SetOutputFormat(kPicture);
    for (std::size_t i = 0; i < connected; ++i) {
        Connect(AddInput(), kPicture);
        (void)EnableStream(static_cast<LONG>(i), 1);
        (void)SetInputRect(static_cast<LONG>(i), nullptr, nullptr);
    }
    (void)AddInput();
    (void)BuildOutputFormat(false);
    rebuilds = 0;
    dirty = false;
}

HRESULT FakeFilter::BuildOutputFormat(bool) {
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kShared);
    outputFrameTime = ComputeOutputFrameTime(-1);
    ++rebuilds;
    return S_OK;
}

FakeInput& FakeFilter::In(std::size_t number) { return static_cast<FakeInput&>(*inputs[number]); }

FakeInput& FakeFilter::AddInput() {
    SharedLockGuard pins(pinsLock, SharedLockGuard::Mode::kExclusive);
    order.push_back(static_cast<std::int32_t>(inputs.size()));
    inputs.push_back(Ref<InputStream>(new FakeInput(LockOwner())));
    return In(inputs.size() - 1);
}

void FakeFilter::Connect(FakeInput& input, const PIC_PROPS& picture, std::int64_t frameTime,
                         DWORD interlaceFlags) {
    const MediaType type = TypeOf(picture, frameTime, interlaceFlags);
    (void)input.ApplyMediaType(&type);
    input.connected = true;
}

void FakeFilter::SetOutputFormat(const PIC_PROPS& picture) {
    const MediaType type = TypeOf(picture, kFrame, 0);
    (void)output.SetOutputType(&type);
}

HRESULT FakeFilter::Pause() {
    ScopedLock guard(filterLock);
    if (State() == PlayState::kStopped) return StartFromStopped(PlayState::kPaused, 0);
    SetState(PlayState::kPaused, 0);
    return S_OK;
}

HRESULT FakeFilter::Run(std::int64_t start) {
    ScopedLock guard(filterLock);
    if (State() == PlayState::kStopped) {
        const HRESULT result = StartFromStopped(PlayState::kPaused, 0);
        if (Failed(result)) return result;
    }
    GoRunning(start);
    return S_OK;
}

void FakeFilter::Stop() {
    ScopedLock guard(filterLock);
    if (State() != PlayState::kStopped) (void)StopRunning();
}

HRESULT FakeFilter::Send(std::size_t number, BYTE value, std::int64_t slot) {
    return SendFrame(number, MakeFrame(value, slot * kFrame, (slot + 1) * kFrame));
}

void FakeFilter::Compose(int frames, BYTE value) {
    const auto master = static_cast<std::size_t>(masterStream.load());
    for (int i = 0; i < frames; ++i) (void)Send(master, value);
}

ClockHandle FakeFilter::Clock() const {
    return hasClock ? ClockHandle(clock.Get(), &kClockMethods) : ClockHandle();
}

}  // namespace qdvm::test
