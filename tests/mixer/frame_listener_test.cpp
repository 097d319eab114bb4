// What is changed before a frame is seen by that frame, and by no earlier one.

#include "platform/iid.h"
#include "platform/object_root.h"
#include "support/fake_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace qdvm {
QDVM_INTERFACE(IQDVideoMixerFrameListener, IUnknown, IID_IQDVideoMixerFrameListener);
}

namespace qdvm::test {
namespace {

// Moves the rect to the right half in one frame and back in the next.
class Mover final : public ObjectRoot<IQDVideoMixerFrameListener> {
public:
    explicit Mover(FakeFilter& mixer) : filter(mixer) {}

    void BeforeFrame(std::uint64_t number) override {
        numbers.push_back(number);
        VM_MIXING_RECT rect{};
        const LONG left = number % 2 == 0 ? 0 : 32;
        rect.rcSource = {0, 0, 32, 32};
        rect.rcTarget = {left, 0, left + 32, 32};
        rect.dblAlpha = 1;
        LONG first = 0;
        EXPECT_EQ(filter.SetInputRect2(0, &first, &rect, 0), S_OK);
        EXPECT_EQ(filter.SetBackground(eVMB_Color, static_cast<LONG>(100 + number) << 16, nullptr),
                  S_OK);
    }

    std::vector<std::uint64_t> numbers;  // of the frames

private:
    ~Mover() override = default;

    FakeFilter& filter;
};

class FrameListener : public ::testing::TestWithParam<bool> {};

TEST_P(FrameListener, ChangesLandOnTheFrameTheyAreMadeFor) {
    FakeFilter filter;
    if (GetParam()) {
        ASSERT_EQ(filter.SetMasterStream(0), S_OK);
    }
    const Ref<Mover> mover = MakeObject<Mover>(filter);
    ASSERT_EQ(filter.SetFrameListener(mover.Get()), S_OK);
    ASSERT_EQ(filter.Run(), S_OK);
    for (int i = 0; i < 4; ++i) ASSERT_EQ(filter.Send(0, 7, i), S_OK);
    ASSERT_TRUE(filter.output.WaitForFrames(4));
    ASSERT_EQ(filter.SetFrameListener(nullptr), S_OK);
    ASSERT_EQ(filter.Send(0, 7, 4), S_OK);
    ASSERT_TRUE(filter.output.WaitForFrames(5));
    filter.Stop();
    EXPECT_EQ(mover->numbers, (std::vector<std::uint64_t>{0, 1, 2, 3}));
    const std::vector<Delivered> frames = filter.output.Frames();
    for (std::size_t i = 0; i < 5; ++i) {
        const std::size_t seen = std::min<std::size_t>(i, 3);
        const auto background = static_cast<BYTE>(100 + seen);
        EXPECT_EQ(frames[i].At(0, 0), seen % 2 == 0 ? 7 : background) << i;
        EXPECT_EQ(frames[i].At(63, 0), seen % 2 == 0 ? background : 7) << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Both, FrameListener, ::testing::Bool(), [](const auto& suite) {
    return suite.param ? "WithAMaster" : "FreeRunning";
});

}  // namespace
}  // namespace qdvm::test
