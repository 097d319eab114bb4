#include "hosts/qdmix/output_file.h"

#include <unistd.h>

#include <fstream>
#include <system_error>
#include <utility>

namespace qdvm::qdmix {

namespace fs = std::filesystem;

OutputFile::~OutputFile() { Discard(); }

std::optional<Failure> OutputFile::Fail(std::string what, std::string why) const {
    return Failure{ExitStatus::kOutput, subjectName, std::move(what), std::move(why)};
}

std::optional<Failure> OutputFile::Open(const std::string& name, const std::string& subject,
                                        bool mayReplace) {
    target = name;
    subjectName = subject;
    replaces = mayReplace;
    std::error_code error;
    const fs::file_status status = fs::status(target, error);
    if (fs::is_directory(status)) {
        return Fail("can't be written", "it is a directory");
    }
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        working = target;
        return std::nullopt;
    }
    if (fs::exists(status) && !mayReplace) {
        return Fail("is there already", "-y replaces it");
    }
    if (fs::is_regular_file(status)) {
        // The finished file replaces what a link points to, not the link.
        target = fs::canonical(target, error);
    }
    const std::string hidden = "." + target.filename().string() + "." + std::to_string(getpid());
    working = target.parent_path() / hidden;
    if (!std::ofstream(working, std::ios::binary | std::ios::trunc)) {
        return Fail("can't be written", "no permission or no such directory");
    }
    isTemporary = true;
    return std::nullopt;
}

std::optional<Failure> OutputFile::Finish() {
    if (!isTemporary) {
        return std::nullopt;
    }
    std::error_code error;
    if (!replaces) {
        // A second name can only be given where there is none, which a renaming doesn't promise.
        fs::create_hard_link(working, target, error);
        if (!error) {
            Discard();
            return std::nullopt;
        }
        std::error_code ignored;
        if (fs::exists(target, ignored)) {
            return Fail("is there already", "it came while the mix was made; -y replaces it");
        }
    }
    fs::rename(working, target, error);
    if (error) {
        return Fail("can't take its name", error.message());
    }
    isTemporary = false;
    return std::nullopt;
}

void OutputFile::Discard() {
    if (std::exchange(isTemporary, false)) {
        std::error_code ignored;
        fs::remove(working, ignored);
    }
}

}  // namespace qdvm::qdmix
