// Shows: scenes, setups and cue sheets in a running mix.

#include "qdmix/command.h"
#include "support/temporary_directory.h"

#include <gst/gst.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace qdvm::qdmix::test {
namespace {

constexpr int kBlack = 16;
constexpr int kWhite = 235;
constexpr int kTolerance = 4;

class Show : public testing::Test {
protected:
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }

    std::string Name(const std::string& name) const { return (directory / name).string(); }

    std::string Write(const std::string& name, const std::string& text) const {
        std::ofstream(Name(name)) << text;
        return Name(name);
    }

    std::string Read(const std::string& name) const {
        std::ifstream file(Name(name));
        return {std::istreambuf_iterator<char>(file), {}};
    }

    // A film of 160x96 at 25 frames a second, of a white input and a black one over it.
    Film Mixed(std::vector<std::string> arguments, const std::string& length = "0.2") {
        arguments.insert(arguments.end(),
                         {"--size", "160x96", "--rate", "25", "--duration", length, "-y", "-o",
                          Name("mix.y4m"), "test:white?size=160x96", "test:black?size=160x96"});
        const Outcome outcome = RunCommand(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err.find("refuses"), std::string::npos) << outcome.err;
        return ReadFilm(Name("mix.y4m"));
    }

    // A document with one scene: the first input at the left, nothing else, over blue.
    std::string LeftHalf() const {
        return Write("left.xml",
                     "<scene name='Left'><relative-output width='320' height='192'/>"
                     "<background type='color' color='0x00FF0000'/><inputs><input enabled='true'>"
                     "<mix-blocks><mix-block alpha='1'><dst-rect right='160' bottom='192'/>"
                     "</mix-block></mix-blocks></input><input enabled='false'/></inputs></scene>");
    }

    static void ExpectLuma(const Film& film, std::size_t frame, std::size_t x, int luma) {
        ASSERT_GT(film.frames.size(), frame);
        EXPECT_NEAR(film.Luma(frame, x, 48), luma, kTolerance) << "frame " << frame << " at " << x;
    }

    qdvm::test::TemporaryDirectory directory;
};

TEST_F(Show, BeginsWithASceneFromTheFirstFrameOn) {
    const Film film = Mixed({"--scenes", LeftHalf(), "--scene", "Left"});
    constexpr int kBlue = 41;
    ExpectLuma(film, 0, 40, kWhite);
    ExpectLuma(film, 0, 120, kBlue);
    ExpectLuma(film, 4, 40, kWhite);
    ExpectLuma(film, 4, 120, kBlue);
    // Positions beyond the scene's have lost their rects, and built-in scenes are there as well.
    const Film first = Mixed({"--scene", "FIRST", "--fade", "200"}, "0.4");
    ExpectLuma(first, 9, 40, kWhite);
}

TEST_F(Show, CuesComeAtTheirTimeAndCuesOfOneTimeInTheirOrder) {
    const std::string script =
        Write("show.cue",
              "0 background #FFFFFF\n"
              "0 scene FIRST\n"
              "0 move 1 to 80x96+0+0\n"  // beyond it the scene's own black
              "0.12 order 1 to top\n"
              "0.12 move 2 to 80x96+40+0\n"  // a new rect, below the first input
              "0.2 add scene Mine 'two of them'\n"
              "0.2 move 2 alpha=0\n"
              "0.24 scene Mine\n"
              "0.24 background white\n"
              "0.28 hide 1\n"
              "0.32 capture " +
                  Name("still.png") +
                  "\n"
                  "0.36 save scenes " +
                  Name("mine.xml") +
                  "\n"
                  "0.4 end\n");
    const Film film = Mixed({"--script", script}, "9");
    ASSERT_EQ(film.frames.size(), 10U);
    ExpectLuma(film, 0, 60, kWhite);
    ExpectLuma(film, 0, 100, kBlack);
    ExpectLuma(film, 3, 60, kWhite);
    ExpectLuma(film, 6, 60, kWhite);
    ExpectLuma(film, 6, 100, kBlack);
    ExpectLuma(film, 6, 140, kWhite);
    ExpectLuma(film, 7, 60, kBlack);
    ExpectLuma(film, 7, 20, kWhite);  // the background
    EXPECT_NE(Read("mine.xml").find("description='two of them'"), std::string::npos)
        << Read("mine.xml");
    EXPECT_FALSE(Read("still.png").empty());
    EXPECT_EQ(RunCommand({"--check", Name("mine.xml")}).status, 0);
}

