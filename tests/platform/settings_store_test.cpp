#include "platform/settings_store.h"

#include "support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace qdvm {
namespace {

namespace fs = std::filesystem;

constexpr std::u16string_view kPath = u"Software\\Quindarlux\\QDVideoMixer";
constexpr HRESULT kNotThere = HResultFromWin32(ERROR_FILE_NOT_FOUND);
constexpr HRESULT kOtherType = HResultFromWin32(ERROR_INVALID_DATA);

class SettingsStore : public ::testing::Test {
protected:
    SettingsStore() { UseDirectory(directory.Path()); }
    ~SettingsStore() override { (void)unsetenv("QDVM_SETTINGS_DIR"); }

    static void UseDirectory(const fs::path& path) {
        (void)setenv("QDVM_SETTINGS_DIR", path.c_str(), 1);
    }

    fs::path FileName() const { return directory / "software/quindarlux/qdvideomixer.settings"; }

    std::string Contents() const {
        std::ostringstream text;
        text << std::ifstream(FileName()).rdbuf();
        return text.str();
    }

    SettingsKey Open() const {
        SettingsKey key;
        EXPECT_EQ(SettingsKey::OpenOrCreate(kPath, key), S_OK);
        return key;
    }

    static std::uint32_t Read(const SettingsKey& key, std::u16string_view name) {
        std::uint32_t value = 0xDEAD;
        EXPECT_EQ(key.ReadU32(name, value), S_OK);
        return value;
    }

    const test::TemporaryDirectory directory;
};

TEST_F(SettingsStore, KeepsTypedValues) {
    SettingsKey key = Open();
    std::uint32_t number = 77;
    EXPECT_EQ(key.ReadU32(u"Mixer.SyncStart", number), kNotThere);
    EXPECT_EQ(number, 77u);
    EXPECT_EQ(key.WriteU32(u"Mixer.SyncStart", 0xFFFFFFFF), S_OK);
    EXPECT_EQ(key.WriteText(u"Title", u"a \"b\" \\ \u20AC\n= 1"), S_OK);

    SettingsKey later;
    ASSERT_EQ(SettingsKey::OpenOrCreate(u"SOFTWARE\\quindarlux\\QDVideoMixer", later), S_OK);
    EXPECT_EQ(Read(later, u"mixer.syncstart"), 0xFFFFFFFF);
    std::u16string text;
    EXPECT_EQ(later.ReadText(u"Title", text), S_OK);
    EXPECT_EQ(text, u"a \"b\" \\ \u20AC\n= 1");
    EXPECT_EQ(later.ReadText(u"Mixer.SyncStart", text), kOtherType);
    EXPECT_EQ(later.ReadU32(u"Title", number), kOtherType);

    EXPECT_EQ(key.WriteU32(u"Title", 5), S_OK);
    EXPECT_EQ(Read(later, u"Title"), 5u);
    EXPECT_EQ(Read(later, u"Mixer.SyncStart"), 0xFFFFFFFF);
}

TEST_F(SettingsStore, CanBeEditedByHand) {
    SettingsKey key = Open();
    std::ofstream(FileName())
        << "# mine\n\n  \"Mixer.SyncStart\"=0x10  \r\n"
           "\"Cut = 1\n\"Large\" = 4294967296\n\"Negative\" = -1\n\"Title\" = \"x\" y";
    EXPECT_EQ(Read(key, u"Mixer.SyncStart"), 16u);
    std::uint32_t number = 0;
    std::u16string text;
    EXPECT_EQ(key.ReadU32(u"Large", number), kOtherType);
    EXPECT_EQ(key.ReadU32(u"Negative", number), kOtherType);
    EXPECT_EQ(key.ReadText(u"Title", text), kOtherType);

    EXPECT_EQ(key.WriteU32(u"MIXER.SYNCSTART", 2), S_OK);
    EXPECT_EQ(Contents(),
              "# mine\n\n\"MIXER.SYNCSTART\" = 2\n\"Cut = 1\n\"Large\" = 4294967296\n"
              "\"Negative\" = -1\n\"Title\" = \"x\" y\n");
}

TEST_F(SettingsStore, WritersFollowEachOther) {
    // Keys opened apart, as by several processes: no write may undo another one's.
    constexpr unsigned kThreads = 4;
    constexpr unsigned kValues = 15;
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            SettingsKey key = Open();
            for (unsigned i = 0; i < kValues; ++i) {
                const std::string name = std::to_string(t) + "." + std::to_string(i);
                EXPECT_EQ(key.WriteU32(std::u16string(name.begin(), name.end()), t * 100 + i),
                          S_OK);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const SettingsKey key = Open();
    for (unsigned t = 0; t < kThreads; ++t) {
        for (unsigned i = 0; i < kValues; ++i) {
            const std::string name = std::to_string(t) + "." + std::to_string(i);
            EXPECT_EQ(Read(key, std::u16string(name.begin(), name.end())), t * 100 + i);
        }
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(FileName().parent_path()), {}), 1)
        << "writing left something behind";
}

TEST_F(SettingsStore, UnusableDirectoriesAreReported) {
    std::ofstream(directory / "file") << "x";
    UseDirectory(directory / "file");
    SettingsKey key;
    EXPECT_TRUE(Failed(SettingsKey::OpenOrCreate(kPath, key)));
    EXPECT_EQ(key.WriteU32(u"a", 1), E_UNEXPECTED);

    UseDirectory(directory.Path());
    key = Open();
    fs::remove_all(directory / "software");
    EXPECT_TRUE(Failed(key.WriteU32(u"a", 1)));
    std::uint32_t value = 0;
    EXPECT_TRUE(Failed(key.ReadU32(u"a", value)));
}

TEST_F(SettingsStore, PathsStayInsideTheStore) {
    SettingsKey key;
    for (const std::u16string_view path :
         {u"", u"a\\\\b", u"..\\a", u"a\\..\\..\\b", u"a/../b", u".hidden"}) {
        EXPECT_EQ(SettingsKey::OpenOrCreate(path, key), E_INVALIDARG);
    }
}

}  // namespace
}  // namespace qdvm
