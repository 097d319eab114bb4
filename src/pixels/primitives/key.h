#pragma once

// The inner loops of the chroma key: how far pixels are from an ellipsoid in colour space, and the
// correction of packed 4:2:2 near a key.

#include "pixels/primitives/region.h"

namespace qdvm {

// Pixel c lies on the ellipsoid where E(c) = weights[0] h(x0) + weights[1] h(x1) + weights[2] h(x2)
// is halfP, with xj = c[j] - centre[j] and h(x) = x * x / 2, cut.
struct KeyEllipsoid {
    std::int16_t centre[3];   // 1 to 254
    std::int16_t weights[3];  // 0 to 16382
    std::int32_t halfP;       // 0 to 2^30
    float gain;               // above 0: distances are sqrt(E - halfP) / gain
    std::int32_t nearReach;   // KeyReach of level 0: below it distances are 0
    std::int32_t farReach;    // and of 254: from it on they are 255
};

// An ellipsoid with half-axes `delta` and a distance of about 255 at those half-axes plus
// `softness`. A centre is limited to 1 to 254, a half-axis of 0 counts as 1.
KeyEllipsoid MakeKeyEllipsoid(const Sample* centre, const Sample* delta, std::int32_t softness);

// The smallest E whose distance is above `level`; the largest number if there is none.
std::int32_t KeyReach(const KeyEllipsoid& ellipsoid, std::int32_t level);

// Pixels of four bytes, of which the fourth does not count, to distances: 0 inside, else
// sqrt(E - halfP) / gain in single precision to the nearest (halves to even), at most 255.
ImageStatus KeyDistance_8u_AC4C1R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                                  std::ptrdiff_t dstStride, ImageSize size,
                                  const KeyEllipsoid& ellipsoid);

// Sets the samples of dst to 0 whose pixels have E below `reach`; the others stay.
ImageStatus KeyCut_8u_AC4C1R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                             std::ptrdiff_t dstStride, ImageSize size,
                             const KeyEllipsoid& ellipsoid, std::int32_t reach);

// Means of neighbours: half as many samples, halves up. size counts samples of dst.
ImageStatus HalveAcross_8u_C1R(const Sample* src, std::ptrdiff_t srcStride, Sample* dst,
                               std::ptrdiff_t dstStride, ImageSize size);

// Per byte of a group of packed 4:2:2, in its order of memory.
struct SpillMatrix {
    std::int16_t subtract[4];  // strength of taking the key away
    std::int16_t key[4];       // the key's byte, chroma less 128
    std::int16_t scale[4];     // strength of the scaling
    std::int16_t zero[4];      // 0 for luma, 128 for chroma
};

// In place, group by group with its value m of `amount`, each byte Y:
// ((Y - zero - a) b >> 7) + zero, limited to 0 to 255, with a = (m subtract >> 7) key >> 7 and
// b = (m scale >> 7) + 127, at least 0. Products are limited to 16 bits with sign before the shift.
// size counts groups, of four bytes and one of `amount`.
ImageStatus SpillMatrix_8u_C4IR(Sample* packed, std::ptrdiff_t stride, const Sample* amount,
                                std::ptrdiff_t amountStride, ImageSize size,
                                const SpillMatrix& matrix);

// Per byte of a group of packed 4:2:2, in its order of memory.
struct SpillSteps {
    std::int16_t from[4];      // 0 to 255
    std::int16_t turn[4];      // 1 or -1
    std::int16_t scale[4];     // 0 to 256
    std::int16_t add[4];       // -512 to 512
    std::int16_t strength[4];  // -256 to 256 with isGrown, else 0 to 32767
    bool isGrown;
};

// In place, each byte Y of a group: t = turn (turn (Y - from) scale >> 8) + add, limited to -128 to
// 127. With isGrown the magnitude of t becomes |t| + strength, limited to 0 to 255, with the sign
// of t (that of 0 is plus); else t becomes (t strength + 255) >> 8. The result is t, limited to
// -128 to 127, plus 128. size counts groups of four bytes.
ImageStatus SpillSteps_8u_C4IR(Sample* packed, std::ptrdiff_t stride, ImageSize size,
                               const SpillSteps& steps);

}  // namespace qdvm
