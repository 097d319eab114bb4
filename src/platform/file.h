#pragma once

// Files as wholes.

#include <qdvideomixer/object.h>

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm {

// Reads a whole file, which others may read and write at the same time. Names are UTF-16. Failures
// carry the platform's number: not found 0x80070002 (also for an empty name), no permission
// 0x80070005, a directory or another thing that is no file 0x80070005, E_OUTOFMEMORY, E_FAIL for a
// failed read. The contents are empty after a failure.
HRESULT ReadFile(std::u16string_view name, std::vector<std::uint8_t>& contents);

// Writes a whole file, replacing what there was: others see the old contents or the new ones, never
// a part. Failures as above; the old file then stays.
HRESULT WriteFile(std::u16string_view name, std::span<const std::uint8_t> contents);

// Whether there is a file (not a directory) of that name.
bool FileExists(std::u16string_view name);

// The directory that relative names start from, without a separator at its end; empty if it can't
// be told.
std::u16string WorkingDirectory();

}  // namespace qdvm
