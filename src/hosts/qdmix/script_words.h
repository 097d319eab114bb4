#pragma once

// The words of one line of a cue sheet, taken one after the other.

#include "hosts/qdmix/text_fault.h"

#include <string>
#include <string_view>
#include <vector>

namespace qdvm::qdmix {

struct ScriptWord {
    std::string text;
    int column = 1;
    bool isQuoted = false;
};

class ScriptWords {
public:
    // Words stand between spaces, or between quotes of either kind. A "#" that begins the line, or
    // that a space or the end follows, begins a comment.
    ScriptWords(std::string_view line, int lineNumber, std::vector<TextFault>& theFaults);

    bool IsEmpty() const { return words.empty(); }
    bool AreLeft() const { return next < words.size(); }

    // The next word, or null and a fault that tells what was expected.
    const ScriptWord* Take(std::string_view expected);

    // Whether the next word is this one, which is then taken.
    bool TakeIf(std::string_view word);

    const ScriptWord* Peek() const { return AreLeft() ? &words[next] : nullptr; }

    // At the last word taken.
    void Fault(std::string what);
    void FaultAt(int column, std::string what);

    bool HasFault() const { return hasFault; }
    TextPlace PlaceOf(const ScriptWord& word) const { return {number, word.column}; }

private:
    std::vector<TextFault>& faults;
    std::vector<ScriptWord> words;
    std::size_t next = 0;
    int number;
    int endColumn = 1;
    bool hasFault = false;
};

}  // namespace qdvm::qdmix
