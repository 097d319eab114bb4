// The walk over a stream's rects.

#include "pixels/stream_mix.h"

#include "frames/format_table.h"
#include "support/test_picture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <vector>

namespace qdvm::test {
namespace {

using Outcome = RectAnimator::Outcome;

constexpr PIC_PROPS kProps = {kFccYUY2, 16, 8, 16};

// Gives the outcomes in turn, then kShow; erases as told.
class Script final : public RectAnimator {
public:
    Script(StreamPixels& pixels, std::vector<Outcome> given) : stream(pixels), outcomes(given) {}
    Outcome StepRect(std::size_t index) override {
        if (next == outcomes.size()) return Outcome::kShow;
        const Outcome outcome = outcomes[next++];
        if (outcome != Outcome::kShow)
            stream.rects.erase(stream.rects.begin() + static_cast<std::ptrdiff_t>(index));
        return outcome;
    }

private:
    StreamPixels& stream;
    std::vector<Outcome> outcomes;
    std::size_t next = 0;
};

class StreamMixTest : public ::testing::Test {
protected:
    void SetUp() override {
        out.picProps = stream.inputProps.picProps = kProps;
        out.eInterlace = stream.inputProps.eInterlace = eVMI_Progressive;
        AddRect(0, 0, 16, 8);
    }
    MixBlock& AddRect(int left, int top, int right, int bottom) {
        MixBlock& rect = stream.rects.emplace_back();
        rect.current.values = {0,
                               0,
                               double(right - left),
                               double(bottom - top),
                               double(left),
                               double(top),
                               double(right),
                               double(bottom),
                               1};
        return rect;
    }
    HRESULT Mix(std::vector<Outcome> outcomes = {}) {
        target = TestPicture(kProps, 2);
        Script script(stream, outcomes);
        return MixRects(stream, source.Frame(), target.Frame(), out, script);
    }
    bool IsDrawn() const {
        return std::equal(source.Frame(), source.Frame() + 16 * 8 * 2, target.Frame());
    }
    bool IsUntouched() const { return target.memory == TestPicture(kProps, 2).memory; }

    StreamPixels stream;
    VM_VIDEO_PROPS out{};
    TestPicture source{kProps, 1};
    TestPicture target{kProps, 2};
};

TEST_F(StreamMixTest, APlainRectIsABitExactCopyInItsPlace) {
    ASSERT_EQ(Mix(), S_OK);
    EXPECT_TRUE(IsDrawn());
    stream.rects.clear();
    AddRect(-4, 2, 12, 10);  // over the edge
    ASSERT_EQ(Mix(), S_OK);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 16; ++x)
            for (std::size_t i = 0; i < 3; ++i) {
                const bool isInside = y >= 2 && x < 12;
                const BYTE expected = isInside
                                          ? source.Frame()[source.Samples(x + 4, y - 2)[i]]
                                          : TestPicture(kProps, 2).Frame()[target.Samples(x, y)[i]];
                ASSERT_EQ(target.Frame()[target.Samples(x, y)[i]], expected) << x << "," << y;
            }
}

TEST_F(StreamMixTest, InvisibleRectsChangeNothing) {
    MixBlock& rect = stream.rects[0];
    for (const double alpha : {0.0, -1.0}) {
        rect.current[kAlpha] = alpha;
        EXPECT_EQ(Mix(), S_OK);
        EXPECT_TRUE(IsUntouched());
    }
    rect.current[kAlpha] = 1;
    rect.current[kTargetRight] = 0.4;
    EXPECT_EQ(Mix(), S_OK);
    EXPECT_TRUE(IsUntouched());
    Script script(stream, {});
    EXPECT_EQ(MixRects(stream, nullptr, target.Frame(), out, script), E_POINTER);
}

TEST_F(StreamMixTest, ErasedRectsLeaveTheirNumberToTheNext) {
    stream.rects[0].current[kAlpha] = 0;
    AddRect(0, 0, 16, 8).maskName = u"second";
    ASSERT_EQ(Mix({Outcome::kErased}), S_OK);
    EXPECT_TRUE(IsDrawn());
    ASSERT_EQ(stream.rects.size(), 1u);
    EXPECT_EQ(Mix({Outcome::kStreamClosed}), S_FALSE);
    EXPECT_TRUE(IsUntouched());
}

}  // namespace
}  // namespace qdvm::test
