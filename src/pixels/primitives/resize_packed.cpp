#include "pixels/primitives/checks.h"
#include "pixels/primitives/resize.h"
#include "pixels/primitives/resize_steps.h"

#include <cmath>
#include <cstring>

namespace qdvm {

namespace {

// Source pixels of a row that are split at a time.
constexpr std::int32_t kSpanPixels = 4096;

struct PackedJob {
    const Sample* src;
    std::ptrdiff_t srcStride;
    Sample* dst;
    std::ptrdiff_t dstStride;
    ResizeAxis luma;
    ResizeAxis chroma;
    ResizeAxis y;
    int lumaPlace;

    const Sample* SrcRow(std::int32_t row) const { return src + row * srcStride; }
    Sample* DstRow(std::int32_t row) const { return dst + row * dstStride; }
};

// A row, or a part of one, in three. Windows may be read that end beyond it.
template <std::int32_t kPixels>
struct SplitRow {
    alignas(64) Sample y[kPixels + kWindowBytes] = {};
    alignas(64) Sample c0[kPixels / 2 + kWindowBytes] = {};
    alignas(64) Sample c1[kPixels / 2 + kWindowBytes] = {};

    void Split(const Sample* packed, std::int32_t pairs, int lumaPlace) {
        Forms().packed.split[lumaPlace](packed, y, c0, c1, pairs);
    }
    void Pack(Sample* packed, std::int32_t pairs, int lumaPlace) const {
        Forms().packed.pack[lumaPlace](y, c0, c1, packed, pairs);
    }
};

void HalveRows(const PackedJob& job) {
    const auto halve = Forms().resize.halvePacked[job.lumaPlace];
    for (std::int32_t row = 0; row < job.y.Target(); ++row)
        halve(job.SrcRow(2 * row), job.SrcRow(2 * row + 1), job.DstRow(row), job.chroma.Target());
}

void ResizeDown(const PackedJob& job) {
    const auto between = Forms().resize.linearBetween;
    const std::int32_t bytes = 4 * job.chroma.Target();
    for (std::int32_t row = 0; row < job.y.Target(); ++row) {
        const LinearRows tap = LinearRowsAt(job.y, row);
        if (tap.weightBelow == 0)
            std::memcpy(job.DstRow(row), job.SrcRow(tap.above), static_cast<std::size_t>(bytes));
        else
            between(job.SrcRow(tap.above), job.SrcRow(tap.below), tap.weightBelow, job.DstRow(row),
                    bytes);
    }
}

void DoubleRows(const PackedJob& job) {
    const std::int32_t pairs = job.chroma.Source();
    SplitRow<kSpanPixels> rows[2];  // neighbours never share a place
    std::int32_t held[2] = {-1, -1};
    const auto get = [&](std::int32_t row) -> const SplitRow<kSpanPixels>& {
        if (held[row % 2] != row) rows[row % 2].Split(job.SrcRow(row), pairs, job.lumaPlace);
        held[row % 2] = row;
        return rows[row % 2];
    };
    SplitRow<2 * kSpanPixels> target;
    for (std::int32_t row = 0; row < job.y.Target(); ++row) {
        const NearerAndFarther place = PlaceOfDoubled(row, job.y.Source());
        const auto& nearer = get(place.nearer);
        const auto& farther = get(place.farther);
        DoubleRow(nearer.y, farther.y, target.y, 2 * pairs, 0, 1);
        DoubleRow(nearer.c0, farther.c0, target.c0, pairs, 0, 1);
        DoubleRow(nearer.c1, farther.c1, target.c1, pairs, 0, 1);
        target.Pack(job.DstRow(row), 2 * pairs, job.lumaPlace);
    }
}

// The columns of a strip of the target, and the part of the source rows that they need.
struct PackedStrip {
    LinearColumns luma;
    LinearColumns chroma;
    std::int32_t firstPair;
    std::int32_t pairs;

