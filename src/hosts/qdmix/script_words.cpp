#include "hosts/qdmix/script_words.h"

#include <utility>

namespace qdvm::qdmix {

namespace {

bool IsSpace(char character) { return character == ' ' || character == '\t' || character == '\r'; }

// Characters of UTF-8 in front of a byte.
int ColumnAt(std::string_view line, std::size_t byte) {
    int column = 1;
    for (const char character : line.substr(0, byte)) {
        column += (static_cast<unsigned char>(character) & 0xC0) != 0x80 ? 1 : 0;
    }
    return column;
}

bool BeginsComment(std::string_view line, std::size_t at, bool isFirst) {
    return line[at] == '#' && (isFirst || at + 1 == line.size() || IsSpace(line[at + 1]));
}

}  // namespace

ScriptWords::ScriptWords(std::string_view line, int lineNumber, std::vector<TextFault>& theFaults)
    : faults(theFaults), number(lineNumber) {
    // Where a column is counted from the one before, a long line takes no long time.
    std::size_t counted = 0;
    int column = 1;
    const auto columnAt = [&](std::size_t byte) {
        column += ColumnAt(line.substr(counted), byte - counted) - 1;
        counted = byte;
        return column;
    };
    std::size_t at = 0;
    while (at < line.size()) {
        if (IsSpace(line[at])) {
            ++at;
            continue;
        }
        if (BeginsComment(line, at, words.empty())) {
            break;
        }
        ScriptWord word;
        word.column = columnAt(at);
        const char quote = line[at];
        word.isQuoted = quote == '"' || quote == '\'';
        std::size_t end = at;
        if (word.isQuoted) {
            end = line.find(quote, at + 1);
            if (end == std::string_view::npos) {
                FaultAt(word.column, std::string("the quote ") + quote + " is never closed");
                end = line.size();
            }
            word.text = line.substr(at + 1, end - at - 1);
            end += end < line.size() ? 1 : 0;
            if (end < line.size() && !IsSpace(line[end])) {
                FaultAt(columnAt(end), "a space is missing behind the closing quote");
            }
        } else {
            while (end < line.size() && !IsSpace(line[end])) {
                ++end;
            }
            word.text = line.substr(at, end - at);
        }
        words.push_back(std::move(word));
        at = end;
        endColumn = columnAt(end);
    }
}

const ScriptWord* ScriptWords::Take(std::string_view expected) {
    if (!AreLeft()) {
        FaultAt(endColumn, "the line ends where " + std::string(expected) + " is expected");
        return nullptr;
    }
    return &words[next++];
}

bool ScriptWords::TakeIf(std::string_view word) {
    const bool isIt = AreLeft() && !words[next].isQuoted && words[next].text == word;
    next += isIt ? 1 : 0;
    return isIt;
}

void ScriptWords::Fault(std::string what) {
    FaultAt(next > 0 ? words[next - 1].column : endColumn, std::move(what));
}

void ScriptWords::FaultAt(int column, std::string what) {
    hasFault = true;
    faults.push_back({{number, column}, std::move(what)});
}

}  // namespace qdvm::qdmix
