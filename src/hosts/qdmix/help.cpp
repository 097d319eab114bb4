#include "hosts/qdmix/help.h"

#include "hosts/qdmix/options.h"
#include "pixels/chroma_key/key_recipe.h"

#include <qdvideomixer/version.h>

#include <array>
#include <string_view>
#include <utility>
#include <vector>

namespace qdvm::qdmix {

namespace {

constexpr std::size_t kTextColumn = 32;
constexpr std::size_t kLineWidth = 100;

constexpr std::string_view kUsage = "qdmix [OPTIONS] [INPUT OPTIONS] INPUT... -o OUTPUT";
constexpr std::string_view kPurpose = "mixes videos into one picture";

struct Entry {
    std::string_view term;
    std::string_view text;
};

constexpr std::array kInputs = {
    Entry{"FILE", "a video, or a still picture, that GStreamer can decode; sound is left out"},
    Entry{"SCHEME://...", "the same from a network or another source"},
    Entry{"test:NAME", "a test picture (see --list-inputs); with ?size=WxH&rate=N after the name"},
    Entry{"camera:DEVICE", "a camera, as camera:/dev/video0; with ?size=WxH&rate=N as well"},
};

constexpr std::array kNotes = {
    Entry{"Edges", "Edges lie on even pixels: left and top are rounded up, right and bottom down."},
    Entry{"The end",
          "The mix ends when the last file has ended. Looped inputs, stills, test pictures and"
          " cameras have no end: where there is nothing else, --duration or Ctrl-C ends the mix."},
    Entry{"Ctrl-C", "The first finishes the file, the second quits and leaves none."},
    Entry{"The file",
          "The output is written under a temporary name beside its own and takes its name when it"
          " is finished."},
};

constexpr std::array kExamples = {
    Entry{"qdmix --target 0,0 a.webm --target 640,0 b.webm --size 1280x720 -o mix.webm",
          "two clips side by side"},
    Entry{"qdmix a.webm --target 320x180+16+16 --border 4 --move 928,16@2+1.5 b.webm -o m.mkv",
          "one clip small over another, with a border; it moves after two seconds"},
    Entry{"qdmix --background sky.jpg --target 640x360+320+180 --move 'turn=40,0 alpha=0.7@1+2'"
          " a.webm --size 1280x720 -o m.webm",
          "a clip over a picture; it turns and grows fainter"},
    Entry{"qdmix --scenes show.xml --script show.cue a.webm b.webm --size 1280x720 -o m.webm",
          "a show: its layouts from a document, its changes from a cue sheet"},
    Entry{"qdmix set.webm --key green,softness=2,spill=0.6 presenter.webm -o m.webm",
          "somebody before a green wall put on a set"},
    Entry{
        "qdmix 'test:smpte?size=640x360' --target 320,180 test:ball --duration 5 -o - >frames.yuv",
        "raw frames of test pictures"},
};

constexpr std::array kStatuses = {
    Entry{"0", "done"},
    Entry{"1", "failed while running"},
    Entry{"2", "the command line makes no sense"},
    Entry{"4", "an input can't be opened"},
    Entry{"5", "the output can't be written"},
    Entry{"130, 143", "finished early after a signal (INT, TERM); the file is good"},
};

constexpr std::array kGroups = {OptionGroup::kOutput, OptionGroup::kMix,   OptionGroup::kShow,
                                OptionGroup::kRect,   OptionGroup::kInput, OptionGroup::kReport,
                                OptionGroup::kGeneral};

// Terms and texts of the words of --key.
std::vector<std::pair<std::string, std::string>> KeyEntries() {
    std::vector<std::pair<std::string, std::string>> entries;
    for (const KeyWordHelp& word : KeyWords()) {
        const std::string takes = word.takes;
        entries.emplace_back(word.name, std::string(word.text) + ": " + takes);
    }
    return entries;
}

constexpr const char* kKeyTitle = "Words of --key, joined by commas; several colours by +";

std::string FormsOf(const OptionRow& row) {
    std::string forms = row.letter != 0 ? std::string("-") + row.letter + ", " : "";
    forms += std::string("--") + row.name;
    return row.argument != nullptr ? forms + " " + row.argument : forms;
}

std::string TextOf(const OptionRow& row) {
    std::string text = row.help;
    if (row.standard != nullptr) {
        text += std::string(" Default: ") + row.standard + ".";
    }
    return text;
}

// The term at the left, the text in its column, broken between words.
void AppendEntry(std::string& out, const std::string& term, std::string_view text) {
    std::string line = "  " + term;
    if (line.size() + 2 > kTextColumn) {
        out += line + "\n";
        line.clear();
    }
    line.resize(kTextColumn, ' ');
    bool isFirst = true;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(' '), text.size());
        if (!isFirst && line.size() + 1 + end > kLineWidth) {
            out += line + "\n";
            line.assign(kTextColumn, ' ');
            isFirst = true;
        }
        line += (isFirst ? "" : " ") + std::string(text.substr(0, end));
        isFirst = false;
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    out += line + "\n";
}

template <class Entries>
void AppendEntries(std::string& out, std::string_view title, const Entries& entries) {
    out += "\n" + std::string(title) + ":\n";
    for (const Entry& entry : entries) {
        AppendEntry(out, std::string(entry.term), entry.text);
    }
}

// Roff reads a line that begins with a dot as a request, and a bare dash as a hyphen.
std::string Roff(std::string_view text) {
    std::string out = text.starts_with('.') ? "\\&" : "";
    for (const char character : text) {
        if (character == '-' || character == '\\') {
            out += '\\';
        }
        out += character == '\\' ? 'e' : character;
    }
    return out;
}

void AppendRoffEntry(std::string& out, std::string_view term, std::string_view text) {
    out += ".TP\n\\fB" + Roff(term) + "\\fR\n" + Roff(text) + "\n";
}

template <class Entries>
void AppendRoffEntries(std::string& out, std::string_view title, const Entries& entries) {
    out += ".SH " + std::string(title) + "\n";
    for (const Entry& entry : entries) {
        AppendRoffEntry(out, entry.term, entry.text);
    }
}

// The words after "FILE", or all of them: file names come from the shell.
void AppendCompletionCase(std::string& out, const OptionRow& row) {
    constexpr std::string_view kFile = "FILE";
    std::string pattern = std::string("--") + row.name;
    if (row.letter != 0) {
        pattern += std::string("|-") + row.letter;
    }
    std::string_view words = row.choices != nullptr ? row.choices : "";
    const bool takesFile = words.starts_with(kFile);
    words.remove_prefix(takesFile ? kFile.size() : 0);
    std::string compgen = takesFile ? "compgen -f" : "compgen";
    if (!words.empty()) {
        compgen += " -W '" + std::string(words) + "'";
    }
    out += "        " + pattern + ")\n            ";
    out += row.choices == nullptr ? "COMPREPLY=()\n"
                                  : "mapfile -t COMPREPLY < <(" + compgen + " -- \"$current\")\n";
    out += "            return\n            ;;\n";
}

}  // namespace

