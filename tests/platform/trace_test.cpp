#include "platform/trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qdvm {
namespace {

void Keep(void* context, const char* line) {
    static_cast<std::vector<std::string>*>(context)->push_back(line);
}

TEST(Trace, LinesGoToTheHookAndAreCut) {
    std::vector<std::string> lines;
    Trace("before %d", 1);
    EXPECT_FALSE(IsTraceOn());
    SetTraceHook(Keep, &lines);
    EXPECT_TRUE(IsTraceOn());
    Trace("[QDVideoMixer IN Pin:%d]", 3);
    Trace("%s", std::string(2000, 'x').c_str());
    SetTraceHook(nullptr, nullptr);
    Trace("after");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "[QDVideoMixer IN Pin:3]");
    EXPECT_EQ(lines[1], std::string(511, 'x'));
}

// A stage that was begun before there was a hook isn't told either.
TEST(Trace, StagesAreToldOnceWithTheirTime) {
    std::vector<std::string> lines;
    {
        const TraceTimer unheard("[unheard]");
        SetTraceHook(Keep, &lines);
        const TraceTimer nameless(nullptr);
        const TraceTimer timer("[whole]");
        TraceSum unused("[unused]");
        TraceSum sum("[rows]");
        for (int row = 0; row < 3; ++row) const TraceSum::Span span(sum);
    }
    SetTraceHook(nullptr, nullptr);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_THAT(lines[0], ::testing::MatchesRegex("\\[rows\\] [0-9]+ us"));
    EXPECT_THAT(lines[1], ::testing::MatchesRegex("\\[whole\\] [0-9]+ us"));
}

}  // namespace
}  // namespace qdvm
