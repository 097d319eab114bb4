#include "hosts/qdmix/mix_command.h"

#include "hosts/qdmix/console.h"
#include "hosts/qdmix/mix_run.h"
#include "hosts/qdmix/pictures.h"
#include "hosts/qdmix/plan.h"
#include "hosts/qdmix/probe.h"
#include "hosts/qdmix/show.h"
#include "hosts/qdmix/written_files.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <utility>

namespace qdvm::qdmix {

namespace {

class Command {
public:
    explicit Command(const CommandLine& theLine) : line(theLine), console(theLine), files(line) {}

    ExitStatus Run() {
        std::string faults;
        if (auto failure = PrepareShow(line, show, faults)) {
            console.TellFaults(faults);
            return console.Tell(*failure);
        }
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
        if (auto failure = CheckPictures(plan)) {
            return failure;
        }
        if (auto failure = ChooseOutput(line.output, output)) {
            return failure;
        }
        if (output.kind == OutputKind::kRaw && isatty(STDOUT_FILENO) != 0) {
            return Failure{ExitStatus::kOutput, output.Subject(), "can't be written",
                           "standard output is a terminal"};
        }
        return files.Open(plan, output.Subject(), output.kind == OutputKind::kFile);
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
            [this](const std::string& choice) { console.Warn("qdmix: " + choice + "\n"); },
            [this](GstSample* still) { TakeStill(still); },
            [this](const Failure& failure) { (void)console.Tell(failure); },
            [this] { Quit(); },
        };
        MixRun run(plan, show, output, hooks);
        auto failure = run.Build(files.FilmPath());
        if (!failure) {
            failure = run.Run();
        }
        if (!failure && run.Report().frames == 0) {
            failure = Failure{ExitStatus::kFailed, output.Subject(), "nothing was mixed",
                              "no input delivered a frame"};
        }
        if (!failure) {
            failure = files.Finish(run.Report().frames, plan.size);
        }
        if (!failure) {
            failure = stillFailure;
        }
        if (!failure) {
            failure = run.SaveDocuments(line.saveScenes, line.saveConfig);
        }
        if (failure) {
            return console.Tell(*failure);
        }
        console.Warn(run.ShortInputs());
        console.Summary(run.Report(), line.output);
        return StatusOf(run);
    }

    // The film goes on without a still that can't be written.
    void TakeStill(GstSample* still) {
        if (auto failure = files.WriteStill(still); failure && !stillFailure) {
            stillFailure = std::move(failure);
        }
    }

    static ExitStatus StatusOf(const MixRun& run) {
        switch (run.Signal()) {
            case SIGINT:
                return ExitStatus::kInterrupted;
            case SIGTERM:
                return ExitStatus::kTerminated;
            default:
                return run.HasLostInput() || run.HasMissedCue() ? ExitStatus::kFailed
                                                                : ExitStatus::kDone;
        }
    }

    // The threads of the mix may hang in whatever made the user impatient, so nothing waits for
    // them.
    [[noreturn]] void Quit() {
        files.Discard();
        const Failure failure{ExitStatus::kFailed, output.Subject(), "not finished", "interrupted"};
        std::_Exit(static_cast<int>(console.Tell(failure)));
    }

    CommandLine line;  // with what the show adds to it
    Show show;
    Console console;
    std::vector<OpenedInput> inputs;
    Plan plan;
    OutputSpec output;
    WrittenFiles files;
    std::optional<Failure> stillFailure;
};

}  // namespace

ExitStatus Mix(const CommandLine& line) { return Command(line).Run(); }

}  // namespace qdvm::qdmix
