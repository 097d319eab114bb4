// Whole layouts at 1920x1080, end to end through pins, against the peers on the same pictures, in
// processor time of an output frame.

#include "frames/format_table.h"
#include "mixer_run.h"

#include <array>
#include <cstdio>
#include <memory>

namespace qdvm::bench {
namespace {

constexpr std::int32_t kWidth = 1920;
constexpr std::int32_t kHeight = 1080;
constexpr int kFrames = 20;

struct Format {
    const char* name;
    std::int32_t fccType;
    const char* gstName;
    const char* ffmpegName;
};

constexpr std::array kFormats = {
    Format{"I420", kFccI420, "I420", "yuv420p"},
    Format{"YUY2", kFccYUY2, "YUY2", "yuyv422"},
    Format{"BGRA", kFccARGB32, "BGRA", "bgra"},
};

constexpr Shown kWhole = {kWidth, kHeight, 0, 0, kWidth, kHeight};

Layout Quad() {
    Layout layout{kWidth, kHeight, {}};
    for (const std::int32_t top : {0, kHeight / 2})
        for (const std::int32_t left : {0, kWidth / 2})
            layout.streams.push_back({kWidth, kHeight, left, top, kWidth / 2, kHeight / 2});
    return layout;
}

Layout PictureInPicture() {
    Layout layout{kWidth, kHeight, {kWhole}};
    for (const std::int32_t top : {80, 640})
        for (const std::int32_t left : {120, 1160})
            layout.streams.push_back({kWidth, kHeight, left, top, 640, 360, 0.5, 8});
    return layout;
}

Layout Blend() {
    Shown over = kWhole;
    over.alpha = 0.5;
    return {kWidth, kHeight, {kWhole, over, over}};
}

// Ours over the peer's, or nothing where there is no peer.
void PrintRatio(const std::vector<double>& ours, const std::vector<double>& peer) {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < ours.size(); ++i)
        if (peer[i] > 0) ratios.push_back(ours[i] / peer[i]);
    if (ratios.empty()) {
        std::printf(" %33s", "-");
        return;
    }
    const Spread spread = SpreadOf(ratios);
    std::printf(" %9.2f %7.3f (%.3f to %.3f)", Median(peer), spread.middle, spread.low,
                spread.high);
}

void Report(const char* title, const Layout& layout) {
    for (const Format& format : kFormats) {
        MixerRun run(layout, format.fccType);
        if (!run.ShowsAll()) {
            std::printf("%-22s %-5s not drawn\n", title, format.name);
            continue;
        }
        std::vector<double> ours;
        std::vector<double> compositor;
        std::vector<double> overlay;
        for (int i = 0; i < kPairs; ++i) {
            const auto perFrame = [](const Spent& spent) { return spent.cpu * 1000 / kFrames; };
            ours.push_back(perFrame(Measure([&] { run.Frames(kFrames); })));
            compositor.push_back(perFrame(MeasureCompositor(layout, format.gstName, kFrames)));
            overlay.push_back(perFrame(MeasureOverlay(layout, format.ffmpegName, kFrames)));
        }
        std::printf("%-22s %-5s %8.2f", title, format.name, Median(ours));
        PrintRatio(ours, compositor);
        PrintRatio(ours, overlay);
        std::printf("\n");
        (void)std::fflush(stdout);
    }
}

}  // namespace

Layout Grid(std::int32_t width, std::int32_t height, std::int32_t outWidth, std::int32_t outHeight,
            int count) {
    const std::int32_t columns = outWidth / width;
    const std::int32_t rows = outHeight / height;
    Layout layout{outWidth, outHeight, {}};
    for (int i = 0; i < count; ++i)
        layout.streams.push_back(
            {width, height, i % columns * width, i / columns % rows * height, width, height});
    return layout;
}

void ReportLayouts() {
    std::printf(
        "Layouts of 1920x1080 pictures on 1920x1080, milliseconds of processor time of a\n"
        "frame, and ours over the peer's\n");
    std::printf("%-22s %-5s %8s %9s %-24s %9s %s\n", "layout", "", "ours", "compositor", "  ratio",
                "overlay", "  ratio");
    Report("quad", Quad());
    Report("one and four bordered", PictureInPicture());
    Report("one and two at half", Blend());
    std::printf("\n");
}

}  // namespace qdvm::bench
