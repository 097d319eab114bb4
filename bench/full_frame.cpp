// A picture that fills the output, end to end through pins, against touching the same bytes the
// same number of times: the background's fill, the copy into the mix, the copy into the sample.

#include "frames/format_table.h"
#include "mixer_run.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace qdvm::bench {
namespace {

constexpr int kFrames = 60;
constexpr std::size_t kOutputBuffers = 8;

class PlainTouch {
public:
    explicit PlainTouch(std::size_t frameBytes)
        : bytes(frameBytes), in(2 * bytes, 99), mix(bytes, 0), out(kOutputBuffers * bytes, 0) {}

    void Frames(int count) {
        for (int i = 0; i < count; ++i) {
            const auto number = static_cast<std::size_t>(i);
            std::memset(mix.data(), i & 0xFF, bytes);
            std::memcpy(mix.data(), in.data() + number % 2 * bytes, bytes);
            std::memcpy(out.data() + number % kOutputBuffers * bytes, mix.data(), bytes);
            // So that no copy can be left out.
            asm volatile("" : : "r"(out.data()), "r"(mix.data()) : "memory");
        }
    }

private:
    std::size_t bytes;
    std::vector<std::uint8_t> in;
    std::vector<std::uint8_t> mix;
    std::vector<std::uint8_t> out;
};

void ReportFormat(const char* name, std::int32_t fccType, const char* gstName) {
    const Layout layout = Grid(1920, 1080, 1920, 1080, 1);
    MixerRun run(layout, fccType);
    PlainTouch plain(FrameBytes({fccType, 1920, 1080, 0}));
    plain.Frames(kFrames);
    std::vector<double> wall;
    std::vector<double> cpu;
    std::vector<double> milliseconds;
    std::vector<double> compositor;
    for (int i = 0; i < kPairs; ++i) {
        const Spent ours = Measure([&] { run.Frames(kFrames); });
        const Spent peer = Measure([&] { plain.Frames(kFrames); });
        const Spent other = MeasureCompositor(layout, gstName, kFrames);
        wall.push_back(ours.wall / peer.wall);
        cpu.push_back(ours.cpu / peer.cpu);
        milliseconds.push_back(ours.wall * 1000 / kFrames);
        compositor.push_back(other.cpu > 0 ? ours.cpu / other.cpu : 0);
    }
    const Spread spread = SpreadOf(wall);
    std::printf("%-6s %8.3f %8.2f (%.2f to %.2f) %8.2f %14.2f\n", name, Median(milliseconds),
                spread.middle, spread.low, spread.high, Median(cpu), Median(compositor));
}

}  // namespace

void ReportFullFrame() {
    std::printf("One opaque 1920x1080 picture, end to end through pins\n");
    std::printf("%-6s %8s %-23s %8s %14s\n", "format", "ms/frame", " over memory, wall", "cpu",
                "cpu/compositor");
    ReportFormat("I420", kFccI420, "I420");
    ReportFormat("YUY2", kFccYUY2, "YUY2");
    ReportFormat("RGB32", kFccRGB32, "BGRx");
    std::printf("\n");
}

}  // namespace qdvm::bench
