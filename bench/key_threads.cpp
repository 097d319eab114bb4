// What four keyed streams cost the thread that composes, when the inputs' own threads do the
// keying.

#include "bench.h"
#include "frames/format_table.h"
#include "key_scenes.h"
#include "pixels/chroma_key/key_recipe.h"
#include "platform/settings_store.h"
#include "support/graph_fakes.h"
#include "support/own_settings.h"

#include <qdvideomixer/chroma_key.h>
#include <qdvideomixer/frame_listener.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace qdvm {
QDVM_INTERFACE(IQDVideoMixerFrameListener, IUnknown, IID_IQDVideoMixerFrameListener);
}

namespace qdvm::bench {
namespace {

constexpr std::int32_t kWidth = 1920;
constexpr std::int32_t kHeight = 1080;
constexpr LONG kKeyed = 4;
constexpr int kFrames = 24;

void Need(bool isDone, const char* what) {
    if (isDone) return;
    std::fprintf(stderr, "bench: %s failed\n", what);
    std::exit(1);
}

// Processor time of the thread that composes, as it stood before the last frame.
class ThreadClock final : public ObjectRoot<IQDVideoMixerFrameListener> {
public:
    void BeforeFrame(std::uint64_t) override {
        timespec time{};
        (void)clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        nanoseconds = time.tv_sec * std::int64_t{1000000000} + time.tv_nsec;
    }

    std::atomic<std::int64_t> nanoseconds{0};
};

struct Case {
    const char* name;
    const char* key;
    double alpha;
    std::uint32_t inputProcessing;
    bool isScaled;
    std::vector<double> ofPlain{};  // ratios to the first case
};

// Four streams with the picture of the generated scene, side by side over one that fills the
// output.
class KeyedRun {
public:
    KeyedRun(const Case& wanted, const KeyClip& below, const KeyClip& clip)
        : sink(MakeObject<test::FakeSink>()), clock(MakeObject<ThreadClock>()) {
        VM_VIDEO_PROPS output{};
        output.picProps = {kFccYUY2, kWidth, kHeight, 0};
        output.dblStreamFPS = 25;
        Need(Succeeded(mixer.control->SetOutputProps(&output)), "output format");
        sink->keepsData = false;
        AddStream(below, {0, 0, kWidth, kHeight}, 1, "none");
        for (LONG i = 0; i < kKeyed; ++i) {
            const LONG left = i % 2 * kWidth / 2;
            const LONG top = i / 2 * kHeight / 2;
            AddStream(clip, {left, top, left + kWidth / 2, top + kHeight / 2}, wanted.alpha,
                      wanted.key);
        }
        Ref<IQDVideoMixerFrames> frames;
        Need(Succeeded(mixer.filter->QueryInterface(IID_IQDVideoMixerFrames, frames.PutVoid())) &&
                 Succeeded(frames->SetFrameListener(clock.Get())) &&
                 mixer.Out()->Connect(sink.Get(), nullptr) == S_OK &&
                 Succeeded(mixer.filter->Run(0)),
             "start");
        for (std::size_t i = 0; i < sources.size(); ++i) AddPictures(i, i == 0 ? below : clip);
        (void)ComposeNanoseconds();
    }

    ~KeyedRun() {
        pictures.clear();
        (void)mixer.filter->Stop();
    }

    // Of the composing thread, for a frame.
    double ComposeNanoseconds() {
        Frames(2);
        const std::int64_t before = clock->nanoseconds;
        Frames(kFrames);
        return static_cast<double>(clock->nanoseconds - before) / kFrames;
    }

private:
    void AddStream(const KeyClip& clip, RECT target, double alpha, const char* key) {
        const auto number = static_cast<LONG>(sources.size());
        sources.push_back(
            MakeObject<test::FakeSource>(test::VideoType(kFccYUY2, clip.width, clip.height)));
        Need(sources.back()->ConnectTo(mixer.In(static_cast<ULONG>(number)).Get()) == S_OK,
             "connection");
        VM_MIXING_RECT rect{};
        rect.rcTarget = target;
        rect.dblAlpha = alpha;
        Need(Succeeded(mixer.control->SetInputRect(number, nullptr, &rect)) &&
                 Succeeded(mixer.control->EnableStream(number, 1)) &&
                 Succeeded(mixer.control->SetStreamMaxWait(number, 0, eVMLS_Last)),
             "rect");
        KeyRecipe recipe;
        (void)ParseKey(key, &recipe);
        const ChromaKeySettings settings = KeySettingsOf(recipe);
        Ref<IQDVideoMixerChromaKey> keys;
        Need(Succeeded(mixer.filter->QueryInterface(IID_IQDVideoMixerChromaKey, keys.PutVoid())) &&
                 Succeeded(mixer.control->SetStreamForChromaKey(number)) &&
                 Succeeded(keys->SetChromaKey(&settings)),
             "key");
    }

