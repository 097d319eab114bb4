#pragma once

#include "hosts/qdmix/gst_handles.h"

#include <filesystem>

namespace qdvm::qdmix {

// Writes a raw picture to an existing or a new file. False where the file can't be written or no
// encoder is installed.
bool WritePng(GstSample* picture, const std::filesystem::path& file);

}  // namespace qdvm::qdmix
