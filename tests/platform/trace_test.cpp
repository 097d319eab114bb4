#include "platform/trace.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qdvm {
namespace {

TEST(Trace, LinesGoToTheHookAndAreCut) {
    std::vector<std::string> lines;
    Trace("before %d", 1);
    EXPECT_FALSE(IsTraceOn());
    SetTraceHook([](void* context,
                    const char* line) { static_cast<decltype(&lines)>(context)->push_back(line); },
                 &lines);
    EXPECT_TRUE(IsTraceOn());
    Trace("[QDVideoMixer IN Pin:%d]", 3);
    Trace("%s", std::string(2000, 'x').c_str());
    SetTraceHook(nullptr, nullptr);
    Trace("after");
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "[QDVideoMixer IN Pin:3]");
    EXPECT_EQ(lines[1], std::string(511, 'x'));
}

}  // namespace
}  // namespace qdvm
