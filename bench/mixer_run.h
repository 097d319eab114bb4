#pragma once

// A mixer with still pictures at its inputs and a counter at its output.

#include "bench.h"
#include "scenes/scene_control.h"
#include "support/graph_fakes.h"

#include <cstdint>
#include <vector>

namespace qdvm::bench {

class MixerRun {
public:
    MixerRun(const Layout& theLayout, std::int32_t format);
    ~MixerRun();

    // Sends one picture to every stream for each output frame, and waits for the last frame.
    void Frames(int count);

    // Whether the picture of every stream is seen in the output, so that no time is measured for
    // what isn't done.
    bool ShowsAll();

    IQDVideoMixer& Control() const { return *mixer.control; }
    Ref<IQDVideoMixerScene> Scenes() const { return mixer.filter.As<IQDVideoMixerScene>(); }
    test::FakeSink& Sink() const { return *sink; }

private:
    void AddStream(const Shown& shown);
    BYTE MiddleOf(std::size_t stream, bool isDark);

    Layout layout;
    std::int32_t fccType;
    test::MixerUnderTest mixer;
    Ref<test::FakeSink> sink;
    std::vector<Ref<test::FakeSource>> sources;
    std::vector<Ref<IMediaSample>> pictures;  // kCopies for each stream, in turn
    int sent = 0;
};

}  // namespace qdvm::bench
