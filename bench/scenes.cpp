// Scenes selected on a mixer that runs: how long an output frame has to wait for the change.

#include "frames/format_table.h"
#include "mixer_run.h"
#include "platform/counted_string.h"
#include "platform/shared_data.h"
#include "scenes/scene_control.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <thread>
#include <vector>

namespace qdvm::bench {
namespace {

constexpr int kStreams = 64;
constexpr int kRects = 4;
constexpr int kFrames = 150;
constexpr std::chrono::milliseconds kPeriod(40);
constexpr std::chrono::milliseconds kBetweenScenes(130);  // falls on all parts of a period

// The times at which frames come out.
class FrameTimes {
public:
    void Note() {
        const std::scoped_lock guard(mutex);
        times.push_back(WallSeconds());
    }

    // Of the distances from frame to frame, in periods; forgets the frames.
    Spread Gaps() {
        const std::scoped_lock guard(mutex);
        std::vector<double> gaps;
        for (std::size_t i = 1; i < times.size(); ++i)
            gaps.push_back((times[i] - times[i - 1]) /
                           std::chrono::duration<double>(kPeriod).count());
        times.clear();
        return SpreadOf(gaps);
    }

private:
    std::mutex mutex;
    std::vector<double> times;
};

// Frames at the pace of a camera, whatever else goes on.
void SendPaced(MixerRun& run, int count) {
    auto due = std::chrono::steady_clock::now();
    for (int i = 0; i < count; ++i) {
        run.Frames(1);
        due += kPeriod;
        std::this_thread::sleep_until(due);
    }
}

// Every stream in four places that begin somewhere else with each `shift`.
void SetRects(IQDVideoMixer& mixer, const Layout& layout, LONG shift) {
    for (LONG stream = 0; stream < kStreams; ++stream)
        for (LONG number = 0; number < kRects; ++number) {
            VM_MIXING_RECT rect{};
            const LONG left = (stream * 46 + number * 530 + shift) % (layout.outWidth - 160);
            const LONG top = (stream * 22 + number * 310 + shift) % (layout.outHeight - 90);
            rect.rcTarget = {left, top, left + 80, top + 44};
            rect.dblAlpha = 1;
            LONG no = number;
            (void)mixer.SetInputRect(stream, &no, &rect);
        }
}

void AddScenes(MixerRun& run, const Layout& layout) {
    SetRects(run.Control(), layout, 0);
    (void)run.Scenes()->AddCurrentScene(CountedString(u"a").Get(), nullptr);
    SetRects(run.Control(), layout, 300);
    const CountedString picture(SharedDataPath("backgrounds/waves.png"));
    (void)run.Control().SetBackground(eVMB_Image, 0, picture.Get());
    (void)run.Scenes()->AddCurrentScene(CountedString(u"b").Get(), nullptr);
}

// Processor time of the calling thread.
double ThreadSeconds() {
    timespec time{};
    (void)clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double Periods(double seconds) { return seconds / std::chrono::duration<double>(kPeriod).count(); }

// The longest calls, in periods.
struct Calls {
    double wall = 0;
    // Processor time of a scene without a picture: nearly all of it is what frames wait for.
    double work = 0;
};

Calls SelectUntil(MixerRun& run, const std::atomic<bool>& isOver, LONG milliseconds) {
    Calls longest;
    for (int i = 0; !isOver; ++i) {
        const bool hasPicture = i % 2 != 0;
        const CountedString name(hasPicture ? u"b" : u"a");
        const double before = ThreadSeconds();
        const Spent spent =
            Measure([&] { (void)run.Scenes()->SelectScene2(name.Get(), milliseconds); });
        longest.wall = std::max(longest.wall, Periods(spent.wall));
        if (!hasPicture) longest.work = std::max(longest.work, Periods(ThreadSeconds() - before));
        std::this_thread::sleep_for(kBetweenScenes);
    }
    return longest;
}

}  // namespace

void ReportScenes() {
    std::printf("Scenes of %d streams of %d rects selected every %d ms on a running mixer,\n",
                kStreams, kRects, static_cast<int>(kBetweenScenes.count()));
    std::printf("1280x720, every second one with a picture file behind it; in periods of %d ms\n",
                static_cast<int>(kPeriod.count()));
    std::printf("%-14s %11s %12s %13s %13s\n", "", "usual gap", "longest gap", "longest call",
                "cpu of a call");
    const Layout layout = Grid(160, 90, 1280, 720, kStreams);
    MixerRun run(layout, kFccI420);
    FrameTimes times;
    AddScenes(run, layout);
    run.Sink().onFrame = [&](IMediaSample*) { times.Note(); };
    const auto print = [&](const char* name, const Calls& longest) {
        const Spread gaps = times.Gaps();
        std::printf("%-14s %11.2f %12.2f %13.2f %13.3f\n", name, gaps.middle, gaps.high,
                    longest.wall, longest.work);
    };
    SendPaced(run, kFrames);
    print("none selected", {});
    for (const LONG milliseconds : {0, 400}) {
        std::atomic<bool> isOver{false};
        Calls longest;
        std::thread selects([&] { longest = SelectUntil(run, isOver, milliseconds); });
        SendPaced(run, kFrames);
        isOver = true;
        selects.join();
        print(milliseconds == 0 ? "at once" : "in 400 ms", longest);
    }
    run.Sink().onFrame = nullptr;
    std::printf("\n");
}

}  // namespace qdvm::bench
