// What the command says of inputs that can't be used.

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

class BadInputs : public testing::Test {
protected:
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }

    std::string Name(const std::string& name) const { return (directory / name).string(); }

    std::string Written(const std::string& name, const std::string& contents) const {
        std::ofstream(Name(name), std::ios::binary) << contents;
        return Name(name);
    }

    // One line that names the input, and nothing left behind.
    void ExpectRefused(const std::string& input, const std::string& why) const {
        const Outcome outcome = RunCommand({"test:black", input, "-o", Name("mix.y4m")});
        EXPECT_EQ(outcome.status, 4) << outcome.err;
        EXPECT_TRUE(outcome.err.starts_with("qdmix: input 2 (" + input + "): ")) << outcome.err;
        EXPECT_NE(outcome.err.find(why), std::string::npos) << outcome.err;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
        EXPECT_FALSE(fs::exists(Name("mix.y4m")));
    }

    qdvm::test::TemporaryDirectory directory;
};

TEST_F(BadInputs, AreNamedWithTheReason) {
    ExpectRefused(Name("nowhere.webm"), "no such file");
    ExpectRefused(directory.Path().string(), "it is a directory");
    ExpectRefused(Written("empty.webm", ""), "it is empty");
    ExpectRefused(Written("letter.txt", std::string(4096, 'a') + "\n"), "not a video");
    ASSERT_TRUE(Launch("videotestsrc num-buffers=1 ! pngenc ! filesink location=" + Name("a.png")));
    std::ifstream png(Name("a.png"), std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(png), {}};
    ExpectRefused(Written("cut.png", whole.substr(0, 200)), "no picture comes out of it");
    std::string noise(100'000, '\0');
    for (std::size_t i = 0; i < noise.size(); ++i) {
        noise[i] = static_cast<char>(i * 2654435761U >> 13);
    }
    ExpectRefused(Written("noise.mp4", noise), "");
    ExpectRefused("test:nothing", "no such test picture");
    ExpectRefused("test:smpte?size=3x3", "size=3x3");
    ExpectRefused("camera:/dev/nothing", "no such device");
    ExpectRefused("nosuch://somewhere/clip", "");
}

TEST_F(BadInputs, SoundAloneIsNoVideo) {
    ASSERT_TRUE(
        Launch("audiotestsrc num-buffers=10 ! wavenc ! filesink location=" + Name("sound.wav")));
    ExpectRefused(Name("sound.wav"), "it holds only sound");
}

TEST_F(BadInputs, ABrokenBeginningIsRefused) {
    std::ifstream clip(QDVM_SAMPLES_DIR "/clips/coin.webm", std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(clip), {}};
    ASSERT_GT(whole.size(), 2000U);
    ExpectRefused(Written("head.webm", whole.substr(0, 200)), "");
    ExpectRefused(Written("tail.webm", whole.substr(2000, 50'000)), "");
}

TEST_F(BadInputs, ACutOffFileIsMixedWithANote) {
    std::ifstream clip(QDVM_SAMPLES_DIR "/clips/coin.webm", std::ios::binary);
    const std::string whole{std::istreambuf_iterator<char>(clip), {}};
    const std::string name = Written("cut.webm", whole.substr(0, whole.size() / 2));
    const Outcome outcome = RunCommand({name, "-o", Name("mix.y4m")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.err.find("input 1 (" + name + "): ended early"), std::string::npos)
        << outcome.err;
}

TEST_F(BadInputs, AllOfThemAreNamedAtOnce) {
    const Outcome outcome =
        RunCommand({Name("one.webm"), "test:black", Name("two.webm"), "-o", Name("mix.y4m")});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_NE(outcome.err.find("input 1 ("), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("input 3 ("), std::string::npos) << outcome.err;
}

TEST_F(BadInputs, OddSizesAreCroppedWithANote) {
    ASSERT_TRUE(
        Launch("videotestsrc num-buffers=5 pattern=white ! video/x-raw,width=161,height=121 "
               "! jpegenc ! avimux ! filesink location=" +
               Name("odd.avi")));
    const Outcome outcome = RunCommand({Name("odd.avi"), "-o", Name("mix.y4m")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.err.find("161x121 is cropped to 160x120"), std::string::npos) << outcome.err;
    const Film film = ReadFilm(Name("mix.y4m"));
    EXPECT_EQ(film.width, 160U);
    EXPECT_EQ(film.height, 120U);
    ASSERT_EQ(film.frames.size(), 5U);
    EXPECT_GT(film.Luma(4, 159, 119), 200);
}

}  // namespace
}  // namespace qdvm::qdmix::test
