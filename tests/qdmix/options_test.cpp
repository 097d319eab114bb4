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
    const RectChange& shown = first.rects[0].first;
    EXPECT_EQ(shown.target, (Geometry{{0, 0}, {10, -20}}));
    EXPECT_EQ(shown.source, (Geometry{{320, 240}, {16, 8}}));
    EXPECT_EQ(shown.alpha, 0.5);
    EXPECT_TRUE(first.loop);
    const InputOptions& second = line.inputs[1].options;
    ASSERT_EQ(second.rects[0].moves.size(), 2U);
    EXPECT_EQ(second.rects[0].moves[1].change.target, (Geometry{{0, 0}, {3, 4}}));
    EXPECT_EQ(second.rects[0].moves[1].span, (Span{60'000'000'000, 2'000'000'000}));
    EXPECT_EQ(second.lost, "bars");
    EXPECT_EQ(second.waitFrames, 0);
    EXPECT_TRUE(second.master);
    EXPECT_FALSE(second.loop);
    const InputOptions& third = line.inputs[2].options;
    EXPECT_FALSE(third.master || third.waitFrames);
    ASSERT_EQ(third.rects.size(), 1U);
    EXPECT_EQ(third.rects[0].first, RectChange{});
}

TEST(Options, ARectIsDescribedInTheSameWordsNowAndLater) {
    const CommandLine line =
        Parsed({"--fit",
                "crop",
                "--border",
                "8,#102030,0.5",
                "--flip=both",
                "--fields",
                "one",
                "--turn",
                "30,-12.5",
                "--view",
                "60",
                "--eye",
                "0.5,0",
                "--mask",
                "circle",
                "--rect",
                "--target",
                "64x48+2+4",
                "--move",
                "fit=letterbox border=4 flip=vertical fields=both turn=0,0 view=20 eye=1,1 @1.5+2",
                "--move",
                "source=8x8+0+0 8x8+4+4 alpha=0@3",
                "a",
                "-o",
                "o.avi"});
    ASSERT_EQ(line.inputs[0].options.rects.size(), 2U);
    const RectOptions& one = line.inputs[0].options.rects[0];
    EXPECT_EQ(one.first, (RectChange{.border = Border{8, 0x80102030},
                                     .flip = Flip{true, true},
                                     .isOneField = true,
                                     .fit = Fit::kCrop,
                                     .mask = "Circle",
                                     .turn = Pair{30, -12.5},
                                     .viewAngle = 60,
                                     .eye = Pair{0.5, 0}}));
    EXPECT_TRUE(one.moves.empty());
    const RectOptions& other = line.inputs[0].options.rects[1];
    EXPECT_EQ(other.first, (RectChange{.target = Geometry{{64, 48}, {2, 4}}}));
    ASSERT_EQ(other.moves.size(), 2U);
    EXPECT_EQ(other.moves[0], (Move{{.border = Border{4, 0xFFFFFFFF},
                                     .flip = Flip{false, true},
                                     .isOneField = false,
                                     .fit = Fit::kLetterBox,
                                     .turn = Pair{0, 0},
                                     .viewAngle = 20,
                                     .eye = Pair{1, 1}},
                                    {1'500'000'000, 2'000'000'000}}));
    EXPECT_EQ(
        other.moves[1],
        (Move{
            {.source = Geometry{{8, 8}, {0, 0}}, .target = Geometry{{8, 8}, {4, 4}}, .alpha = 0.0},
            {3'000'000'000, 0}}));
    // Whatever an option of a rect tells has its setting, and the other way round.
    for (const OptionRow& row : OptionTable()) {
        EXPECT_TRUE(row.take != nullptr || FindRectSetting(row.name) != nullptr) << row.name;
    }
}

TEST(Options, SeveralKeysJoinAndWrongOnesAreNamed) {
    const CommandLine line = Parsed({"--key", "green,softness=2", "--key", "#102030,spill=0", "a",
                                     "--key=auto", "b", "c", "-o", "o.avi"});
    EXPECT_EQ(TextOf(line.inputs[0].options.key), "green,softness=2+#102030,spill=0");
    EXPECT_TRUE(line.inputs[1].options.key.WantsColour());
    EXPECT_TRUE(line.inputs[2].options.key.parts.empty());
    EXPECT_LT(Refusal({"--key", std::string(100000, 'x') + "\x1b[2J", "a", "-o", "o"}).size(),
              600u);
    EXPECT_EQ(Refusal({"--key", "\x1b[2J", "a", "-o", "o"}).find('\x1b'), std::string::npos);
    EXPECT_NE(Refusal({"--key", "green,hue=3", "a", "-o", "o"}).find("\"hue\" is no word"),
              std::string::npos);
    EXPECT_NE(Refusal({"--key", "blue", "--key", "green,space=rgb", "a", "-o", "o"}).find("space"),
              std::string::npos);
    for (const KeyWordHelp& word : KeyWords()) {
        EXPECT_NE(HelpText().find(std::string("\n  ") + word.name + " "), std::string::npos)
            << word.name;
    }
}

TEST(Options, BackgroundsAndStillsHaveTheirTimes) {
    const CommandLine line = Parsed({"--background", "a@b.png", "--background", "#FF0000@2+1",
                                     "--background", "sky.jpg@4", "--capture", "first.png",
                                     "--capture", "later@1.png@1:30", "a", "-o", "o.avi"});
    EXPECT_EQ(line.background, (Background{{}, "a@b.png"}));
    EXPECT_EQ(line.backgroundChanges,
              (std::vector<BackgroundChange>{{{0xFFFF0000, {}}, {2'000'000'000, 1'000'000'000}},
                                             {{{}, "sky.jpg"}, {4'000'000'000, 0}}}));
    EXPECT_EQ(line.captures,
              (std::vector<Capture>{{"first.png", 0}, {"later@1.png", 90'000'000'000}}));
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
    EXPECT_EQ(line.background, (Background{0xFF102030, {}}));
    EXPECT_EQ(line.duration, 62'500'000'000);
    EXPECT_EQ(line.format, "HDYC");
    EXPECT_EQ(line.progress, ProgressMode::kJson);
    EXPECT_EQ(Parsed({"--background=none", "a", "-o", "o.avi"}).background, Background{});
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
        {"--border", "-1", "a", "-o", "o"},
        {"--border", "4,pink", "a", "-o", "o"},
        {"--border", "4,red,2", "a", "-o", "o"},
        {"--flip", "left", "a", "-o", "o"},
        {"--fit", "", "a", "-o", "o"},
        {"--fields", "2", "a", "-o", "o"},
        {"--mask", "", "a", "-o", "o"},
        {"--turn", "30", "a", "-o", "o"},
        {"--turn", "nan,0", "a", "-o", "o"},
        {"--view", "180", "a", "-o", "o"},
        {"--eye", "1e9,0", "a", "-o", "o"},
        {"--move", "@1", "a", "-o", "o"},
        {"--move", "mask=circle@1", "a", "-o", "o"},
        {"--move", "1,2 size=3@1", "a", "-o", "o"},
        {"--background", "red@2", "--background", "blue@1", "a", "-o", "o"},
        {"--capture", "still.jpg", "a", "-o", "o"},
        {"--capture", "still.png@1+1", "a", "-o", "o"},
        {"--sheet", "s.jpg", "a", "-o", "o"},
        {"--moments", "12", "a", "-o", "o"},
        {"--moments", "0", "--sheet", "s.png", "a", "-o", "o"},
        {"a", "--rect", "-o", "o"},
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
