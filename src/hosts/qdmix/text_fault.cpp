#include "hosts/qdmix/text_fault.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace qdvm::qdmix {

namespace {

constexpr std::size_t kLongestWord = 40;

char Lower(char character) {
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
}

// Letters to change, add or leave out.
std::size_t Distance(std::string_view one, std::string_view other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < one.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < other.size(); ++j) {
            const std::size_t change = diagonal + (Lower(one[i]) != Lower(other[j]) ? 1 : 0);
            diagonal = row[j + 1];
            row[j + 1] = std::min({change, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string LinesOf(std::string_view file, std::vector<TextFault> faults) {
    std::stable_sort(faults.begin(), faults.end(),
                     [](const auto& one, const auto& other) { return one.place < other.place; });
    std::string lines;
    for (const TextFault& fault : faults) {
        lines += std::string(file) + ":" + std::to_string(fault.place.line) + ":" +
                 std::to_string(fault.place.column) + ": " + fault.what + "\n";
    }
    return lines;
}

std::string_view Nearest(std::string_view word, std::span<const std::string_view> candidates) {
    std::string_view nearest;
    if (word.empty() || word.size() > kLongestWord) {
        return nearest;
    }
    std::size_t least = std::max<std::size_t>(word.size() / 2, 1) + 1;
    for (const std::string_view candidate : candidates) {
        if (candidate.size() > kLongestWord) {
            continue;
        }
        const std::size_t distance = Distance(word, candidate);
        if (distance < least) {
            least = distance;
            nearest = candidate;
        }
    }
    return nearest;
}

std::string Guess(std::string_view word, std::span<const std::string_view> candidates) {
    const std::string_view nearest = Nearest(word, candidates);
    return nearest.empty() ? "" : "; did you mean '" + std::string(nearest) + "'?";
}

std::string Choice(std::span<const std::string_view> candidates) {
    std::string text;
    for (std::size_t i = 0; i < candidates.size(); ++i) {
        text += i == 0 ? "" : i + 1 == candidates.size() ? " or " : ", ";
        text += candidates[i];
    }
    return text;
}

}  // namespace qdvm::qdmix
