#include "mixer_run.h"

#include "frames/format_table.h"

#include <cstdio>
#include <cstdlib>

namespace qdvm::bench {
namespace {

constexpr LONG kBorderColour = 0xFFFFFF;

void Need(bool isDone, const char* what) {
    if (isDone) return;
    std::fprintf(stderr, "bench: %s failed\n", what);
    std::exit(1);
}

}  // namespace

MixerRun::MixerRun(const Layout& theLayout, std::int32_t format)
    : layout(theLayout), fccType(format), sink(MakeObject<test::FakeSink>()) {
    VM_VIDEO_PROPS wanted{};
    wanted.picProps = {fccType, layout.outWidth, layout.outHeight, 0};
    wanted.dblStreamFPS = 25;
    Need(Succeeded(mixer.control->SetOutputProps(&wanted)), "output format");
    sink->keepsData = false;
    for (const Shown& shown : layout.streams) AddStream(shown);
    Need(mixer.Out()->Connect(sink.Get(), nullptr) == S_OK, "output connection");
    Need(Succeeded(mixer.filter->Run(0)), "run");
    for (const Ref<test::FakeSource>& source : sources)
        for (int i = 0; i < kCopies; ++i)
            pictures.push_back(source->Picture(kPictureByte, 0, test::kFrame));
    Frames(10);
}

void MixerRun::AddStream(const Shown& shown) {
    const auto number = static_cast<LONG>(sources.size());
    sources.push_back(
        MakeObject<test::FakeSource>(test::VideoType(fccType, shown.width, shown.height)));
    Need(sources.back()->ConnectTo(mixer.In(static_cast<ULONG>(number)).Get()) == S_OK,
         "connection");
    VM_MIXING_RECT rect{};
    rect.rcTarget = {shown.left, shown.top, shown.left + shown.shownWidth,
                     shown.top + shown.shownHeight};
    rect.dblAlpha = shown.alpha;
    rect.nBorderWidth = shown.border;
    rect.nBorderColor = kBorderColour;
    Need(Succeeded(mixer.control->SetInputRect(number, nullptr, &rect)) &&
             Succeeded(mixer.control->EnableStream(number, 1)),
         "rect");
    // Frames are never late here, however busy the machine is.
    Need(Succeeded(mixer.control->SetStreamMaxWait(number, 0, eVMLS_Last)), "wait");
}

MixerRun::~MixerRun() {
    pictures.clear();
    (void)mixer.filter->Stop();
}

void MixerRun::Frames(int count) {
    for (int frame = 0; frame < count; ++frame, ++sent) {
        for (std::size_t i = 0; i < sources.size(); ++i) {
            IMediaSample* picture =
                pictures[i * kCopies + static_cast<std::size_t>(sent % kCopies)].Get();
            REFERENCE_TIME start = sent * test::kFrame;
            REFERENCE_TIME stop = start + test::kFrame;
            (void)picture->SetTime(&start, &stop);
            Need(sources[i]->Send(picture) == S_OK, "frame");
        }
    }
    Need(sink->WaitForFrames(static_cast<std::size_t>(sent)), "output");
}

// The byte in the middle of a stream's rect, in a frame in which that stream is dark or isn't.
BYTE MixerRun::MiddleOf(std::size_t stream, bool isDark) {
    constexpr BYTE kDarkByte = 60;
    const std::size_t slot = stream * kCopies + static_cast<std::size_t>(sent % kCopies);
    const Ref<IMediaSample> usual = pictures[slot];
    if (isDark) pictures[slot] = sources[stream]->Picture(kDarkByte, 0, test::kFrame);
    Frames(1);
    pictures[slot] = usual;
    const std::vector<BYTE> frame = sink->LastFrame().data;
    const Shown& shown = layout.streams[stream];
    const std::int64_t pixelBytes = fccType == kFccI420 ? 1 : fccType == kFccYUY2 ? 2 : 4;
    const std::int64_t x = shown.left + shown.shownWidth / 2;
    const std::int64_t down = shown.top + shown.shownHeight / 2;
    // RGB is stored bottom line first.
    const std::int64_t y = fccType == kFccARGB32 ? layout.outHeight - 1 - down : down;
    return frame.at(static_cast<std::size_t>((y * layout.outWidth + x) * pixelBytes));
}

bool MixerRun::ShowsAll() {
    sink->keepsData = true;
    bool areAllSeen = true;
    for (std::size_t i = 0; i < sources.size(); ++i)
        areAllSeen = areAllSeen && MiddleOf(i, false) != MiddleOf(i, true);
    sink->keepsData = false;
    return areAllSeen;
}

}  // namespace qdvm::bench