TEST_F(Show, ChangesOfPlaceRunOverTheirTime) {
    const std::string script =
        Write("show.cue", "0 hide 2\n0 move 1 to 40x96+0+0\n0 move 1 to 40x96+120+0 over 0.4\n");
    const Film film = Mixed({"--script", script, "--background", "black"}, "0.6");
    ExpectLuma(film, 5, 20, kBlack);
    ExpectLuma(film, 5, 80, kWhite);
    ExpectLuma(film, 14, 80, kBlack);
    ExpectLuma(film, 14, 140, kWhite);
}

TEST_F(Show, AKeyStaysOnItsInputThroughScenes) {
    const std::string script = Write("show.cue", "0.08 scene QUAD\n0.08 scene FIRST\n");
    const Outcome outcome =
        RunCommand({"--scene", "FIRST", "--script", script, "--size", "160x96", "--rate", "25",
                    "--duration", "0.2", "--background", "white", "-y", "-o", Name("mix.y4m"),
                    "--key", "#00FF00", "test:green?size=160x96"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    // FIRST has a black background, which shows where the green was.
    const Film film = ReadFilm(Name("mix.y4m"));
    ExpectLuma(film, 0, 80, kBlack);
    ExpectLuma(film, 4, 80, kBlack);
}

TEST_F(Show, ASetupComesBackAsItWasSaved) {
    (void)Mixed({"--scenes", LeftHalf(), "--scene", "Left", "--save-config", Name("setup.xml"),
                 "--save-scenes", Name("scenes.xml")});
    EXPECT_EQ(RunCommand({"--check", Name("setup.xml"), "--check", Name("scenes.xml")}).err, "");
    // Size, rate, background and layout are the setup's.
    const Outcome outcome =
        RunCommand({"--config", Name("setup.xml"), "--duration", "0.12", "-y", "-o",
                    Name("again.y4m"), "test:white?size=160x96", "test:black?size=160x96"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const Film again = ReadFilm(Name("again.y4m"));
    EXPECT_EQ(again.width, 160U);
    EXPECT_EQ(again.frames.size(), 3U);
    ExpectLuma(again, 1, 40, kWhite);
    ExpectLuma(again, 1, 120, 41);
    const std::string list = RunCommand({"--list-scenes", "--config", Name("setup.xml")}).out;
    EXPECT_NE(list.find("Left"), std::string::npos) << list;
}

TEST_F(Show, FaultsAreToldBeforeAnythingStarts) {
    const std::string script = Write("bad.cue", "0 scene Nowhere\n1 show 7\n2 background no.png\n");
    const Outcome mix = RunCommand({"--script", script, "test:white", "-o", Name("mix.y4m")});
    EXPECT_EQ(mix.status, 4);
    for (const char* line : {"bad.cue:1:9: there is no scene 'Nowhere'",
                             "bad.cue:2:8: there is no input 7: there are 1",
                             "bad.cue:3:14: 'no.png': no such file", "it has 3 faults"}) {
        EXPECT_NE(mix.err.find(line), std::string::npos) << line << " in " << mix.err;
    }
    EXPECT_EQ(Read("mix.y4m"), "");
    const Outcome unknown = RunCommand({"--scene", "QUAT", "test:white", "-o", Name("mix.y4m")});
    EXPECT_EQ(unknown.status, 2);
    EXPECT_NE(unknown.err.find("did you mean 'QUAD'?"), std::string::npos) << unknown.err;
    // The check knows the scenes of documents that are checked with a cue sheet.
    const std::string good = Write("good.cue", "0 scene Left\n");
    EXPECT_EQ(RunCommand({"--check", good}).status, 1);
    EXPECT_EQ(RunCommand({"--check", good, "--check", LeftHalf()}).status, 0);
    EXPECT_EQ(RunCommand({"--check", Name("none.xml")}).status, 4);
}

}  // namespace
}  // namespace qdvm::qdmix::test
