#include "hosts/qdmix/mix_command.h"

#include "hosts/qdmix/console.h"
#include "hosts/qdmix/mix_run.h"
#include "hosts/qdmix/output_file.h"
#include "hosts/qdmix/plan.h"
#include "hosts/qdmix/probe.h"
#include "hosts/qdmix/sheet.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace qdvm::qdmix {

namespace {

bool IsSameFile(const std::string& one, const std::string& other) {
    std::error_code error;
    return std::filesystem::equivalent(one, other, error) && !error;
}

class Command {
public:
    explicit Command(const CommandLine& theLine) : line(theLine), console(theLine) {}

    ExitStatus Run() {
        // All inputs are looked at, so that one run names all that is wrong.
        ExitStatus status = OpenInputs();
        if (status != ExitStatus::kDone) {
            return status;
        }
        if (auto failure = Prepare()) {
            return console.Tell(*failure);
        }
        console.Note(TextOf(plan));
        console.Warn(Warnings());
        return MixAll();
    }

private:
    ExitStatus OpenInputs() {
        ExitStatus status = ExitStatus::kDone;
        for (const InputArgument& argument : line.inputs) {
            OpenedInput input;
            input.options = argument.options;
            const int number = static_cast<int>(inputs.size()) + 1;
            auto failure = ParseInput(number, argument.text, input.spec);
            if (!failure) {
                failure = ProbeInput(input.spec, input.probed);
            }
            if (failure) {
                status = console.Tell(*failure);
            }
            inputs.push_back(input);
        }
        return status;
    }

    std::optional<Failure> Prepare() {
        if (auto failure = MakePlan(line, inputs, plan)) {
            return failure;
        }
        if (auto failure = ChooseOutput(line.output, output)) {
            return failure;
        }
        switch (output.kind) {
            case OutputKind::kFile:
                return OpenFile();
            case OutputKind::kRaw:
                if (isatty(STDOUT_FILENO) != 0) {
                    return Failure{ExitStatus::kOutput, output.Subject(), "can't be written",
                                   "standard output is a terminal"};
                }
                break;
            case OutputKind::kWindow:
                break;
        }
        return std::nullopt;
    }

    std::optional<Failure> OpenFile() {
        for (const OpenedInput& input : inputs) {
            if (IsSameFile(input.spec.locator, line.output)) {
                return Failure{ExitStatus::kOutput, output.Subject(), "can't be written",
                               "it is " + input.spec.Subject()};
            }
        }
        if (auto failure = file.Open(line.output, output.Subject(), line.overwrite)) {
            return failure;
        }
        return line.sheet.empty() ? std::nullopt
                                  : sheet.Open(line.sheet, SheetSubject(), line.overwrite);
    }

    std::string Warnings() const {
        std::string warnings;
        for (const OpenedInput& input : inputs) {
            if (input.probed.size != input.probed.evenSize) {
                warnings += "qdmix: " + input.spec.Subject() + ": " + TextOf(input.probed.size) +
                            " is cropped to " + TextOf(input.probed.evenSize) +
                            ": sizes are even\n";
            }
        }
        if (!plan.HasEnd() && output.kind != OutputKind::kWindow) {
            warnings += "qdmix: no input has an end: Ctrl-C finishes the mix\n";
        }
        return warnings;
    }

    ExitStatus MixAll() {
        const RunHooks hooks = {
            [this](const MixReport& report) { console.Progress(report); },
            [this](const std::string& note) { console.Note("qdmix: " + note + "\n"); },
            [this](const Failure& failure) { (void)console.Tell(failure); },
            [this] { Quit(); },
        };
        MixRun run(plan, output, hooks);
        auto failure = run.Build(file.WorkingPath());
        if (!failure) {
            failure = run.Run();
        }
        if (!failure && run.Report().frames == 0) {
            failure = Failure{ExitStatus::kFailed, output.Subject(), "nothing was mixed",
                              "no input delivered a frame"};
        }
        if (!failure) {
            failure = FinishOutput(run.Report());
        }
        if (failure) {
            return console.Tell(*failure);
        }
        console.Warn(run.ShortInputs());
        console.Summary(run.Report(), line.output);
        return StatusOf(run);
    }

    std::optional<Failure> FinishOutput(const MixReport& report) {
        if (auto failure = file.Finish()) {
            return failure;
        }
        if (line.sheet.empty()) {
            return std::nullopt;
        }
        if (auto failure = WriteSheet(line.output, report.frames, plan.size, sheet.WorkingPath(),
                                      SheetSubject())) {
            return failure;
        }
        return sheet.Finish();
    }

    std::string SheetSubject() const { return "sheet (" + line.sheet + ")"; }

    static ExitStatus StatusOf(const MixRun& run) {
        switch (run.Signal()) {
            case SIGINT:
                return ExitStatus::kInterrupted;
            case SIGTERM:
                return ExitStatus::kTerminated;
            default:
                return run.HasLostInput() ? ExitStatus::kFailed : ExitStatus::kDone;
        }
    }

    // The threads of the mix may hang in whatever made the user impatient, so nothing waits for
    // them.
    [[noreturn]] void Quit() {
        file.Discard();
        sheet.Discard();
        const Failure failure{ExitStatus::kFailed, output.Subject(), "not finished", "interrupted"};
        std::_Exit(static_cast<int>(console.Tell(failure)));
    }

    const CommandLine& line;
    Console console;
    std::vector<OpenedInput> inputs;
    Plan plan;
    OutputSpec output;
    OutputFile file;
    OutputFile sheet;
};

}  // namespace

ExitStatus Mix(const CommandLine& line) { return Command(line).Run(); }

}  // namespace qdvm::qdmix
