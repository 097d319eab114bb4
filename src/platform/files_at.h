#pragma once

// Files by the names that the operating system uses. Results are those of file.h.

#include <qdvideomixer/object.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qdvm {

HRESULT ReadFileAt(const std::string& path, std::vector<std::uint8_t>& contents);

// Through a temporary file beside it, which then takes its name. A link is followed; what is no
// regular file is written to in place.
HRESULT ReplaceFileAt(const std::string& path, std::span<const std::uint8_t> contents);

// Makes the file, empty, if it isn't there; otherwise checks that it can be read and written.
HRESULT TouchFileAt(const std::string& path);

bool IsFileAt(const std::string& path);

// False for what is no regular file: directories, pipes, devices.
bool RegularFileSizeAt(const std::string& path, std::uint64_t* bytes);

// Empty if it can't be told.
std::string WorkingDirectoryPath();

// Makes a directory and those above it that are missing.
HRESULT MakeDirectories(const std::string& path);

// The directory of the user's settings, empty if the user has no home.
std::string SettingsDirectory();

// A turn at the files of a directory: threads and processes that take one follow each other.
class DirectoryTurn {
public:
    DirectoryTurn() = default;
    ~DirectoryTurn();
    DirectoryTurn(const DirectoryTurn&) = delete;
    DirectoryTurn& operator=(const DirectoryTurn&) = delete;

    // Waits for the turn, which lasts as long as the object. 0x80070020 if somebody else had it for
    // the whole time limit of ten seconds: many writers on a busy disk take their turns in that.
    HRESULT Take(const std::string& directory);

private:
    int descriptor = -1;
};

}  // namespace qdvm
