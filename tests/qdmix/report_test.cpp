#include "hosts/qdmix/output_file.h"
#include "hosts/qdmix/progress.h"
#include "support/temporary_directory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

namespace qdvm::qdmix {
namespace {

namespace fs = std::filesystem;

void Write(const fs::path& path, const std::string& text) { std::ofstream(path) << text; }

std::string Contents(const fs::path& path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::size_t FilesIn(const fs::path& directory) {
    return static_cast<std::size_t>(
        std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
}

TEST(OutputFile, TakesItsNameOnlyWhenFinished) {
    const test::TemporaryDirectory directory;
    const fs::path target = directory / "mix.webm";
    {
        OutputFile file;
        ASSERT_FALSE(file.Open(target, "output", false));
        Write(file.WorkingPath(), "half");
        EXPECT_FALSE(fs::exists(target));
    }
    EXPECT_EQ(FilesIn(directory.Path()), 0U);
    {
        OutputFile file;
        ASSERT_FALSE(file.Open(target, "output", false));
        Write(file.WorkingPath(), "whole");
        EXPECT_FALSE(file.Finish());
    }
    EXPECT_EQ(Contents(target), "whole");
    EXPECT_EQ(FilesIn(directory.Path()), 1U);
}

TEST(OutputFile, ReplacesOnlyWhereItMay) {
    const test::TemporaryDirectory directory;
    const fs::path target = directory / "mix.webm";
    Write(target, "old");
    OutputFile refused;
    const auto failure = refused.Open(target, "output (mix.webm)", false);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->status, ExitStatus::kOutput);

    OutputFile file;
    ASSERT_FALSE(file.Open(target, "output", true));
    Write(file.WorkingPath(), "new");
    EXPECT_EQ(Contents(target), "old");
    EXPECT_FALSE(file.Finish());
    EXPECT_EQ(Contents(target), "new");
}

TEST(OutputFile, KeepsAFileThatCameMeanwhile) {
    const test::TemporaryDirectory directory;
    const fs::path target = directory / "mix.webm";
    OutputFile file;
    ASSERT_FALSE(file.Open(target, "output", false));
    Write(target, "another's");
    EXPECT_TRUE(file.Finish());
    file.Discard();
    EXPECT_EQ(Contents(target), "another's");
    EXPECT_EQ(FilesIn(directory.Path()), 1U);
}

MixReport SampleReport() {
    MixReport report;
    report.frames = 203;
    report.time = 8'120'000'000;
    report.framesPerSecond = 61.04;
    report.inputs = {{"a \"b\".webm", "live", 195, 8, 0}, {"cam\n", "lost", 10, 3, 2}};
    return report;
}

TEST(Progress, JsonIsOneObjectOnOneLine) {
    EXPECT_EQ(ProgressJson(SampleReport(), "progress"),
              R"({"event": "progress", "frames": 203, "time": 8.12, "fps": 61.0, "inputs": [)"
              R"({"input": 1, "name": "a \"b\".webm", "health": "live", "in": 195, )"
              R"("repeated": 8, "dropped": 0}, )"
              R"({"input": 2, "name": "cam\u000a", "health": "lost", "in": 10, )"
              R"("repeated": 3, "dropped": 2}]})");
}

TEST(Progress, TheLineNamesLostInputsAndKeepsToItsColumns) {
    const std::string line = ProgressLine(SampleReport(), 200);
    EXPECT_NE(line.find("lost: 2"), std::string::npos) << line;
    EXPECT_NE(line.find("2: 3 repeated 2 dropped"), std::string::npos) << line;
    EXPECT_EQ(ProgressLine(SampleReport(), 40).size(), 40U);
}

}  // namespace
}  // namespace qdvm::qdmix
