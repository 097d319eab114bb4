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

// Fails where one of them can't be read.
std::optional<Failure> CheckPictures(const Plan& plan);

}  // namespace qdvm::qdmix