std::string HelpText() {
    std::string out = "usage: " + std::string(kUsage) + "\nqdmix " + std::string(kPurpose) + ".\n";
    AppendEntries(out, "Inputs", kInputs);
    for (const OptionGroup group : kGroups) {
        out += "\n" + std::string(TitleOf(group)) + ":\n";
        for (const OptionRow& row : OptionTable()) {
            if (row.group == group) {
                AppendEntry(out, FormsOf(row), TextOf(row));
            }
        }
    }
    out += "\n" + std::string(kKeyTitle) + ":\n";
    for (const auto& [term, text] : KeyEntries()) {
        AppendEntry(out, term, text);
    }
    AppendEntries(out, "Good to know", kNotes);
    out += "\nExamples:\n";
    for (const Entry& example : kExamples) {
        out += "  " + std::string(example.term) + "\n      " + std::string(example.text) + "\n";
    }
    AppendEntries(out, "Exit status", kStatuses);
    return out;
}

std::string ManPage() {
    std::string out = ".TH QDMIX 1 \"\" \"qdmix " QDVM_VERSION_TEXT "\"\n.SH NAME\nqdmix \\- ";
    out += std::string(kPurpose) + "\n.SH SYNOPSIS\n" + Roff(kUsage) + "\n";
    AppendRoffEntries(out, "INPUTS", kInputs);
    out += ".SH OPTIONS\n";
    for (const OptionGroup group : kGroups) {
        out += ".SS " + std::string(TitleOf(group)) + "\n";
        for (const OptionRow& row : OptionTable()) {
            if (row.group == group) {
                AppendRoffEntry(out, FormsOf(row), TextOf(row));
            }
        }
    }
    out += ".SS " + std::string(kKeyTitle) + "\n";
    for (const auto& [term, text] : KeyEntries()) {
        AppendRoffEntry(out, term, text);
    }
    AppendRoffEntries(out, "NOTES", kNotes);
    AppendRoffEntries(out, "EXAMPLES", kExamples);
    AppendRoffEntries(out, "EXIT STATUS", kStatuses);
    return out;
}

std::string BashCompletion() {
    std::string out =
        "# Completion of qdmix for bash.\n"
        "_qdmix() {\n"
        "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}\n"
        // The shell takes \"--name=value\" for three words.
        "    if [[ $current == = ]]; then\n"
        "        current=\n"
        "    elif [[ $previous == = && $COMP_CWORD -gt 1 ]]; then\n"
        "        previous=${COMP_WORDS[COMP_CWORD-2]}\n"
        "    fi\n"
        "    case $previous in\n";
    std::string names;
    for (const OptionRow& row : OptionTable()) {
        if (row.argument != nullptr) {
            AppendCompletionCase(out, row);
        }
        names += (names.empty() ? "--" : " --") + std::string(row.name);
    }
    out += "    esac\n    if [[ $current == -* ]]; then\n";
    out += "        mapfile -t COMPREPLY < <(compgen -W '" + names + "' -- \"$current\")\n";
    out += "    else\n        mapfile -t COMPREPLY < <(compgen -f -- \"$current\")\n    fi\n}\n";
    out += "complete -o filenames -F _qdmix qdmix\n";
    return out;
}

}  // namespace qdvm::qdmix