    void Fill(const PackedJob& job, std::int32_t start, std::int32_t count) {
        FillColumns(job.luma, start, count, 1, &luma);
        FillColumns(job.chroma, start / 2, count / 2, 1, &chroma);
        firstPair = std::min(FirstRead(luma) / 2, FirstRead(chroma));
        const std::int32_t lastPair =
            std::max((luma.first[count - 1] + 1) / 2, chroma.first[count / 2 - 1] + 1);
        pairs = std::min(lastPair + 1, job.chroma.Source()) - firstPair;
        MoveLeft(&luma, 2 * firstPair);
        MoveLeft(&chroma, firstPair);
    }

private:
    static std::int32_t FirstRead(const LinearColumns& columns) {
        return columns.hasWindows ? std::min(columns.first[0], columns.windows[0])
                                  : columns.first[0];
    }
    static void MoveLeft(LinearColumns* columns, std::int32_t distance) {
        const std::int32_t filled = FilledColumns(columns->count);
        for (std::int32_t i = 0; i < filled; ++i) columns->first[i] -= distance;
        for (std::int32_t i = 0; i < filled / WindowColumns(1); ++i)
            columns->windows[i] -= distance;
    }
};

// Where the sums of the chroma of a strip begin, behind those of luma.
constexpr std::int32_t kChromaSums[2] = {kStripColumns + kSumsPadding,
                                         kStripColumns + kStripColumns / 2 + 2 * kSumsPadding};

void ResizeStrip(const PackedJob& job, const PackedStrip& strip, std::int32_t start,
                 SumRows<2>& rows) {
    const ResizeRows& forms = Forms().resize;
    SplitRow<kSpanPixels> source;
    SplitRow<kStripColumns> target;
    const auto across = [&](std::int32_t row, std::int16_t* sums) {
        source.Split(job.SrcRow(row) + std::ptrdiff_t{strip.firstPair} * 4, strip.pairs,
                     job.lumaPlace);
        forms.linearAcross[0](source.y, sizeof(source.y), strip.luma, sums);
        forms.linearAcross[0](source.c0, sizeof(source.c0), strip.chroma, sums + kChromaSums[0]);
        forms.linearAcross[0](source.c1, sizeof(source.c1), strip.chroma, sums + kChromaSums[1]);
    };
    const std::int32_t pairs = strip.chroma.count;
    for (std::int32_t row = 0; row < job.y.Target(); ++row) {
        const LinearRows tap = LinearRowsAt(job.y, row);
        const std::int16_t* above = rows.Get(tap.above, across);
        const std::int16_t* below = tap.weightBelow ? rows.Get(tap.below, across) : above;
        const auto down = [&](std::int32_t at, Sample* to, std::int32_t n) {
            forms.linearDown(above + at, below + at, tap.weightBelow, to, n);
        };
        down(0, target.y, 2 * pairs);
        down(kChromaSums[0], target.c0, pairs);
        down(kChromaSums[1], target.c1, pairs);
        target.Pack(job.DstRow(row) + std::ptrdiff_t{start} * 2, pairs, job.lumaPlace);
    }
}

void ResizeStrips(const PackedJob& job, std::int32_t stripColumns) {
    PackedStrip strip{};
    SumRows<2> rows;
    for (std::int32_t start = 0; start < job.luma.Target(); start += stripColumns) {
        strip.Fill(job, start, std::min(stripColumns, job.luma.Target() - start));
        rows.Forget();
        ResizeStrip(job, strip, start, rows);
    }
}

// As many target columns as find their sources in a span; 0 if there are too few of them.
std::int32_t ColumnsOfSpan(double factor) {
    constexpr std::int32_t kFewest = 64;
    constexpr std::int32_t kAround = 64;  // source pixels beside the places of the columns
    const double columns = std::min<double>(kStripColumns, (kSpanPixels - kAround) * factor);
    return columns < kFewest ? 0 : static_cast<std::int32_t>(columns) & ~15;
}

ImageStatus Run(const PackedJob& job, double xFactor) {
    if (Keeps(job.luma) && Keeps(job.chroma)) {
        ResizeDown(job);
        return kImageOk;
    }
    if (Halves(job.luma) && Halves(job.chroma) && Halves(job.y)) {
        HalveRows(job);
        return kImageOk;
    }
    if (Doubles(job.luma) && Doubles(job.chroma) && Doubles(job.y) &&
        job.luma.Source() <= kSpanPixels) {
        DoubleRows(job);
        return kImageOk;
    }
    const std::int32_t columns = ColumnsOfSpan(xFactor);
    // A kernel that has more neighbours than the row has pairs.
    if (columns == 0 || job.chroma.Source() < 2) return kImageNotSupported;
    ResizeStrips(job, columns);
    return kImageOk;
}

}  // namespace

ImageStatus ResizeLinearPacked(const Sample* src, std::ptrdiff_t srcStride, ImageSize srcSize,
                               Sample* dst, std::ptrdiff_t dstStride, ImageSize dstSize,
                               double xFactor, double yFactor, PackedOrder order) {
    const ImageStatus status =
        CheckSides(dstSize, kPixelPair,
                   Side{src, srcStride, std::ptrdiff_t{srcSize.width} * 2, srcSize.height},
                   Side{dst, dstStride, std::ptrdiff_t{dstSize.width} * 2, dstSize.height});
    if (status != kImageOk) return status;
    if (!IsAtLeast(srcSize, kPixelPair)) return kImageSizeError;
    if (srcSize.width % 2 != 0 || dstSize.width % 2 != 0) return kImageSizeError;
    if (!IsFactor(xFactor) || !IsFactor(yFactor)) return kImageSizeError;
    const PackedJob job{src,
                        srcStride,
                        dst,
                        dstStride,
                        ResizeAxis(srcSize.width, dstSize.width, xFactor, 0.0),
                        ResizeAxis(srcSize.width / 2, dstSize.width / 2, xFactor, 0.0),
                        ResizeAxis(srcSize.height, dstSize.height, yFactor, 0.0),
                        static_cast<int>(order)};
    return Run(job, xFactor);
}

}  // namespace qdvm
