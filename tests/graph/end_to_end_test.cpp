// Frames from pin to pin: what the output shows, what is copied, and what a change of format keeps.

#include "frames/format_table.h"
#include "graph/sample_allocator.h"
#include "platform/thread.h"
#include "support/graph_fakes.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

namespace qdvm::test {
namespace {

constexpr LONG kWidth = 64;
constexpr LONG kHeight = 32;

class EndToEndTest : public ::testing::Test {
protected:
    void SetUpStreams(ULONG count, std::int32_t fcc = kFccRGB32) {
        VM_VIDEO_PROPS wanted{};
        wanted.picProps = {fcc, 2 * kWidth, 2 * kHeight, 0};
        wanted.eInterlace = eVMI_Progressive;
        ASSERT_EQ(mixer.control->SetOutputProps(&wanted), S_OK);
        for (ULONG i = 0; i < count; ++i) {
            sources.push_back(MakeObject<FakeSource>(VideoType(fcc, kWidth, kHeight)));
            ASSERT_EQ(sources.back()->ConnectTo(mixer.In(i).Get()), S_OK);
            const auto number = static_cast<LONG>(i);
            ASSERT_EQ(
                mixer.Show(number, kWidth * (number % 2), kHeight * (number / 2), kWidth, kHeight),
                S_OK);
        }
        ASSERT_EQ(mixer.Out()->Connect(sink.Get(), nullptr), S_OK);
    }
    // One frame of each stream for a slot of the output grid.
    void SendRound(int slot, BYTE base) {
        for (std::size_t i = 0; i < sources.size(); ++i) {
            const auto value = static_cast<BYTE>(base + i);
            ASSERT_EQ(sources[i]->SendPicture(value, slot * kFrame, (slot + 1) * kFrame), S_OK);
        }
    }
    // Blue, green and red of a pixel of a bottom-up RGB32 frame, counted from the top.
    static std::array<int, 3> PixelOf(const TakenFrame& frame, LONG x, LONG y) {
        const auto row = static_cast<std::size_t>(2 * kHeight - 1 - y);
        const std::size_t at = (row * 2 * kWidth + static_cast<std::size_t>(x)) * 4;
        return {frame.data.at(at), frame.data.at(at + 1), frame.data.at(at + 2)};
    }
    static std::array<int, 3> Grey(int value) { return {value, value, value}; }

