#pragma once

// What is wrong in a text that somebody wrote, and where.

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm::qdmix {

// Both count from 1; a column is a character.
struct TextPlace {
    int line = 1;
    int column = 1;

    auto operator<=>(const TextPlace&) const = default;
};

struct TextFault {
    TextPlace place;
    std::string what;  // a sentence without a full stop
};

// "FILE:LINE:COLUMN: WHAT", one line for each, in the order of their places.
std::string LinesOf(std::string_view file, std::vector<TextFault> faults);

// The candidate that somebody may have meant by a word, or nothing.
std::string_view Nearest(std::string_view word, std::span<const std::string_view> candidates);

// "; did you mean 'CANDIDATE'?", or nothing.
std::string Guess(std::string_view word, std::span<const std::string_view> candidates);

// The candidates as "a, b or c".
std::string Choice(std::span<const std::string_view> candidates);

}  // namespace qdvm::qdmix
