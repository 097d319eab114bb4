// Scenes as a client works with them, on a mixer without a graph.

#include "scenes/scene_control.h"
#include "platform/counted_string.h"
#include "platform/file.h"
#include "platform/text.h"
#include "support/fake_filter.h"
#include "support/picture_files.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm::test {
namespace {

class Scenes final : public SceneControl {
public:
    explicit Scenes(FakeFilter& filter) : SceneControl(filter) {}
    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    using SceneControl::ApplyDeferredScene;
    using SceneControl::CaptureCurrent;

    HRESULT Select(std::u16string_view name, LONG milliseconds = 0) {
        return SelectScene2(CountedString(name).Get(), milliseconds);
    }
    HRESULT Add(std::u16string_view name) {
        return AddCurrentScene(CountedString(name).Get(), nullptr);
    }
    HRESULT Update(std::u16string_view name) { return UpdateScene(CountedString(name).Get()); }
    HRESULT Remove(std::u16string_view name) { return RemoveScene(CountedString(name).Get()); }
};

// Pictures of 64 x 32 on an output of the same size, each stream shown whole.
class ScenesTest : public ::testing::Test {
protected:
    explicit ScenesTest(std::size_t connected = 2) : filter(connected), scenes(filter) {}

    void SetOutputSize(LONG width, LONG height) {
        filter.SetOutputFormat({kFccRGB32, width, height, width});
    }
    LONG RectCount(LONG stream) {
        LONG count = -1;
        EXPECT_EQ(filter.GetInputRectCount(stream, &count), S_OK);
        return count;
    }
    VM_MIXING_RECT RectOf(LONG stream, LONG number = 0) {
        VM_MIXING_RECT rect{};
        EXPECT_EQ(filter.GetInputRect(stream, number, &rect), S_OK);
        return rect;
    }
    std::vector<LONG> TargetOf(LONG stream, LONG number = 0) {
        const RECT target = RectOf(stream, number).rcTarget;
        return {target.left, target.top, target.right, target.bottom};
    }
    void Place(LONG stream, LONG left, LONG top, LONG right, LONG bottom, LONG number = 0) {
        VM_MIXING_RECT rect{};
        rect.rcTarget = {left, top, right, bottom};
        rect.dblAlpha = 1.0;
        ASSERT_EQ(filter.SetInputRect(stream, &number, &rect), S_OK);
    }
    bool IsEnabled(LONG stream) { return filter.IsStreamEnabled(stream, nullptr) == S_OK; }
    std::vector<std::u16string> Names() {
        std::vector<std::u16string> names;
        CountedString name;
        for (LONG i = 0; scenes.GetSceneInfo(i, name.Put(), nullptr) == S_OK; ++i)
            names.emplace_back(name.View());
        return names;
    }
    std::u16string Description(LONG index) {
        CountedString text;
        EXPECT_EQ(scenes.GetSceneInfo(index, nullptr, text.Put()), S_OK);
        return std::u16string(text.View());
    }
    void StartComposing() {
        ASSERT_EQ(filter.SetMasterStream(0), S_OK);
        ASSERT_EQ(filter.Run(), S_OK);
    }

