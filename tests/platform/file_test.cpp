#include "platform/file.h"

#include "support/temporary_directory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace qdvm {
namespace {

namespace fs = std::filesystem;

std::vector<std::uint8_t> Bytes(std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    for (std::size_t i = 0; i < count; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 31 + i / 256);
    }
    return bytes;
}

TEST(File, ComesBackAsItWasWritten) {
    const test::TemporaryDirectory directory;
    const std::u16string name = (directory / "b\xC3\xA4r \xE2\x82\xAC.bin").u16string();
    std::vector<std::uint8_t> read(7);
    for (const std::size_t size : {0u, 1u, 65536u, 300001u}) {
        ASSERT_EQ(WriteFile(name, Bytes(size)), S_OK);
        ASSERT_EQ(ReadFile(name, read), S_OK);
        EXPECT_EQ(read, Bytes(size));
    }
    EXPECT_TRUE(FileExists(name));
    const auto entries = std::distance(fs::directory_iterator(directory.Path()), {});
    EXPECT_EQ(entries, 1) << "writing left something behind";
}

TEST(File, FailuresTellWhy) {
    const test::TemporaryDirectory directory;
    std::vector<std::uint8_t> read(7);
    const HRESULT notFound = HResultFromWin32(ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(ReadFile((directory / "none").u16string(), read), notFound);
    EXPECT_TRUE(read.empty());
    EXPECT_EQ(ReadFile(u"", read), notFound);
    EXPECT_EQ(ReadFile(directory.Path().u16string(), read), E_ACCESSDENIED);
    EXPECT_EQ(WriteFile(directory.Path().u16string(), Bytes(1)), E_ACCESSDENIED);
    EXPECT_EQ(WriteFile((directory / "none/file").u16string(), Bytes(1)), notFound);
    EXPECT_FALSE(FileExists(directory.Path().u16string()));
    EXPECT_FALSE(FileExists(u""));
}

TEST(File, ReplacesWhatALinkPointsAtAndKeepsItsRights) {
    const test::TemporaryDirectory directory;
    std::ofstream(directory / "real") << "old";
    fs::permissions(directory / "real", fs::perms::owner_read | fs::perms::owner_write);
    fs::create_symlink("real", directory / "link");
    ASSERT_EQ(WriteFile((directory / "link").u16string(), Bytes(5)), S_OK);
    EXPECT_TRUE(fs::is_symlink(directory / "link"));
    EXPECT_EQ(fs::file_size(directory / "real"), 5u);
    EXPECT_EQ(fs::status(directory / "real").permissions(),
              fs::perms::owner_read | fs::perms::owner_write);
}

}  // namespace
}  // namespace qdvm
