#pragma once

// A contact sheet: moments of a film in one picture.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/values.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace qdvm::qdmix {

// Reads a finished film of `frames` frames of a size, and writes six of them, evenly spread and
// reduced to a third, as a PNG picture of two rows. `subject` is how failures name the sheet.
std::optional<Failure> WriteSheet(const std::filesystem::path& film, std::uint64_t frames,
                                  Size size, const std::filesystem::path& picture,
                                  const std::string& subject);

}  // namespace qdvm::qdmix