    FakeFilter filter;
    Scenes scenes;
};

class FiveStreams : public ScenesTest {
protected:
    FiveStreams() : ScenesTest(5) {}
};

using RectValues = std::vector<LONG>;

TEST_F(ScenesTest, NineLayoutsAreBuiltIn) {
    EXPECT_EQ(Names(),
              (std::vector<std::u16string>{u"FIRST", u"PIP", u"SIDE", u"QUAD", u"3D FIRST",
                                           u"3D SIDE", u"3D QUAD", u"3D LEFT", u"3D PIP"}));
    LONG count = 0;
    EXPECT_EQ(scenes.GetSceneCount(&count), S_OK);
    EXPECT_EQ(count, 9);
    EXPECT_EQ(Description(0), u"Only first (by order) channel.");
    EXPECT_EQ(scenes.GetSceneInfo(9, nullptr, nullptr), E_INVALIDARG);
    EXPECT_EQ(scenes.GetSceneInfo(-1, nullptr, nullptr), E_INVALIDARG);
}

TEST_F(ScenesTest, ThePicturesBehindBuiltInLayoutsAreFound) {
    std::set<std::u16string> pictures;
    for (const char16_t* name : {u"3D FIRST", u"3D SIDE", u"3D QUAD", u"3D LEFT"}) {
        ASSERT_EQ(scenes.Select(name), S_OK);
        eVM_Background kind = eVMB_None;
        CountedString picture;
        ASSERT_EQ(filter.GetBackground(&kind, nullptr, picture.Put()), S_OK);
        EXPECT_EQ(kind, eVMB_Image) << ToUtf8(name);
        EXPECT_TRUE(FileExists(picture.View()));
        pictures.emplace(picture.View());
    }
    EXPECT_EQ(pictures.size(), 4u);
    ASSERT_EQ(scenes.Select(u"3D PIP"), S_OK);
    eVM_Background kind = eVMB_Image;
    ASSERT_EQ(filter.GetBackground(&kind, nullptr, nullptr), S_OK);
    EXPECT_EQ(kind, eVMB_Color);
}

TEST_F(FiveStreams, APictureInPicturePutsFourIntoTheCorners) {
    SetOutputSize(1000, 1000);
    ASSERT_EQ(scenes.Select(u"PIP"), S_OK);
    EXPECT_EQ(TargetOf(0), (RectValues{0, 0, 1000, 1000}));
    EXPECT_EQ(TargetOf(1), (RectValues{600, 100, 900, 400}));
    EXPECT_EQ(TargetOf(4), (RectValues{100, 600, 400, 900}));
    const VM_MIXING_RECT corner = RectOf(4);
    EXPECT_EQ(corner.nBorderWidth, 2);
    EXPECT_EQ(corner.nBorderColor, -1);
    EXPECT_EQ(corner.rcSource.right, 64);
    EXPECT_EQ(RectOf(0).nBorderWidth, 0);
}

TEST_F(ScenesTest, LayoutsAreScaledToTheOutput) {
    SetOutputSize(720, 576);
    ASSERT_EQ(scenes.Select(u"3D SIDE"), S_OK);
    EXPECT_EQ(TargetOf(0), (RectValues{-46, 20, 514, 480}));
    Place(0, 90, 72, 180, 144);
    ASSERT_EQ(scenes.Add(u"mine"), S_OK);
    SetOutputSize(1920, 1080);
    ASSERT_EQ(scenes.Select(u"mine"), S_OK);
    EXPECT_EQ(TargetOf(0), (RectValues{240, 136, 480, 270}));  // 135 becomes even
}

TEST_F(ScenesTest, NamesAreExactAndTakenOnce) {
    EXPECT_EQ(scenes.Add(u"PIP"), E_INVALIDARG);
    EXPECT_EQ(scenes.Add(u""), E_INVALIDARG);
    EXPECT_EQ(scenes.Add(u"pip"), S_OK);
    EXPECT_TRUE(filter.dirty);
    EXPECT_EQ(Names().size(), 10u);
    for (const char16_t* name : {u"Pip", u""}) {
        EXPECT_EQ(scenes.Select(name), E_INVALIDARG);
        EXPECT_EQ(scenes.Update(name), E_INVALIDARG);
        EXPECT_EQ(scenes.Remove(name), E_INVALIDARG);
    }
    EXPECT_EQ(scenes.Remove(u"PIP"), S_OK);
    EXPECT_EQ(Names()[1], u"SIDE");
    EXPECT_EQ(Names()[8], u"pip");
}

TEST_F(ScenesTest, AnUpdatedSceneIsTheUsersWithTheLayoutOfNow) {
    Place(0, 2, 4, 20, 10);
    ASSERT_EQ(scenes.Update(u"PIP"), S_OK);
    EXPECT_EQ(Names()[1], u"PIP");
    EXPECT_EQ(Description(1), u"");
    ASSERT_EQ(scenes.Select(u"FIRST"), S_OK);
    ASSERT_EQ(scenes.Select(u"PIP"), S_OK);
    EXPECT_EQ(TargetOf(0), (RectValues{2, 4, 20, 10}));
}

TEST_F(ScenesTest, StreamsBeyondTheSceneLoseTheirRectsAndSurplusRectsGo) {
    for (int i = 0; i < 4; ++i) ASSERT_EQ(filter.SetInputRect(0, nullptr, nullptr), S_OK);
    ASSERT_EQ(scenes.Select(u"FIRST"), S_OK);
    EXPECT_EQ(RectCount(0), 1);
    EXPECT_EQ(RectCount(1), 0);
    EXPECT_TRUE(IsEnabled(1));
    LONG key = -1;
    EXPECT_EQ(filter.GetStreamForChromaKey(&key), S_OK);
    EXPECT_EQ(key, 0);
}

TEST_F(ScenesTest, AStreamThatIsHiddenInTimeCountsAsOffAtOnceAndFades) {
    ASSERT_EQ(filter.EnableStream(1, 0), S_OK);
    ASSERT_EQ(scenes.Add(u"one"), S_OK);
    ASSERT_EQ(filter.EnableStream(1, 1), S_OK);
    StartComposing();
    ASSERT_EQ(scenes.Select(u"one", 120), S_OK);  // three frames
    EXPECT_FALSE(IsEnabled(1));
    EXPECT_EQ(RectCount(1), 1);
    ASSERT_EQ(filter.Send(1, 50), S_OK);
    filter.Compose(3);
    EXPECT_EQ(RectCount(1), 0);
    EXPECT_FALSE(filter.In(1).enabled);

    // With nothing to fade out it is off at once, and a rect that is set does not bring it back.
    ASSERT_EQ(filter.EnableStream(1, 1), S_OK);
    ASSERT_EQ(scenes.Select(u"one", 120), S_OK);
    EXPECT_FALSE(filter.In(1).enabled);
}

TEST_F(ScenesTest, ScenesInQuickSuccessionKeepWhatTheLastOneShows) {
    Place(0, 0, 0, 32, 16);
    Place(1, 32, 16, 64, 32);
    ASSERT_EQ(scenes.Add(u"two"), S_OK);
    StartComposing();
    ASSERT_EQ(filter.Send(1, 50), S_OK);
    ASSERT_EQ(scenes.Select(u"FIRST", 400), S_OK);
    filter.Compose(4);
    ASSERT_EQ(scenes.Select(u"two", 400), S_OK);
    filter.Compose(12);
    ASSERT_EQ(RectCount(1), 1);
    EXPECT_EQ(RectOf(1).dblAlpha, 1.0);
    EXPECT_EQ(TargetOf(1), (RectValues{32, 16, 64, 32}));
}

TEST_F(ScenesTest, KeysTravelWithScenesAndBuiltInOnesTurnThemOff) {
    ChromaKeySettings key{};
    key.keyType = eVMK_YUV;
    key.nKeys = 1;
    key.keys[0].keyColour = 0x0035AA;
    ASSERT_EQ(filter.SetStreamForChromaKey(1), S_OK);
    ASSERT_EQ(filter.SetChromaKey(&key), S_OK);
    ASSERT_EQ(scenes.Add(u"keyed"), S_OK);
    const auto keyTypeOf = [&](LONG stream) {
        ChromaKeySettings read{};
        (void)filter.SetStreamForChromaKey(stream);
        EXPECT_EQ(filter.GetChromaKey(&read), S_OK);
        return read.keyType;
    };
    ASSERT_EQ(scenes.Select(u"SIDE"), S_OK);
    EXPECT_EQ(keyTypeOf(1), eVMK_None);
    ASSERT_EQ(scenes.Select(u"keyed"), S_OK);
    EXPECT_EQ(keyTypeOf(0), eVMK_None);
    EXPECT_EQ(keyTypeOf(1), eVMK_YUV);
}

TEST_F(ScenesTest, APictureThatIsGoneLeavesTheBackgroundAndItsFade) {
    TemporaryDirectory directory;
    const std::u16string name = WriteBytes(
        directory / "grey.png",
        MakePictureFile("png", 4, 4, false, [](int, int) { return MakeRgba(100, 100, 100); }));
    ASSERT_EQ(filter.SetBackground(eVMB_Image, 0, CountedString(name).Get()), S_OK);
    Place(0, 0, 0, 32, 16);
    ASSERT_EQ(scenes.Add(u"picture"), S_OK);
    std::filesystem::remove(directory / "grey.png");
    ASSERT_EQ(scenes.Select(u"FIRST"), S_OK);
    StartComposing();
    ASSERT_EQ(filter.SetBackground(eVMB_Color, 0, nullptr), S_OK);
    ASSERT_EQ(filter.SetBackground2(eVMB_Color, 0x00808080, nullptr, 400), S_OK);
    filter.Compose(3);
    ASSERT_EQ(scenes.Select(u"picture", 400), S_OK);
    filter.Compose(3);
    eVM_Background kind = eVMB_None;
    ASSERT_EQ(filter.GetBackground(&kind, nullptr, nullptr), S_OK);
    EXPECT_EQ(kind, eVMB_Color);
    EXPECT_EQ(TargetOf(0), (RectValues{0, 0, 32, 16}));
    // The fade of before has come to its sixth frame of ten.
    EXPECT_NEAR(filter.output.Last().At(62, 30), 0x80 / 2, 3);
}

TEST_F(ScenesTest, RearrangedStreamsChangePlacesInTheLayout) {
    Place(0, 0, 0, 32, 32);
    Place(1, 32, 0, 64, 32);
    ASSERT_EQ(filter.SetBackground2(eVMB_Color, 0xFFFFFF, nullptr, 400), S_OK);
    StartComposing();
    ASSERT_EQ(filter.Send(1, 50), S_OK);
    ASSERT_EQ(scenes.SetStreamOrder(0, 1, 1, 160), S_OK);  // four frames
    LONG position = -1;
    ASSERT_EQ(scenes.GetStreamOrder(0, &position), S_OK);
    EXPECT_EQ(position, 1);
    LONG stream = -1;
    ASSERT_EQ(scenes.GetStreamByOrder(0, &stream), S_OK);
    EXPECT_EQ(stream, 1);
    EXPECT_EQ(TargetOf(0), (RectValues{32, 0, 64, 32}));
    filter.Compose(2, 200);
    // Half way both stand in the middle, and the one that moved up covers the other.
    EXPECT_EQ(filter.output.Last().At(20, 10), 200);
    filter.Compose(2, 200);
    EXPECT_EQ(filter.output.Last().At(40, 10), 200);
    EXPECT_EQ(filter.output.Last().At(10, 10), 50);

    ASSERT_EQ(scenes.SetStreamOrder2(0, 0, 1, 0, 0), S_OK);
    EXPECT_EQ(TargetOf(0), (RectValues{32, 0, 64, 32}));
    EXPECT_EQ(scenes.SetStreamOrder(2, 0, 0, 0), E_INVALIDARG);
    EXPECT_EQ(scenes.SetStreamOrder(-1, 0, 0, 0), E_INVALIDARG);
    EXPECT_EQ(scenes.GetStreamOrder(3, &position), E_INVALIDARG);
    EXPECT_EQ(scenes.GetStreamByOrder(3, &stream), E_INVALIDARG);
}

TEST_F(FiveStreams, AGapInTheOrderMovesNobodysLayout) {
    for (LONG i = 0; i < 5; ++i) Place(i, 2 * i, 0, 2 * i + 20, 16);
    filter.In(1).connected = false;
    const Scene scene = scenes.CaptureCurrent();
    ASSERT_EQ(scene.inputs.size(), 4u);
    ASSERT_EQ(scenes.Select(u"FIRST"), S_OK);
    RunScene(filter, scene, 0, false);
    for (const LONG i : {0, 2, 3, 4}) EXPECT_EQ(TargetOf(i)[0], 2 * i);
    // Across the gap: the two neighbours change places, nobody is lost.
    ASSERT_EQ(scenes.SetStreamOrder2(2, 0, 1, 1, 0), S_OK);
    EXPECT_EQ(TargetOf(2)[0], 0);
    EXPECT_EQ(TargetOf(0)[0], 4);
    for (const LONG i : {0, 2, 3, 4}) EXPECT_TRUE(IsEnabled(i));
}

TEST_F(ScenesTest, ARestoredLayoutIsAppliedAgainAtTheNextStartOnly) {
    Place(0, 0, 0, 32, 16);
    ASSERT_EQ(filter.KeepStreamRate(0, 1), S_OK);
    const Scene scene = scenes.CaptureCurrent();
    ASSERT_EQ(filter.KeepStreamRate(0, 0), S_OK);
    scenes.RestoreLayout(scene);
    EXPECT_EQ(filter.IsKeepStreamRate(0, nullptr), S_OK);
    Place(0, 0, 0, 64, 32);
    EXPECT_TRUE(scenes.ApplyDeferredScene());
    EXPECT_EQ(TargetOf(0), (RectValues{0, 0, 32, 16}));
    EXPECT_FALSE(scenes.ApplyDeferredScene());
}

// Effects between streams need a service that this library doesn't have.
TEST_F(ScenesTest, NoTransitionStarts) {
    EXPECT_EQ(scenes.MakeTransition(0, 1, nullptr, 0, 0, 1000), E_NOTIMPL);
}

}  // namespace
}  // namespace qdvm::test
