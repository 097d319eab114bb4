#pragma once

// Standard error: failures always, the rest as the options say.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/options.h"
#include "hosts/qdmix/progress.h"

#include <string>

namespace qdvm::qdmix {

// One thread, except that the traces of the mixer come from any.
class Console {
public:
    explicit Console(const CommandLine& line);
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    // Gives the failure's status.
    ExitStatus Tell(const Failure& failure);

    // Whole lines, or nothing.
    void TellFaults(const std::string& lines);
    void Warn(const std::string& lines);  // not with --quiet
    void Note(const std::string& lines);  // with --verbose

    void Progress(const MixReport& report);
    void Summary(const MixReport& report, const std::string& output);

private:
    void Write(const std::string& lines);

    bool isQuiet;
    bool isVerbose;
    bool isTracing;
    ProgressMode mode;
    bool isLineOpen = false;  // progress stands on the line of the cursor
};

}  // namespace qdvm::qdmix
