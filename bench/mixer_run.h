#pragma once

// A mixer with still pictures at its inputs and a counter at its output.

#include "bench.h"
#include "support/graph_fakes.h"

#include <cstdint>
#include <vector>

namespace qdvm::bench {

class MixerRun {
public:
    MixerRun(const Layout& layout, std::int32_t fccType);
    ~MixerRun();

    // Sends one picture to every stream for each output frame, and waits for the last frame.
    void Frames(int count);

private:
    void AddStream(const Shown& shown, std::int32_t fccType);

    test::MixerUnderTest mixer;
    Ref<test::FakeSink> sink;
    std::vector<Ref<test::FakeSource>> sources;
    std::vector<Ref<IMediaSample>> pictures;  // two for each stream, in turn
    int sent = 0;
};

}  // namespace qdvm::bench