    MixerUnderTest mixer;
    std::vector<Ref<FakeSource>> sources;
    Ref<FakeSink> sink = MakeObject<FakeSink>();
};

TEST_F(EndToEndTest, EachStreamShowsInItsPlace) {
    SetUpStreams(3);
    ASSERT_EQ(mixer.control->SetBackground(eVMB_Color, 0x302010, nullptr), S_OK);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    for (int slot = 0; slot < 5; ++slot) SendRound(slot, static_cast<BYTE>(50 + 10 * slot));
    ASSERT_TRUE(sink->WaitForFrames(5));
    for (int slot = 0; slot < 5; ++slot) {
        const TakenFrame frame = sink->Frame(static_cast<std::size_t>(slot));
        const int base = 50 + 10 * slot;
        ASSERT_EQ(frame.data.size(), 4u * 2 * kWidth * 2 * kHeight);
        EXPECT_EQ(PixelOf(frame, 0, 0), Grey(base));
        EXPECT_EQ(PixelOf(frame, kWidth - 1, kHeight - 1), Grey(base));
        EXPECT_EQ(PixelOf(frame, kWidth, 0), Grey(base + 1));
        EXPECT_EQ(PixelOf(frame, 2 * kWidth - 1, kHeight - 1), Grey(base + 1));
        EXPECT_EQ(PixelOf(frame, 0, kHeight), Grey(base + 2));
        EXPECT_EQ(PixelOf(frame, kWidth, kHeight), (std::array{0x30, 0x20, 0x10}));
        EXPECT_EQ(frame.mediaStart, slot);
    }
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

TEST_F(EndToEndTest, ABlockedReceiverHoldsTheSourcesAndLosesNothing) {
    SetUpStreams(1);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    sink->Close();
    constexpr int kFrames = 30;
    Thread upstream;
    ASSERT_EQ(upstream.Start("upstream", ThreadPriority::Normal,
                             [&] {
                                 for (int i = 0; i < kFrames; ++i)
                                     (void)sources[0]->SendPicture(static_cast<BYTE>(i), i * kFrame,
                                                                   (i + 1) * kFrame);
                             }),
              S_OK);
    ASSERT_TRUE(sink->WaitForBlocked());
    sink->Open();
    upstream.Join();
    ASSERT_TRUE(sink->WaitForFrames(kFrames));
    for (std::size_t i = 0; i < kFrames; ++i)
        EXPECT_EQ(PixelOf(sink->Frame(i), 0, 0), Grey(static_cast<int>(i)));
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

TEST_F(EndToEndTest, StopComesThroughWithTheReceiverHoldingEveryBuffer) {
    SetUpStreams(1);
    std::mutex mutex;
    std::vector<Ref<IMediaSample>> held;
    sink->keepsData = false;
    sink->onFrame = [&](IMediaSample* sample) {
        const std::lock_guard guard(mutex);
        held.emplace_back(sample);
    };
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    Thread upstream;
    ASSERT_EQ(upstream.Start(
                  "upstream", ThreadPriority::Normal,
                  [&] {
                      int i = 0;
                      while (Succeeded(sources[0]->SendPicture(1, i * kFrame, (i + 1) * kFrame)))
                          ++i;
                  }),
              S_OK);
    // All of the allocator's buffers are with the receiver: the mixer waits for one.
    ASSERT_TRUE(sink->WaitForFrames(8));
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
    upstream.Join();
    EXPECT_EQ(sink->FrameCount(), 8u);
}

TEST_F(EndToEndTest, AnEndComesAfterTheLastFrame) {
    SetUpStreams(2);
    for (LONG i = 0; i < 2; ++i) ASSERT_EQ(mixer.control->LoopStream(i, 0, 0), S_OK);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    SendRound(0, 10);
    SendRound(1, 20);
    EXPECT_EQ(mixer.In(0)->EndOfStream(), S_OK);
    EXPECT_EQ(mixer.In(1)->EndOfStream(), S_OK);
    ASSERT_TRUE(sink->WaitForEnds(1));
    ASSERT_EQ(sink->FrameCount(), 2u);
    EXPECT_EQ(PixelOf(sink->Frame(1), 0, 0), Grey(20));
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

// Hands out samples of a plain allocator and remembers which.
class WatchedAllocator final : public ObjectRoot<IMemAllocator> {
public:
    HRESULT SetProperties(ALLOCATOR_PROPERTIES* request, ALLOCATOR_PROPERTIES* actual) override {
        return inner->SetProperties(request, actual);
    }
    HRESULT GetProperties(ALLOCATOR_PROPERTIES* props) override {
        return inner->GetProperties(props);
    }
    HRESULT Commit() override { return inner->Commit(); }
    HRESULT Decommit() override { return inner->Decommit(); }
    HRESULT GetBuffer(IMediaSample** sample, REFERENCE_TIME* start, REFERENCE_TIME* stop,
                      DWORD flags) override {
        const HRESULT result = inner->GetBuffer(sample, start, stop, flags);
        const std::lock_guard guard(mutex);
        if (*sample) given.insert(*sample);
        return result;
    }
    HRESULT ReleaseBuffer(IMediaSample* sample) override { return inner->ReleaseBuffer(sample); }

    bool Gave(IMediaSample* sample) {
        const std::lock_guard guard(mutex);
        return given.contains(sample);
    }

private:
    Ref<PlainMemoryAllocator> inner = MakeObject<PlainMemoryAllocator>();
    std::mutex mutex;
    std::set<IMediaSample*> given;
};

TEST_F(EndToEndTest, TheSampleFilledIsTheOneDelivered) {
    const Ref<WatchedAllocator> allocator = MakeObject<WatchedAllocator>();
    sink->ownAllocator = allocator;
    std::atomic<int> foreign{0};
    sink->onFrame = [&](IMediaSample* sample) {
        if (!allocator->Gave(sample)) ++foreign;
    };
    SetUpStreams(2);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    const Ref<IMediaSample> sent = sources[0]->Picture(7, 0, kFrame);
    ASSERT_EQ(sources[0]->Send(sent.Get()), S_OK);
    ASSERT_EQ(sources[1]->SendPicture(8, 0, kFrame), S_OK);
    ASSERT_TRUE(sink->WaitForFrames(1));
    EXPECT_EQ(foreign, 0);
    // The stream's own frame is only read.
    BYTE* data = nullptr;
    ASSERT_EQ(sent->GetPointer(&data), S_OK);
    for (LONG i = 0; i < sent->GetSize(); ++i) ASSERT_EQ(data[i], 7);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

TEST_F(EndToEndTest, AnInputsNewFormatKeepsTheLayout) {
    SetUpStreams(2);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    SendRound(0, 10);
    ASSERT_TRUE(sink->WaitForFrames(1));
    ASSERT_EQ(sources[1]->ChangeType(VideoType(kFccRGB32, kWidth / 2, kHeight / 2)), S_OK);
    EXPECT_EQ(sink->flushesBegun, 1);
    EXPECT_EQ(sink->flushesEnded, 1);
    VM_MIXING_RECT rect{};
    ASSERT_EQ(mixer.control->GetInputRect(1, 0, &rect), S_OK);
    EXPECT_EQ(rect.rcSource.right, kWidth / 2);
    EXPECT_EQ(rect.rcSource.bottom, kHeight / 2);
    EXPECT_EQ(rect.rcTarget.left, kWidth);
    EXPECT_EQ(rect.rcTarget.right, 2 * kWidth);
    EXPECT_EQ(mixer.control->IsStreamEnabled(1, nullptr), S_OK);
    ASSERT_EQ(mixer.control->GetInputRect(0, 0, &rect), S_OK);
    EXPECT_EQ(rect.rcSource.right, kWidth);

    EXPECT_EQ(sources[1]->ChangeType(VideoType(kFccNV12, kWidth, kHeight)),
              VFW_E_TYPE_NOT_ACCEPTED);
    // And back: the layout is what it was.
    ASSERT_EQ(sources[1]->ChangeType(VideoType(kFccRGB32, kWidth, kHeight)), S_OK);
    ASSERT_EQ(mixer.control->GetInputRect(1, 0, &rect), S_OK);
    EXPECT_EQ(rect.rcSource.right, kWidth);
    SendRound(1, 100);
    ASSERT_TRUE(sink->WaitForFrames(2));
    EXPECT_EQ(PixelOf(sink->LastFrame(), kWidth, 0), Grey(101));
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

TEST_F(EndToEndTest, TheMastersFramesGoStraightThrough) {
    SetUpStreams(2);
    ASSERT_EQ(mixer.control->SetMasterStream(0), S_OK);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    ASSERT_EQ(sources[1]->SendPicture(5, 0, kFrame), S_OK);
    ASSERT_EQ(sources[1]->SendPicture(6, 0, kFrame), S_OK);
    EXPECT_EQ(sink->FrameCount(), 0u);
    ASSERT_EQ(sources[0]->SendPicture(9, 123, 456), S_OK);
    // Delivered before Receive returned, with the master's own times.
    ASSERT_EQ(sink->FrameCount(), 1u);
    EXPECT_EQ(sink->Frame(0).start, 123);
    EXPECT_EQ(sink->Frame(0).stop, 456);
    EXPECT_EQ(PixelOf(sink->Frame(0), 0, 0), Grey(9));
    EXPECT_EQ(PixelOf(sink->Frame(0), kWidth, 0), Grey(6));
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

// --- samples that lie ---

class HostileSample final : public ObjectRoot<IMediaSample> {
public:
    HRESULT GetPointer(BYTE** buffer) override {
        *buffer = data;
        return S_OK;
    }
    LONG GetSize() override { return size; }
    HRESULT GetTime(REFERENCE_TIME* start, REFERENCE_TIME* stop) override {
        *start = startTime;
        *stop = stopTime;
        return timeResult;
    }
    HRESULT SetTime(REFERENCE_TIME*, REFERENCE_TIME*) override { return E_FAIL; }
    HRESULT IsSyncPoint() override { return E_FAIL; }
    HRESULT SetSyncPoint(BOOL) override { return E_FAIL; }
    HRESULT IsPreroll() override { return E_FAIL; }
    HRESULT SetPreroll(BOOL) override { return E_FAIL; }
    LONG GetActualDataLength() override { return length; }
    HRESULT SetActualDataLength(LONG) override { return E_FAIL; }
    HRESULT GetMediaType(AM_MEDIA_TYPE** type) override {
        *type = nullptr;
        return typeResult;
    }
    HRESULT SetMediaType(AM_MEDIA_TYPE*) override { return E_FAIL; }
    HRESULT IsDiscontinuity() override { return E_FAIL; }
    HRESULT SetDiscontinuity(BOOL) override { return E_FAIL; }
    HRESULT GetMediaTime(LONGLONG*, LONGLONG*) override { return E_FAIL; }
    HRESULT SetMediaTime(LONGLONG*, LONGLONG*) override { return E_FAIL; }

    BYTE* data = nullptr;
    LONG size = 0;
    LONG length = 1;
    REFERENCE_TIME startTime = 0;
    REFERENCE_TIME stopTime = kFrame;
    HRESULT timeResult = S_OK;
    HRESULT typeResult = S_FALSE;
};

TEST_F(EndToEndTest, SamplesThatLieAreNotDrawn) {
    SetUpStreams(2);
    ASSERT_EQ(mixer.control->SetMasterStream(0), S_OK);
    ASSERT_EQ(mixer.control->SetBackground(eVMB_Color, 0x101010, nullptr), S_OK);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    BYTE little[16] = {};
    const auto send = [&](auto change) {
        const Ref<HostileSample> sample = MakeObject<HostileSample>();
        change(*sample);
        const std::size_t before = sink->FrameCount();
        EXPECT_GE(sources[1]->Send(sample.Get()), 0);
        EXPECT_GE(sources[0]->Send(sample.Get()), 0);
        EXPECT_EQ(sink->FrameCount(), before + 1);
        EXPECT_EQ(PixelOf(sink->LastFrame(), 0, 0), Grey(0x10));
    };
    send([](HostileSample&) {});
    send([](HostileSample& s) { s.size = 1 << 20; });
    send([&](HostileSample& s) { s.data = little, s.size = -1, s.length = -1; });
    send([&](HostileSample& s) { s.data = little, s.size = 16, s.length = 1 << 20; });
    send([](HostileSample& s) { s.typeResult = S_OK; });
    send([](HostileSample& s) { s.timeResult = E_FAIL; });
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

TEST_F(EndToEndTest, TimesThatLieDontHoldTheStream) {
    SetUpStreams(1);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    ASSERT_EQ(sources[0]->SendPicture(1, 0, kFrame), S_OK);
    const Ref<HostileSample> sample = MakeObject<HostileSample>();
    sample->startTime = 5 * kFrame;
    sample->stopTime = 2 * kFrame;
    EXPECT_GE(sources[0]->Send(sample.Get()), 0);
    sample->startTime = INT64_MIN;
    sample->stopTime = INT64_MIN;
    EXPECT_GE(sources[0]->Send(sample.Get()), 0);
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

}  // namespace
}  // namespace qdvm::test
