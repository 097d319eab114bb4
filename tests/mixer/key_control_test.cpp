// Keys of streams through the mixer's interface, and samples of them.

#include "mixer/key_sample.h"
#include "support/fake_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <thread>

namespace qdvm::test {
namespace {

// Keys the frames whose bytes are all `value`.
ChromaKeySettings KeyOf(BYTE value) {
    ChromaKeySettings settings{};
    settings.keyType = eVMK_RGB;
    settings.nKeys = 1;
    settings.keys[0].keyColour = value * 0x010101u;
    settings.keys[0].keyDelta = 0x080808;
    return settings;
}

// Stream 0 below, the master; stream 1 over it, selected for keys.
class Keyed : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(filter.SetStreamForChromaKey(1), S_OK);
        ASSERT_EQ(filter.SetMasterStream(0), S_OK);
        ASSERT_EQ(filter.Run(), S_OK);
        ASSERT_EQ(filter.Send(1, 50), S_OK);
    }
    int Shown() {
        filter.Compose(1, 10);
        return filter.output.Last().At(20, 20);
    }

    FakeFilter filter{2};
};

TEST_F(Keyed, AKeyIsSeenInTheNextFrameEvenOfAStillStream) {
    EXPECT_EQ(Shown(), 50);
    ChromaKeySettings settings = KeyOf(50);
    ASSERT_EQ(filter.SetChromaKey(&settings), S_OK);
    EXPECT_NEAR(Shown(), 10, 1);
    settings = KeyOf(90);
    ASSERT_EQ(filter.SetChromaKey(&settings), S_OK);
    EXPECT_NEAR(Shown(), 50, 1);
    settings.keys[0].keyColour = 0x323232;
    settings.nFlags = eVMKF_Invert;
    ASSERT_EQ(filter.SetChromaKey(&settings), S_OK);
    EXPECT_NEAR(Shown(), 50, 1);
    settings.keyType = eVMK_None;
    ASSERT_EQ(filter.SetChromaKey(&settings), S_OK);
    EXPECT_EQ(Shown(), 50);
    // The other stream has none.
    ChromaKeySettings read = KeyOf(1);
    ASSERT_EQ(filter.SetStreamForChromaKey(0), S_OK);
    ASSERT_EQ(filter.GetChromaKey(&read), S_OK);
    EXPECT_EQ(read.keyType, eVMK_None);
}

TEST_F(Keyed, SpillOfAStillPictureIsRemovedOnce) {
    ChromaKeySettings settings = KeyOf(90);
    settings.nSpillMode = eVMSM_Matrix;
    settings.keys[0].spillEnable = 1;
    settings.keys[0].spillLuma = -60;
    ASSERT_EQ(filter.SetChromaKey(&settings), S_OK);
    const int first = Shown();
    EXPECT_LT(first, 50);
    EXPECT_EQ(Shown(), first);
    ASSERT_EQ(filter.SetChromaKey(&settings), S_OK);
    EXPECT_EQ(Shown(), first);
}

TEST_F(Keyed, AnyBitsInTheSettingsLeaveTheMixRunning) {
    std::mt19937 random(23);
    for (int run = 0; run < 60; ++run) {
        ChromaKeySettings settings;
        auto* const words = reinterpret_cast<std::uint32_t*>(&settings);
        for (std::size_t i = 0; i < sizeof(settings) / 4; ++i)
            words[i] = static_cast<std::uint32_t>(random()) >> (random() % 2 ? 0 : 24);
        if (run % 3 != 0) settings.keyType = 2 + run % 3;
        ASSERT_EQ(filter.SetChromaKey(&settings), S_OK);
        ChromaKeySettings read{};
        ASSERT_EQ(filter.GetChromaKey(&read), S_OK);
        EXPECT_EQ(std::memcmp(&read, &settings, sizeof(read)), 0);
        const std::size_t before = filter.output.FrameCount();
        filter.Compose(1, 10);
        ASSERT_EQ(filter.output.FrameCount(), before + 1);
    }
}

