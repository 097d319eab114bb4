// Rects: what is made of a record, how a change runs, and how one ends.

#include "mixer/rect_change.h"
#include "support/fake_filter.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace qdvm::test {
namespace {

bool operator==(const RECT& a, const RECT& b) {
    return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

VM_MIXING_RECT Sample() {
    VM_MIXING_RECT rect{};
    rect.rcSource = {0, 0, 64, 32};
    rect.rcTarget = {0, 0, 64, 32};
    rect.dblAlpha = 1;
    return rect;
}

// One stream, itself the master, so that every frame is composed at once.
class Rects : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(filter.SetMasterStream(0), S_OK);
        ASSERT_EQ(filter.Run(), S_OK);
    }
    VM_MIXING_RECT Read(LONG number = 0) {
        VM_MIXING_RECT rect{};
        EXPECT_EQ(filter.GetInputRect(0, number, &rect), S_OK);
        return rect;
    }
    void Set(const VM_MIXING_RECT& rect, LONG milliseconds = 0, LONG number = 0) {
        ASSERT_EQ(filter.SetInputRect2(0, &number, &rect, milliseconds), S_OK);
    }
    LONG Count() {
        LONG count = -1;
        EXPECT_EQ(filter.GetInputRectCount(0, &count), S_OK);
        return count;
    }
    const MixBlock& Block(std::size_t number = 0) { return filter.In(0).pixels.rects[number]; }

    FakeFilter filter;
};

TEST(RectFrames, CountsWholeFrames) {
    EXPECT_EQ(RectFrames(1000, kFrame), 25);
    EXPECT_EQ(RectFrames(19, kFrame), 0);
    EXPECT_EQ(RectFrames(20, kFrame), 1);
    EXPECT_EQ(RectFrames(-20, kFrame), -1);
    EXPECT_EQ(RectFrames(INT32_MAX, 1), INT32_MAX);
    EXPECT_EQ(RectFrames(INT32_MIN, 1), INT32_MIN);
}

TEST_F(Rects, RecordsAreCleanedOnTheirWayIn) {
    LONG number = -1;
    ASSERT_EQ(filter.SetInputRect(0, &number, nullptr), S_OK);
    EXPECT_EQ(number, 1);
    EXPECT_TRUE(Read(1).rcSource == (RECT{0, 0, 64, 32}));
    EXPECT_TRUE(Read(1).rcTarget == (RECT{0, 0, 64, 32}));
    EXPECT_EQ(Read(1).dblAlpha, 1);

    VM_MIXING_RECT rect = Sample();
    rect.rcTarget = {1, 1, 101, 51};
    rect.nBorderWidth = 7;
    rect.nBorderColor = 0x000000FF;
    Set(rect);
    EXPECT_TRUE(Read().rcTarget == (RECT{2, 2, 100, 50}));
    EXPECT_EQ(Read().nBorderWidth, 6);
    EXPECT_EQ(static_cast<std::uint32_t>(Read().nBorderColor), 0xFF0000FFu);
    rect.rcTarget = {0, 0, 100, 50};
    rect.nBorderWidth = 1000;
    Set(rect);
    EXPECT_EQ(Read().nBorderWidth, 25);
    rect.rcTarget = {INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX};
    rect.rcSource = {INT32_MAX - 1, 0, INT32_MAX, 1};
    rect.nBorderWidth = INT32_MAX;
    rect.dblAlpha = std::numeric_limits<double>::infinity();
    rect.dblVertAngle = std::numeric_limits<double>::quiet_NaN();
    Set(rect, INT32_MAX);
    filter.Compose(2);
    Set(rect, INT32_MIN);
    filter.Compose(1);
    EXPECT_TRUE(Read().rcTarget == (RECT{INT32_MIN, INT32_MIN, INT32_MAX - 1, INT32_MAX - 1}));
}

TEST_F(Rects, AChangeArrivesExactlyAfterItsFrames) {
    VM_MIXING_RECT wanted = Sample();
    wanted.dblAlpha = 0.1;
    wanted.dblViewAngle = 0.7;
    wanted.rcTarget = {6, 2, 60, 30};
    Set(wanted, 1000);
    EXPECT_EQ(Read().dblAlpha, 0.1);
    for (int frame = 1; frame <= 24; ++frame) {
        filter.Compose(1);
        ASSERT_NEAR(Block().current[kAlpha], 1 - 0.9 * frame / 25, 1e-9);
        ASSERT_NEAR(Block().current[kTargetLeft], 6.0 * frame / 25, 1e-9);
        ASSERT_FALSE(Block().step.IsZero());
    }
    filter.Compose(1);
    wanted.nBorderColor = static_cast<std::int32_t>(0xFF000000u);
    EXPECT_TRUE(Block().current == StateOf(wanted));
    EXPECT_TRUE(Block().step.IsZero());
    EXPECT_TRUE(Block().target.IsZero());
}

