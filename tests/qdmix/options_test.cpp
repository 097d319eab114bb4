#include "hosts/qdmix/options.h"

#include "hosts/qdmix/help.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace qdvm::qdmix {
namespace {

using Arguments = std::vector<std::string>;

CommandLine Parsed(const Arguments& arguments) {
    CommandLine line;
    const auto failure = ParseCommandLine(arguments, line);
    EXPECT_FALSE(failure) << LineOf(*failure);
    return line;
}

std::string Refusal(const Arguments& arguments) {
    CommandLine line;
    const auto failure = ParseCommandLine(arguments, line);
    if (!failure) {
        return "accepted";
    }
    EXPECT_EQ(failure->status, ExitStatus::kUsage);
    return LineOf(*failure);
}

TEST(Options, InputOptionsBelongToTheNextInputOnly) {
    const CommandLine line =
        Parsed({"--target", "10,-20", "--source=320x240+16+8", "--alpha", "0.5", "--loop", "a.webm",
                "--move", "1,2@0.5", "--move", "3,4@1:00+2", "--lost=bars", "--wait", "0",
                "--master", "b.webm", "c.webm", "-o", "out.webm"});
    ASSERT_EQ(line.inputs.size(), 3U);
    const InputOptions& first = line.inputs[0].options;
    EXPECT_EQ(first.target, (Geometry{{0, 0}, {10, -20}}));
    EXPECT_EQ(first.source, (Geometry{{320, 240}, {16, 8}}));
    EXPECT_EQ(first.alpha, 0.5);
    EXPECT_TRUE(first.loop);
    const InputOptions& second = line.inputs[1].options;
    EXPECT_EQ(second.moves, (std::vector<Move>{{{1, 2}, 500'000'000, 0},
                                               {{3, 4}, 60'000'000'000, 2'000'000'000}}));
    EXPECT_EQ(second.lost, "bars");
    EXPECT_EQ(second.waitFrames, 0);
    EXPECT_TRUE(second.master);
    EXPECT_FALSE(second.loop);
    const InputOptions& third = line.inputs[2].options;
    EXPECT_FALSE(third.master || third.source || third.waitFrames);
    EXPECT_EQ(third.target, Geometry{});
}

TEST(Options, ShortFormsCanBeJoinedAndCarryTheirValue) {
    const CommandLine line = Parsed({"-yqoout.mkv", "a", "--", "-b"});
    EXPECT_TRUE(line.overwrite);
    EXPECT_TRUE(line.quiet);
    EXPECT_EQ(line.output, "out.mkv");
    ASSERT_EQ(line.inputs.size(), 2U);
    EXPECT_EQ(line.inputs[1].text, "-b");
    EXPECT_EQ(Parsed({"-o", "-", "a"}).output, "-");
}

TEST(Options, GlobalValuesAreRead) {
    const CommandLine line =
        Parsed({"--size", "1280x720", "--rate", "29.97", "--background", "#102030", "--duration",
                "1:02.5", "--format", "HDYC", "--progress", "json", "a", "-o", "o.avi"});
    EXPECT_EQ(line.size, (Size{1280, 720}));
    EXPECT_EQ(line.rate, (Rate{30000, 1001}));
    EXPECT_EQ(line.background, 0xFF102030U);
    EXPECT_EQ(line.duration, 62'500'000'000);
    EXPECT_EQ(line.format, "HDYC");
    EXPECT_EQ(line.progress, ProgressMode::kJson);
    EXPECT_EQ(Parsed({"--background=none", "a", "-o", "o.avi"}).background, std::nullopt);
}

TEST(Options, EachOptionThatMakesNoSenseIsNamedInOneLine) {
    const std::vector<Arguments> refused = {
        {"--size", "1281x720", "a", "-o", "o"},
        {"--size", "0x0", "a", "-o", "o"},
        {"--size", "1280", "a", "-o", "o"},
        {"--rate", "0", "a", "-o", "o"},
        {"--rate", "25/0", "a", "-o", "o"},
        {"--rate", "x", "a", "-o", "o"},
        {"--rate", "-25", "a", "-o", "o"},
        {"--duration", "0", "a", "-o", "o"},
        {"--duration", "-1", "a", "-o", "o"},
        {"--duration", "nan", "a", "-o", "o"},
        {"--format", "I42", "a", "-o", "o"},
        {"--format", "I420 YV12", "a", "-o", "o"},
        {"--background", "#12", "a", "-o", "o"},
        {"--source", "0x0+0+0", "a", "-o", "o"},
        {"--source", "10x10", "a", "-o", "o"},
        {"--target", "1;2", "a", "-o", "o"},
        {"--target", "99999999999,0", "a", "-o", "o"},
        {"--alpha", "1.5", "a", "-o", "o"},
        {"--wait", "-1", "a", "-o", "o"},
        {"--lost", "", "a", "-o", "o"},
        {"--move", "1,2@-1", "a", "-o", "o"},
        {"--move", "1,2", "a", "-o", "o"},
        {"--move", "1,2@3", "--move", "1,2@2", "a", "-o", "o"},
        {"--progress", "xml", "a", "-o", "o"},
        {"--quiet=yes", "a", "-o", "o"},
        {"a", "-o"},
        {"--nonsense", "a", "-o", "o"},
        {"-x", "a", "-o", "o"},
        {"", "-o", "o"},
        {"a"},
        {"-o", "o"},
        {"a", "--loop", "-o", "o"},
        {"--sheet", "s.png", "a", "-o", "-"},
        {"--master", "a", "--master", "b", "-o", "o"},
    };
    for (const Arguments& arguments : refused) {
        const std::string line = Refusal(arguments);
        EXPECT_TRUE(line.starts_with("qdmix: ")) << arguments[0] << ": " << line;
        EXPECT_EQ(line.find('\n'), std::string::npos);
    }
    EXPECT_NE(Refusal({"--sizes", "2x2", "a", "-o", "o"}).find("--size is the nearest"),
              std::string::npos);
}

TEST(Options, HelpManualAndCompletionTellOfEveryOption) {
    const std::string help = HelpText(), manual = ManPage(), completion = BashCompletion();
    for (const OptionRow& row : OptionTable()) {
        const std::string name = std::string("--") + row.name;
        EXPECT_NE(help.find(name), std::string::npos) << name;
        EXPECT_NE(completion.find(name), std::string::npos) << name;
        std::string roff = "\\-\\-";
        for (const char* c = row.name; *c != 0; ++c) {
            roff += *c == '-' ? "\\-" : std::string(1, *c);
        }
        EXPECT_NE(manual.find(roff), std::string::npos) << roff;
        EXPECT_EQ(row.argument != nullptr, row.expects != nullptr) << name;
    }
    // Asking for help needs neither inputs nor an output.
    EXPECT_EQ(Parsed({"--help"}).request, Request::kHelp);
    EXPECT_EQ(Parsed({"-V"}).request, Request::kVersion);
}

}  // namespace
}  // namespace qdvm::qdmix
