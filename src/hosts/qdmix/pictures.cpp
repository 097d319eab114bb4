#include "hosts/qdmix/pictures.h"

#include "platform/picture_file.h"
#include "platform/text.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace qdvm::qdmix {

namespace {

namespace fs = std::filesystem;

void AddBackground(const Background& background, std::vector<NamedFile>& pictures) {
    if (!background.picture.empty()) {
        pictures.push_back({"background (" + background.picture + ")", background.picture});
    }
}

}  // namespace

std::string WhyUnreadable(const std::string& file) {
    std::error_code error;
    const fs::file_status status = fs::status(file, error);
    if (!fs::exists(status)) {
        return "no such file";
    }
    if (!fs::is_regular_file(status)) {
        return "it is no file";
    }
    return std::ifstream(file, std::ios::binary) ? "" : "no permission to read it";
}

bool IsPicture(const std::string& file) {
    std::vector<std::uint8_t> contents;
    DecodedPicture picture;
    return Succeeded(ReadPictureFile(FromUtf8(file), contents)) &&
           Succeeded(DecodePicture(contents, AlphaForm::kStraight, &picture));
}

std::vector<NamedFile> PicturesOf(const Plan& plan) {
    std::vector<NamedFile> pictures;
    AddBackground(plan.background, pictures);
    for (const PlannedChange& change : plan.changes) {
        AddBackground(change.background, pictures);
    }
    for (const PlannedInput& input : plan.inputs) {
        for (const PlannedRect& rect : input.rects) {
            if (!IsBuiltInMask(rect.first.mask)) {
                pictures.push_back(
                    {input.spec.Subject() + ": mask (" + rect.first.mask + ")", rect.first.mask});
            }
        }
    }
    return pictures;
}

std::optional<Failure> CheckPictures(const Plan& plan) {
    for (const NamedFile& picture : PicturesOf(plan)) {
        if (std::string fault = WhyUnreadable(picture.file); !fault.empty()) {
            return Failure{ExitStatus::kInput, picture.subject, "can't be opened",
                           std::move(fault)};
        }
        if (!IsPicture(picture.file)) {
            return Failure{ExitStatus::kInput, picture.subject, "can't be used",
                           "not a picture, or a damaged one"};
        }
    }
    return std::nullopt;
}

}  // namespace qdvm::qdmix
