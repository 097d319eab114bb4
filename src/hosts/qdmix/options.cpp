#include "hosts/qdmix/options.h"

#include <algorithm>
#include <utility>

namespace qdvm::qdmix {

namespace {

Failure Refused(std::string subject, std::string what, std::string why = {}) {
    return {ExitStatus::kUsage, std::move(subject), std::move(what), std::move(why)};
}

class Parser {
public:
    Parser(std::span<const std::string> theArguments, CommandLine& theLine)
        : arguments(theArguments), line(theLine) {}

    std::optional<Failure> Run() {
        while (next < arguments.size()) {
            const std::string& argument = arguments[next++];
            if (auto failure = Take(argument)) {
                return failure;
            }
        }
        return line.request == Request::kMix ? CheckWhole() : std::nullopt;
    }

private:
    std::optional<Failure> Take(const std::string& argument) {
        if (onlyInputs || argument.size() < 2 || argument[0] != '-') {
            return TakeInput(argument);
        }
        if (argument == "--") {
            onlyInputs = true;
            return std::nullopt;
        }
        return argument[1] == '-' ? TakeLong(argument) : TakeLetters(argument);
    }

    std::optional<Failure> TakeInput(const std::string& text) {
        if (text.empty()) {
            return Refused("input " + std::to_string(line.inputs.size() + 1), "the name is empty");
        }
        line.inputs.push_back({text, std::exchange(pending, {})});
        pendingName.clear();
        return std::nullopt;
    }

    std::optional<Failure> TakeLong(const std::string& argument) {
        const std::size_t equals = argument.find('=');
        const std::string name = argument.substr(2, equals - 2);
        const OptionRow* row = FindByName(name);
        if (row == nullptr) {
            return Refused(argument.substr(0, equals), "unknown option", Suggestion(name));
        }
        const bool hasValue = equals != std::string::npos;
        if (row->argument == nullptr) {
            return hasValue ? Refused("--" + name, "takes no value") : Apply(*row, {});
        }
        return hasValue ? Apply(*row, argument.substr(equals + 1)) : ApplyNext(*row);
    }

    // "-yq", "-oFILE", "-o FILE".
    std::optional<Failure> TakeLetters(const std::string& argument) {
        for (std::size_t i = 1; i < argument.size(); ++i) {
            const OptionRow* row = FindByLetter(argument[i]);
            if (row == nullptr) {
                return Refused("-" + argument.substr(i, 1), "unknown option", "see qdmix --help");
            }
            if (row->argument != nullptr) {
                return i + 1 < argument.size() ? Apply(*row, argument.substr(i + 1))
                                               : ApplyNext(*row);
            }
            if (auto failure = Apply(*row, {})) {
                return failure;
            }
        }
        return std::nullopt;
    }

    std::optional<Failure> ApplyNext(const OptionRow& row) {
        if (next == arguments.size()) {
            return Refused(std::string("--") + row.name, "its value is missing",
                           row.expects != nullptr ? row.expects : "");
        }
        return Apply(row, arguments[next++]);
    }

    std::optional<Failure> Apply(const OptionRow& row, const std::string& value) {
        const std::string name = std::string("--") + row.name;
        std::string why;
        const bool isTaken = row.take != nullptr ? row.take({line, pending, why}, value)
                                                 : FindRectSetting(row.name)->take(
                                                       pending.rects.back().first, value);
        if (!isTaken) {
            return why.empty()
                       ? Refused(name + " " + value, "the value makes no sense", row.expects)
                       : Refused(name + " " + value, std::move(why));
        }
        if (row.group == OptionGroup::kInput || row.group == OptionGroup::kRect) {
            pendingName = name;
        }
        return std::nullopt;
    }

    std::optional<Failure> CheckWhole() const {
        if (!pendingName.empty()) {
            return Refused(pendingName, "belongs to no input", "give it before its input");
        }
        if (line.inputs.empty()) {
            return Refused("no input", "nothing to mix", "see qdmix --help");
        }
        if (line.output.empty()) {
            return Refused("no output", "the mix has nowhere to go", "give -o FILE");
        }
        if (line.sheet.empty() && line.sheetMoments != CommandLine{}.sheetMoments) {
            return Refused("--moments", "there is no sheet to show them", "give --sheet FILE");
        }
        if (line.scene.empty() && line.fade != 0) {
            return Refused("--fade", "there is nothing to fade to", "give --scene NAME");
        }
        if (!line.sheet.empty() && (line.output == "-" || line.output == "window")) {
            return Refused("--sheet", "needs an output file");
        }
        return CheckMasters();
    }

    std::optional<Failure> CheckMasters() const {
        const auto isMaster = [](const InputArgument& input) { return input.options.master; };
        if (std::count_if(line.inputs.begin(), line.inputs.end(), isMaster) > 1) {
            return Refused("--master", "more than one input drives the mix");
        }
        return std::nullopt;
    }

    static const OptionRow* FindByName(std::string_view name) {
        const auto rows = OptionTable();
        const auto found = std::find_if(rows.begin(), rows.end(),
                                        [&](const OptionRow& row) { return name == row.name; });
        return found != rows.end() ? &*found : nullptr;
    }

    static const OptionRow* FindByLetter(char letter) {
        const auto rows = OptionTable();
        const auto found = std::find_if(rows.begin(), rows.end(),
                                        [&](const OptionRow& row) { return letter == row.letter; });
        return found != rows.end() ? &*found : nullptr;
    }

    static std::string Suggestion(std::string_view name) {
        for (const OptionRow& row : OptionTable()) {
            const std::string_view known = row.name;
            if (!name.empty() && (known.starts_with(name) || name.starts_with(known))) {
                return "--" + std::string(known) + " is the nearest; see qdmix --help";
            }
        }
        return "see qdmix --help";
    }

    std::span<const std::string> arguments;
    CommandLine& line;
    std::size_t next = 0;
    bool onlyInputs = false;
    InputOptions pending;
    std::string pendingName;  // the last option given for an input still to come
};

}  // namespace

std::optional<Failure> ParseCommandLine(std::span<const std::string> arguments, CommandLine& line) {
    return Parser(arguments, line).Run();
}

}  // namespace qdvm::qdmix
