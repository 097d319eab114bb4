// Everything at once: streams that stall, end, flush and change their formats while other threads
// change the layout and the state. What is asked for is that it neither hangs nor breaks, under the
// sanitizers too.

#include "frames/format_table.h"
#include "platform/counted_string.h"
#include "platform/settings_store.h"
#include "platform/thread.h"
#include "scenes/scene_control.h"
#include "support/graph_fakes.h"

#include <qdvideomixer/create.h>
#include <qdvideomixer/stream_status.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace qdvm::test {
namespace {

constexpr std::size_t kStreams = 8;
constexpr REFERENCE_TIME kShortFrame = 10000;  // 1 ms, so that waits for lost streams are short

unsigned FromEnvironment(const char* name, unsigned otherwise) {
    const char* const text = std::getenv(name);
    return text ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : otherwise;
}

class Dice {
public:
    explicit Dice(unsigned seed) : random(seed) {}
    int Roll(int sides) { return static_cast<int>(random() % static_cast<unsigned>(sides)); }
    bool OneIn(int sides) { return Roll(sides) == 0; }

private:
    std::mt19937 random;
};

MediaType SomeType(Dice& dice) {
    static constexpr std::array<std::int32_t, 4> kFormats = {kFccRGB32, kFccYUY2, kFccI420,
                                                             kFccRGB24};
    const int width = 16 + 16 * dice.Roll(4);
    const int height = 16 + 16 * dice.Roll(3);
    return VideoType(kFormats[static_cast<std::size_t>(dice.Roll(4))], width, height, kShortFrame,
                     dice.OneIn(2) ? -1 : dice.Roll(2) * 5);
}

// One upstream filter, on a thread of its own.
class Upstream {
public:
    Upstream(MixerUnderTest& under, unsigned seed) : mixer(under), dice(seed) {}

    void Work(unsigned steps) {
        for (unsigned i = 0; i < steps; ++i) Step();
        // The last frames of a stream that is not heard of again.
        if (dice.OneIn(2) && source->peer) (void)pin->EndOfStream();
    }

    // With the filter stopped.
    void Leave() {
        if (pin) (void)pin->Disconnect();
        (void)source->Disconnect();
    }

    unsigned Sent() const { return sent; }

    bool IsConnected() const { return source->peer != nullptr; }

    void TryToConnect() {
        source->type = SomeType(dice);
        for (ULONG i = 0; i < kStreams + 2; ++i) {
            const Ref<IPin> candidate = mixer.In(i);
            if (!candidate) return;
            if (Failed(source->ConnectTo(candidate.Get()))) continue;
            pin = candidate;
            time = 0;
            return;
        }
    }

private:
    void Step() {
        if (!IsConnected()) {
            TryToConnect();
            if (!IsConnected()) WaitAMoment();
            return;
        }
        switch (dice.Roll(40)) {
            case 0:
                (void)pin->BeginFlush();
                (void)source->SendPicture(1, time, time + kShortFrame);
                (void)pin->EndFlush();
                (void)pin->NewSegment(0, 0, 1.0);
                time = 0;
                break;
            case 1:
                (void)pin->EndOfStream();
                break;
            case 2:
                (void)source->ChangeType(SomeType(dice));
                break;
            case 3:
                SendWithType();
                break;
            case 4:
                // Works only while the filter is stopped. A change of format that went wrong has
                // broken the connection already.
                if (Succeeded(pin->Disconnect())) (void)source->Disconnect();
                break;
            case 5:
                std::this_thread::sleep_for(std::chrono::milliseconds(dice.Roll(12)));
                break;
            case 6:
                time += kShortFrame * dice.Roll(20);
                break;
            default:
                SendFrame();
        }
    }

    void SendFrame() {
        const HRESULT result =
            dice.OneIn(20)
                ? source->SendPicture(7, -1, -1)
                : source->SendPicture(static_cast<BYTE>(dice.Roll(256)), time, time + kShortFrame);
        time += kShortFrame;
        if (Succeeded(result))
            ++sent;
        else
            WaitAMoment();
    }

