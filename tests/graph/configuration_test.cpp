// Setups and scenes of a whole filter, saved and brought back.

#include "frames/format_table.h"
#include "platform/byte_stream.h"
#include "platform/counted_string.h"
#include "platform/file.h"
#include "platform/thread.h"
#include "support/graph_fakes.h"
#include "support/picture_files.h"
#include "support/temporary_directory.h"

#include <qdvideomixer/byte_stream.h>
#include <qdvideomixer/create.h>
#include <qdvideomixer/persist.h>
#include <qdvideomixer/scene.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm::test {
namespace {

void WritePicture(const std::filesystem::path& path) {
    (void)WriteBytes(
        path, MakePictureFile("png", 4, 2, false, [](int, int) { return MakeRgba(10, 200, 30); }));
}

CountedString S(std::u16string_view text) { return CountedString(text); }

// A filter with the interfaces that a host of scenes and setups uses.
struct Hosted : MixerUnderTest {
    Hosted() {
        EXPECT_EQ(filter->QueryInterface(IID_IQPersist, persist.PutVoid()), S_OK);
        EXPECT_EQ(filter->QueryInterface(IID_IQDVideoMixerScene, scenes.PutVoid()), S_OK);
    }
    void Connect(ULONG count) {
        for (ULONG i = 0; i < count; ++i) {
            const auto width = static_cast<std::int32_t>(64 + 32 * i);
            sources.push_back(MakeObject<FakeSource>(VideoType(kFccRGB32, width, 32)));
            ASSERT_EQ(sources.back()->ConnectTo(In(i).Get()), S_OK);
        }
    }
    void ConnectOutput() {
        sink = MakeObject<FakeSink>();
        ASSERT_EQ(Out()->Connect(sink.Get(), nullptr), S_OK);
    }
    std::u16string Text(std::u16string_view parameters = {}) {
        CountedString text;
        EXPECT_EQ(persist->PersistSaveToString(nullptr, text.Put(), S(parameters).Get()), S_OK);
        return std::u16string(text.View());
    }
    HRESULT Load(std::u16string_view text, std::u16string_view parameters = {}) {
        return persist->PersistLoad(nullptr, S(text).Get(), S(parameters).Get());
    }
    std::vector<std::u16string> SceneNames() {
        LONG count = 0;
        EXPECT_EQ(scenes->GetSceneCount(&count), S_OK);
        std::vector<std::u16string> names;
        for (LONG i = 0; i < count; ++i) {
            CountedString name;
            EXPECT_EQ(scenes->GetSceneInfo(i, name.Put(), nullptr), S_OK);
            names.emplace_back(name.View());
        }
        return names;
    }
    std::vector<LONG> Order() {
        std::vector<LONG> order;
        LONG stream = 0;
        for (LONG i = 0; scenes->GetStreamByOrder(i, &stream) == S_OK; ++i) order.push_back(stream);
        return order;
    }
    std::u16string Background(eVM_Background* kind = nullptr) {
        CountedString image;
        EXPECT_EQ(control->GetBackground(kind, nullptr, image.Put()), S_OK);
        return std::u16string(image.View());
    }

