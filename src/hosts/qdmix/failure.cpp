#include "hosts/qdmix/failure.h"

#include <cstddef>

namespace qdvm::qdmix {

namespace {

// A value that is taken for an option may be any file.
constexpr std::size_t kLongestSubject = 300;  // bytes

std::string Shortened(const std::string& text) {
    if (text.size() <= kLongestSubject) {
        return text;
    }
    std::size_t end = kLongestSubject;
    // Not within a character.
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        --end;
    }
    return text.substr(0, end) + "...";
}

bool IsControl(char character) {
    return (character >= 0 && character < ' ') || character == '\x7F';
}

}  // namespace

std::string LineOf(const Failure& failure) {
    std::string line = "qdmix";
    const std::string subject = Shortened(failure.subject);
    for (const std::string* part : {&subject, &failure.what, &failure.why}) {
        if (!part->empty()) {
            line += ": " + *part;
        }
    }
    for (char& character : line) {
        if (character == '\n' || character == '\r') {
            character = ' ';
        } else if (IsControl(character)) {
            character = '?';
        }
    }
    return line;
}

}  // namespace qdvm::qdmix
