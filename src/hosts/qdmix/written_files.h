#pragma once

// All the files that one run of the command writes.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/gst_handles.h"
#include "hosts/qdmix/options.h"
#include "hosts/qdmix/output_file.h"
#include "hosts/qdmix/plan.h"

#include <cstdint>
#include <deque>
#include <filesystem>
#include <optional>
#include <string>

namespace qdvm::qdmix {

// One thread. What is not finished when it is destroyed or discarded is removed.
class WrittenFiles {
public:
    explicit WrittenFiles(const CommandLine& theLine) : line(theLine) {}

    // Opens the film, if it is a file, the sheet and the stills. Fails where one of them would
    // replace what the mix is made from, or another of them.
    std::optional<Failure> Open(const Plan& plan, const std::string& filmSubject, bool filmIsFile);

    // Where the film goes; empty where it is no file.
    const std::filesystem::path& FilmPath() const { return film.WorkingPath(); }

    // Writes and finishes the still that is next in the order of the plan's captures.
    std::optional<Failure> WriteStill(GstSample* picture);

    // Finishes the film of so many frames, and makes the sheet of it.
    std::optional<Failure> Finish(std::uint64_t frames, Size size);

    void Discard();

private:
    std::optional<Failure> CheckNames(const Plan& plan, const std::string& filmSubject,
                                      bool filmIsFile) const;
    std::string SheetSubject() const { return "sheet (" + line.sheet + ")"; }

    const CommandLine& line;
    OutputFile film;
    OutputFile sheet;
    std::deque<OutputFile> stills;
    std::vector<std::string> stillSubjects;
    std::size_t stillsWritten = 0;
};

}  // namespace qdvm::qdmix