TEST_F(Rects, ASecondChangeTakesItsFramesFromWhereTheFirstStands) {
    VM_MIXING_RECT wanted = Sample();
    wanted.dblAlpha = 0.5;
    Set(wanted, 400);
    filter.Compose(5);
    EXPECT_NEAR(Block().current[kAlpha], 0.75, 1e-9);
    wanted.dblAlpha = 0.25;
    wanted.eProcess = eVMP_FlipHorz;
    Set(wanted, 400);
    EXPECT_EQ(Block().current.eProcess, eVMP_FlipHorz);
    filter.Compose(9);
    EXPECT_NEAR(Block().current[kAlpha], 0.3, 1e-9);
    filter.Compose(1);
    EXPECT_EQ(Block().current[kAlpha], 0.25);
    // At once, in the middle of a change.
    wanted.dblAlpha = 1;
    Set(wanted, 400);
    filter.Compose(1);
    Set(wanted, 19);
    EXPECT_EQ(Block().current[kAlpha], 1);
    EXPECT_TRUE(Block().step.IsZero());
}

TEST_F(Rects, ANewRectFadesInInItsPlace) {
    VM_MIXING_RECT wanted = Sample();
    wanted.dblAlpha = 0.8;
    wanted.dblViewAngle = 1;
    wanted.dblHorzAngle = 2;
    wanted.dblHorzOffset = 3;
    wanted.rcTarget = {10, 10, 20, 20};
    Set(wanted, 80, -1);
    EXPECT_EQ(Block(1).current[kAlpha], 0);
    EXPECT_EQ(Block(1).current[kHorzAngle], 0);
    EXPECT_EQ(Block(1).current[kHorzOffset], 0);
    EXPECT_EQ(Block(1).current[kViewAngle], 1);
    EXPECT_EQ(Block(1).current[kTargetLeft], 10);
    EXPECT_FALSE(Block(1).firstShow);
    filter.Compose(2);
    EXPECT_EQ(Block(1).current[kAlpha], 0.8);
    EXPECT_EQ(Block(1).current[kHorzOffset], 3);
}

TEST_F(Rects, BordersFadeAndNeverRunInWidth) {
    VM_MIXING_RECT wanted = Sample();
    wanted.nBorderWidth = 4;
    wanted.nBorderColor = static_cast<std::int32_t>(0xFF102030u);
    Set(wanted, 80);  // from none: in
    EXPECT_EQ(Block().current.nBorderWidth, 4);
    EXPECT_EQ(Block().current[kBorderAlpha], 0);
    EXPECT_EQ(Block().current[kBorderRed], 0x30);
    filter.Compose(1);
    EXPECT_NEAR(Block().current[kBorderAlpha], 127.5, 1e-9);
    filter.Compose(1);
    wanted.nBorderWidth = 8;
    wanted.nBorderColor = static_cast<std::int32_t>(0xFF902030u);
    Set(wanted, 80);  // from one to the other: at once, the colour runs
    EXPECT_EQ(Block().current.nBorderWidth, 8);
    filter.Compose(1);
    EXPECT_NEAR(Block().current[kBorderBlue], (0x10 + 0x90) / 2.0, 1e-9);
    filter.Compose(1);
    wanted.nBorderWidth = 0;
    Set(wanted, 80);  // to none: out
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Read().nBorderWidth, 0);
        EXPECT_EQ(Block().current.nBorderWidth, 8);
        filter.Compose(1);
    }
    EXPECT_EQ(Block().current[kBorderAlpha], 0);
}

