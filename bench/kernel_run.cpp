#include "kernel_run.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace qdvm::bench {
namespace {

constexpr int kRuns = 6;

double Repeat(const Work& work) {
    return Measure([&] {
               for (int i = 0; i < kRuns; ++i) work();
           }).cpu /
           kRuns;
}

}  // namespace

KernelFrame::KernelFrame(std::int32_t fccType, std::int32_t width, std::int32_t height)
    : props{fccType, width, IsRGBFormat(fccType) ? -height : height, 0}, bytes(FrameBytes(props)) {
    std::uint32_t random = 1;
    for (BYTE& byte : bytes)
        byte = static_cast<BYTE>((random = random * 1664525 + 1013904223) >> 24);
}

Comparison Compare(const Work& ours, const Work& peer) {
    ours();
    peer();
    std::vector<double> times;
    std::vector<double> ratios;
    for (int i = 0; i < kPairs; ++i) {
        times.push_back(Repeat(ours));
        ratios.push_back(Repeat(peer) / times.back());
    }
    return {Median(times) * 1e3, SpreadOf(ratios)};
}

Work CopyOf(std::size_t moved) {
    const std::size_t half = moved / 2;
    auto memory = std::make_shared<std::vector<BYTE>>(2 * half, BYTE{1});
    return [memory, half] {
        std::memcpy(memory->data(), memory->data() + half, half);
        asm volatile("" : : "r"(memory->data()) : "memory");
    };
}

void PrintKernel(const char* name, std::size_t moved, const Work& ours, const char* peerName,
                 const Work& peer) {
    const Comparison copy = Compare(ours, CopyOf(moved));
    std::printf("  %-34s %7.3f ms  %5.2f of memcpy", name, copy.milliseconds, copy.speed.middle);
    if (peer) {
        const Spread speed = Compare(ours, peer).speed;
        std::printf("  %5.2f of %-10s (%.2f to %.2f)", speed.middle, peerName, speed.low,
                    speed.high);
    }
    std::printf("\n");
}

PeerPlanes PlanesOf(KernelFrame& frame) {
    const PictureLayout layout = PlaneLayout(frame.props, false);
    PeerPlanes planes{};
    for (std::size_t i = 0; i < static_cast<std::size_t>(layout.planes); ++i) {
        planes.data[i] = frame.Data() + layout.offset[i];
        planes.stride[i] = static_cast<int>(layout.stride[i]);
    }
    return planes;
}

}  // namespace qdvm::bench
