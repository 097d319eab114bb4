// A setup as text, as file and as stream, over an object with one value.

#include "config/persistence.h"

#include "config/file_path.h"
#include "config/text_encoding.h"
#include "platform/counted_string.h"
#include "platform/file.h"
#include "support/temporary_directory.h"

#include <qdvideomixer/create.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace qdvm::test {
namespace {

constexpr HRESULT kTooLong = HResult(0x80070005);

class Keeper final : public IQPersistImpl {
public:
    HRESULT QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG AddRef() override { return 1; }
    ULONG Release() override { return 1; }
    HRESULT GetClassID(CLSID*) override { return E_NOTIMPL; }

    std::u16string value;
    std::u16string lastPlace;
    HRESULT saveResult = S_OK;
    std::atomic<bool> dirty{false};
    int loads = 0;

private:
    HRESULT SaveConfiguration(const XMLParse::XMLNodePtr& root,
                              std::u16string_view place) override {
        (void)root->SetAttr(u"value", ObjectVal(value));
        lastPlace = place;
        return saveResult;
    }
    HRESULT LoadConfiguration(const XMLParse::XMLNodePtr& root,
                              std::u16string_view place) override {
        value = root->GetString(u"value");
        lastPlace = place;
        ++loads;
        return S_OK;
    }
    std::atomic<bool>& DirtyMark() override { return dirty; }
};

CountedString S(std::u16string_view text) { return CountedString(text); }

class PersistenceTest : public ::testing::Test {
protected:
    PersistenceTest() { EXPECT_EQ(CreateByteStream(IID_IStream, stream.PutVoid()), S_OK); }

    void Put(std::initializer_list<std::uint8_t> bytes) {
        (void)stream->Write(std::data(bytes), static_cast<ULONG>(bytes.size()), nullptr);
    }

    void PutBytes(const std::vector<std::uint8_t>& bytes) {
        (void)stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), nullptr);
    }

    std::uint64_t Seek(std::int64_t distance, STREAM_SEEK origin) {
        LARGE_INTEGER move{};
        move.QuadPart = distance;
        ULARGE_INTEGER position{};
        EXPECT_EQ(stream->Seek(move, origin, &position), S_OK);
        return position.QuadPart;
    }

    Keeper keeper;
    Ref<IStream> stream;
    const TemporaryDirectory directory;
};

TEST_F(PersistenceTest, TextsAndFilesComeBackWithTheirPlace) {
    keeper.value = u"J\u00F6rg \u65E5";
    CountedString text;
    EXPECT_EQ(keeper.PersistSaveToString(nullptr, nullptr, nullptr), E_POINTER);
    ASSERT_EQ(keeper.PersistSaveToString(nullptr, text.Put(), S(u"path='c:\\x y\\a.xml'").Get()),
              S_OK);
    EXPECT_EQ(text.View(), u"<m_config value='J\u00F6rg \u65E5'/>");
    EXPECT_EQ(keeper.lastPlace, u"c:\\x y\\a.xml");

    const std::u16string name = (directory / "setup").u16string();
    for (const std::u16string_view form : {u"", u"unicode=1"}) {
        ASSERT_EQ(keeper.PersistSaveToFile(nullptr, S(name).Get(), S(form).Get()), S_OK);
        EXPECT_EQ(keeper.lastPlace, name);
        Keeper other;
        ASSERT_EQ(other.PersistLoad(nullptr, S(name).Get(), S(u"path=/x").Get()), S_OK);
        EXPECT_EQ(other.value, keeper.value);
        EXPECT_EQ(other.lastPlace, name);
    }
    std::vector<std::uint8_t> bytes;
    ASSERT_EQ(ReadFile(name, bytes), S_OK);
    EXPECT_EQ(bytes, XMLParse::EncodeWide(text.View()));

    EXPECT_EQ(keeper.PersistSaveToFile(nullptr, nullptr, nullptr), E_INVALIDARG);
    EXPECT_TRUE(Failed(keeper.PersistSaveToFile(nullptr, S(name + u"/in").Get(), nullptr)));
    keeper.saveResult = E_UNEXPECTED;
    EXPECT_EQ(keeper.PersistSaveToString(nullptr, text.Put(), nullptr), E_UNEXPECTED);
    EXPECT_EQ(text.Get(), nullptr);
}

