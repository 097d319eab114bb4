#pragma once

// The table of forms. A primitive's entry point checks its arguments and walks the rows; the work
// on a row is done by a row operation, which exists in up to three forms: plain, SSSE3 and AVX2.
// The plain form is the reference, and every other form gives the same bytes. The table is chosen
// once, by the processor's level; a level with nothing to gain points to the forms below it.
//
// There are no forms for AVX-512: with AVX2 most rows run at the speed of memory.
//
// Row operations trust their arguments: counts are at least 1, nothing is null. They read and write
// exactly the bytes that their arguments name.

#include "pixels/primitives/region.h"

namespace qdvm {

// Order of the bytes of packed 4:2:2.
enum LumaPlace { kLumaFirst = 0, kLumaSecond = 1, kLumaPlaces = 2 };

// Copies between channel layouts, and rows turned around. n counts pixels.
struct ChannelRows {
    void (*extract4)(const Sample* src, Sample* dst, std::int32_t n);  // bytes 0, 4, 8 .. of src
    void (*set4)(Sample value, Sample* dst, std::int32_t n);           // bytes 0, 4, 8 .. of dst
    void (*dropFourth)(const Sample* src, Sample* dst, std::int32_t n);
    void (*addFourth)(const Sample* src, Sample* dst,
                      std::int32_t n);  // dst keeps its fourth bytes
    // New byte i of a group is old byte order[i]; src may be dst.
    void (*order4)(const Sample* src, Sample* dst, std::int32_t n, const std::uint8_t* order);
    // Pixels of one to four bytes. `next` is a row of as many that is read soon, for forms that can
    // have it fetched meanwhile; src for none.
    void (*mirror1)(const Sample* src, Sample* dst, std::int32_t n, const Sample* next);
    void (*mirror2)(const Sample* src, Sample* dst, std::int32_t n, const Sample* next);
    void (*mirror3)(const Sample* src, Sample* dst, std::int32_t n, const Sample* next);
    void (*mirror4)(const Sample* src, Sample* dst, std::int32_t n, const Sample* next);
    // Pairs of packed 4:2:2: both pixels change places, chroma stays where chroma is.
    void (*mirrorPairs[kLumaPlaces])(const Sample* src, Sample* dst, std::int32_t pairs,
                                     const Sample* next);
};

// Packed 4:2:2 from and to planes. `c0` takes or gives the first chroma byte of each group.
struct PackedRows {
    void (*split[kLumaPlaces])(const Sample* src, Sample* y, Sample* c0, Sample* c1,
                               std::int32_t pairs);
    void (*luma[kLumaPlaces])(const Sample* src, Sample* y, std::int32_t pairs);
    void (*pack[kLumaPlaces])(const Sample* y, const Sample* c0, const Sample* c1, Sample* dst,
                              std::int32_t pairs);
};

// Studio-range YCbCr by the coefficients of Rec. 601, from and to RGB with blue first.
struct ColourRows {
    // Packed with Cb before Cr.
    void (*packedToBgra[kLumaPlaces])(const Sample* src, Sample* dst, std::int32_t pairs,
                                      Sample fourth);
    void (*packedToBgr)(const Sample* src, Sample* dst, std::int32_t pairs);
    void (*packedToRgb565)(const Sample* src, Sample* dst, std::int32_t pairs);
    void (*packedToRgb555)(const Sample* src, Sample* dst, std::int32_t pairs);
    void (*planesToBgra)(const Sample* y, const Sample* u, const Sample* v, Sample* dst,
                         std::int32_t pairs, Sample fourth);
    void (*planesToBgr)(const Sample* y, const Sample* u, const Sample* v, Sample* dst,
                        std::int32_t pairs);
    void (*planesToRgb565)(const Sample* y, const Sample* u, const Sample* v, Sample* dst,
                           std::int32_t pairs);
    void (*planesToRgb555)(const Sample* y, const Sample* u, const Sample* v, Sample* dst,
                           std::int32_t pairs);
    void (*bgraToPacked[kLumaPlaces])(const Sample* src, Sample* dst, std::int32_t pairs);
    void (*bgrToPacked)(const Sample* src, Sample* dst, std::int32_t pairs);
    // Two rows at once; `pairs` blocks of 2 x 2 pixels.
    void (*bgraToPlanes)(const Sample* src0, const Sample* src1, Sample* y0, Sample* y1, Sample* u,
                         Sample* v, std::int32_t pairs);
    void (*bgrToPlanes)(const Sample* src0, const Sample* src1, Sample* y0, Sample* y1, Sample* u,
                        Sample* v, std::int32_t pairs);
};

// Colour spaces of keys, on pixels of four bytes; dst may be src.
struct KeySpaceRows {
    void (*bgraToHls)(const Sample* src, Sample* dst, std::int32_t n);
    void (*rgbToYuv)(const Sample* src, Sample* dst, std::int32_t n);
};

// The matrix of Rec. 709, packed in the order Cb, Y, Cr, Y. The fourth byte becomes 255.
struct Colour709Rows {
    void (*packedToBgra)(const Sample* src, Sample* dst, std::int32_t pairs);
    void (*bgraToPacked)(const Sample* src, Sample* dst, std::int32_t pairs);
};

struct FilterRows {
    // a, b and c are the rows above, at and below, from the column left of the first one.
    void (*box3)(const Sample* a, const Sample* b, const Sample* c, Sample* dst, std::int32_t n);
    void (*gauss3)(const Sample* a, const Sample* b, const Sample* c, Sample* dst, std::int32_t n);
    // Of three samples each; dst may be one of the three.
    void (*min3)(const Sample* a, const Sample* b, const Sample* c, Sample* dst, std::int32_t n);
    void (*max3)(const Sample* a, const Sample* b, const Sample* c, Sample* dst, std::int32_t n);
    void (*thresholdGreater)(Sample* row, std::int32_t n, Sample threshold, Sample value);
    void (*thresholdLess)(Sample* row, std::int32_t n, Sample threshold, Sample value);
};

// Products, sums and blends. n counts bytes, or pixels where a pixel has more than one.
struct BlendRows {
    void (*mul8)(const Sample* a, Sample* b, std::int32_t n);
    void (*mulC8)(Sample value, Sample* b, std::int32_t n);
    void (*addC)(Sample value, Sample* row, std::int32_t n);
    void (*alphaOver)(const Sample* top, const Sample* under, Sample* dst, std::int32_t n);
    void (*unpremultiply)(const Sample* src, Sample* dst, std::int32_t n);
    // src over dst, straight alpha in and out. The alphas of src count opacity / 256.
    void (*composite)(const Sample* src, Sample* dst, std::int32_t n, int opacity);
    void (*insertFourth)(const Sample* src, const Sample* plane, Sample* dst, std::int32_t n);
    // Weights a and b from 0 to 256 that sum to 256, or to 128 for packed 4:2:2.
    void (*mixConst)(const Sample* src, Sample* dst, std::int32_t n, int a, int b);
    void (*mixConstChroma)(const Sample* src, Sample* dst, std::int32_t n, int a, int b);
    void (*mixConstPacked[kLumaPlaces])(const Sample* src, Sample* dst, std::int32_t pairs, int a2,
                                        int b2);
    void (*mixPlane1)(const Sample* src, const Sample* plane, Sample* dst, std::int32_t n);
    void (*mixPlane3)(const Sample* src, const Sample* plane, Sample* dst, std::int32_t n);
    void (*mixPlane4)(const Sample* src, const Sample* plane, Sample* dst, std::int32_t n);
    void (*mixPlaneHalf)(const Sample* src, const Sample* plane, Sample* dst, std::int32_t n);
    void (*mixPlanePacked[kLumaPlaces])(const Sample* src, const Sample* plane, Sample* dst,
                                        std::int32_t pairs);
    // row = (row weight + addend) >> 8, with the addends of bytes 0, 2, 4 .. and 1, 3, 5 .. apart.
    // Those of the bytes up to a multiple of kPatternBlock may be read too.
    void (*blendPattern)(const std::uint16_t* even, const std::uint16_t* odd, Sample* row,
                         std::int32_t n, int weight);
};

// Where the samples of a run of target columns come from: `taps` neighbours, the first at `first`.
struct LinearColumns;
struct CubicColumns;

inline constexpr int kPatternBlock = 32;

inline constexpr int kPixelSizes = 3;  // of 1, 3 and 4 bytes

struct ResizeRows {
    // One source row to a row of sums; `rowBytes` bytes of it may be read.
    void (*linearAcross[kPixelSizes])(const Sample* src, std::ptrdiff_t rowBytes,
                                      const LinearColumns& columns, std::int16_t* dst);
    void (*linearDown)(const std::int16_t* above, const std::int16_t* below, int weightBelow,
                       Sample* dst, std::int32_t n);
    // The same for rows that are as wide as the target's; 0 < weightBelow < kLinearOne.
    void (*linearBetween)(const Sample* above, const Sample* below, int weightBelow, Sample* dst,
                          std::int32_t n);
    void (*cubicAcross[kPixelSizes])(const Sample* src, std::ptrdiff_t rowBytes,
                                     const CubicColumns& columns, std::int16_t* dst);
    void (*cubicDown)(const std::int16_t* const* rows, const std::int16_t* weights, Sample* dst,
                      std::int32_t n);
    // The linear kernel where it shrinks to half: means of 2 x 2 pixels.
    void (*halve[kPixelSizes])(const Sample* above, const Sample* below, Sample* dst,
                               std::int32_t n);
    // `pairs` of the target, each from two pairs of both rows.
    void (*halvePacked[kLumaPlaces])(const Sample* above, const Sample* below, Sample* dst,
                                     std::int32_t pairs);
    // And where it doubles: two target pixels between each of n pixels and its right neighbour, in
    // a line a quarter of the way from the nearer to the farther row.
    void (*twice[kPixelSizes])(const Sample* nearer, const Sample* farther, Sample* dst,
                               std::int32_t n);
};

struct KeyEllipsoid;
struct SpillMatrix;
struct SpillSteps;

// The chroma key; key.h has the arithmetic.
struct KeyRows {
    void (*distance)(const Sample* src, Sample* dst, std::int32_t n, const KeyEllipsoid& ellipsoid);
    void (*cut)(const Sample* src, Sample* dst, std::int32_t n, const KeyEllipsoid& ellipsoid,
                std::int32_t reach);
    void (*halve)(const Sample* src, Sample* dst, std::int32_t n);
    void (*spillMatrix)(Sample* packed, const Sample* amount, std::int32_t groups,
                        const SpillMatrix& matrix);
    void (*spillSteps)(Sample* packed, std::int32_t groups, const SpillSteps& steps);
};

struct WarpLine;

struct WarpRows {
    // Samples the target columns x to x + n - 1 of a line into dst.
    void (*nearest[kPixelSizes])(const WarpLine& line, std::int32_t x, std::int32_t n, Sample* dst);
    void (*linear[kPixelSizes])(const WarpLine& line, std::int32_t x, std::int32_t n, Sample* dst);
    void (*cubic[kPixelSizes])(const WarpLine& line, std::int32_t x, std::int32_t n, Sample* dst);
};

struct RowForms {
    const char* name;
    ChannelRows channels;
    PackedRows packed;
    ColourRows colour;
    Colour709Rows colour709;
    KeySpaceRows keySpaces;
    KeyRows keys;
    FilterRows filters;
    BlendRows blends;
    ResizeRows resize;
    WarpRows warp;
};

// The table in use. Decides the level on its first call.
const RowForms& Forms();

// The table of a level, 0 to 4, as this processor can run it; null if it can't.
const RowForms* FormsOfLevel(int level);

// Replaces the table in use until the next call, for tests and benchmarks. Gives the one before.
// Null goes back to the table of the decided level. No primitive may run meanwhile.
const RowForms* UseForms(const RowForms* forms);

extern const ChannelRows kChannelRowsPlain;
extern const PackedRows kPackedRowsPlain;
extern const ColourRows kColourRowsPlain;
extern const Colour709Rows kColour709RowsPlain;
extern const KeySpaceRows kKeySpaceRowsPlain;
extern const KeyRows kKeyRowsPlain;
extern const FilterRows kFilterRowsPlain;
extern const BlendRows kBlendRowsPlain;
extern const ResizeRows kResizeRowsPlain;
extern const WarpRows kWarpRowsPlain;

// Each puts what it has a better form for in place of what is there, and leaves the rest.
void UseSsse3Rows(RowForms* forms);
void UseAvx2Rows(RowForms* forms);

}  // namespace qdvm