TEST_F(Keyed, AFormatWithoutARouteIsShownWholeAndAShortFrameNotAtAll) {
    const ChromaKeySettings settings = KeyOf(50);
    ASSERT_EQ(filter.SetChromaKey(&settings), S_OK);
    FakeFilter::Connect(filter.In(1), {kFccI420, 64, 32, 64});
    ASSERT_EQ(filter.Send(1, 128, 1), S_OK);
    EXPECT_NEAR(Shown(), 130, 4);  // grey of the studio's range
    FakeFilter::Connect(filter.In(1), kPicture);
    const MediaFrame frame = MakeFrame(50, 2 * kFrame, 3 * kFrame);
    FakeSample::Of(frame).length = 64;
    (void)filter.SendFrame(1, frame);
    EXPECT_EQ(Shown(), 10);
}

TEST_F(Keyed, NothingIsDoneWithoutAStreamOrAPlace) {
    ChromaKeySettings settings = KeyOf(50);
    BSTR label = nullptr;
    IUnknown* sample = nullptr;
    IQDVideoMixerKeySample* control = nullptr;
    const Ref<CCoKeySample> given = MakeObject<CCoKeySample>();
    const CountedString text(u"x");
    for (const LONG number : {-1, 3, INT32_MAX}) {
        ASSERT_EQ(filter.SetStreamForChromaKey(number), S_OK);
        EXPECT_EQ(filter.SetChromaKey(&settings), E_INVALIDARG);
        EXPECT_EQ(filter.GetChromaKey(&settings), E_INVALIDARG);
        EXPECT_EQ(filter.SetKeyLabel(text.Get()), E_INVALIDARG);
        EXPECT_EQ(filter.GetKeyLabel(&label), E_INVALIDARG);
        EXPECT_EQ(filter.GetKeySample(&sample, 0, 0), E_INVALIDARG);
        EXPECT_EQ(filter.GetKeySampleControl(&control, 0, 0), E_INVALIDARG);
        EXPECT_EQ(filter.TakeKeySample(given.Get()), E_INVALIDARG);
    }
    ASSERT_EQ(filter.SetStreamForChromaKey(1), S_OK);
    EXPECT_EQ(filter.SetChromaKey(nullptr), E_POINTER);
    EXPECT_EQ(filter.GetChromaKey(nullptr), E_POINTER);
    EXPECT_EQ(filter.SetKeyLabel(nullptr), E_POINTER);
    EXPECT_EQ(filter.GetKeyLabel(nullptr), E_POINTER);
    EXPECT_EQ(filter.MakeKeySample(nullptr, 8, 8, 0, 0, 0), E_POINTER);
    EXPECT_EQ(filter.GetKeySampleControl(nullptr, 0, 0), E_POINTER);
    EXPECT_EQ(filter.TakeKeySample(nullptr), E_POINTER);
    EXPECT_EQ(filter.MakeKeySample(&sample, -8, 8, 0, 0, 0), E_INVALIDARG);
    EXPECT_EQ(filter.MakeKeySample(&sample, 8, 1 << 20, 0, 0, 0), E_INVALIDARG);
    EXPECT_EQ(filter.TakeKeySample(static_cast<IQDVideoMixerChromaKey*>(&filter)), E_NOINTERFACE);
    // A stream without a frame has no picture, running or not.
    ASSERT_EQ(filter.SetStreamForChromaKey(2), S_OK);
    EXPECT_EQ(filter.GetKeySample(&sample, 0, 0), E_UNEXPECTED);
    EXPECT_EQ(sample, nullptr);
    filter.Stop();
    EXPECT_EQ(filter.GetKeySample(&sample, 0, 0), E_UNEXPECTED);
}