    Ref<IQPersist> persist;
    Ref<IQDVideoMixerScene> scenes;
    std::vector<Ref<FakeSource>> sources;
    Ref<FakeSink> sink;
};

bool Has(std::u16string_view text, std::u16string_view part) {
    return text.find(part) != std::u16string_view::npos;
}

// What a client can ask about the layout, as text; equal texts are equal layouts.
std::string Tell(Hosted& mixer) {
    std::string told;
    const auto add = [&](double value) { told += std::to_string(value) + " "; };
    eVM_Background kind{};
    LONG colour = 0;
    (void)mixer.control->GetBackground(&kind, &colour, nullptr);
    add(kind);
    if (kind == eVMB_Color) add(colour);
    for (const LONG stream : mixer.Order()) add(stream);
    for (LONG stream = 0; stream < static_cast<LONG>(mixer.InputCount()); ++stream) {
        // What a stream that isn't shown would draw is no part of a layout.
        LONG count = 0;
        if (mixer.control->IsStreamEnabled(stream, nullptr) == S_OK)
            (void)mixer.control->GetInputRectCount(stream, &count);
        told += "\n" + std::to_string(mixer.control->IsStreamEnabled(stream, nullptr)) +
                std::to_string(mixer.control->IsIgnoreTime(stream, nullptr)) +
                std::to_string(mixer.control->IsKeepStreamRate(stream, nullptr)) + ": ";
        for (LONG i = 0; i < count; ++i) {
            VM_MIXING_RECT rect{};
            (void)mixer.control->GetInputRect(stream, i, &rect);
            for (const RECT& edges : {rect.rcSource, rect.rcTarget})
                for (const LONG edge : {edges.left, edges.top, edges.right, edges.bottom})
                    add(edge);
            for (const double value : {rect.dblAlpha, rect.dblViewAngle, rect.dblHorzAngle,
                                       rect.dblVertAngle, rect.dblHorzOffset, rect.dblVertOffset})
                add(value);
            for (const std::int32_t value :
                 {rect.nBorderWidth, rect.nBorderColor, static_cast<std::int32_t>(rect.eProcess)})
                add(value);
        }
    }
    return told;
}

// A layout made by lot; every value is one that the forms of a document hold.
class Lot {
public:
    explicit Lot(unsigned seed) : random(seed) {}

    LONG Pick(LONG least, LONG most) {
        return std::uniform_int_distribution<LONG>(least, most)(random);
    }
    bool Toss() { return Pick(0, 1) != 0; }

    VM_MIXING_RECT Rect(LONG width) {
        const LONG x = 2 * Pick(0, 20);
        const LONG y = 2 * Pick(0, 6);
        VM_MIXING_RECT rect{};
        rect.rcSource = {x, y, 2 * Pick(x / 2 + 1, width / 2), 2 * Pick(y / 2 + 1, 16)};
        const LONG left = 2 * Pick(-10, 60);
        const LONG top = 2 * Pick(-10, 60);
        rect.rcTarget = {left, top, left + 2 * Pick(4, 40), top + 2 * Pick(4, 40)};
        rect.dblAlpha = Pick(1, 100) / 100.0;
        rect.nBorderWidth = 2 * Pick(0, 1);
        rect.nBorderColor = Pick(-2147483647, 2147483647);
        rect.eProcess = static_cast<eVM_Process>(Pick(0, 7));
        if (Toss()) rect.dblViewAngle = Pick(1, 120);
        rect.dblHorzAngle = Pick(-900, 900) / 10.0;
        rect.dblVertOffset = Pick(-100, 100) / 100.0;
        return rect;
    }

