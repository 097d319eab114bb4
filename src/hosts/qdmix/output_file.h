#pragma once

// A file that takes its name only when it is finished.

#include "hosts/qdmix/failure.h"

#include <filesystem>
#include <optional>
#include <string>

namespace qdvm::qdmix {

// One thread. Until Finish() the work goes on in a temporary file of the same directory, which the
// destructor removes. A name of something that is no regular file (a device, a pipe) is written
// directly.
class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // `subject` is how failures name it. Fails where a file of that name is there and may not be
    // replaced, and where nothing can be written.
    std::optional<Failure> Open(const std::string& name, const std::string& subject,
                                bool mayReplace);

    // Where to write.
    const std::filesystem::path& WorkingPath() const { return working; }

    // Gives the finished file its name. A file that came there meanwhile stays if it may not be
    // replaced.
    std::optional<Failure> Finish();

    // Removes what was written.
    void Discard();

private:
    std::optional<Failure> Fail(std::string what, std::string why) const;

    std::filesystem::path target;
    std::filesystem::path working;
    std::string subjectName;
    bool replaces = false;
    bool isTemporary = false;
};

}  // namespace qdvm::qdmix