    void AddPictures(std::size_t stream, const KeyClip& clip) {
        for (int i = 0; i < 2; ++i) {
            pictures.push_back(sources[stream]->Picture(0, 0, test::kFrame));
            BYTE* data = nullptr;
            Need(Succeeded(pictures.back()->GetPointer(&data)), "picture");
            std::memcpy(data, clip.frames[0].data(), clip.frames[0].size());
        }
    }

    void Frames(int count) {
        for (int frame = 0; frame < count; ++frame, ++sent)
            for (std::size_t i = 0; i < sources.size(); ++i) {
                IMediaSample* picture = pictures[i * 2 + static_cast<std::size_t>(sent % 2)].Get();
                REFERENCE_TIME start = sent * test::kFrame;
                REFERENCE_TIME stop = start + test::kFrame;
                (void)picture->SetTime(&start, &stop);
                Need(sources[i]->Send(picture) == S_OK, "frame");
            }
        Need(sink->WaitForFrames(static_cast<std::size_t>(sent)), "output");
    }

    test::MixerUnderTest mixer;
    Ref<test::FakeSink> sink;
    Ref<ThreadClock> clock;
    std::vector<Ref<test::FakeSource>> sources;
    std::vector<Ref<IMediaSample>> pictures;  // two for each stream, in turn
    int sent = 0;
};

// Streams read it when they are made.
void SetInputProcessing(std::uint32_t value) {
    SettingsKey key;
    Need(Succeeded(SettingsKey::OpenOrCreate(u"Software\\Quindarlux\\QDVideoMixer", key)) &&
             Succeeded(key.WriteU32(u"InputProcessing.Type", value)),
         "setting");
}

}  // namespace

void ReportKeyThreads() {
    const test::OwnSettings own;
    const KeyClip whole = GenerateKeyClip(kWidth, kHeight, 1);
    const KeyClip quarter = GenerateKeyClip(kWidth / 2, kHeight / 2, 1);
    std::vector<Case> cases = {
        {"no keys", "none", 1, 1, false},
        {"no keys, half transparent", "none", 0.5, 1, false},
        {"keys, on the inputs' threads", "#18A038", 1, 1, false},
        {"keys, on the composing thread", "#18A038", 1, 0, false},
        {"scaled, no keys", "none", 1, 1, true},
        {"scaled, no keys, half transparent", "none", 0.5, 1, true},
        {"scaled, keys, inputs' threads", "#18A038", 1, 1, true},
        {"scaled, keys, all on the inputs'", "#18A038", 1, 2, true},
    };
    std::printf(
        "Four keyed 960x540 streams over a 1920x1080 one in YUY2, scaled from 1920x1080 below:\n"
        "processor time of the composing thread, as a ratio to the first\n");
    for (int pair = 0; pair < kPairs; ++pair) {
        double plain = 0;
        for (Case& one : cases) {
            SetInputProcessing(one.inputProcessing);
            KeyedRun run(one, whole, one.isScaled ? whole : quarter);
            const double time = run.ComposeNanoseconds();
            if (&one == cases.data()) plain = time;
            one.ofPlain.push_back(time / plain);
        }
    }
    for (const Case& one : cases) std::printf("%-34s %6.2f\n", one.name, Median(one.ofPlain));
    std::printf("\n");
}

}  // namespace qdvm::bench
