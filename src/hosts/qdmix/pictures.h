#pragma once

// The picture files of backgrounds and masks.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/plan.h"

#include <optional>
#include <string>
#include <vector>

namespace qdvm::qdmix {

// A file, and what failures call it.
struct NamedFile {
    std::string subject;
    std::string file;
};

std::vector<NamedFile> PicturesOf(const Plan& plan);

// Why a file can't be read, or nothing.
std::string WhyUnreadable(const std::string& file);

// Whether the mixer can read it as a picture.
bool IsPicture(const std::string& file);

// Fails where one of them can't be read.
std::optional<Failure> CheckPictures(const Plan& plan);

}  // namespace qdvm::qdmix
