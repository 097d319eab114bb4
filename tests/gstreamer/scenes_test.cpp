// Scenes by the element's actions, and where its streams stand in them.

#include "gstreamer/mix_pipeline.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace qdvm::test {
namespace {

// Two streams of one value each, 50 and 200, on one output.
class SceneTest : public testing::Test {
protected:
    template <class... Arguments>
    bool Act(const char* action, Arguments... arguments) {
        gboolean isDone = FALSE;
        g_signal_emit_by_name(mix.Mixer(), action, arguments..., &isDone);
        return isDone != FALSE;
    }
    bool Select(const char* name, guint timeMs = 0) { return Act("select-scene", name, timeMs); }

    std::vector<std::string> Names() {
        gchar** names = nullptr;
        g_object_get(mix.Mixer(), "scenes", &names, nullptr);
        std::vector<std::string> all;
        for (gchar** name = names; *name; ++name) all.emplace_back(*name);
        g_strfreev(names);
        return all;
    }
    std::string Save(const char* name) {
        gchar* document = nullptr;
        g_signal_emit_by_name(mix.Mixer(), "save-scenes", name, &document);
        const std::string text = document ? document : "";
        g_free(document);
        return text;
    }

    // The next frame of both streams.
    Frame Next() {
        const GstClockTime pts = static_cast<GstClockTime>(sent++) * kFrame;
        low.Send(50, pts);
        high.Send(200, pts);
        return mix.Pull().value_or(Frame{});
    }
    // The value in the middle of the left and of the right half.
    std::pair<int, int> Halves() {
        const Frame frame = Next();
        return {frame.At(16, 16), frame.At(48, 16)};
    }

    MixPipeline mix{Caps(64, 32)};
    Source low = mix.Add(Caps(16, 16));
    Source high = mix.Add(Caps(16, 16));
    int sent = 0;
};

TEST_F(SceneTest, OneThatIsSelectedBeforeTheFirstFrameIsShownWithIt) {
    EXPECT_EQ(Names().front(), "FIRST");
    EXPECT_FALSE(Select("no such scene"));
    EXPECT_FALSE(Select("side"));
    EXPECT_TRUE(Select("SIDE"));
    mix.Play();
    EXPECT_EQ(Halves(), std::pair(50, 200));
    EXPECT_TRUE(Select("FIRST"));
    EXPECT_EQ(Halves(), std::pair(50, 50));
}

TEST_F(SceneTest, TheirChangesRunOverTime) {
    EXPECT_TRUE(Select("SIDE"));
    mix.Play();
    (void)Next();
    // The right picture fades out over the left one, which grows to the whole in ten frames.
    EXPECT_TRUE(Select("FIRST", 400));
    std::vector<int> values;
    for (int i = 0; i < 11; ++i) values.push_back(Halves().second);
    EXPECT_GT(values[0], 150);
    EXPECT_LT(values[4], 150);
    EXPECT_GT(values[4], 60);
    EXPECT_EQ(values.back(), 50);
}

TEST_F(SceneTest, AreAddedUpdatedSavedRemovedAndLoaded) {
    EXPECT_TRUE(Select("SIDE"));
    mix.Play();
    (void)Next();
    // What has been set is in the scene, though no frame has shown it yet.
    high.Place(0, 0);
    EXPECT_TRUE(Act("add-scene", "mine", "all on the left"));
    EXPECT_FALSE(Act("add-scene", "mine", static_cast<const char*>(nullptr)));
    EXPECT_FALSE(Act("add-scene", "", ""));
    EXPECT_EQ(Names().back(), "mine");
    EXPECT_TRUE(Select("SIDE"));
    EXPECT_EQ(Halves(), std::pair(50, 200));

    const std::string document = Save(nullptr);
    EXPECT_NE(document.find("all on the left"), std::string::npos);
    EXPECT_EQ(document.find("PIP"), std::string::npos);
    EXPECT_NE(Save("PIP").find("PIP"), std::string::npos);
    EXPECT_TRUE(Act("remove-scene", "mine"));
    EXPECT_FALSE(Act("remove-scene", "mine"));
    EXPECT_TRUE(Act("load-scenes", document.c_str(), 2));
    EXPECT_EQ(Names(), std::vector<std::string>{"mine"});
    EXPECT_FALSE(Act("load-scenes", "/nowhere/show.xml", 0));
    EXPECT_TRUE(Select("mine"));
    const Frame frame = Next();
    EXPECT_EQ(frame.At(2, 2), 200);
    EXPECT_EQ(frame.At(48, 16), 0);

    EXPECT_FALSE(Act("update-scene", "none"));
    high.Place(48, 16);
    EXPECT_TRUE(Act("update-scene", "mine"));
    EXPECT_TRUE(Act("load-scenes", "<scene name='empty'/>", 0));
    EXPECT_TRUE(Select("empty"));
    EXPECT_EQ(Halves(), std::pair(0, 0));
    EXPECT_TRUE(Select("mine"));
    EXPECT_EQ(Next().At(50, 20), 200);
}

TEST_F(SceneTest, StreamsChangePlacesInALayout) {
    const auto position = [](const Source& source) {
        int value = 0;
        g_object_get(source.Pad(), "stream-position", &value, nullptr);
        return value;
    };
    EXPECT_EQ(position(low), -1);
    EXPECT_FALSE(Act("move-stream", low.Pad(), 1, FALSE, TRUE, 0u));
    EXPECT_TRUE(Select("SIDE"));
    mix.Play();
    EXPECT_EQ(Halves(), std::pair(50, 200));
    EXPECT_EQ(position(low), 0);
    EXPECT_TRUE(Act("move-stream", low.Pad(), 1, FALSE, TRUE, 0u));
    EXPECT_EQ(Halves(), std::pair(200, 50));
    EXPECT_EQ(position(low), 1);
    // The order alone: each stream keeps its place in the picture.
    EXPECT_TRUE(Act("move-stream", low.Pad(), 0, TRUE, FALSE, 0u));
    EXPECT_EQ(Halves(), std::pair(200, 50));
    EXPECT_EQ(position(high), 1);
}

}  // namespace
}  // namespace qdvm::test
