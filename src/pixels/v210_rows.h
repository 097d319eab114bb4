#pragma once

// Rows of v210: groups of 6 pixels in four little-endian 32-bit words, three 10-bit samples in each
// from the lowest bits up, in the order Cb Y Cr, Y Cb Y, Cr Y Cb, Y Cr Y.

#include "pixels/primitives/region.h"

namespace qdvm {

inline constexpr std::int32_t kV210GroupPixels = 6;
inline constexpr std::int32_t kV210GroupBytes = 16;

constexpr std::int32_t V210Groups(std::int32_t pixels) {
    return pixels / kV210GroupPixels + (pixels % kV210GroupPixels != 0 ? 1 : 0);
}

// Packed 4:2:2 in the order Cb, Y, Cr, Y to V210Groups(pixels) groups: samples shifted left by 2.
// Pixels of the last group that the row lacks are 0; of an odd row's last pair nothing is read.
void UyvyToV210Row(const Sample* src, Sample* dst, std::int32_t pixels);

// The same for Y, Cb, Y, Cr.
void Yuy2ToV210Row(const Sample* src, Sample* dst, std::int32_t pixels);

// The pairs of the row to Cb, Y, Cr, Y: samples shifted right by 2 without rounding. Nothing is
// written for the last pixel of an odd row.
void V210ToUyvyRow(const Sample* src, Sample* dst, std::int32_t pixels);

}  // namespace qdvm
