#pragma once

// The values that options take, and how they are written.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qdvm::qdmix {

// Pixels.
struct Size {
    int width = 0;
    int height = 0;

    bool operator==(const Size&) const = default;
};

struct Point {
    int x = 0;
    int y = 0;

    bool operator==(const Point&) const = default;
};

// A rectangle of pixels, written "WxH+X+Y". A size of 0x0 stands for "as large as it is".
struct Geometry {
    Size size;
    Point at;

    bool operator==(const Geometry&) const = default;
};

// Frames in a second, as a fraction in its lowest terms; 0/1 is not known.
struct Rate {
    int num = 0;
    int den = 1;

    bool IsKnown() const { return num > 0; }
    double PerSecond() const { return static_cast<double>(num) / den; }
    bool operator==(const Rate&) const = default;
};

// Two numbers for left and right, and for up and down.
struct Pair {
    double horizontal = 0;
    double vertical = 0;

    bool operator==(const Pair&) const = default;
};

struct Border {
    int width = 0;                      // pixels, within the target; 0: none
    std::uint32_t colour = 0xFFFFFFFF;  // 0xAARRGGBB

    bool operator==(const Border&) const = default;
};

// When a change begins and how long it takes, in nanoseconds of the output.
struct Span {
    std::int64_t start = 0;
    std::int64_t take = 0;

    bool operator==(const Span&) const = default;
};

// What lies under all inputs: a colour, a picture, or neither.
struct Background {
    std::optional<std::uint32_t> colour;  // 0xAARRGGBB
    std::string picture;                  // name of a file

    bool operator==(const Background&) const = default;
};

// "WHAT@START[+TAKE]" as its two halves.
struct Timed {
    std::string_view what;
    Span span;
};

// Each reads a whole text, and gives nothing if any of it is wrong.

std::optional<int> ParseInteger(std::string_view text);
std::optional<double> ParseNumber(std::string_view text);

// "1280x720", both from 1 to 16384.
std::optional<Size> ParseSize(std::string_view text);

// "X,Y"; may be negative.
std::optional<Point> ParsePoint(std::string_view text);

// "WxH+X+Y"; X and Y may be negative ("640x360+-20+0").
std::optional<Geometry> ParseGeometry(std::string_view text);

// "25", "29.97", "30000/1001"; above 0 and up to 1000. The broadcast rates 23.976, 29.97 and 59.94
// stand for their exact fractions.
std::optional<Rate> ParseRate(std::string_view text);

// "8", "1.5", "1:30", "1:00:00" as nanoseconds; not negative.
std::optional<std::int64_t> ParseTime(std::string_view text);

// "#RRGGBB" or one of a few names as 0xAARRGGBB, opaque.
std::optional<std::uint32_t> ParseColour(std::string_view text);

// A colour, "none", or the name of a file, which doesn't begin with "#".
std::optional<Background> ParseBackground(std::string_view text);

// "X,Y", with fractions.
std::optional<Pair> ParsePair(std::string_view text);

// "WIDTH[,COLOUR[,OPACITY]]"; white and opaque without.
std::optional<Border> ParseBorder(std::string_view text);

// "WHAT@START[+TAKE]"; without "+TAKE" at once. The last "@" counts; spaces before it are left out.
std::optional<Timed> ParseTimed(std::string_view text);

std::string TextOf(Size size);
std::string TextOf(const Geometry& geometry);
std::string TextOf(Rate rate);

// Seconds with two decimals.
std::string SecondsText(std::int64_t nanoseconds);

}  // namespace qdvm::qdmix
