#include "mixer_run.h"

#include <cstdio>
#include <cstdlib>

namespace qdvm::bench {
namespace {

void Need(bool isDone, const char* what) {
    if (isDone) return;
    std::fprintf(stderr, "bench: %s failed\n", what);
    std::exit(1);
}

}  // namespace

MixerRun::MixerRun(const Placement& placement, std::int32_t fccType)
    : sink(MakeObject<test::FakeSink>()) {
    VM_VIDEO_PROPS wanted{};
    wanted.picProps = {fccType, placement.outWidth, placement.outHeight, 0};
    wanted.dblStreamFPS = 25;
    Need(Succeeded(mixer.control->SetOutputProps(&wanted)), "output format");
    sink->keepsData = false;
    for (int i = 0; i < placement.streams; ++i) {
        const auto number = static_cast<ULONG>(i);
        sources.push_back(MakeObject<test::FakeSource>(
            test::VideoType(fccType, placement.width, placement.height)));
        Need(sources.back()->ConnectTo(mixer.In(number).Get()) == S_OK, "connection");
        Need(Succeeded(mixer.Show(i, LeftOf(placement, i), TopOf(placement, i), placement.width,
                                  placement.height)),
             "rect");
        // Frames are never late here, however busy the machine is.
        Need(Succeeded(mixer.control->SetStreamMaxWait(i, 0, eVMLS_Last)), "wait");
    }
    Need(mixer.Out()->Connect(sink.Get(), nullptr) == S_OK, "output connection");
    Need(Succeeded(mixer.filter->Run(0)), "run");
    for (const Ref<test::FakeSource>& source : sources)
        for (int i = 0; i < 2; ++i) pictures.push_back(source->Picture(99, 0, test::kFrame));
    Frames(10);
}

MixerRun::~MixerRun() {
    pictures.clear();
    (void)mixer.filter->Stop();
}

void MixerRun::Frames(int count) {
    for (int frame = 0; frame < count; ++frame, ++sent) {
        for (std::size_t i = 0; i < sources.size(); ++i) {
            IMediaSample* picture = pictures[i * 2 + static_cast<std::size_t>(sent % 2)].Get();
            REFERENCE_TIME start = sent * test::kFrame;
            REFERENCE_TIME stop = start + test::kFrame;
            (void)picture->SetTime(&start, &stop);
            Need(sources[i]->Send(picture) == S_OK, "frame");
        }
    }
    Need(sink->WaitForFrames(static_cast<std::size_t>(sent)), "output");
}

}  // namespace qdvm::bench
