#pragma once

// What the row operations of resampling share: the columns of a strip of the target, and how sums
// of samples are scaled on their way from a source row to a target row.

#include "pixels/primitives/region.h"

namespace qdvm {

// Target columns done at a time; the tables and row sums of a strip stand on the stack.
inline constexpr std::int32_t kStripColumns = 1024;

// Row operations may write this many sums beyond the last one.
inline constexpr std::int32_t kSumsPadding = 32;

// The linear kernel: weights of 7 bits on either axis. A sum across a row is w0 s0 + w1 s1 +
// kLinearHalf, which fits 16 signed bits. Down, a target sample is
// (above + (((below - above) weightBelow + kLinearHalf) >> 7)) >> 7, with weightBelow below
// kLinearOne.
inline constexpr int kLinearBits = 7;
inline constexpr int kLinearOne = 1 << kLinearBits;
inline constexpr int kLinearHalf = kLinearOne / 2;

// A few neighbouring target columns find all their sources in a window of 16 bytes of the row:
// eight columns of one channel, two of more.
inline constexpr int kWindowBytes = 16;
inline constexpr int WindowColumns(int pixelBytes) { return pixelBytes == 1 ? 8 : 2; }

// The tables of so many columns go on to the next multiple of 16, repeating the last one.
inline constexpr std::int32_t FilledColumns(std::int32_t count) { return (count + 15) / 16 * 16; }

// Factors such as 2/3 come back to the same weights after a few columns.
inline constexpr std::int32_t kRepeatColumns = 4;

struct LinearColumns {
    std::int32_t count;
    std::int32_t first[kStripColumns];              // left one of the two neighbours, in pixels
    alignas(32) Sample weights[2 * kStripColumns];  // of the two neighbours
    // If hasWindows: each window's first byte in the row, and for each column and channel in turn
    // the places of the two neighbours in the window; places that lead nowhere are 128.
    bool hasWindows;
    std::int32_t windows[kStripColumns / 2];
    alignas(32) Sample places[kStripColumns / 2 * kWindowBytes];
    // So many of the columns, a multiple of kRepeatColumns, have the weights of the first
    // kRepeatColumns, all below kLinearOne, and find their neighbours at the same places of their
    // windows. For pixels of four bytes only, else 0.
    std::int32_t repeating;
};

// The cubic kernel: weights of 14 bits. Sums across a row keep 6 bits of fraction.
inline constexpr int kCubicTaps = 4;
inline constexpr int kCubicBits = 14;
inline constexpr int kCubicFraction = 6;

struct CubicColumns {
    std::int32_t count;
    std::int32_t first[kStripColumns];
    alignas(32) std::int16_t weights[kCubicTaps * kStripColumns];
};

}  // namespace qdvm