TEST_F(PersistenceTest, WhatIsNoDocumentLoadsNothing) {
    for (const std::u16string_view text : {u"", u"value='a'", u"/no/such/file.xml", u"<", u"<!---"})
        EXPECT_EQ(keeper.PersistLoad(nullptr, S(text).Get(), nullptr), E_INVALIDARG);
    const std::u16string name = (directory / "empty.xml").u16string();
    ASSERT_EQ(WriteFile(name, {}), S_OK);
    EXPECT_EQ(keeper.PersistLoad(nullptr, S(name).Get(), nullptr), E_INVALIDARG);
    EXPECT_EQ(keeper.loads, 0);
}

TEST_F(PersistenceTest, StreamsCarryTheTextWithItsLength) {
    keeper.value = u"a";
    ULARGE_INTEGER most{};
    EXPECT_EQ(keeper.GetSizeMax(&most), S_OK);
    EXPECT_EQ(keeper.GetSizeMax(nullptr), E_POINTER);
    Put({1, 2, 3});
    ASSERT_EQ(keeper.Save(stream.Get(), false), S_OK);
    const std::u16string_view text = u"<m_config value='a'/>";
    EXPECT_EQ(most.QuadPart, 2 * text.size() + 16);
    EXPECT_EQ(Seek(0, STREAM_SEEK_CUR), 3 + 4 + 2 * text.size() + 2);
    Put({9});
    std::uint8_t length = 0;
    (void)Seek(3, STREAM_SEEK_SET);
    (void)stream->Read(&length, 1, nullptr);
    EXPECT_EQ(length, 2 * text.size() + 2);

    Keeper other;
    (void)Seek(3, STREAM_SEEK_SET);
    ASSERT_EQ(other.Load(stream.Get()), S_OK);
    EXPECT_EQ(other.value, u"a");
    EXPECT_EQ(Seek(0, STREAM_SEEK_CUR), 3 + 4 + 2 * text.size() + 2);
    EXPECT_EQ(other.Load(nullptr), E_POINTER);
    EXPECT_EQ(other.Save(nullptr, true), E_POINTER);
}

TEST_F(PersistenceTest, BadStreamsAreRefusedAndStandWhereTheyStood) {
    const std::vector<std::uint8_t> whole = {10, 0, 0, 0, '<', 0, 'a', 0, '/', 0, '>', 0, 0, 0};
    const auto changed = [&](std::size_t at, std::uint8_t byte) {
        std::vector<std::uint8_t> bytes = whole;
        bytes[at] = byte;
        return bytes;
    };
    struct Case {
        std::vector<std::uint8_t> bytes;
        HRESULT result;
    };
    const std::vector<std::uint8_t> noLength = {10, 0, 0};
    const std::vector<std::uint8_t> cut(whole.begin(), whole.end() - 1);
    const Case cases[] = {
        {noLength, E_FAIL},
        {cut, E_FAIL},
        {changed(0, 1), E_FAIL},
        {changed(0, 9), E_FAIL},
        {changed(0, 11), E_FAIL},
        {changed(12, 7), E_FAIL},
        {changed(13, 7), E_FAIL},
        {{1, 0, 0x10, 0, 0, 0}, kTooLong},
        {changed(3, 1), kTooLong},
        {{0, 0, 0, 0}, E_INVALIDARG},
        {changed(4, 0), E_INVALIDARG},
    };
    for (const Case& broken : cases) {
        (void)stream->SetSize({});
        (void)Seek(0, STREAM_SEEK_SET);
        Put({7});
        PutBytes(broken.bytes);
        (void)Seek(1, STREAM_SEEK_SET);
        EXPECT_EQ(keeper.Load(stream.Get()), broken.result);
        EXPECT_EQ(Seek(0, STREAM_SEEK_CUR), 1u);
    }
    EXPECT_EQ(keeper.loads, 0);
    (void)Seek(0, STREAM_SEEK_SET);
    PutBytes(whole);
    (void)Seek(0, STREAM_SEEK_SET);
    EXPECT_EQ(keeper.Load(stream.Get()), S_OK);
    EXPECT_EQ(keeper.loads, 1);
}

