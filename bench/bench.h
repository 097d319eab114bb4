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

struct Placement {
    std::int32_t width;  // of each picture
    std::int32_t height;
    std::int32_t outWidth;
    std::int32_t outHeight;
    int streams;  // laid out in rows from the upper left corner
};

// Upper left corner of a stream's picture.
inline std::int32_t LeftOf(const Placement& placement, int stream) {
    const int columns = placement.outWidth / placement.width;
    return stream % columns * placement.width;
}
inline std::int32_t TopOf(const Placement& placement, int stream) {
    const int columns = placement.outWidth / placement.width;
    const int rows = placement.outHeight / placement.height;
    return stream / columns % rows * placement.height;
}

// Time of `frames` output frames of the compositor of GStreamer on still pictures held in memory;
// zero where it can't be had. format: its name of a raw format.
Spent MeasureCompositor(const Placement& placement, const char* format, int frames);

// The reports, printed to standard output.
void ReportFullFrame();
void ReportStreams();

}  // namespace qdvm::bench