    // The filter is stopped, so that steps would be used up for nothing.
    static void WaitAMoment() { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

    void SendWithType() {
        // Smaller than the buffers, so that the frame still fits its sample.
        MediaType type = VideoType(kFccRGB24, 16, 16, kShortFrame);
        const Ref<IMediaSample> sample = source->Picture(9, time, time + kShortFrame);
        if (!sample) return;
        (void)sample->SetMediaType(type.operator->());
        if (Succeeded(source->Send(sample.Get()))) source->type = type;
    }

    MixerUnderTest& mixer;
    Dice dice;
    Ref<FakeSource> source = MakeObject<FakeSource>();
    Ref<IPin> pin;
    REFERENCE_TIME time = 0;
    unsigned sent = 0;
};

void ChangeRect(IQDVideoMixer& control, LONG stream, Dice& dice) {
    VM_MIXING_RECT rect{};
    rect.rcSource = {0, 0, 16, 16};
    const LONG left = 2 * dice.Roll(40) - 20;
    const LONG top = 2 * dice.Roll(40) - 20;
    const LONG size = dice.OneIn(2) ? 16 : 2 + 2 * dice.Roll(40);
    rect.rcTarget = {left, top, left + size, top + size};
    rect.dblAlpha = dice.OneIn(4) ? 0.5 : 1.0;
    rect.eProcess = static_cast<eVM_Process>(dice.OneIn(2) ? 0 : dice.Roll(64));
    rect.nBorderWidth = dice.OneIn(3) ? dice.Roll(8) : 0;
    if (dice.OneIn(4)) {
        rect.dblViewAngle = dice.Roll(90);
        rect.dblHorzAngle = dice.Roll(180) - 90;
    }
    LONG number = dice.Roll(4) - 1;
    (void)control.SetInputRect2(stream, &number, &rect, dice.OneIn(2) ? 0 : dice.Roll(20));
}

// What an application does to the layout and to the streams' rules, at any time.
void ChangeLayout(IQDVideoMixer& control, unsigned seed, const std::atomic<bool>& isOver) {
    Dice dice(seed);
    while (!isOver) {
        const LONG stream = dice.Roll(static_cast<int>(kStreams) + 1);
        VM_VIDEO_PROPS props{};
        VM_MIXING_RECT rect{};
        LONG count = 0;
        switch (dice.Roll(15)) {
            case 11: {
                const BSTR mask = SysAllocString(dice.OneIn(3) ? u"" : u"Circle");
                (void)control.SetRectMask(stream, dice.Roll(2), mask);
                SysFreeString(mask);
                break;
            }
            case 0:
                (void)control.EnableStream(stream, dice.Roll(2));
                break;
            case 1:
                (void)control.RemoveInputRect2(stream, dice.Roll(3), dice.Roll(10));
                break;
            case 2:
                (void)control.SetBackground2(dice.OneIn(2) ? eVMB_Color : eVMB_None,
                                             dice.Roll(1000), nullptr, dice.Roll(10));
                break;
            case 3:
                (void)control.SetStreamMaxWait(stream, 1 + dice.Roll(3),
                                               dice.OneIn(2) ? eVMLS_Last : eVMLS_Black);
                break;
            case 4:
                (void)control.LoopStream(stream, dice.Roll(2), dice.Roll(2));
                break;
            case 5:
                (void)control.IgnoreTime(stream, dice.OneIn(4));
                break;
            case 6:
                (void)control.KeepStreamRate(stream, dice.OneIn(4));
                break;
            case 7:
                (void)control.GetOutputProps(dice.Roll(2), &props);
                (void)control.GetInputProps(stream, &props);
                break;
            case 8:
                (void)control.GetInputRectCount(stream, &count);
                (void)control.GetInputRect(stream, 0, &rect);
                break;
            case 9:
                (void)control.SetStreamLost(stream, eVMLS_Last);
                break;
            case 10:
                (void)control.FlushBuffers(stream);
                break;
            default:
                ChangeRect(control, stream, dice);
        }
        std::this_thread::yield();
    }
}

// What an operator does: scenes come and go, and streams change their places.
void ChangeScenes(IQDVideoMixerScene& scenes, unsigned seed, const std::atomic<bool>& isOver) {
    static constexpr std::array<const char16_t*, 5> kNames = {u"mine", u"yours", u"QUAD",
                                                              u"3D SIDE", u"PIP"};
    Dice dice(seed);
    while (!isOver) {
        const CountedString name(kNames[static_cast<std::size_t>(dice.Roll(5))]);
        const LONG stream = dice.Roll(static_cast<int>(kStreams) + 1);
        LONG number = 0;
        CountedString text;
        switch (dice.Roll(9)) {
            case 0:
                (void)scenes.AddCurrentScene(name.Get(), name.Get());
                break;
            case 1:
                (void)scenes.UpdateScene(name.Get());
                break;
            case 2:
                (void)scenes.RemoveScene(CountedString(u"mine").Get());
                break;
            case 3:
                (void)scenes.SetStreamOrder2(stream, dice.Roll(10) - 1, dice.Roll(2), dice.Roll(2),
                                             dice.Roll(10));
                break;
            case 4:
                (void)scenes.GetStreamOrder(stream, &number);
                (void)scenes.GetStreamByOrder(stream, &number);
                break;
            case 5:
                (void)scenes.GetSceneInfo(dice.Roll(11), text.Put(), nullptr);
                break;
            case 6:
                (void)scenes.SaveScenes(dice.OneIn(2) ? nullptr : name.Get(), text.Put());
                (void)scenes.LoadScenes(text.Get(), dice.OneIn(8) ? 1 : 0);
                break;
            default:
                (void)scenes.SelectScene2(name.Get(), dice.OneIn(2) ? 0 : dice.Roll(20));
        }
        std::this_thread::yield();
    }
}

// What the graph does: states, and formats while stopped. Inputs that leave at the same moment
// reconnect the output at the same moment, which may end without a connection; it is made again.
void ChangeState(MixerUnderTest& mixer, FakeSink& sink, unsigned seed,
                 const std::atomic<bool>& isOver) {
    Dice dice(seed);
    while (!isOver) {
        switch (dice.Roll(8)) {
            case 0: {
                (void)mixer.filter->Stop();
                VM_VIDEO_PROPS wanted{};
                wanted.picProps = {kFccRGB32, 32 + 16 * dice.Roll(5), 32 + 16 * dice.Roll(5), 0};
                (void)mixer.control->SetOutputProps(dice.OneIn(3) ? nullptr : &wanted);
                if (dice.OneIn(2)) (void)mixer.control->SetMasterStream(dice.Roll(3) - 2);
                (void)mixer.Out()->Connect(&sink, nullptr);
                break;
            }
            case 1:
            case 2:
                (void)mixer.filter->Pause();
                break;
            default:
                (void)mixer.filter->Run(0);
        }
        (void)mixer.OutputTypes();
        std::this_thread::sleep_for(std::chrono::milliseconds(dice.Roll(30)));
    }
}

TEST(Stress, StreamsAndControlsAtOnce) {
    const unsigned seed = FromEnvironment("QDVM_STRESS_SEED", std::random_device()());
    const unsigned steps = FromEnvironment("QDVM_STRESS_STEPS", 1500);
    std::cout << "QDVM_STRESS_SEED=" << seed << " QDVM_STRESS_STEPS=" << steps << std::endl;
    RecordProperty("seed", std::to_string(seed));

    // Streams read it when they are made: how much of the pixel work inputs do on their threads.
    SettingsKey settings;
    ASSERT_EQ(SettingsKey::OpenOrCreate(u"Software\\Quindarlux\\QDVideoMixer", settings), S_OK);
    ASSERT_EQ(settings.WriteU32(u"InputProcessing.Type", seed % 3), S_OK);

    MixerUnderTest mixer;
    Ref<IReferenceClock> clock;
    ASSERT_EQ(CreateSystemClock(IID_IReferenceClock, clock.PutVoid()), S_OK);
    ASSERT_EQ(mixer.filter->SetSyncSource(clock.Get()), S_OK);
    Ref<IFilterGraph2> graph;
    ASSERT_EQ(CreateFilterGraph(IID_IFilterGraph2, graph.PutVoid()), S_OK);
    const Ref<FakeSink> sink = MakeObject<FakeSink>();
    sink->keepsData = false;
    const Ref<PinFilter> sinkFilter = MakeObject<PinFilter>(Ref<IPin>(sink));
    ASSERT_EQ(graph->AddFilter(mixer.filter.Get(), u"mixer"), S_OK);
    ASSERT_EQ(graph->AddFilter(sinkFilter.Get(), u"sink"), S_OK);
    ASSERT_EQ(mixer.control->SetStreamMaxWait(-1, 1, eVMLS_Last), S_OK);

    std::vector<std::unique_ptr<Upstream>> upstreams;
    for (unsigned i = 0; i < kStreams; ++i) {
        upstreams.push_back(std::make_unique<Upstream>(mixer, seed + i));
        upstreams.back()->TryToConnect();
    }
    ASSERT_EQ(graph->ConnectDirect(mixer.Out().Get(), sink.Get(), nullptr), S_OK);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);

