// Taking the layout of a whole filter as a scene, and bringing scenes back.

#include "frames/format_table.h"
#include "graph/mixer_filter.h"
#include "platform/counted_string.h"
#include "scenes/scene.h"
#include "support/graph_fakes.h"

#include <gtest/gtest.h>

#include <vector>

namespace qdvm::test {
namespace {

class LayoutTest : public ::testing::Test {
protected:
    LayoutTest() : core(*MakeObject<CCoQDVideoMixer>().Detach()) {
        EXPECT_EQ(core.CreatePins(), S_OK);
        mixer.filter = Ref<IBaseFilter>::Adopt(&core);
        mixer.control = Ref<IQDVideoMixer>(&core);
        for (ULONG i = 0; i < 2; ++i) {
            sources.push_back(MakeObject<FakeSource>(VideoType(kFccRGB32, 64, 32)));
            EXPECT_EQ(sources.back()->ConnectTo(mixer.In(i).Get()), S_OK);
        }
    }

    Scene Capture() {
        SharedLockGuard pins(core.pinsLock, SharedLockGuard::Mode::kShared);
        SharedLockGuard layout(core.mixLock, SharedLockGuard::Mode::kShared);
        Scene scene;
        CaptureScene(core, &scene);
        return scene;
    }
    void Apply(const Scene& scene, std::int32_t milliseconds = 0, bool restoreKeepRate = true) {
        RunScene(core, scene, milliseconds, restoreKeepRate);
    }
    LONG RectCount(LONG stream) {
        LONG count = -1;
        EXPECT_EQ(core.GetInputRectCount(stream, &count), S_OK);
        return count;
    }
    bool IsEnabled(LONG stream) { return core.IsStreamEnabled(stream, nullptr) == S_OK; }
    VM_MIXING_RECT RectOf(LONG stream, LONG number) {
        VM_MIXING_RECT rect{};
        EXPECT_EQ(core.GetInputRect(stream, number, &rect), S_OK);
        return rect;
    }

