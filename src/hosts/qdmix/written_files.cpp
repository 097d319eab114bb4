#include "hosts/qdmix/written_files.h"

#include "hosts/qdmix/pictures.h"
#include "hosts/qdmix/png.h"
#include "hosts/qdmix/sheet.h"

#include <system_error>
#include <utility>
#include <vector>

namespace qdvm::qdmix {

namespace {

namespace fs = std::filesystem;

// Also for names of which nothing is there yet.
bool IsSameFile(const std::string& one, const std::string& other) {
    std::error_code error;
    if (fs::equivalent(one, other, error) && !error) {
        return true;
    }
    const fs::path whole = fs::weakly_canonical(one, error);
    return !error && whole == fs::weakly_canonical(other, error) && !error;
}

// What the mix is made from.
std::vector<NamedFile> FilesRead(const Plan& plan) {
    std::vector<NamedFile> files = PicturesOf(plan);
    for (const PlannedInput& input : plan.inputs) {
        if (input.spec.kind == InputKind::kFile) {
            files.push_back({input.spec.Subject(), input.spec.locator});
        }
    }
    return files;
}

}  // namespace

std::optional<Failure> WrittenFiles::CheckNames(const Plan& plan, const std::string& filmSubject,
                                                bool filmIsFile) const {
    std::vector<NamedFile> taken = FilesRead(plan);
    const auto take = [&](const std::string& subject,
                          const std::string& name) -> std::optional<Failure> {
        for (const NamedFile& other : taken) {
            if (IsSameFile(other.file, name)) {
                return Failure{ExitStatus::kOutput, subject, "can't be written",
                               "it is " + other.subject};
            }
        }
        taken.push_back({subject, name});
        return std::nullopt;
    };
    std::optional<Failure> failure;
    if (filmIsFile) {
        failure = take(filmSubject, line.output);
    }
    if (!failure && !line.sheet.empty()) {
        failure = take(SheetSubject(), line.sheet);
    }
    for (std::size_t i = 0; !failure && i < plan.captures.size(); ++i) {
        failure = take(stillSubjects[i], plan.captures[i].file);
    }
    return failure;
}

std::optional<Failure> WrittenFiles::Open(const Plan& plan, const std::string& filmSubject,
                                          bool filmIsFile) {
    for (const Capture& capture : plan.captures) {
        stillSubjects.push_back("capture (" + capture.file + ")");
    }
    auto failure = CheckNames(plan, filmSubject, filmIsFile);
    if (!failure && filmIsFile) {
        failure = film.Open(line.output, filmSubject, line.overwrite);
    }
    if (!failure && !line.sheet.empty()) {
        failure = sheet.Open(line.sheet, SheetSubject(), line.overwrite);
    }
    for (std::size_t i = 0; !failure && i < plan.captures.size(); ++i) {
        failure =
            stills.emplace_back().Open(plan.captures[i].file, stillSubjects[i], line.overwrite);
    }
    return failure;
}

std::optional<Failure> WrittenFiles::WriteStill(GstSample* picture) {
    OutputFile& still = stills[stillsWritten];
    const std::string& subject = stillSubjects[stillsWritten++];
    if (!WritePng(picture, still.WorkingPath())) {
        return Failure{ExitStatus::kOutput, subject, "can't be written",
                       "the disk is full, or no PNG encoder is installed"};
    }
    return still.Finish();
}

std::optional<Failure> WrittenFiles::Finish(std::uint64_t frames, Size size) {
    if (auto failure = film.Finish()) {
        return failure;
    }
    if (!line.sheet.empty()) {
        if (auto failure = WriteSheet(line.output, frames, size, line.sheetMoments,
                                      sheet.WorkingPath(), SheetSubject())) {
            return failure;
        }
        if (auto failure = sheet.Finish()) {
            return failure;
        }
    }
    if (stillsWritten < stills.size()) {
        return Failure{ExitStatus::kOutput, stillSubjects[stillsWritten], "never made",
                       "the mix ended before its time"};
    }
    return std::nullopt;
}

void WrittenFiles::Discard() {
    film.Discard();
    sheet.Discard();
    for (OutputFile& still : stills) {
        still.Discard();
    }
}

}  // namespace qdvm::qdmix