    std::array<Thread, kStreams> senders;
    for (std::size_t i = 0; i < kStreams; ++i) {
        ASSERT_EQ(senders[i].Start("upstream", ThreadPriority::Normal,
                                   [&, i] { upstreams[i]->Work(steps); }),
                  S_OK);
    }
    std::atomic<bool> isOver{false};
    Thread layout;
    Thread states;
    Thread operators;
    const Ref<IQDVideoMixerScene> scenes = mixer.filter.As<IQDVideoMixerScene>();
    ASSERT_TRUE(scenes);
    ASSERT_EQ(layout.Start("layout", ThreadPriority::Normal,
                           [&] { ChangeLayout(*mixer.control, seed + 100, isOver); }),
              S_OK);
    ASSERT_EQ(states.Start("states", ThreadPriority::Normal,
                           [&] { ChangeState(mixer, *sink, seed + 101, isOver); }),
              S_OK);
    ASSERT_EQ(operators.Start("operators", ThreadPriority::Normal,
                              [&] { ChangeScenes(*scenes, seed + 102, isOver); }),
              S_OK);
    for (Thread& sender : senders) sender.Join();
    isOver = true;
    layout.Join();
    operators.Join();
    states.Join();

    unsigned sent = 0;
    for (const std::unique_ptr<Upstream>& upstream : upstreams) sent += upstream->Sent();
    std::cout << sent << " frames taken, " << sink->FrameCount() << " frames mixed" << std::endl;

