#include "hosts/qdmix/values.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <utility>

namespace qdvm::qdmix {

namespace {

constexpr int kLargestSide = 16384;
constexpr int kLargestPlace = 65536;
constexpr int kFastestRate = 1000;
constexpr double kLongestSeconds = 1e9;

template <class Number>
std::optional<Number> Parse(std::string_view text) {
    Number number{};
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || stop != end || text.empty()) {
        return std::nullopt;
    }
    return number;
}

using Halves = std::pair<std::string_view, std::string_view>;

std::optional<Halves> SplitAt(std::string_view text, char separator) {
    const std::size_t at = text.find(separator);
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    return Halves{text.substr(0, at), text.substr(at + 1)};
}

bool IsWithin(std::optional<int> number, int low, int high) {
    return number && *number >= low && *number <= high;
}

std::optional<int> ParsePlace(std::string_view text) {
    const std::optional<int> place = ParseInteger(text);
    return IsWithin(place, -kLargestPlace, kLargestPlace) ? place : std::nullopt;
}

Rate Reduced(int num, int den) {
    const int divisor = std::gcd(num, den);
    return {num / divisor, den / divisor};
}

std::optional<Rate> ParseDecimalRate(std::string_view text) {
    const std::optional<double> number = ParseNumber(text);
    if (!number || !(*number > 0) || *number > kFastestRate) {
        return std::nullopt;
    }
    for (const int whole : {24, 30, 60, 120}) {
        if (std::abs(*number - whole / 1.001) < 0.005) {
            return Rate{whole * 1000, 1001};
        }
    }
    const int thousandths = static_cast<int>(std::lround(*number * 1000));
    return thousandths > 0 ? std::optional(Reduced(thousandths, 1000)) : std::nullopt;
}

}  // namespace

std::optional<int> ParseInteger(std::string_view text) { return Parse<int>(text); }

std::optional<double> ParseNumber(std::string_view text) {
    const std::optional<double> number = Parse<double>(text);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

std::optional<Size> ParseSize(std::string_view text) {
    const auto halves = SplitAt(text, 'x');
    if (!halves) {
        return std::nullopt;
    }
    const std::optional<int> width = ParseInteger(halves->first);
    const std::optional<int> height = ParseInteger(halves->second);
    if (!IsWithin(width, 1, kLargestSide) || !IsWithin(height, 1, kLargestSide)) {
        return std::nullopt;
    }
    return Size{*width, *height};
}

std::optional<Point> ParsePoint(std::string_view text) {
    const auto halves = SplitAt(text, ',');
    if (!halves) {
        return std::nullopt;
    }
    const std::optional<int> x = ParsePlace(halves->first);
    const std::optional<int> y = ParsePlace(halves->second);
    return x && y ? std::optional(Point{*x, *y}) : std::nullopt;
}

std::optional<Geometry> ParseGeometry(std::string_view text) {
    const auto halves = SplitAt(text, '+');
    const auto places = halves ? SplitAt(halves->second, '+') : std::nullopt;
    if (!places) {
        return std::nullopt;
    }
    const std::optional<Size> size = ParseSize(halves->first);
    const std::optional<int> x = ParsePlace(places->first);
    const std::optional<int> y = ParsePlace(places->second);
    return size && x && y ? std::optional(Geometry{*size, {*x, *y}}) : std::nullopt;
}

std::optional<Rate> ParseRate(std::string_view text) {
    const auto halves = SplitAt(text, '/');
    if (!halves) {
        return ParseDecimalRate(text);
    }
    const std::optional<int> num = ParseInteger(halves->first);
    const std::optional<int> den = ParseInteger(halves->second);
    if (!num || !den || *num <= 0 || *den <= 0 || *num / *den > kFastestRate) {
        return std::nullopt;
    }
    return Reduced(*num, *den);
}

std::optional<std::int64_t> ParseTime(std::string_view text) {
    double seconds = 0;
    for (int parts = 0; parts < 2; ++parts) {
        const auto halves = SplitAt(text, ':');
        if (!halves) {
            break;
        }
        const std::optional<int> whole = ParseInteger(halves->first);
        if (!IsWithin(whole, 0, 1'000'000)) {
            return std::nullopt;
        }
        seconds = (seconds + *whole) * 60;
        text = halves->second;
    }
    const std::optional<double> rest = ParseNumber(text);
    if (!rest || *rest < 0 || std::signbit(*rest) || seconds + *rest > kLongestSeconds) {
        return std::nullopt;
    }
    return std::llround((seconds + *rest) * 1e9);
}

std::optional<std::uint32_t> ParseColour(std::string_view text) {
    struct NamedColour {
        std::string_view name;
        std::uint32_t colour;
    };
    static constexpr std::array<NamedColour, 8> kNamed = {{
        {"black", 0xFF000000},
        {"white", 0xFFFFFFFF},
        {"grey", 0xFF808080},
        {"gray", 0xFF808080},
        {"red", 0xFFFF0000},
        {"green", 0xFF00FF00},
        {"blue", 0xFF0000FF},
        {"yellow", 0xFFFFFF00},
    }};
    for (const NamedColour& named : kNamed) {
        if (text == named.name) {
            return named.colour;
        }
    }
    if (text.size() != 7 || text[0] != '#') {
        return std::nullopt;
    }
    std::uint32_t colour = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + 1, end, colour, 16);
    return error == std::errc{} && stop == end ? std::optional(0xFF000000 | colour) : std::nullopt;
}

