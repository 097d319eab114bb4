// The command qdmix: from its arguments to its exit status.

#include "hosts/gstreamer/plugin.h"
#include "hosts/qdmix/help.h"
#include "hosts/qdmix/input_spec.h"
#include "hosts/qdmix/mix_command.h"
#include "hosts/qdmix/options.h"
#include "hosts/qdmix/output_spec.h"
#include "hosts/qdmix/show.h"

#include <qdvideomixer/version.h>

#include <gst/gst.h>

#include <csignal>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

using namespace qdvm;
using namespace qdvm::qdmix;

namespace {

int Finish(const Failure& failure) {
    (void)std::fprintf(stderr, "%s\n", LineOf(failure).c_str());
    return static_cast<int>(failure.status);
}

int Print(const std::string& text) {
    const bool isWritten =
        std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
    return static_cast<int>(isWritten ? ExitStatus::kDone : ExitStatus::kOutput);
}

// Texts that need nothing but the command itself.
std::optional<std::string> OwnText(Request request) {
    switch (request) {
        case Request::kHelp:
            return HelpText();
        case Request::kVersion:
            return "qdmix " QDVM_VERSION_TEXT "\n";
        case Request::kManPage:
            return ManPage();
        case Request::kBashCompletion:
            return BashCompletion();
        default:
            return std::nullopt;
    }
}

int PrintScenes(const CommandLine& line) {
    std::string list;
    if (const auto failure = ListScenes(line, list)) {
        return Finish(*failure);
    }
    return Print(list);
}

// A fault in a file is the answer to the question, and a missing file is none.
int Check(const CommandLine& line) {
    const CheckOutcome outcome = CheckFiles(line);
    (void)std::fputs(outcome.faults.c_str(), stderr);
    const int printed = Print(outcome.good);
    if (outcome.isUnreadable) {
        return static_cast<int>(ExitStatus::kInput);
    }
    return outcome.faults.empty() ? printed : static_cast<int>(ExitStatus::kFailed);
}

int Serve(const CommandLine& line) {
    switch (line.request) {
        case Request::kListScenes:
            return PrintScenes(line);
        case Request::kCheck:
            return Check(line);
        case Request::kListFormats:
            return Print(FormatList(line.isJson));
        case Request::kListInputs:
            return Print(TestPictureList(line.isJson));
        default:
            return static_cast<int>(Mix(line));
    }
}

}  // namespace

int main(int argc, char** argv) {
    // A reader that goes away is an output that failed.
    (void)std::signal(SIGPIPE, SIG_IGN);
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    CommandLine line;
    if (const auto failure = ParseCommandLine(arguments, line)) {
        return Finish(*failure);
    }
    if (const auto text = OwnText(line.request)) {
        return Print(*text);
    }
    gst_init(nullptr, nullptr);
    if (!RegisterQdVideoMixerElement(nullptr)) {
        return Finish({ExitStatus::kFailed, "", "can't start", "GStreamer refuses the mixer"});
    }
    return Serve(line);
}
