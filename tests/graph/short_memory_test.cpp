// Where memory is short an operation says so with a result code, lets no exception out, and leaves
// a mixer that works.

#include "frames/format_table.h"
#include "platform/counted_string.h"
#include "support/alloc_counter.h"
#include "support/graph_fakes.h"
#include "support/picture_files.h"
#include "support/temporary_directory.h"

#include <qdvideomixer/bitmap.h>
#include <qdvideomixer/chroma_key.h>
#include <qdvideomixer/create.h>
#include <qdvideomixer/persist.h>
#include <qdvideomixer/props.h>
#include <qdvideomixer/scene.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <functional>
#include <new>
#include <string>
#include <thread>

namespace qdvm::test {
namespace {

using Operation = std::function<HRESULT()>;

// Runs it with no allocation, then with one and so on, until it needs no more; `undo` makes room
// for the next run. A run only fails for want of memory, and
// then with a result code.
void RunShort(const char* name, const Operation& run, const Operation& undo = nullptr) {
    SCOPED_TRACE(name);
    constexpr std::size_t kMost = 5000;
    for (std::size_t allocations = 0; allocations < kMost; ++allocations) {
        HRESULT result = E_UNEXPECTED;
        bool hasFailed = false;
        try {
            const ShortMemory memory(allocations);
            result = run();
            hasFailed = memory.HasFailed();
        } catch (const std::bad_alloc&) {
            FAIL() << "an exception after " << allocations << " allocations";
        }
        ASSERT_TRUE(Succeeded(result) || hasFailed)
            << std::hex << result << std::dec << " after " << allocations << " allocations";
        if (undo && Succeeded(result)) (void)undo();
        if (!hasFailed) return;
    }
    FAIL() << "needs ever more";
}

class ShortMemoryTest : public ::testing::Test {
protected:
    void SetUp() override {
        for (ULONG i = 0; i < sources.size(); ++i) {
            sources[i] = MakeObject<FakeSource>(VideoType(kFccRGB32, 64, 32));
            ASSERT_EQ(sources[i]->ConnectTo(mixer.In(i).Get()), S_OK);
            ASSERT_EQ(mixer.Show(static_cast<LONG>(i), 0, 0, 64, 32), S_OK);
        }
        ASSERT_EQ(mixer.Out()->Connect(sink.Get(), nullptr), S_OK);
        ASSERT_EQ(mixer.filter->QueryInterface(IID_IQDVideoMixerChromaKey, keys.PutVoid()), S_OK);
        ASSERT_EQ(mixer.filter->QueryInterface(IID_IQDVideoMixerScene, scenes.PutVoid()), S_OK);
    }
    void TearDown() override { EXPECT_EQ(mixer.filter->Stop(), S_OK); }

    // Frames still get from pin to pin.
    void ExpectWorks() {
        ASSERT_EQ(mixer.filter->Run(0), S_OK);
        const std::size_t before = sink->FrameCount();
        for (const Ref<FakeSource>& source : sources)
            ASSERT_EQ(source->SendPicture(77, 0, kFrame), S_OK);
        ASSERT_TRUE(sink->WaitForFrames(before + 1));
        EXPECT_EQ(sink->LastFrame().data[0], 77);
    }