    void Fill(Hosted& mixer) {
        const auto streams = static_cast<LONG>(mixer.sources.size());
        for (LONG stream = 0; stream < streams; ++stream) {
            (void)mixer.control->RemoveAllRects(stream);
            (void)mixer.control->EnableStream(stream, Toss());
            (void)mixer.control->IgnoreTime(stream, Toss());
            (void)mixer.control->KeepStreamRate(stream, Toss());
            for (LONG i = Pick(0, 3); i > 0; --i) {
                const VM_MIXING_RECT rect = Rect(64 + 32 * stream);
                EXPECT_EQ(mixer.control->SetInputRect(stream, nullptr, &rect), S_OK);
            }
            (void)mixer.scenes->SetStreamOrder(Pick(0, streams - 1), Pick(0, streams), 0, 0);
        }
        const auto kind = Toss() ? eVMB_Color : eVMB_None;
        (void)mixer.control->SetBackground(kind, Pick(-2147483647, 2147483647), nullptr);
    }

private:
    std::mt19937 random;
};

TEST(ConfigurationTest, RandomLayoutsComeBackAsTheyWere) {
    constexpr ULONG kStreams = 3;
    for (unsigned seed = 0; seed < 60; ++seed) {
        Lot lot(seed);
        Hosted saved;
        saved.Connect(kStreams);
        lot.Fill(saved);
        const std::string told = Tell(saved);
        const std::u16string text = saved.Text();

        // A setup, into a filter with the same streams.
        Hosted loaded;
        loaded.Connect(kStreams);
        ASSERT_EQ(loaded.Load(text), S_OK);
        EXPECT_EQ(Tell(loaded), told) << "seed " << seed;

        // A scene, over another layout of the same filter.
        ASSERT_EQ(saved.scenes->AddCurrentScene(S(u"\"it's\" <one> & 'two'").Get(), nullptr), S_OK);
        CountedString document;
        ASSERT_EQ(saved.scenes->SaveScenes(nullptr, document.Put()), S_OK);
        ASSERT_EQ(loaded.scenes->LoadScenes(document.Get(), 2), S_OK);
        ASSERT_EQ(loaded.SceneNames(), (std::vector<std::u16string>{u"'it's' <one> & 'two'"}));
        const std::vector<LONG> order = loaded.Order();
        std::vector<LONG> keptRates;
        for (LONG i = 0; i < static_cast<LONG>(kStreams); ++i)
            keptRates.push_back(loaded.control->IsKeepStreamRate(i, nullptr) == S_OK);
        lot.Fill(loaded);
        // What scenes don't hold.
        for (LONG i = 0; i < static_cast<LONG>(kStreams); ++i)
            (void)loaded.control->KeepStreamRate(i, keptRates[static_cast<std::size_t>(i)]);
        for (LONG i = 0; i < static_cast<LONG>(kStreams); ++i)
            (void)loaded.scenes->SetStreamOrder2(order[static_cast<std::size_t>(i)], i, 1, 0, 0);
        ASSERT_EQ(loaded.scenes->SelectScene(S(loaded.SceneNames()[0]).Get()), S_OK);
        EXPECT_EQ(Tell(loaded), told) << "seed " << seed;
    }
}

TEST(ConfigurationTest, ANewFiltersSetupIsShort) {
    Hosted mixer;
    const std::u16string text = mixer.Text();
    EXPECT_TRUE(text.starts_with(u"<m_config default-scenes='true' master-stream='-1'>"));
    for (const std::u16string_view part :
         {u"<background color=", u"<output-props width='0x00000000' height='0' interlace='auto'",
          u"<pins number='1' order='0'/>", u"<current-scene internal='false'>"})
        EXPECT_TRUE(Has(text, part));
    EXPECT_FALSE(Has(text, u"user-scenes"));
}

TEST(ConfigurationTest, PinsOrderMasterAndFormatComeBack) {
    Hosted mixer;
    mixer.Connect(2);
    VM_VIDEO_PROPS props{};
    props.picProps = {kFccYUY2, 320, 240, 0};
    props.dblStreamFPS = 30;
    ASSERT_EQ(mixer.control->SetOutputProps(&props), S_OK);
    ASSERT_EQ(mixer.control->SetMasterStream(1), S_OK);
    ASSERT_EQ(mixer.scenes->SetStreamOrder(1, 0, 0, 0), S_OK);
    const std::u16string text = mixer.Text();

    Hosted other;
    ASSERT_EQ(other.Load(text), S_OK);
    EXPECT_EQ(other.InputCount(), 3u);
    EXPECT_EQ(other.Order(), (std::vector<LONG>{1, 0, 2}));
    LONG master = -1;
    EXPECT_EQ(other.control->GetMasterStream(&master), S_OK);
    EXPECT_EQ(master, 1);
    VM_VIDEO_PROPS given{};
    EXPECT_EQ(other.control->GetOutputProps(1, &given), S_OK);
    EXPECT_EQ(given.picProps.nWidth, 320);
    EXPECT_EQ(given.picProps.fccType, kFccYUY2);
    EXPECT_EQ(given.dblStreamFPS, 30);
    EXPECT_EQ(other.Text().find(u"<current-scene"), text.find(u"<current-scene"));

    // Everything absent is as on a new filter, but pins and formats stay.
    EXPECT_EQ(other.Load(u"<a/>"), S_OK);
    EXPECT_EQ(other.InputCount(), 3u);
    EXPECT_EQ(other.Order(), (std::vector<LONG>{0, 1, 2}));
    EXPECT_EQ(other.control->GetMasterStream(&master), S_FALSE);
    EXPECT_EQ(other.control->GetOutputProps(1, &given), S_OK);
    EXPECT_EQ(given.picProps.nWidth, 320);
    EXPECT_EQ(other.SceneNames().size(), 9u);
}

TEST(ConfigurationTest, OrdersThatDontFitAreThePlainOne) {
    struct Case {
        std::u16string_view text;
        std::vector<LONG> order;
    };
    const Case cases[] = {
        {u"2, 0, 1", {2, 0, 1}}, {u" 2;-0 x0x1", {2, 0, 1}},    {u"2, 0", {0, 1, 2}},
        {u"", {0, 1, 2}},        {u"2, 0, 2", {0, 1, 2}},       {u"-1, 0, 1", {0, 1, 2}},
        {u"0, 1, 9", {0, 1, 2}}, {u"2, 0, 1, 3, 0", {2, 0, 1}}, {u"02, 08, 1", {2, 0, 1}},
    };
    for (const Case& entry : cases) {
        Hosted mixer;
        const std::u16string text =
            u"<a><pins number='3' order='" + std::u16string(entry.text) + u"'/></a>";
        ASSERT_EQ(mixer.Load(text), S_OK);
        EXPECT_EQ(mixer.Order(), entry.order);
    }
    Hosted mixer;
    ASSERT_EQ(mixer.Load(u"<a master-stream='777777'><pins number='2000000000'/></a>"), S_OK);
    EXPECT_LT(mixer.InputCount(), 5000u);
    LONG master = 0;
    EXPECT_EQ(mixer.control->GetMasterStream(&master), S_FALSE);
}

TEST(ConfigurationTest, PicturesAreToldFromTheDocument) {
    const TemporaryDirectory directory;
    std::filesystem::create_directory(directory / "cfg");
    std::filesystem::create_directory(directory / "other");
    const std::u16string picture = (directory / "bars.png").u16string();
    const std::u16string file = (directory / "cfg/a.xml").u16string();
    WritePicture(directory / "bars.png");
    Hosted mixer;
    ASSERT_EQ(mixer.control->SetBackground(eVMB_Image, 0, S(picture).Get()), S_OK);
    ASSERT_EQ(mixer.persist->PersistSaveToFile(nullptr, S(file).Get(), nullptr), S_OK);
    EXPECT_TRUE(Has(mixer.Text(u"path='" + file + u"'"), u"image-path='../bars.png'"));
    EXPECT_TRUE(Has(mixer.Text(), u"image-path='" + picture + u"'"));

    // The document and its picture have moved together.
    for (const char* name : {"cfg", "bars.png"})
        std::filesystem::rename(directory / name, directory / "other" / name);
    Hosted moved;
    ASSERT_EQ(moved.Load((directory / "other/cfg/a.xml").u16string()), S_OK);
    eVM_Background kind = eVMB_None;
    EXPECT_EQ(moved.Background(&kind), (directory / "other/bars.png").u16string());
    EXPECT_EQ(kind, eVMB_Image);

    // From elsewhere, with the other separator; a picture that isn't there leaves all as it is.
    Hosted foreign;
    const std::u16string_view text = u"<a><background type=image image-path='..\\bars.png'/></a>";
    ASSERT_EQ(foreign.Load(text), S_OK);
    EXPECT_EQ(foreign.Background(&kind), u"");
    EXPECT_EQ(kind, eVMB_Color);
    ASSERT_EQ(foreign.Load(text, u"path=" + (directory / "other/cfg/b.xml").u16string()), S_OK);
    EXPECT_EQ(foreign.Background(&kind), (directory / "other/bars.png").u16string());
    // A colour has no picture, of before neither.
    ASSERT_EQ(foreign.Load(u"<a><background type=color color=1/></a>"), S_OK);
    EXPECT_EQ(foreign.Background(&kind), u"");
    EXPECT_EQ(kind, eVMB_Color);
}

TEST(ConfigurationTest, ScenesAreKeptAsFarAsTheyAreNotBuiltIn) {
    Hosted mixer;
    ASSERT_EQ(mixer.scenes->AddCurrentScene(S(u"b").Get(), S(u"two").Get()), S_OK);
    ASSERT_EQ(mixer.scenes->AddCurrentScene(S(u"a").Get(), nullptr), S_OK);
    const std::vector<std::u16string> names = mixer.SceneNames();
    std::u16string text = mixer.Text();
    EXPECT_FALSE(Has(text, u"'QUAD'"));
    Hosted loaded;
    ASSERT_EQ(loaded.scenes->AddCurrentScene(S(u"goes").Get(), nullptr), S_OK);
    ASSERT_EQ(loaded.Load(text), S_OK);
    EXPECT_EQ(loaded.SceneNames(), names);

    // One built-in scene has gone: the others are kept too, and none comes back.
    ASSERT_EQ(mixer.scenes->RemoveScene(S(u"QUAD").Get()), S_OK);
    text = mixer.Text();
    EXPECT_TRUE(Has(text, u"<m_config default-scenes='false'"));
    ASSERT_EQ(loaded.Load(text), S_OK);
    EXPECT_EQ(loaded.SceneNames(), mixer.SceneNames());
    EXPECT_EQ(loaded.SceneNames().size(), 10u);
    const std::u16string again = loaded.Text();
    EXPECT_EQ(again.substr(again.find(u"<user-scenes")), text.substr(text.find(u"<user-scenes")));
}

TEST(ConfigurationTest, TheLayoutComesBackAtTheNextStart) {
    Hosted mixer;
    mixer.Connect(2);
    ASSERT_EQ(mixer.Show(0, 0, 0, 32, 16), S_OK);
    ASSERT_EQ(mixer.Show(1, 32, 16, 32, 16), S_OK);
    const std::u16string text = mixer.Text();
    const std::string told = Tell(mixer);

    Hosted loaded;
    ASSERT_EQ(loaded.Load(text), S_OK);
    loaded.Connect(2);
    loaded.ConnectOutput();
    ASSERT_EQ(loaded.control->RemoveAllRects(-1), S_OK);
    ASSERT_EQ(loaded.filter->Pause(), S_OK);
    EXPECT_EQ(Tell(loaded), told);
    // Only once.
    ASSERT_EQ(loaded.control->RemoveAllRects(1), S_OK);
    ASSERT_EQ(loaded.filter->Stop(), S_OK);
    ASSERT_EQ(loaded.filter->Pause(), S_OK);
    EXPECT_NE(Tell(loaded), told);
    // And not once another setup, without a layout, has been loaded.
    Hosted other;
    ASSERT_EQ(other.Load(text), S_OK);
    ASSERT_EQ(other.Load(u"<a/>"), S_OK);
    other.Connect(2);
    other.ConnectOutput();
    ASSERT_EQ(other.control->RemoveAllRects(-1), S_OK);
    ASSERT_EQ(other.filter->Pause(), S_OK);
    EXPECT_NE(Tell(other), told);
    // A running mixer keeps its master, whose threads run.
    EXPECT_EQ(loaded.Load(u"<a master-stream='0'/>"), S_OK);
    EXPECT_EQ(loaded.control->GetMasterStream(nullptr), S_FALSE);
    ASSERT_EQ(loaded.filter->Stop(), S_OK);
}

TEST(ConfigurationTest, SavesAndLoadsWhileFramesRun) {
    Hosted mixer;
    mixer.Connect(2);
    mixer.ConnectOutput();
    mixer.sink->keepsData = false;
    ASSERT_EQ(mixer.Show(0, 0, 0, 32, 16), S_OK);
    ASSERT_EQ(mixer.Show(1, 32, 16, 32, 16), S_OK);
    ASSERT_EQ(mixer.filter->Run(0), S_OK);
    Thread upstream[2];
    for (std::size_t i = 0; i < 2; ++i) {
        const auto send = [&mixer, i] {
            for (int slot = 0; slot >= 0; ++slot)
                if (Failed(mixer.sources[i]->SendPicture(1, slot * kFrame, (slot + 1) * kFrame)))
                    break;
        };
        ASSERT_EQ(upstream[i].Start("upstream", ThreadPriority::Normal, send), S_OK);
    }
    const std::u16string text = mixer.Text();
    CountedString scenes;
    for (int round = 0; round < 20; ++round) {
        EXPECT_EQ(mixer.Load(mixer.Text()), S_OK);
        EXPECT_EQ(mixer.Load(u"<a><pins number='" +
                             std::u16string(1, static_cast<char16_t>(u'1' + round % 9)) +
                             u"' order='1, 0, 2'/></a>"),
                  S_OK);
        EXPECT_EQ(mixer.scenes->SaveScenes(S(u"QUAD").Get(), scenes.Put()), S_OK);
        EXPECT_EQ(mixer.scenes->LoadScenes(scenes.Get(), round % 3), S_OK);
        EXPECT_EQ(mixer.scenes->SelectScene2(S(u"QUAD").Get(), 40), S_OK);
        EXPECT_EQ(mixer.Load(text), S_OK);
        ASSERT_TRUE(mixer.sink->WaitForFrames(mixer.sink->FrameCount() + 2));
    }
    ASSERT_EQ(mixer.filter->Stop(), S_OK);
    for (Thread& thread : upstream) thread.Join();
    EXPECT_EQ(mixer.InputCount(), 9u);
    LONG count = 0;
    EXPECT_EQ(mixer.control->GetInputRectCount(0, &count), S_OK);
    EXPECT_EQ(count, 1);
}

TEST(ConfigurationTest, GraphEditorsKeepTheSetupInTheirStreams) {
    Hosted mixer;
    ASSERT_EQ(mixer.scenes->AddCurrentScene(S(u"J\u00F6rg").Get(), nullptr), S_OK);
    const Ref<IPersistStream> keeper = mixer.filter.As<IPersistStream>();
    ASSERT_TRUE(keeper);
    CLSID classId{};
    EXPECT_EQ(keeper->GetClassID(&classId), S_OK);
    EXPECT_EQ(classId, CLSID_QDVideoMixer);
    EXPECT_EQ(keeper->IsDirty(), S_OK);
    Ref<IStream> stream;
    ASSERT_EQ(CreateByteStream(IID_IStream, stream.PutVoid()), S_OK);
    ASSERT_EQ(keeper->Save(stream.Get(), 1), S_OK);
    EXPECT_EQ(keeper->IsDirty(), S_FALSE);
    ASSERT_EQ(stream->Seek({}, STREAM_SEEK_SET, nullptr), S_OK);
    Hosted other;
    ASSERT_EQ(other.filter.As<IPersistStream>()->Load(stream.Get()), S_OK);
    EXPECT_EQ(other.SceneNames(), mixer.SceneNames());
    // What has been loaded is no change, and what documents tell is one.
    EXPECT_EQ(keeper->IsDirty(), S_FALSE);
    ASSERT_EQ(mixer.Load(other.Text()), S_OK);
    EXPECT_EQ(keeper->IsDirty(), S_FALSE);
    mixer.Connect(1);
    ASSERT_EQ(keeper->Save(stream.Get(), 1), S_OK);
    ASSERT_EQ(mixer.control->IgnoreTime(0, 1), S_OK);
    EXPECT_EQ(keeper->IsDirty(), S_OK);
}

TEST(SceneDocumentsTest, SavingTakesOneSceneOrThoseOfTheUser) {
    Hosted mixer;
    CountedString text;
    EXPECT_EQ(mixer.scenes->SaveScenes(nullptr, nullptr), E_POINTER);
    ASSERT_EQ(mixer.scenes->SaveScenes(nullptr, text.Put()), S_OK);
    EXPECT_EQ(text.View(), u"<qdvideomixer>\r\n\t<user-scenes/>\r\n</qdvideomixer>");
    ASSERT_EQ(mixer.scenes->SaveScenes(S(u"pip").Get(), text.Put()), S_OK);
    EXPECT_TRUE(Has(text.View(), u"<scene name='PIP' "));
    EXPECT_TRUE(Has(text.View(), u" internal='true'>"));
    ASSERT_EQ(mixer.scenes->UpdateScene(S(u"SIDE").Get()), S_OK);
    ASSERT_EQ(mixer.scenes->SaveScenes(S(u"").Get(), text.Put()), S_OK);
    EXPECT_TRUE(Has(text.View(), u"<scene name='SIDE' internal='false'>"));
    EXPECT_FALSE(Has(text.View(), u"PIP"));
}

TEST(SceneDocumentsTest, LoadingReplacesAsFarAsAskedFor) {
    const std::u16string_view two =
        u"<a><scene name='QUAD' description='mine'/><scene name='x'/></a>";
    const auto description = [](Hosted& mixer, std::u16string_view name) {
        const std::vector<std::u16string> names = mixer.SceneNames();
        for (std::size_t i = 0; i < names.size(); ++i) {
            CountedString text;
            if (names[i] != name) continue;
            (void)mixer.scenes->GetSceneInfo(static_cast<LONG>(i), nullptr, text.Put());
            return std::u16string(text.View());
        }
        return std::u16string(u"none");
    };
    struct Case {
        LONG removeOld;
        std::size_t scenes;
        bool keepsOld;
        bool replaces;
    };
    for (const Case& entry :
         {Case{0, 11, true, true}, Case{1, 10, false, true}, Case{2, 2, false, true},
          Case{5, 2, false, true}, Case{-1, 10, false, false}}) {
        Hosted mixer;
        ASSERT_EQ(mixer.scenes->AddCurrentScene(S(u"old").Get(), nullptr), S_OK);
        ASSERT_EQ(mixer.scenes->LoadScenes(S(two).Get(), entry.removeOld), S_OK);
        EXPECT_EQ(mixer.SceneNames().size(), entry.scenes) << entry.removeOld;
        EXPECT_EQ(description(mixer, u"old") != u"none", entry.keepsOld);
        EXPECT_EQ(description(mixer, u"QUAD") == u"mine", entry.replaces);
        // And so the setup that holds them.
        Hosted again;
        ASSERT_EQ(again.Load(mixer.Text()), S_OK);
        std::vector<std::u16string> before = mixer.SceneNames();
        std::vector<std::u16string> after = again.SceneNames();
        EXPECT_EQ(after, before) << entry.removeOld;
    }
    Hosted mixer;
    EXPECT_EQ(mixer.scenes->LoadScenes(nullptr, 2), E_INVALIDARG);
    const TemporaryDirectory directory;
    ASSERT_EQ(WriteFile((directory / "empty").u16string(), {}), S_OK);
    EXPECT_TRUE(Failed(mixer.scenes->LoadScenes(S((directory / "empty").u16string()).Get(), 2)));
    EXPECT_EQ(mixer.SceneNames().size(), 9u);
    EXPECT_EQ(mixer.scenes->LoadScenes(S(u"<a/>").Get(), 1), S_OK);
    EXPECT_EQ(mixer.SceneNames().size(), 9u);
    EXPECT_EQ(mixer.scenes->LoadScenes(S(u"<a/>").Get(), 2), S_OK);
    EXPECT_TRUE(mixer.SceneNames().empty());
}

// What a person writes in an editor, in a file beside its picture, named from where the mixer runs.
// Time grows with the scenes, not with their square.
TEST(SceneDocumentsTest, AnyNumberOfScenesIsLoadedAtOnce) {
    constexpr std::size_t kScenes = 20'000;
    Hosted mixer;
    std::u16string text = u"<scenes>";
    for (std::size_t i = 0; i < kScenes; ++i) text += u"<scene/>";
    ASSERT_EQ(mixer.scenes->LoadScenes(S(text).Get(), 2), S_OK);
    ASSERT_EQ(mixer.scenes->LoadScenes(S(text).Get(), 0), S_OK);
    LONG count = 0;
    EXPECT_EQ(mixer.scenes->GetSceneCount(&count), S_OK);
    EXPECT_EQ(count, static_cast<LONG>(2 * kScenes));
    ASSERT_EQ(mixer.Load(mixer.Text()), S_OK);
    EXPECT_EQ(mixer.scenes->GetSceneCount(&count), S_OK);
    EXPECT_EQ(count, static_cast<LONG>(2 * kScenes));
}

TEST(SceneDocumentsTest, TheNamelessTakeNobodysName) {
    Hosted mixer;
    ASSERT_EQ(mixer.scenes->LoadScenes(S(u"<scene name='Scene 1' description='mine'/>").Get(), 2),
              S_OK);
    ASSERT_EQ(mixer.scenes->LoadScenes(S(u"<scene description='other'/>").Get(), 0), S_OK);
    EXPECT_EQ(mixer.SceneNames(), (std::vector<std::u16string>{u"Scene 1", u"Scene 2"}));
    // Nor one that stands in their own document.
    ASSERT_EQ(mixer.scenes->LoadScenes(S(u"<scene name='Scene 1'/>").Get(), 2), S_OK);
    ASSERT_EQ(mixer.scenes->LoadScenes(
                  S(u"<a><scene/><scene name='Scene 3'/><scene name=''/></a>").Get(), 0),
              S_OK);
    EXPECT_EQ(mixer.SceneNames(),
              (std::vector<std::u16string>{u"Scene 1", u"Scene 4", u"Scene 3", u"Scene 5"}));
    // Of one name, the last one counts, in its own place.
    ASSERT_EQ(mixer.scenes->LoadScenes(
                  S(u"<a><scene name=x/><scene name=y/><scene name=x/></a>").Get(), 2),
              S_OK);
    EXPECT_EQ(mixer.SceneNames(), (std::vector<std::u16string>{u"y", u"x"}));
}

TEST(SceneDocumentsTest, AHandwrittenFileShowsWhatWasMeant) {
    const TemporaryDirectory directory;
    WritePicture(directory / "hall.png");
    const std::string text =
        "<?xml version=\"1.0\"?>\n<!-- the evening -->\n<Scenes>\n <Scene name=Talk>\n"
        "  <relative-output width=100 height=100/>\n  <background type=image "
        "image-path=hall.png/>\n"
        "  <inputs>\n   <input enabled=yes><mix-blocks>\n    <mix-block alpha=1>\n"
        "     <dst-rect left=50 top=0 right=100 bottom=50/>\n    "
        "</mix-block></mix-blocks></input>\n"
        "  </inputs>\n </Scene>\n</Scenes>\n";
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    ASSERT_EQ(WriteFile((directory / "evening").u16string(), {bytes, text.size()}), S_OK);
    const std::filesystem::path from = std::filesystem::current_path();
    std::filesystem::current_path(directory.Path());
    Hosted mixer;
    mixer.Connect(1);
    const HRESULT result = mixer.scenes->LoadScenes(S(u"evening").Get(), 0);
    std::filesystem::current_path(from);
    ASSERT_EQ(result, S_OK);
    ASSERT_EQ(mixer.scenes->SelectScene(S(u"Talk").Get()), S_OK);
    VM_MIXING_RECT rect{};
    ASSERT_EQ(mixer.control->GetInputRect(0, 0, &rect), S_OK);
    EXPECT_EQ(rect.rcTarget.left, 32);
    EXPECT_EQ(rect.rcTarget.right, 64);
    EXPECT_EQ(rect.rcTarget.bottom, 16);
    EXPECT_EQ(rect.rcSource.right, 64);
    EXPECT_EQ(mixer.Background(), (directory / "hall.png").u16string());
}

}  // namespace
}  // namespace qdvm::test
