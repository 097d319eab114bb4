#pragma once

// What the reports on single kernels share: frames, and the ratio of two pieces of work on one
// thread.

#include "bench.h"
#include "frames/format_table.h"
#include "frames/picture_layout.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace qdvm::bench {

inline constexpr std::int32_t kKernelWidth = 1920;
inline constexpr std::int32_t kKernelHeight = 1080;

// A picture of noise, top line first.
struct KernelFrame {
    explicit KernelFrame(std::int32_t fccType, std::int32_t width = kKernelWidth,
                         std::int32_t height = kKernelHeight);

    BYTE* Data() { return bytes.data(); }
    const BYTE* Data() const { return bytes.data(); }

    PIC_PROPS props;
    std::vector<BYTE> bytes;
};

using Work = std::function<void()>;

// What was measured of `ours` against `peer`, in medians of pairs.
struct Comparison {
    double milliseconds;  // ours
    Spread speed;         // time of the peer over ours
};

Comparison Compare(const Work& ours, const Work& peer);

// A memcpy that moves so many bytes in and out together.
Work CopyOf(std::size_t moved);

// One line: time, bytes moved per second over what memcpy moves, and the ratio to the peer. An
// empty peer leaves the last one out.
void PrintKernel(const char* name, std::size_t moved, const Work& ours, const char* peerName,
                 const Work& peer);

// A packed picture or planes in the order Y, U, V, as the peers take them.
struct PeerPlanes {
    std::uint8_t* data[4];
    int stride[4];
};
PeerPlanes PlanesOf(KernelFrame& frame);

}  // namespace qdvm::bench