    MixerUnderTest mixer;
    std::array<Ref<FakeSource>, 2> sources;
    Ref<FakeSink> sink = MakeObject<FakeSink>();
    Ref<IQDVideoMixerChromaKey> keys;
    Ref<IQDVideoMixerScene> scenes;
    TemporaryDirectory directory;
    std::atomic<bool> isDone{false};
};

TEST_F(ShortMemoryTest, RectsAndTheirMasks) {
    const VM_MIXING_RECT rect{};
    RunShort(
        "a new rect", [&] { return mixer.control->SetInputRect(0, nullptr, &rect); },
        [&] { return mixer.control->RemoveInputRect(0, 1); });
    LONG count = 0;
    EXPECT_EQ(mixer.control->GetInputRectCount(0, &count), S_OK);
    EXPECT_EQ(count, 1);

    const CountedString shape(u"Rounded Rect");
    RunShort("a built-in mask", [&] { return mixer.control->SetRectMask(0, 0, shape.Get()); });
    const CountedString file(WriteBytes(
        directory / "mask.png",
        MakePictureFile("png", 8, 8, true, [](int, int) { return MakeRgba(255, 255, 255); })));
    RunShort("a mask from a file", [&] { return mixer.control->SetRectMask(0, 0, file.Get()); });
    const VM_BITMAP info{8, 8, 24};
    const std::array<BYTE, 8 * 8 * 3> rows{};
    LONG handle = 0;
    RunShort(
        "a bitmap", [&] { return CreateBitmap(&info, rows.data(), &handle); },
        [&] { return DeleteBitmap(handle); });
    ASSERT_EQ(CreateBitmap(&info, rows.data(), &handle), S_OK);
    const CountedString name(u"a name that is too long to be stored in place");
    RunShort("a mask by handle",
             [&] { return mixer.control->SetRectMaskHandle(0, 0, handle, name.Get()); });
    EXPECT_EQ(DeleteBitmap(handle), S_OK);
    EXPECT_EQ(mixer.control->SetRectMask(0, 0, nullptr), S_OK);
    ExpectWorks();
}

// A mask whose name there is no memory for is none.
TEST_F(ShortMemoryTest, ANameThatIsNotKeptGoesWithItsMask) {
    const VM_BITMAP info{8, 8, 24};
    const std::array<BYTE, 8 * 8 * 3> rows{};
    LONG handle = 0;
    ASSERT_EQ(CreateBitmap(&info, rows.data(), &handle), S_OK);
    const CountedString name(u"a name that is too long to be stored in place");
    HRESULT result = S_OK;
    for (std::size_t allocations = 0; allocations < 3; ++allocations) {
        {
            const ShortMemory memory(allocations);
            result = mixer.control->SetRectMaskHandle(0, 0, handle, name.Get());
        }
        CountedString kept;
        ASSERT_EQ(mixer.control->GetRectMask(0, 0, kept.Put()), S_OK);
        EXPECT_EQ(kept.View(), Succeeded(result) ? name.View() : u"");
        if (Failed(result)) ExpectWorks();
    }
    EXPECT_EQ(result, S_OK);
    EXPECT_EQ(DeleteBitmap(handle), S_OK);
}

TEST_F(ShortMemoryTest, BackgroundsAndCaptures) {
    const CountedString file(WriteBytes(
        directory / "a picture with a name that is too long to be stored in place.png",
        MakePictureFile("png", 8, 8, false, [](int, int) { return MakeRgba(9, 9, 9); })));
    RunShort("a picture",
             [&] { return mixer.control->SetBackground2(eVMB_Image, 0, file.Get(), 0); });
    RunShort("a fade", [&] { return mixer.control->SetBackground2(eVMB_Color, 5, nullptr, 400); });
    ExpectWorks();
    LONG handle = 0;
    for (const BOOL oneField : {0, 1})
        RunShort(
            "a capture", [&] { return mixer.control->CaptureBitmap(&handle, oneField); },
            [&] { return DeleteBitmap(handle); });
}

TEST_F(ShortMemoryTest, KeysAndTheirSamples) {
    ExpectWorks();
    ASSERT_EQ(mixer.control->SetStreamForChromaKey(1), S_OK);
    ChromaKeySettings settings{};
    settings.keyType = eVMK_YUV;
    settings.nKeys = 1;
    settings.keys[0].keyDelta = 0x010101;
    RunShort("a key", [&] { return keys->SetChromaKey(&settings); });
    const CountedString label(u"the green wall of the larger studio");
    RunShort("a label", [&] { return keys->SetKeyLabel(label.Get()); });
    ASSERT_EQ(sources[1]->SendPicture(77, kFrame, 2 * kFrame), S_OK);
    Ref<IUnknown> sample;
    std::thread frames([&] {
        // The next frame is the one that a sample shows.
        for (REFERENCE_TIME start = 2 * kFrame; !isDone; start += kFrame)
            for (const Ref<FakeSource>& source : sources)
                if (Failed(source->SendPicture(77, start, start + kFrame))) return;
    });
    RunShort("a sample", [&] { return keys->MakeKeySample(sample.Put(), 16, 0, 0, 0, 0); });
    isDone = true;
    for (LONG i = 0; i < 2; ++i) (void)mixer.control->FlushBuffers(i);
    frames.join();
    RunShort("a sample taken over", [&] { return keys->TakeKeySample(sample.Get()); });
    Ref<IQDVideoMixerKeySample> control;
    ASSERT_EQ(sample->QueryInterface(IID_IQDVideoMixerKeySample, control.PutVoid()), S_OK);
    const std::array<BYTE, 8 * 8 * 3> rows{};
    const PIC_PROPS props{kFccRGB24, 8, 8, 8};
    RunShort("a picture", [&] { return control->LoadPicture(&props, rows.data(), 0, 0, 0); });
    BYTE* bits = nullptr;
    PIC_PROPS found{};
    RunShort(
        "its copy", [&] { return control->GetPicture(&found, &bits); },
        [&] {
            CoTaskMemFree(bits);
            return S_OK;
        });
}

TEST_F(ShortMemoryTest, Scenes) {
    const CountedString name(u"a scene with a name that isn't short");
    const CountedString wide(u"Picture in Picture");
    RunShort(
        "a new scene", [&] { return scenes->AddCurrentScene(name.Get(), name.Get()); },
        [&] { return scenes->RemoveScene(name.Get()); });
    ASSERT_EQ(scenes->AddCurrentScene(name.Get(), nullptr), S_OK);
    RunShort("a scene brought up to date", [&] { return scenes->UpdateScene(name.Get()); });
    RunShort("a scene selected", [&] { return scenes->SelectScene2(name.Get(), 100); });
    CountedString text;
    RunShort("scenes saved", [&] { return scenes->SaveScenes(nullptr, text.Put()); });
    RunShort("scenes loaded", [&] { return scenes->LoadScenes(text.Get(), 0); });
    RunShort("another order", [&] { return scenes->SetStreamOrder2(0, 1, 1, 1, 100); });
    ExpectWorks();
}

TEST_F(ShortMemoryTest, SetupsAndProperties) {
    Ref<IQPersist> persist;
    ASSERT_EQ(mixer.filter->QueryInterface(IID_IQPersist, persist.PutVoid()), S_OK);
    CountedString setup;
    RunShort("a setup saved",
             [&] { return persist->PersistSaveToString(nullptr, setup.Put(), nullptr); });
    RunShort("a setup loaded", [&] { return persist->PersistLoad(nullptr, setup.Get(), nullptr); });
    Ref<IQProps> props;
    ASSERT_EQ(mixer.filter->QueryInterface(IID_IQProps, props.PutVoid()), S_OK);
    const CountedString name(u"show::a property of the person who runs it");
    const CountedString value(u"a value that is too long to be stored in place");
    RunShort("a property", [&] { return props->PropsSet(name.Get(), value.Get()); });
    CountedString read;
    RunShort("its value", [&] { return props->PropsGet(name.Get(), read.Put()); });
    EXPECT_EQ(read.View(), value.View());
    ExpectWorks();
}

TEST_F(ShortMemoryTest, Formats) {
    VM_VIDEO_PROPS wanted{};
    wanted.picProps = {kFccYUY2, 64, -32, 64};
    RunShort("another output", [&] { return mixer.control->SetOutputProps(&wanted); });
    RunShort("the usual output", [&] { return mixer.control->SetOutputProps(nullptr); });
    RunShort(
        "a master", [&] { return mixer.control->SetMasterStream(0); },
        [&] { return mixer.control->SetMasterStream(-1); });
    ExpectWorks();
    const MediaType other = VideoType(kFccRGB32, 32, 32);
    const Ref<IPin> input = mixer.In(1);
    RunShort("another format under way",
             [&] { return input->ReceiveConnection(sources[1].Get(), &*other); });
}

TEST_F(ShortMemoryTest, PinsAndTheirConnections) {
    const MediaType type = VideoType(kFccRGB32, 64, 32);
    Ref<FakeSource> source = MakeObject<FakeSource>(type);
    const Ref<IPin> free = mixer.In(2);
    RunShort(
        "an input connected", [&] { return free->ReceiveConnection(source.Get(), &*type); },
        [&] { return free->Disconnect(); });
    EXPECT_EQ(mixer.InputCount(), 3u);
    const Ref<IPin> out = mixer.Out();
    ASSERT_EQ(out->Disconnect(), S_OK);
    RunShort(
        "the output connected", [&] { return out->Connect(sink.Get(), nullptr); },
        [&] { return out->Disconnect(); });
    ASSERT_EQ(out->Connect(sink.Get(), nullptr), S_OK);
    Ref<IEnumPins> pins;
    RunShort("pins listed", [&] { return mixer.filter->EnumPins(pins.Put()); });
    Ref<IEnumMediaTypes> types;
    RunShort("types listed", [&] { return out->EnumMediaTypes(types.Put()); });
    const std::u16string id = u"Mixed Out";
    Ref<IPin> found;
    RunShort("a pin by name", [&] { return mixer.filter->FindPin(id.c_str(), found.Put()); });
    Ref<IMemAllocator> allocator;
    const auto input = mixer.In(0).As<IMemInputPin>();
    RunShort("an allocator", [&] { return input->GetAllocator(allocator.Put()); });
    Ref<IBaseFilter> another;
    RunShort("a mixer", [&] { return CreateQDVideoMixer(IID_IBaseFilter, another.PutVoid()); });
    ExpectWorks();
}

TEST_F(ShortMemoryTest, StartsAndFrames) {
    RunShort(
        "a start", [&] { return mixer.filter->Run(0); }, [&] { return mixer.filter->Stop(); });
    ASSERT_EQ(mixer.control->SetMasterStream(0), S_OK);
    RunShort(
        "a start with a master", [&] { return mixer.filter->Run(0); },
        [&] { return mixer.filter->Stop(); });
    sink->keepsData = false;
    ChromaKeySettings settings{};
    settings.keyType = eVMK_YUV;
    settings.nKeys = 1;
    settings.nSmooth = 2;
    settings.keys[0].keyDelta = 0x010101;
    ASSERT_EQ(mixer.control->SetStreamForChromaKey(1), S_OK);
    ASSERT_EQ(keys->SetChromaKey(&settings), S_OK);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    REFERENCE_TIME start = 0;
    const auto frame = [&](const Ref<FakeSource>& source) {
        return [&, source] { return source->SendPicture(77, start, start + kFrame); };
    };
    RunShort("a frame of another stream", frame(sources[1]));
    RunShort("a frame of the master", frame(sources[0]));
    ASSERT_EQ(mixer.filter->Stop(), S_OK);
}

}  // namespace
}  // namespace qdvm::test