std::optional<Background> ParseBackground(std::string_view text) {
    if (text == "none") {
        return Background{};
    }
    if (const std::optional<std::uint32_t> colour = ParseColour(text)) {
        return Background{colour, {}};
    }
    const bool isFile = !text.empty() && text[0] != '#';
    return isFile ? std::optional(Background{{}, std::string(text)}) : std::nullopt;
}

std::optional<Pair> ParsePair(std::string_view text) {
    const auto halves = SplitAt(text, ',');
    if (!halves) {
        return std::nullopt;
    }
    const std::optional<double> horizontal = ParseNumber(halves->first);
    const std::optional<double> vertical = ParseNumber(halves->second);
    return horizontal && vertical ? std::optional(Pair{*horizontal, *vertical}) : std::nullopt;
}

std::optional<Border> ParseBorder(std::string_view text) {
    const auto [widthText, rest] = SplitAt(text, ',').value_or(Halves{text, "white"});
    const auto [colourText, opacityText] = SplitAt(rest, ',').value_or(Halves{rest, "1"});
    const std::optional<int> width = ParseInteger(widthText);
    const std::optional<std::uint32_t> colour = ParseColour(colourText);
    const std::optional<double> opacity = ParseNumber(opacityText);
    if (!IsWithin(width, 0, kLargestSide) || !colour || !opacity || *opacity < 0 || *opacity > 1) {
        return std::nullopt;
    }
    const auto alpha = static_cast<std::uint32_t>(std::lround(*opacity * 255));
    return Border{*width, (*colour & 0x00FFFFFF) | alpha << 24};
}

std::optional<Timed> ParseTimed(std::string_view text) {
    const std::size_t at = text.rfind('@');
    if (at == std::string_view::npos) {
        return std::nullopt;
    }
    const std::string_view times = text.substr(at + 1);
    const auto halves = SplitAt(times, '+');
    const std::optional<std::int64_t> start = ParseTime(halves ? halves->first : times);
    const std::optional<std::int64_t> take = halves ? ParseTime(halves->second) : 0;
    if (!start || !take) {
        return std::nullopt;
    }
    const std::size_t end = text.substr(0, at).find_last_not_of(' ');
    return Timed{text.substr(0, end == std::string_view::npos ? 0 : end + 1), {*start, *take}};
}

std::string TextOf(Size size) {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

std::string TextOf(const Geometry& geometry) {
    return TextOf(geometry.size) + "+" + std::to_string(geometry.at.x) + "+" +
           std::to_string(geometry.at.y);
}

std::string TextOf(Rate rate) {
    const std::string num = std::to_string(rate.num);
    return rate.den == 1 ? num : num + "/" + std::to_string(rate.den);
}

std::string SecondsText(std::int64_t nanoseconds) {
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), "%.2f", static_cast<double>(nanoseconds) / 1e9);
    return text.data();
}

}  // namespace qdvm::qdmix
