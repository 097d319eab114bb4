#pragma once

// What a running mix tells of itself.

#include <cstdint>
#include <string>
#include <vector>

namespace qdvm::qdmix {

struct InputReport {
    std::string name;    // as on the command line
    std::string health;  // waiting, live, stalled, lost, ended
    std::uint64_t framesIn = 0;
    std::uint64_t framesRepeated = 0;
    std::uint64_t framesDropped = 0;
};

struct MixReport {
    std::uint64_t frames = 0;    // of the mix
    std::int64_t time = 0;       // of the mix, nanoseconds
    double framesPerSecond = 0;  // how fast it is made
    std::vector<InputReport> inputs;
};

// One line of at most `columns` characters for a terminal.
std::string ProgressLine(const MixReport& report, std::size_t columns);

// One JSON object on one line: {"event": ..., "frames": ..., "time": seconds, "fps": ...,
// "inputs": [{"input": 1, "name": ..., "health": ..., "in": ..., "repeated": ..., "dropped": ...}]}
std::string ProgressJson(const MixReport& report, const char* event);

// The last line: what became of the output.
std::string SummaryLine(const MixReport& report, const std::string& output);

}  // namespace qdvm::qdmix