TEST_F(PersistenceTest, OnlyASaveThatSucceedsAndIsAskedToClearsTheMark) {
    keeper.dirty = true;
    EXPECT_EQ(keeper.Save(stream.Get(), false), S_OK);
    EXPECT_EQ(keeper.IsDirty(), S_OK);
    keeper.saveResult = E_FAIL;
    EXPECT_EQ(keeper.Save(stream.Get(), true), E_FAIL);
    EXPECT_EQ(keeper.IsDirty(), S_OK);
    keeper.saveResult = S_OK;
    EXPECT_EQ(keeper.Save(stream.Get(), true), S_OK);
    EXPECT_EQ(keeper.IsDirty(), S_FALSE);
    (void)Seek(0, STREAM_SEEK_SET);
    EXPECT_EQ(keeper.Load(stream.Get()), S_OK);
    EXPECT_EQ(keeper.IsDirty(), S_FALSE);
}

TEST(FilePathTest, PathsAreToldFromADocumentAndBack) {
    struct Case {
        std::u16string_view base;
        std::u16string_view path;
        std::u16string_view relative;
    };
    const Case cases[] = {
        {u"c:\\media\\cfg\\a.xml", u"c:\\media\\bars.png", u"..\\bars.png"},
        {u"c:\\media\\a.xml", u"c:\\media\\x\\bars.png", u"x\\bars.png"},
        {u"c:\\media\\a.xml", u"d:\\bars.png", u"d:\\bars.png"},
        {u"/media/cfg/deep/a.xml", u"/media/bars.png", u"../../bars.png"},
        {u"/media/a.xml", u"/media/x/bars.png", u"x/bars.png"},
        {u"/media/x/a.xml", u"/mediax/bars.png", u"../../mediax/bars.png"},
        {u"/a.xml", u"/bars.png", u"bars.png"},
        {u"/media/a.xml", u"c:\\bars.png", u"c:\\bars.png"},
        {u"/odd\\dir/cfg/a.xml", u"/odd\\dir/bars.png", u"../bars.png"},
        // A name that would be read as steps or directories stands as it is.
        {u"/media/a.xml", u"/media/b\\ars.png", u"/media/b\\ars.png"},
        {u"/media/a.xml", u"/media//bars.png", u"/media//bars.png"},
    };
    for (const Case& entry : cases) {
        EXPECT_EQ(MakeRelativePath(entry.base, entry.path), entry.relative);
        if (!IsAbsolutePath(entry.relative)) {
            EXPECT_EQ(MakeAbsolutePath(entry.base, entry.relative), entry.path);
        }
    }
    // Each system's documents on the other.
    EXPECT_EQ(MakeAbsolutePath(u"/media/cfg/a.xml", u"..\\x\\bars.png"), u"/media/x/bars.png");
    EXPECT_EQ(MakeAbsolutePath(u"c:\\media\\cfg\\a.xml", u"../bars.png"), u"c:\\media\\bars.png");
    EXPECT_EQ(MakeAbsolutePath(u"c:\\media\\a.xml", u"\\/bars.png"), u"c:\\media\\bars.png");
    for (const std::u16string_view path : {u"../../../bars.png", u"../", u""})
        EXPECT_EQ(MakeAbsolutePath(u"/media/a.xml", path), path);
}

TEST(FilePathTest, PicturesAreFoundBesideTheDocumentFirst) {
    const TemporaryDirectory directory;
    const std::u16string place = (directory / "a.xml").u16string();
    const std::u16string picture = (directory / "p.png").u16string();
    EXPECT_EQ(PathInDocument(place, u"p.png"), picture);
    EXPECT_EQ(PathInDocument({}, u"p.png"), u"p.png");
    EXPECT_EQ(PathInDocument(place, u"/p.png"), u"/p.png");
    const std::u16string here = AbsoluteFileName(u"x");
    EXPECT_EQ(AbsoluteFileName(u"./x"), here);
    EXPECT_EQ(AbsoluteFileName(u"no-such/.././/x"), here);
    EXPECT_EQ(AbsoluteFileName(u"/media/./cfg/../../show/a.xml"), u"/show/a.xml");
    EXPECT_EQ(AbsoluteFileName(u"/../.."), u"/");
    EXPECT_EQ(AbsoluteFileName(u"c:\\media\\..\\a.xml"), u"c:\\media\\..\\a.xml");
    // A path from the working directory that leads somewhere still does.
    const std::u16string fromHere = MakeRelativePath(here, picture);
    EXPECT_EQ(PathInDocument(place, fromHere), MakeAbsolutePath(place, fromHere));
    ASSERT_EQ(WriteFile(picture, {}), S_OK);
    EXPECT_EQ(PathInDocument(u"/no/such/place/b.xml", fromHere), fromHere);
}

}  // namespace
}  // namespace qdvm::test
