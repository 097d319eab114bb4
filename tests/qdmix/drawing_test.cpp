// How inputs are shown: every value of a rect that the command line can tell.

#include "qdmix/command.h"
#include "support/temporary_directory.h"

#include <gst/gst.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace qdvm::qdmix::test {
namespace {

constexpr int kBlack = 16;
constexpr int kWhite = 235;
constexpr int kHalf = (kBlack + kWhite) / 2;
constexpr int kTolerance = 3;

class Drawing : public testing::Test {
protected:
    static void SetUpTestSuite() { gst_init(nullptr, nullptr); }

    std::string Name(const std::string& name) const { return (directory / name).string(); }

    // A film of 160x96 of these inputs at 25 frames a second.
    Film Mixed(std::vector<std::string> arguments, const std::string& length = "0.12") {
        arguments.insert(arguments.end(), {"--size", "160x96", "--rate", "25", "--duration", length,
                                           "-y", "-o", Name("mix.y4m")});
        const Outcome outcome = RunCommand(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return ReadFilm(Name("mix.y4m"));
    }

    // A picture whose left upper quarter is white and the rest black.
    std::string Quarter() {
        const std::string name = Name("quarter.png");
        EXPECT_EQ(RunCommand({"test:black?size=64x48", "test:white?size=32x24", "--duration",
                              "0.04", "-y", "-o", Name("quarter.y4m"), "--capture", name})
                      .status,
                  0);
        return name;
    }

    static void ExpectLuma(const Film& film, std::size_t x, std::size_t y, int luma,
                           int tolerance = kTolerance) {
        ASSERT_FALSE(film.frames.empty());
        EXPECT_NEAR(film.Luma(film.frames.size() - 1, x, y), luma, tolerance) << x << "," << y;
    }

    qdvm::test::TemporaryDirectory directory;
};

TEST_F(Drawing, TargetsScaleAndFitShapes) {
    const Film scaled = Mixed({"--target", "40x24+20+10", "test:white?size=160x96"});
    ExpectLuma(scaled, 20, 10, kWhite);
    ExpectLuma(scaled, 59, 33, kWhite);
    ExpectLuma(scaled, 19, 20, kBlack);
    ExpectLuma(scaled, 60, 20, kBlack);
    ExpectLuma(scaled, 40, 34, kBlack);

    const Film boxed =
        Mixed({"--target", "80x80+0+0", "--fit", "letterbox", "test:white?size=160x80"});
    ExpectLuma(boxed, 40, 16, kBlack);
    ExpectLuma(boxed, 40, 24, kWhite);
    ExpectLuma(boxed, 40, 62, kBlack);

    // A wide picture with a white left half: cropped, a quarter of it is cut off at that side.
    const std::vector<std::string> wide = {"--target", "48x48+0+0", "--fit",  "crop",
                                           "--source", "64x24+0+0", Quarter()};
    const Film cropped = Mixed(wide);
    ExpectLuma(cropped, 2, 24, kWhite, 8);
    ExpectLuma(cropped, 18, 24, kWhite, 8);
    ExpectLuma(cropped, 30, 24, kBlack, 8);
}

TEST_F(Drawing, OpacityBordersAndFurtherRects) {
    const Film film =
        Mixed({"--target", "64x48+0+0", "--alpha", "0.5", "--border", "4,white", "--rect",
               "--target", "64x48+80+0", "--border", "8,black", "test:white?size=64x48", "--target",
               "64x48+80+48", "--border", "6", "test:black?size=64x48"});
    ExpectLuma(film, 32, 24, kHalf);
    ExpectLuma(film, 84, 24, kBlack);
    ExpectLuma(film, 112, 24, kWhite);
    ExpectLuma(film, 82, 72, kWhite);
    ExpectLuma(film, 112, 72, kBlack);
}

TEST_F(Drawing, FlipsTurnTheQuarter) {
    const auto quarterAt = [&](const char* flip, std::size_t x, std::size_t y) {
        const Film film = Mixed({"--flip", flip, Quarter()});
        for (const std::size_t column : {16, 48}) {
            for (const std::size_t row : {12, 36}) {
                ExpectLuma(film, column, row, column == x && row == y ? kWhite : kBlack);
            }
        }
    };
    quarterAt("none", 16, 12);
    quarterAt("horizontal", 48, 12);
    quarterAt("vertical", 16, 36);
    quarterAt("both", 48, 36);
}

TEST_F(Drawing, MasksShapeTheRect) {
    const Film circle =
        Mixed({"--target", "96x96+0+0", "--mask", "circle", "test:white?size=96x96"});
    ExpectLuma(circle, 48, 48, kWhite, 6);
    ExpectLuma(circle, 3, 3, kBlack);
    const Film own = Mixed({"--target", "96x96+0+0", "--mask", Quarter(), "test:white?size=96x96"});
    ExpectLuma(own, 20, 20, kWhite, 6);
    ExpectLuma(own, 70, 20, kBlack);
    ExpectLuma(own, 20, 70, kBlack);

    const Outcome broken = RunCommand(
        {"--mask", Name("none.png"), "test:white", "--duration", "0.1", "-o", Name("never.y4m")});
    EXPECT_EQ(broken.status, 4);
    EXPECT_TRUE(broken.err.starts_with("qdmix: input 1 (test:white): mask (")) << broken.err;
}

TEST_F(Drawing, PicturesLieUnderAllAndFade) {
    // The picture is stretched over the mix: its white quarter is the quarter of the mix.
    const Film film = Mixed({"--background", Quarter(), "--background", "white@0.2+0.4", "--target",
                             "0,80", "test:black?size=16x16"},
                            "1");
    ASSERT_EQ(film.frames.size(), 25U);
    EXPECT_NEAR(film.Luma(4, 20, 20), kWhite, kTolerance);
    EXPECT_NEAR(film.Luma(4, 120, 20), kBlack, kTolerance);
    EXPECT_NEAR(film.Luma(10, 120, 20), kHalf, 12);
    EXPECT_NEAR(film.Luma(16, 120, 20), kWhite, kTolerance);
    EXPECT_NEAR(film.Luma(24, 4, 90), kBlack, kTolerance);

    const Outcome missing = RunCommand(
        {"--background", Name("no.png"), "test:white", "--duration", "0.1", "-o", Name("n.y4m")});
    EXPECT_EQ(missing.status, 4);
    EXPECT_NE(missing.err.find("no.png): can't be opened: no such file"), std::string::npos);
    const Outcome noPicture = RunCommand(
        {"--background", Name("mix.y4m"), "test:white", "--duration", "0.1", "-o", Name("n.y4m")});
    EXPECT_EQ(noPicture.status, 4) << noPicture.err;
    EXPECT_NE(noPicture.err.find("mix.y4m): can't be used"), std::string::npos) << noPicture.err;
    EXPECT_FALSE(std::filesystem::exists(Name("n.y4m")));
}

TEST_F(Drawing, KeyedColoursAreTransparent) {
    // Keyed and scaled, over white; in the format of the mix and in others.
    for (const char* key : {"green", "#00FF00,softness=0", "auto"}) {
        const Film film = Mixed({"test:white?size=160x96", "--target", "40x24+20+10", "--key", key,
                                 "test:green?size=64x48", "--target", "40x24+80+10", "--key", key,
                                 "--key", "blue", "test:green?size=64x48"});
        ExpectLuma(film, 40, 20, kWhite);
        ExpectLuma(film, 100, 20, kWhite);
    }
    const Film other = Mixed({"test:white?size=160x96", "--key", "blue", "test:green?size=64x48"});
    ExpectLuma(other, 20, 20, 145);
}

TEST_F(Drawing, AKeyColourIsToldOrRefusedByName) {
    const std::vector<std::string> tail = {"--duration", "0.12", "-y", "-o", Name("mix.y4m")};
    std::vector<std::string> arguments = {"test:white", "--key", "auto", "test:green"};
    arguments.insert(arguments.end(), tail.begin(), tail.end());
    const Outcome told = RunCommand(arguments);
    EXPECT_EQ(told.status, 0);
    EXPECT_NE(told.err.find("input 2 (test:green): key colour #00F"), std::string::npos)
        << told.err;
    std::filesystem::remove(Name("mix.y4m"));
    arguments[3] = "test:smpte";
    const Outcome refused = RunCommand(arguments);
    EXPECT_EQ(refused.status, 4);
    EXPECT_NE(refused.err.find("input 2 (test:smpte): --key auto finds no colour: its border"),
              std::string::npos)
        << refused.err;
    EXPECT_FALSE(std::filesystem::exists(Name("mix.y4m")));
}

TEST_F(Drawing, ATurnedPictureIsATrapezium) {
    const Film film = Mixed(
        {"--target", "96x64+32+16", "--turn", "40,0", "--view", "60", "test:white?size=96x64"});
    const auto heightAt = [&](std::size_t x) {
        int height = 0;
        for (std::size_t y = 0; y < 96; ++y) {
            height += film.Luma(0, x, y) > kHalf ? 1 : 0;
        }
        return height;
    };
    EXPECT_LT(heightAt(50), heightAt(110) - 4);
    EXPECT_GT(heightAt(50), 30);
    ExpectLuma(film, 80, 48, kWhite);
}

TEST_F(Drawing, AMoveTakesAllValuesAlong) {
    const Film film = Mixed({"--target", "32x24+0+0", "--move",
                             "target=64x48+80+48 alpha=0.5 @0.2+0.4", "test:white?size=64x48"},
                            "0.8");
    ASSERT_EQ(film.frames.size(), 20U);
    EXPECT_NEAR(film.Luma(4, 16, 12), kWhite, kTolerance);
    // The sixth of ten steps: an opacity of 0.7.
    EXPECT_NEAR(film.Luma(10, 64, 42), kBlack + 0.7 * (kWhite - kBlack), kTolerance);
    for (const std::size_t frame : {14U, 19U}) {
        EXPECT_NEAR(film.Luma(frame, 82, 50), kHalf, kTolerance) << frame;
        EXPECT_NEAR(film.Luma(frame, 142, 94), kHalf, kTolerance) << frame;
        EXPECT_NEAR(film.Luma(frame, 78, 72), kBlack, kTolerance) << frame;
    }
}

// One format of the mix as it comes out raw: where brightness stands, in bytes.
struct RawFormat {
    const char* name;
    std::size_t first;
    std::size_t step;
    bool isRgb;
};

double LumaAt(const RawFormat& format, const std::string& raw, std::size_t pixel) {
    const auto byteAt = [&](std::size_t offset) {
        return static_cast<double>(
            static_cast<unsigned char>(raw.at(format.first + pixel * format.step + offset)));
    };
    return format.isRgb ? 16 + (65.738 * byteAt(2) + 129.057 * byteAt(1) + 25.064 * byteAt(0)) / 256
                        : byteAt(0);
}

TEST_F(Drawing, AllFormatsShowTheSamePicture) {
    constexpr std::array kFormats = {
        RawFormat{"I420", 0, 1, false},  RawFormat{"YV12", 0, 1, false},
        RawFormat{"YUY2", 0, 2, false},  RawFormat{"UYVY", 1, 2, false},
        RawFormat{"HDYC", 1, 2, false},  RawFormat{"YVYU", 0, 2, false},
        RawFormat{"RGB24", 0, 3, true},  RawFormat{"RGB32", 0, 4, true},
        RawFormat{"ARGB32", 0, 4, true},
    };
    constexpr std::size_t kPixels = 320 * 180;
    std::string first;
    for (const RawFormat& format : kFormats) {
        const std::string raw = RunCommand({"--target",
                                            "320x180+0+0",
                                            QDVM_SAMPLES_DIR "/clips/coin.webm",
                                            "--target",
                                            "200x112+40+20",
                                            "--alpha",
                                            "0.6",
                                            "--border",
                                            "4,#FFCC00",
                                            "--flip",
                                            "horizontal",
                                            QDVM_SAMPLES_DIR "/clips/city.webm",
                                            "--size",
                                            "320x180",
                                            "--duration",
                                            "0.04",
                                            "--format",
                                            format.name,
                                            "-q",
                                            "-o",
                                            "-"})
                                    .out;
        ASSERT_GE(raw.size(), kPixels * format.step) << format.name;
        first = first.empty() ? raw : first;
        double sum = 0;
        for (std::size_t i = 0; i < kPixels; ++i) {
            sum += std::abs(LumaAt(format, raw, i) - LumaAt(kFormats[0], first, i));
        }
        // The luma of HDYC is weighed by another matrix.
        EXPECT_LT(sum / kPixels, std::string(format.name) == "HDYC" ? 2.0 : 1.0) << format.name;
    }
}

}  // namespace
}  // namespace qdvm::qdmix::test