    CCoQDVideoMixer& core;
    MixerUnderTest mixer;
    std::vector<Ref<FakeSource>> sources;
};

TEST_F(LayoutTest, ASceneBringsBackWhatItTook) {
    ASSERT_EQ(mixer.Show(0, 0, 0, 32, 16), S_OK);
    ASSERT_EQ(mixer.Show(1, 32, 16, 32, 16), S_OK);
    ASSERT_EQ(core.SetInputRect(1, nullptr, nullptr), S_OK);
    ASSERT_EQ(core.KeepStreamRate(1, 1), S_OK);
    ASSERT_EQ(core.SetBackground(eVMB_Color, 0x123456, nullptr), S_OK);
    const Scene scene = Capture();
    ASSERT_EQ(scene.inputs.size(), 2u);
    EXPECT_EQ(scene.inputs[1].rects.size(), 2u);
    EXPECT_EQ(scene.outputProps.picProps.nWidth, 64);

    ASSERT_EQ(core.RemoveAllRects(-1), S_OK);
    ASSERT_EQ(core.EnableStream(1, 0), S_OK);
    ASSERT_EQ(core.KeepStreamRate(1, 0), S_OK);
    ASSERT_EQ(core.SetBackground(eVMB_None, 0, nullptr), S_OK);
    Apply(scene);
    EXPECT_EQ(RectCount(0), 1);
    EXPECT_EQ(RectCount(1), 2);
    EXPECT_EQ(RectOf(1, 0).rcTarget.left, 32);
    EXPECT_TRUE(IsEnabled(1));
    EXPECT_EQ(core.IsKeepStreamRate(1, nullptr), S_OK);
    eVM_Background kind = eVMB_None;
    LONG colour = 0;
    EXPECT_EQ(core.GetBackground(&kind, &colour, nullptr), S_OK);
    EXPECT_EQ(kind, eVMB_Color);
    EXPECT_EQ(colour, 0x123456);
    LONG key = -1;
    EXPECT_EQ(core.GetStreamForChromaKey(&key), S_OK);
    EXPECT_EQ(key, 1);

    ASSERT_EQ(core.KeepStreamRate(1, 0), S_OK);
    Apply(scene, 0, false);
    EXPECT_EQ(core.IsKeepStreamRate(1, nullptr), S_FALSE);
}

TEST_F(LayoutTest, RectsAreScaledFromTheScenesFormats) {
    Scene scene;
    scene.outputProps.picProps = {kFccYUY2, 32, -16, 0};
    scene.inputs.resize(1);
    scene.inputs[0].bEnabled = true;
    scene.inputs[0].inputProps.picProps = {kFccYUY2, 128, 128, 0};
    VM_MIXING_RECT rect{};
    rect.rcSource = {0, 0, 128, 64};
    rect.rcTarget = {8, 4, 16, 16};
    rect.dblAlpha = 1.0;
    scene.inputs[0].rects.push_back(rect);
    Apply(scene);
    const VM_MIXING_RECT read = RectOf(0, 0);
    EXPECT_EQ(read.rcSource.right, 64);
    EXPECT_EQ(read.rcSource.bottom, 16);
    EXPECT_EQ(read.rcTarget.left, 16);
    EXPECT_EQ(read.rcTarget.top, 8);
    EXPECT_EQ(read.rcTarget.bottom, 32);
}

TEST_F(LayoutTest, SurplusRectsAndStreamsGo) {
    for (int i = 0; i < 5; ++i) ASSERT_EQ(core.SetInputRect(0, nullptr, nullptr), S_OK);
    ASSERT_EQ(mixer.Show(1, 0, 0, 32, 16), S_OK);
    ASSERT_EQ(core.EnableStream(0, 1), S_OK);
    Scene scene = Capture();
    scene.inputs.pop_back();
    scene.inputs[0].rects.resize(2);
    Apply(scene);
    EXPECT_EQ(RectCount(0), 2);
    EXPECT_EQ(RectCount(1), 0);
    EXPECT_TRUE(IsEnabled(1));
}

TEST_F(LayoutTest, ATimedSceneFadesAndCountsAtOnce) {
    ASSERT_EQ(mixer.Show(0, 0, 0, 32, 16), S_OK);
    ASSERT_EQ(mixer.Show(1, 32, 16, 32, 16), S_OK);
    Scene scene = Capture();
    scene.inputs[0].bEnabled = false;
    scene.inputs[1].rects[0].rcTarget = {0, 0, 32, 16};
    Apply(scene, 500);
    EXPECT_FALSE(IsEnabled(0));
    EXPECT_EQ(RectCount(0), 1);
    EXPECT_EQ(RectOf(0, 0).dblAlpha, 0.0);
    EXPECT_EQ(RectOf(1, 0).rcTarget.left, 0);

    // Taken in mid-change, a scene holds where the change will end.
    const Scene changing = Capture();
    EXPECT_FALSE(changing.inputs[0].bEnabled);
    EXPECT_EQ(changing.inputs[1].rects[0].rcTarget.left, 0);
}

TEST_F(LayoutTest, AStreamThatIsConnectedLaterStandsInItsPlaceOfTheScene) {
    const Ref<IQDVideoMixerScene> scenes = mixer.filter.As<IQDVideoMixerScene>();
    ASSERT_TRUE(scenes);
    ASSERT_EQ(scenes->SelectScene2(CountedString(u"PIP").Get(), 0), S_OK);
    EXPECT_EQ(RectCount(2), 1);
    const Ref<FakeSource> third = MakeObject<FakeSource>(VideoType(kFccRGB32, 48, 32));
    ASSERT_EQ(third->ConnectTo(mixer.In(2).Get()), S_OK);
    EXPECT_TRUE(IsEnabled(2));
    EXPECT_EQ(RectOf(2, 0).rcSource.right, 48);
    EXPECT_EQ(RectOf(2, 0).rcTarget.left, 38);  // 600 of 1000
    ASSERT_EQ(third->Disconnect(), S_OK);
}

TEST_F(LayoutTest, ARestoredLayoutWaitsForTheStart) {
    ASSERT_EQ(mixer.Show(1, 32, 16, 32, 16), S_OK);
    ASSERT_EQ(core.EnableStream(1, 1), S_OK);
    ASSERT_EQ(core.EnableStream(0, 0), S_OK);
    const Scene scene = Capture();
    ASSERT_EQ(core.RemoveAllRects(-1), S_OK);
    core.RestoreLayout(scene);
    ASSERT_EQ(core.RemoveAllRects(-1), S_OK);
    const Ref<FakeSink> sink = MakeObject<FakeSink>();
    ASSERT_EQ(mixer.Out()->Connect(sink.Get(), nullptr), S_OK);
    ASSERT_EQ(mixer.filter->Pause(), S_OK);
    // Nothing else is switched on: the layout has told what is shown.
    EXPECT_FALSE(IsEnabled(0));
    EXPECT_EQ(RectCount(0), 0);
    EXPECT_EQ(RectOf(1, 0).rcTarget.left, 32);
    ASSERT_EQ(mixer.filter->Stop(), S_OK);
    (void)mixer.Out()->Disconnect();
}

TEST_F(LayoutTest, AnUnconnectedStreamLeavesNoEntry) {
    EXPECT_EQ(Capture().inputs.size(), 2u);
    EXPECT_EQ(mixer.In(0)->Disconnect(), S_OK);
    EXPECT_EQ(Capture().inputs.size(), 1u);
}

}  // namespace
}  // namespace qdvm::test
