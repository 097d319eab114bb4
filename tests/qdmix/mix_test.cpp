// What comes out of the command.

#include "qdmix/command.h"
#include "support/temporary_directory.h"

#include <gst/gst.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

namespace qdvm::qdmix::test {
namespace {

namespace fs = std::filesystem;

constexpr int kBlack = 16;
constexpr int kWhite = 235;
constexpr int kTolerance = 2;

class Mixes : public testing::Test {
protected:
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }

    std::string Name(const std::string& name) const { return (directory / name).string(); }

    std::size_t Files() const {
        return static_cast<std::size_t>(
            std::distance(fs::directory_iterator(directory.Path()), fs::directory_iterator()));
    }

    qdvm::test::TemporaryDirectory directory;
};

TEST_F(Mixes, InputsStandWhereTheyWerePlaced) {
    const Outcome outcome = RunCommand(
        {"--background", "#000000", "--target", "16,8", "test:white?size=64x48", "--source",
         "32x32+16+8", "--target", "60,20", "test:black?size=64x48", "--size", "160x96", "--rate",
         "25", "--duration", "0.4", "-o", Name("mix.y4m")});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const Film film = ReadFilm(Name("mix.y4m"));
    ASSERT_EQ(film.frames.size(), 10U);
    EXPECT_NE(film.header.find("F25:1"), std::string::npos) << film.header;
    for (const std::size_t frame : {std::size_t{0}, std::size_t{9}}) {
        EXPECT_NEAR(film.Luma(frame, 14, 8), kBlack, kTolerance);
        EXPECT_NEAR(film.Luma(frame, 16, 8), kWhite, kTolerance);
        EXPECT_NEAR(film.Luma(frame, 59, 20), kWhite, kTolerance);
        EXPECT_NEAR(film.Luma(frame, 60, 20), kBlack, kTolerance);
        EXPECT_NEAR(film.Luma(frame, 60, 19), kWhite, kTolerance);
        EXPECT_NEAR(film.Luma(frame, 80, 55), kBlack, kTolerance);
    }
    EXPECT_NE(outcome.err.find("10 frames, 0.40 s"), std::string::npos) << outcome.err;
    EXPECT_EQ(Files(), 1U);
}

TEST_F(Mixes, RatesComeToOneGridAndTheLongestFileEndsTheMix) {
    const auto film = [this](const std::string& name, int frames, int rate) {
        return Launch(
            "videotestsrc pattern=white num-buffers=" + std::to_string(frames) +
            " ! video/x-raw,format=I420,width=64,height=48,framerate=" + std::to_string(rate) +
            "/1 ! jpegenc ! avimux ! filesink location=" + Name(name));
    };
    ASSERT_TRUE(film("slow.avi", 20, 20));
    ASSERT_TRUE(film("fast.avi", 15, 30));
    const Outcome outcome =
        RunCommand({Name("slow.avi"), "--target", "64,0", Name("fast.avi"), "--target", "128,0",
                    "test:white?size=64x48&rate=24", "--rate", "25", "-o", Name("mix.y4m")});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const Film mix = ReadFilm(Name("mix.y4m"));
    EXPECT_EQ(mix.width, 192U);
    EXPECT_EQ(mix.frames.size(), 25U);
    EXPECT_NE(outcome.err.find("input 1: 20 in, "), std::string::npos) << outcome.err;
}

TEST_F(Mixes, MovesBeginAndEndAtTheirTimes) {
    const Outcome outcome =
        RunCommand({"--move", "96,0@0.4+0.4", "test:white?size=64x48", "--size", "160x48", "--rate",
                    "25", "--duration", "1.2", "-o", Name("mix.y4m")});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const Film film = ReadFilm(Name("mix.y4m"));
    ASSERT_EQ(film.frames.size(), 30U);
    EXPECT_NEAR(film.Luma(9, 0, 10), kWhite, kTolerance);
    EXPECT_NEAR(film.Luma(10, 0, 10), kBlack, kTolerance);
    EXPECT_NEAR(film.Luma(15, 80, 10), kWhite, kTolerance);
    EXPECT_NEAR(film.Luma(18, 94, 10), kWhite, kTolerance);
    for (const std::size_t frame : {std::size_t{19}, std::size_t{29}}) {
        EXPECT_NEAR(film.Luma(frame, 94, 10), kBlack, kTolerance);
        EXPECT_NEAR(film.Luma(frame, 96, 10), kWhite, kTolerance);
    }
}

TEST_F(Mixes, RawFramesGoToStandardOutputWithoutPadding) {
    const Outcome outcome =
        RunCommand({"test:white?size=70x50", "--duration", "0.2", "-o", "-", "-q"});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(outcome.err.empty()) << outcome.err;
    constexpr std::size_t kLuma = 70 * 50;
    ASSERT_EQ(outcome.out.size(), 5 * kLuma * 3 / 2);
    EXPECT_NEAR(static_cast<unsigned char>(outcome.out[kLuma - 1]), kWhite, kTolerance);
    EXPECT_NEAR(static_cast<unsigned char>(outcome.out[kLuma]), 128, kTolerance);

    const Outcome packed = RunCommand(
        {"test:red?size=70x50", "--format", "RGB32", "--duration", "0.04", "-o", "-", "-q"});
    ASSERT_EQ(packed.out.size(), kLuma * 4);
    EXPECT_GT(static_cast<unsigned char>(packed.out[2]), 250);
    EXPECT_LT(static_cast<unsigned char>(packed.out[0]), 5);
}

TEST_F(Mixes, EveryFormatIsWritten) {
    for (const char* format : {"I420", "YV12", "YUY2", "UYVY", "HDYC", "YVYU", "RGB24", "RGB32"}) {
        const Outcome outcome =
            RunCommand({"test:white?size=64x48", "--format", format, "--duration", "0.2", "-o",
                        Name(std::string(format) + ".y4m")});
        ASSERT_EQ(outcome.status, 0) << format << ": " << outcome.err;
        const Film film = ReadFilm(Name(std::string(format) + ".y4m"));
        ASSERT_EQ(film.frames.size(), 5U) << format;
        EXPECT_NEAR(film.Luma(4, 32, 24), kWhite, kTolerance) << format;
    }
}

// The same brightness comes back from each kind of file, small or of a size that players take for
// another matrix.
TEST_F(Mixes, FilesKeepTheirColours) {
    for (const char* ending : {".webm", ".mkv", ".avi", ".mov"}) {
        for (const char* size : {"64x48", "1024x578"}) {
            const std::string name = Name(std::string(size) + ending);
            ASSERT_EQ(
                RunCommand({std::string("test:red?size=") + size, "--duration", "0.08", "-o", name})
                    .status,
                0);
            const std::string out = RunCommand({name, "-o", "-", "--format", "RGB24"}).out;
            ASSERT_GT(out.size(), 3000U);
            EXPECT_NEAR(static_cast<unsigned char>(out[3002]), 254, 6) << name;
            EXPECT_NEAR(static_cast<unsigned char>(out[3001]), 0, 6) << name;
            EXPECT_NEAR(static_cast<unsigned char>(out[3000]), 0, 6) << name;
        }
    }
}

TEST_F(Mixes, EveryEndingIsWritten) {
    for (const char* ending : {".webm", ".mkv", ".avi", ".mov"}) {
        const std::string name = Name(std::string("mix") + ending);
        const Outcome outcome =
            RunCommand({"test:smpte?size=64x48", "--duration", "0.4", "-o", name});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        const Outcome again = RunCommand({name, "-o", name + ".y4m"});
        EXPECT_EQ(again.status, 0) << again.err;
        EXPECT_EQ(ReadFilm(name + ".y4m").frames.size(), 10U) << ending;
    }
}

TEST_F(Mixes, AFileIsReplacedOnlyWhereAsked) {
    std::ofstream(Name("mix.avi")) << "old";
    const std::vector<std::string> mix = {"test:white?size=64x48", "--duration", "0.1", "-o",
                                          Name("mix.avi")};
    const Outcome refused = RunCommand(mix);
    EXPECT_EQ(refused.status, 5);
    EXPECT_NE(refused.err.find("is there already: -y replaces it"), std::string::npos);
    EXPECT_EQ(fs::file_size(Name("mix.avi")), 3U);
    std::vector<std::string> replacing = mix;
    replacing.push_back("-y");
    EXPECT_EQ(RunCommand(replacing).status, 0);
    EXPECT_GT(fs::file_size(Name("mix.avi")), 1000U);
    // Not even then over one of its own inputs.
    const Outcome itself = RunCommand({Name("mix.avi"), "-y", "-o", Name("mix.avi")});
    EXPECT_EQ(itself.status, 5) << itself.err;
    EXPECT_EQ(Files(), 1U);
}

TEST_F(Mixes, NothingItIsMadeFromIsReplaced) {
    ASSERT_EQ(RunCommand({"test:white?size=64x48", "--duration", "0.1", "-o", Name("a.avi"),
                          "--capture", Name("a.png")})
                  .status,
              0);
    const auto expectRefused = [&](std::vector<std::string> arguments, const std::string& why) {
        arguments.insert(arguments.end(), {"test:white?size=64x48", "--duration", "0.1", "-y"});
        const Outcome outcome = RunCommand(arguments);
        EXPECT_EQ(outcome.status, 5) << why;
        EXPECT_NE(outcome.err.find(why), std::string::npos) << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    };
    const std::string film = Name("mix.avi");
    expectRefused({Name("a.png"), "-o", film, "--sheet", Name("a.png")}, "it is input 1");
    expectRefused({Name("a.png"), "-o", film, "--capture", Name("./a.png")}, "it is input 1");
    expectRefused({"-o", film, "--sheet", Name("s.png"), "--capture", Name("s.png")},
                  "it is sheet");
    expectRefused({"-o", film, "--background", Name("a.png@1"), "--capture", Name("a.png")},
                  "it is background (");
    EXPECT_EQ(Files(), 2U);
}

TEST_F(Mixes, StillsAreTheFramesOfTheirTimes) {
    const Outcome outcome =
        RunCommand({"--move", "32,0@0.2", "test:white?size=32x32", "--size", "64x32", "--rate",
                    "25", "--duration", "0.4", "-o", Name("mix.y4m"), "--capture",
                    Name("later.png@0.2"), "--capture", Name("before.png@0.19")});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    for (const char* still : {"before", "later"}) {
        const std::string name = Name(still);
        ASSERT_EQ(RunCommand({name + ".png", "--duration", "0.04", "-o", name + ".y4m"}).status, 0);
        const Film film = ReadFilm(name + ".y4m");
        ASSERT_EQ(film.width, 64U);
        const bool isBefore = still == std::string("before");
        EXPECT_NEAR(film.Luma(0, 10, 10), isBefore ? kWhite : kBlack, kTolerance) << still;
        EXPECT_NEAR(film.Luma(0, 40, 10), isBefore ? kBlack : kWhite, kTolerance) << still;
    }
    // Where the end isn't known before, the film stays and the command says what isn't there.
    ASSERT_TRUE(
        Launch("videotestsrc num-buffers=5 ! video/x-raw,width=64,height=48 ! jpegenc ! "
               "avimux ! filesink location=" +
               Name("short.avi")));
    const Outcome early =
        RunCommand({Name("short.avi"), "-o", Name("short.y4m"), "--capture", Name("never.png@9")});
    EXPECT_EQ(early.status, 5);
    EXPECT_NE(early.err.find("never.png): never made"), std::string::npos) << early.err;
    EXPECT_FALSE(fs::exists(Name("never.png")));
    EXPECT_TRUE(fs::exists(Name("short.y4m")));
}

TEST_F(Mixes, OutputsThatCantBeAreNamed) {
    const auto status = [](const std::string& output, const std::string& why) {
        const Outcome outcome = RunCommand({"test:white", "--duration", "0.1", "-o", output});
        EXPECT_TRUE(outcome.err.starts_with("qdmix: output (" + output + "): ")) << outcome.err;
        EXPECT_NE(outcome.err.find(why), std::string::npos) << outcome.err;
        return outcome.status;
    };
    EXPECT_EQ(status(Name("mix.xyz"), "unknown ending"), 2);
    EXPECT_EQ(status(Name("none/mix.webm"), "no such directory"), 5);
    fs::create_symlink("/dev/full", Name("full.y4m"));
    EXPECT_EQ(status(Name("full.y4m"), ""), 5);
}

TEST_F(Mixes, ProgressAsJson) {
    const Outcome outcome = RunCommand({"test:white?size=64x48", "--duration", "0.4", "--progress",
                                        "json", "-o", Name("mix.y4m")});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.err.find(R"({"event": "done", "frames": 10, "time": 0.40)"),
              std::string::npos)
        << outcome.err;
}

