#include "config/stream_defaults.h"

#include "platform/settings_store.h"
#include "support/own_settings.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace qdvm::test {
namespace {

constexpr const char16_t* kNames[] = {u"StreamMaxWait.DefaultTime", u"StreamMaxWait.DefaultType",
                                      u"InputProcessing.Type", u"Mixer.ARGB32Mix",
                                      u"Mixer.SyncStart"};

class StreamDefaultsTest : public ::testing::Test {
protected:
    SettingsKey Key() {
        SettingsKey key;
        EXPECT_EQ(SettingsKey::OpenOrCreate(u"Software\\Quindarlux\\QDVideoMixer", key), S_OK);
        return key;
    }
    void ExpectStored(const std::uint32_t (&values)[5]) {
        for (int i = 0; i < 5; ++i) {
            std::uint32_t value = ~0u;
            EXPECT_EQ(Key().ReadU32(kNames[i], value), S_OK);
            EXPECT_EQ(value, values[i]);
        }
    }

    OwnSettings own;
};

TEST_F(StreamDefaultsTest, AreWrittenForTheUserToEdit) {
    const StreamDefaults defaults = LoadStreamDefaults();
    EXPECT_EQ(defaults.maxWaitFrames, 8);
    EXPECT_EQ(defaults.lostShow, 1);
    EXPECT_EQ(defaults.inputProcessing, 1);
    EXPECT_EQ(defaults.argb32Mix, 1);
    EXPECT_EQ(defaults.syncStart, 0);
    ExpectStored({8, 1, 1, 1, 0});
}

TEST_F(StreamDefaultsTest, StoredValuesCountAndTheRestIsAdded) {
    ASSERT_EQ(Key().WriteU32(u"Mixer.SyncStart", 2), S_OK);
    ASSERT_EQ(Key().WriteU32(u"StreamMaxWait.DefaultType", 0xFFFFFFFFu), S_OK);
    ASSERT_EQ(Key().WriteText(u"StreamMaxWait.DefaultTime", u"12"), S_OK);
    const StreamDefaults defaults = LoadStreamDefaults();
    EXPECT_EQ(defaults.syncStart, 2);
    EXPECT_EQ(defaults.lostShow, -1);      // not checked against a range
    EXPECT_EQ(defaults.maxWaitFrames, 8);  // of another type
    ExpectStored({8, 0xFFFFFFFFu, 1, 1, 2});
}

TEST_F(StreamDefaultsTest, WithoutAStoreTheDefaultsHold) {
    (void)setenv("QDVM_SETTINGS_DIR", "/dev/null/nowhere", 1);
    EXPECT_EQ(LoadStreamDefaults().maxWaitFrames, 8);
}

}  // namespace
}  // namespace qdvm::test
