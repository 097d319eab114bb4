// Frames from pin to pin cost no allocation once the formats are stable.

#include "frames/format_table.h"
#include "support/alloc_counter.h"
#include "support/graph_fakes.h"

#include <gtest/gtest.h>

#include <cstddef>

namespace qdvm::test {
namespace {

class AllocationTest : public ::testing::TestWithParam<LONG> {};

TEST_P(AllocationTest, SteadyFramesAllocateNothing) {
    MixerUnderTest mixer;
    const Ref<FakeSink> sink = MakeObject<FakeSink>();
    sink->keepsData = false;
    Ref<FakeSource> sources[2];
    for (ULONG i = 0; i < 2; ++i) {
        sources[i] = MakeObject<FakeSource>(VideoType(kFccRGB32, 64, 32));
        ASSERT_EQ(sources[i]->ConnectTo(mixer.In(i).Get()), S_OK);
        ASSERT_EQ(mixer.Show(static_cast<LONG>(i), 0, 0, 64, 32), S_OK);
    }
    ASSERT_EQ(mixer.Out()->Connect(sink.Get(), nullptr), S_OK);
    ASSERT_EQ(mixer.control->SetMasterStream(GetParam()), GetParam() < 0 ? S_FALSE : S_OK);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);

    std::size_t rounds = 0;
    const auto send = [&](std::size_t count) {
        for (const std::size_t end = rounds + count; rounds < end; ++rounds) {
            const auto start = static_cast<REFERENCE_TIME>(rounds) * kFrame;
            ASSERT_EQ(sources[1]->SendPicture(2, start, start + kFrame), S_OK);
            ASSERT_EQ(sources[0]->SendPicture(1, start, start + kFrame), S_OK);
        }
        ASSERT_TRUE(sink->WaitForFrames(rounds));
    };
    send(20);
    {
        const AllocCounter counter;
        send(200);
        EXPECT_EQ(counter.Count(), 0u);
        // The counter does count.
        (void)mixer.OutputTypes();
        EXPECT_GT(counter.Count(), 0u);
    }
    EXPECT_EQ(mixer.filter->Stop(), S_OK);
}

// Without a master stream, and with one.
INSTANTIATE_TEST_SUITE_P(Modes, AllocationTest, ::testing::Values(-1, 0));

}  // namespace
}  // namespace qdvm::test