TEST_F(Keyed, ASampleCarriesPictureKeyAndLabelToAnotherStream) {
    const ChromaKeySettings settings = KeyOf(50);
    ASSERT_EQ(filter.SetChromaKey(&settings), S_OK);
    ASSERT_EQ(filter.SetKeyLabel(CountedString(u"studio wall").Get()), S_OK);
    Ref<IUnknown> sample;
    HRESULT made = E_FAIL;
    std::thread asking([&] { made = filter.MakeKeySample(sample.Put(), 15, 0, 0.5, 7, -9); });
    // It comes with the stream's next frame.
    ASSERT_TRUE(WaitUntil([&] { return filter.In(1).IsThumbnailWanted(); }));
    ASSERT_EQ(filter.Send(1, 50, 1), S_OK);
    asking.join();
    ASSERT_EQ(made, S_OK);

    Ref<IQDVideoMixerKeySample> control;
    ASSERT_EQ(sample->QueryInterface(IID_IQDVideoMixerKeySample, control.PutVoid()), S_OK);
    PIC_PROPS props{};
    BYTE* bits = nullptr;
    ASSERT_EQ(control->GetPicture(&props, &bits), S_OK);
    EXPECT_EQ(props.fccType, kFccRGB24);
    EXPECT_EQ(props.nWidth, 16);
    EXPECT_EQ(props.nHeight, 12);  // the stream is 4:3
    EXPECT_TRUE(std::all_of(bits, bits + 16 * 12 * 3, [](BYTE b) { return b == 50; }));
    CoTaskMemFree(bits);
    double number = 0;
    LONG two = 0;
    LONG three = 0;
    ASSERT_EQ(control->GetParams(&number, &two, &three), S_OK);
    EXPECT_EQ(number, 0.5);
    EXPECT_EQ(two, 7);
    EXPECT_EQ(three, -9);

    ASSERT_EQ(filter.SetStreamForChromaKey(0), S_OK);
    ASSERT_EQ(filter.TakeKeySample(sample.Get()), S_OK);
    ChromaKeySettings read{};
    ASSERT_EQ(filter.GetChromaKey(&read), S_OK);
    EXPECT_EQ(read.keys[0].keyColour, settings.keys[0].keyColour);
    CountedString label;
    ASSERT_EQ(filter.GetKeyLabel(label.Put()), S_OK);
    EXPECT_EQ(label.View(), u"studio wall");
}

TEST_F(Keyed, AStopLetsGoWhoWaitsForAPicture) {
    Ref<IQDVideoMixerKeySample> control;
    HRESULT made = E_FAIL;
    std::thread asking([&] { made = filter.GetKeySampleControl(control.Put(), 1, 2); });
    ASSERT_TRUE(WaitUntil([&] { return filter.In(1).IsThumbnailWanted(); }));
    filter.Stop();
    asking.join();
    // The frame that the stream held serves.
    ASSERT_EQ(made, S_OK);
    PIC_PROPS props{};
    BYTE* bits = nullptr;
    ASSERT_EQ(control->GetPicture(&props, &bits), S_OK);
    EXPECT_EQ(props.nWidth, 64);
    EXPECT_EQ(props.nHeight, 32);
    EXPECT_EQ(bits[0], 50);
    CoTaskMemFree(bits);
}

TEST(KeySample, RefusesWhatItCantKeep) {
    const Ref<CCoKeySample> sample = MakeObject<CCoKeySample>();
    const BYTE bits[64] = {};
    PIC_PROPS props{kFccRGB24, 4, 4, 4};
    BYTE* copy = nullptr;
    EXPECT_EQ(sample->GetPicture(&props, &copy), E_UNEXPECTED);
    EXPECT_EQ(sample->LoadPicture(nullptr, bits, 0, 0, 0), E_POINTER);
    EXPECT_EQ(sample->LoadPicture(&props, nullptr, 0, 0, 0), E_POINTER);
    for (const PIC_PROPS& bad :
         {PIC_PROPS{kFccRGB32, 4, 4, 4}, PIC_PROPS{kFccRGB24, 0, 4, 0},
          PIC_PROPS{kFccRGB24, -4, 4, 0}, PIC_PROPS{kFccRGB24, INT32_MAX, INT32_MAX, 0}})
        EXPECT_EQ(sample->LoadPicture(&bad, bits, 0, 0, 0), E_INVALIDARG);
    EXPECT_EQ(sample->GetPicture(&props, &copy), E_UNEXPECTED);
    EXPECT_EQ(sample->GetPicture(nullptr, &copy), E_POINTER);
    EXPECT_EQ(sample->SetLabel(nullptr), E_POINTER);
    EXPECT_EQ(sample->GetLabel(nullptr), E_POINTER);
    EXPECT_EQ(sample->SetSettings(nullptr), E_POINTER);
    EXPECT_EQ(sample->GetSettings(nullptr), E_POINTER);
}

}  // namespace
}  // namespace qdvm::test