    // What is left still works: one stream, one frame out.
    ASSERT_EQ(mixer.filter->Stop(), S_OK);
    for (const std::unique_ptr<Upstream>& upstream : upstreams) upstream->Leave();
    EXPECT_LE(mixer.InputCount(), kStreams + 1);
    (void)mixer.Out()->Disconnect();
    EXPECT_EQ(mixer.control->SetOutputProps(nullptr), S_OK);
    (void)mixer.control->SetMasterStream(-1);
    const Ref<FakeSource> source = MakeObject<FakeSource>(VideoType(kFccRGB32, 32, 32));
    ASSERT_EQ(source->ConnectTo(mixer.In(0).Get()), S_OK);
    ASSERT_EQ(graph->ConnectDirect(mixer.Out().Get(), sink.Get(), nullptr), S_OK);
    (void)mixer.control->IgnoreTime(0, 0);
    (void)mixer.control->KeepStreamRate(0, 0);
    const std::size_t before = sink->FrameCount();
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    EXPECT_EQ(source->SendPicture(1, 0, kFrame), S_OK);
    EXPECT_TRUE(sink->WaitForFrames(before + 1));
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
    (void)mixer.Out()->Disconnect();
    (void)settings.WriteU32(u"InputProcessing.Type", 1);
}

}  // namespace
}  // namespace qdvm::test