TEST_F(Mixes, AContactSheetIsWritten) {
    const Outcome outcome = RunCommand({"test:smpte?size=96x48", "--duration", "0.4", "-o",
                                        Name("mix.avi"), "--sheet", Name("sheet.png")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::ifstream sheet(Name("sheet.png"), std::ios::binary);
    const std::string png{std::istreambuf_iterator<char>(sheet), {}};
    ASSERT_GT(png.size(), 24U);
    EXPECT_EQ(png.substr(1, 3), "PNG");
    EXPECT_EQ(static_cast<unsigned char>(png[19]), 96);
    EXPECT_EQ(static_cast<unsigned char>(png[23]), 32);
}

class Signals : public Mixes, public testing::WithParamInterface<int> {};

TEST_P(Signals, TheFirstFinishesTheFile) {
    RunningCommand command({"test:smpte?size=64x48&rate=50", "--keep-rate", "test:white?size=32x32",
                            "--progress", "json", "-o", Name("mix.y4m")});
    while (command.ErrorLine().find("\"progress\"") == std::string::npos) {
    }
    command.Send(GetParam());
    EXPECT_EQ(command.WaitForStatus(), 128 + GetParam());
    EXPECT_GT(ReadFilm(Name("mix.y4m")).frames.size(), 0U);
    EXPECT_EQ(Files(), 1U);
}

INSTANTIATE_TEST_SUITE_P(InterruptAndTerminate, Signals, testing::Values(SIGINT, SIGTERM));

}  // namespace
}  // namespace qdvm::qdmix::test
