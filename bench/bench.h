#pragma once

// What the reports share: clocks, medians, and the road of frames through a mixer.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <vector>

namespace qdvm::bench {

// Pairs of measurements behind each printed ratio.
inline constexpr int kPairs = 7;

inline double WallSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// Processor time of all threads of the process.
inline double CpuSeconds() {
    timespec time{};
    (void)clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// Every byte of the still pictures: opaque where there is alpha.
inline constexpr int kPictureByte = 255;

// Each still picture lies in memory so many times, and its copies take turns, for us and for the
// peers: no stream has each of its frames in the same place.
inline constexpr int kCopies = 2;

struct Spent {
    double wall = 0;  // seconds
    double cpu = 0;
};

template <class Work>
Spent Measure(Work&& work) {
    const double wall = WallSeconds();
    const double cpu = CpuSeconds();
    work();
    return {WallSeconds() - wall, CpuSeconds() - cpu};
}

inline double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// The middle and both ends of what was measured.
struct Spread {
    double low;
    double middle;
    double high;
};

inline Spread SpreadOf(const std::vector<double>& values) {
    const auto [low, high] = std::minmax_element(values.begin(), values.end());
    return {*low, Median(values), *high};
}

// A stream of still pictures and its rect in the output, in pixels.
struct Shown {
    std::int32_t width;  // of the picture
    std::int32_t height;
    std::int32_t left;  // of the rect
    std::int32_t top;
    std::int32_t shownWidth;
    std::int32_t shownHeight;
    double alpha = 1;
    std::int32_t border = 0;
};

// From the bottom to the top.
struct Layout {
    std::int32_t outWidth;
    std::int32_t outHeight;
    std::vector<Shown> streams;
};

// Pictures at their own size in rows from the upper left corner.
Layout Grid(std::int32_t width, std::int32_t height, std::int32_t outWidth, std::int32_t outHeight,
            int count);

// Time of `frames` output frames of a peer on still pictures held in memory; zero where it can't be
// had. `format` is GStreamer's or FFmpeg's name of a pixel format. The compositor draws no borders.
Spent MeasureCompositor(const Layout& layout, const char* format, int frames);
Spent MeasureOverlay(const Layout& layout, const char* format, int frames);

// The reports, printed to standard output.
void ReportFullFrame();
void ReportStreams();
void ReportLayouts();
void ReportBlends();
void ReportChromaKey();
void ReportKeyThreads();   // a part of it
void ReportConversions();  // with libyuv and libswscale
void ReportScaling();      // with libyuv and OpenCV
void ReportScenes();
void ReportXml();  // with pugixml

}  // namespace qdvm::bench
