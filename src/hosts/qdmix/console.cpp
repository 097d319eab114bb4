#include "hosts/qdmix/console.h"

#include <qdvideomixer/trace.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace qdvm::qdmix {

namespace {

constexpr const char* kEraseLine = "\r\033[K";
constexpr std::size_t kUsualColumns = 80;

ProgressMode ChooseMode(const CommandLine& line) {
    if (line.progress != ProgressMode::kAutomatic) {
        return line.progress;
    }
    const bool isTerminal = isatty(STDERR_FILENO) != 0;
    return isTerminal && !line.quiet ? ProgressMode::kText : ProgressMode::kNone;
}

std::size_t Columns() {
    const char* columns = std::getenv("COLUMNS");
    const int number = columns != nullptr ? std::atoi(columns) : 0;
    return number > 1 ? static_cast<std::size_t>(number) : kUsualColumns;
}

void PrintTrace(void*, const char* text) { (void)std::fprintf(stderr, "qdmix: mixer: %s\n", text); }

}  // namespace

Console::Console(const CommandLine& line)
    : isQuiet(line.quiet), isVerbose(line.verbose), isTracing(line.trace), mode(ChooseMode(line)) {
    if (isTracing) {
        SetTraceHook(PrintTrace, nullptr);
    }
}

Console::~Console() {
    if (isTracing) {
        SetTraceHook(nullptr, nullptr);
    }
}

void Console::Write(const std::string& lines) {
    const std::string text = (isLineOpen ? kEraseLine : "") + lines;
    isLineOpen = false;
    (void)std::fwrite(text.data(), 1, text.size(), stderr);
    (void)std::fflush(stderr);
}

ExitStatus Console::Tell(const Failure& failure) {
    Write(LineOf(failure) + "\n");
    return failure.status;
}

void Console::TellFaults(const std::string& lines) {
    if (!lines.empty()) {
        Write(lines);
    }
}

void Console::Warn(const std::string& lines) {
    if (!isQuiet && !lines.empty()) {
        Write(lines);
    }
}

void Console::Note(const std::string& lines) {
    if (isVerbose) {
        Write(lines);
    }
}

void Console::Progress(const MixReport& report) {
    if (mode == ProgressMode::kJson) {
        Write(ProgressJson(report, "progress") + "\n");
    } else if (mode == ProgressMode::kText) {
        // The last column stays free: a terminal would break the line there.
        Write(kEraseLine + ProgressLine(report, Columns() - 1));
        isLineOpen = true;
    }
}

void Console::Summary(const MixReport& report, const std::string& output) {
    if (mode == ProgressMode::kJson) {
        Write(ProgressJson(report, "done") + "\n");
    } else if (!isQuiet) {
        Write(SummaryLine(report, output) + "\n");
    }
}

}  // namespace qdvm::qdmix
