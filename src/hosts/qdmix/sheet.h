#pragma once

// A contact sheet: moments of a film in one picture.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/values.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace qdvm::qdmix {

// Reads a finished film of `frames` frames of a size, and writes some of them, evenly spread and
// reduced, as one PNG picture of about the film's width. `subject` is how failures name the sheet.
std::optional<Failure> WriteSheet(const std::filesystem::path& film, std::uint64_t frames,
                                  Size size, int moments, const std::filesystem::path& picture,
                                  const std::string& subject);

}  // namespace qdvm::qdmix