TEST_F(Rects, ARemovalFadesOutAndErases) {
    VM_MIXING_RECT second = Sample();
    second.rcTarget = {0, 0, 32, 16};
    Set(second, 0, -1);
    ASSERT_EQ(filter.RemoveInputRect2(0, 0, 80), S_OK);
    EXPECT_EQ(Count(), 2);
    EXPECT_EQ(Read().dblAlpha, 0);
    filter.Compose(1);
    EXPECT_NEAR(Block().current[kAlpha], 0.5, 1e-9);
    filter.Compose(1);
    ASSERT_EQ(Count(), 1);
    EXPECT_EQ(Read().rcTarget.right, 32);
    // Less than a frame, nothing to fade, or a negative time: at once.
    for (const LONG milliseconds : {10, -1000, 0}) {
        Set(second, 0, -1);
        ASSERT_EQ(filter.RemoveInputRect2(0, 1, milliseconds), S_OK);
        EXPECT_EQ(Count(), 1);
    }
    second.dblAlpha = 0;
    Set(second, 0, -1);
    ASSERT_EQ(filter.RemoveInputRect2(0, 1, 500), S_OK);
    EXPECT_EQ(Count(), 1);
    // All, whatever the time.
    ASSERT_EQ(filter.RemoveInputRect2(0, -1, 500), S_OK);
    EXPECT_EQ(Count(), 0);
    EXPECT_EQ(filter.RemoveInputRect(0, 0), E_INVALIDARG);
    EXPECT_EQ(filter.RemoveAllRects(2), E_INVALIDARG);
    EXPECT_EQ(filter.RemoveAllRects(-1), S_OK);
}

TEST_F(Rects, AChangeOfARectUnderRemovalLeavesTheRemoval) {
    VM_MIXING_RECT wanted = Sample();
    ASSERT_EQ(filter.RemoveInputRect2(0, 0, 400), S_OK);
    filter.Compose(2);
    Set(wanted, 0);  // stops the run
    filter.Compose(20);
    ASSERT_EQ(Count(), 1);
    wanted.dblAlpha = 0.5;
    Set(wanted, 120);
    filter.Compose(2);
    EXPECT_EQ(Count(), 1);
    filter.Compose(1);
    EXPECT_EQ(Count(), 0);
}

TEST_F(Rects, AStreamThatHidesEndsWithItsLastRect) {
    FakeInput& stream = filter.In(0);
    stream.hidePending = true;
    ASSERT_EQ(filter.RemoveInputRect2(0, 0, 80), S_OK);
    EXPECT_EQ(filter.IsStreamEnabled(0, nullptr), S_FALSE);
    filter.Compose(1);
    EXPECT_TRUE(stream.enabled);
    filter.Compose(1);
    EXPECT_FALSE(stream.enabled);
    EXPECT_FALSE(stream.hidePending);
    // A removal at once does the same.
    for (const bool all : {false, true}) {
        stream.enabled = stream.hidePending = true;
        Set(Sample(), 0, -1);
        ASSERT_EQ(all ? filter.RemoveAllRects(0) : filter.RemoveInputRect(0, 0), S_OK);
        EXPECT_FALSE(stream.enabled);
    }
}

TEST_F(Rects, NothingRunsWhileTheStreamIsNotComposed) {
    VM_MIXING_RECT wanted = Sample();
    wanted.dblAlpha = 0.5;
    Set(wanted, 400);
    filter.In(0).enabled = false;
    filter.Compose(5);
    EXPECT_EQ(Block().current[kAlpha], 1);
    filter.In(0).enabled = true;
    filter.Compose(1);
    EXPECT_NEAR(Block().current[kAlpha], 0.95, 1e-9);
}

TEST_F(Rects, TheOtherRecordIsCarriedOverByPosition) {
    VM_MIXING_RECT_GL gl{};
    gl.dblAlpha = 1;
    gl.dblZOffset = 1;
    gl.dblHorzAngle = 2;
    gl.dblVertAngle = 3;
    gl.dblBlockThickness = 4;
    gl.dblRotateAngle = 5;
    char16_t text[] = u"kept";
    gl.bsParams = text;
    LONG number = 0;
    ASSERT_EQ(filter.SetInputRectGL(0, &number, &gl, 0), S_OK);
    EXPECT_EQ(Read().dblViewAngle, 1);
    EXPECT_EQ(Read().dblHorzOffset, 4);
    EXPECT_EQ(Read().dblVertOffset, 5);
    gl = {};
    gl.bsParams = text;
    ASSERT_EQ(filter.GetInputRectGL(0, 0, &gl), S_OK);
    EXPECT_EQ(gl.dblZOffset, 1);
    EXPECT_EQ(gl.dblRotateAngle, 5);
    EXPECT_EQ(gl.bsParams, text);
    EXPECT_EQ(filter.SetInputRectGL(0, &number, nullptr, 0), E_POINTER);
    EXPECT_EQ(filter.GetInputRectGL(0, 0, nullptr), E_POINTER);
    EXPECT_EQ(filter.GetInputRectGL(0, 1, &gl), E_INVALIDARG);
    EXPECT_EQ(filter.SetInputRect(2, &number, nullptr), E_INVALIDARG);
}

}  // namespace
}  // namespace qdvm::test
