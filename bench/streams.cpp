// Many small pictures on one large output: what one more stream costs.

#include "frames/format_table.h"
#include "mixer_run.h"

#include <cstdio>
#include <memory>

namespace qdvm::bench {
namespace {

constexpr int kFrames = 40;

struct Row {
    int streams;
    std::unique_ptr<MixerRun> run;
    std::vector<double> wall{};  // ms per frame
    std::vector<double> cpu{};
    std::vector<double> compositor{};  // ms of processor time per frame
};

Layout LayoutOf(int streams) { return Grid(320, 180, 1920, 1080, streams); }

void Print(const Row& row, double perStreamOfFour) {
    const double wall = Median(row.wall);
    const double cpu = Median(row.cpu);
    const double peer = Median(row.compositor);
    std::printf("%7d %9.3f %9.3f %12.4f %9.2f %11.3f %9.2f\n", row.streams, wall, cpu,
                wall / row.streams, wall / row.streams / perStreamOfFour, peer,
                peer > 0 ? cpu / peer : 0);
}

}  // namespace

void ReportStreams() {
    std::printf("Streams of 320x180 on 1920x1080, I420\n");
    std::printf("%7s %9s %9s %12s %9s %11s %9s\n", "streams", "ms/frame", "cpu ms", "ms/stream",
                "over four", "compositor", "cpu ratio");
    std::vector<Row> rows;
    for (const int streams : {1, 4, 16, 64, 100})
        rows.push_back({streams, std::make_unique<MixerRun>(LayoutOf(streams), kFccI420)});
    for (int i = 0; i < kPairs; ++i) {
        for (Row& row : rows) {
            const Spent ours = Measure([&] { row.run->Frames(kFrames); });
            const Spent peer = MeasureCompositor(LayoutOf(row.streams), "I420", kFrames);
            row.wall.push_back(ours.wall * 1000 / kFrames);
            row.cpu.push_back(ours.cpu * 1000 / kFrames);
            row.compositor.push_back(peer.cpu * 1000 / kFrames);
        }
    }
    for (const Row& row : rows) Print(row, Median(rows[1].wall) / rows[1].streams);
    std::printf("\n");
}

}  // namespace qdvm::bench
