#include "pixels/primitives/forms.h"
#include "pixels/primitives/resize_job.h"
#include "pixels/primitives/resize_steps.h"

#include <algorithm>
#include <cstring>

namespace qdvm {

namespace {

constexpr int kMaxTaps = 4;

// Rows of a region with fewer pixels than a kernel has neighbours, continued by the last pixel.
class ShortRow {
public:
    const Sample* Continue(const Sample* row, std::int32_t pixels, int pixelBytes) {
        const std::size_t given = static_cast<std::size_t>(pixels) * pixelBytes;
        std::memcpy(bytes, row, given);
        for (std::size_t i = given; i < sizeof(bytes); ++i) bytes[i] = bytes[i - pixelBytes];
        return bytes;
    }
    static constexpr std::ptrdiff_t kBytes = kMaxTaps * kMaxPixelBytes;

private:
    Sample bytes[kBytes];
};

bool IsHalving(const ResizeJob& job) { return Halves(job.x) && Halves(job.y); }

void HalveRows(const ResizeJob& job) {
    const auto halve = Forms().resize.halve[job.pixelKind];
    for (std::int32_t row = 0; row < job.y.Target(); ++row)
        halve(job.SrcRow(2 * row), job.SrcRow(2 * row + 1), job.DstRow(row), job.x.Target());
}

bool IsDoubling(const ResizeJob& job) { return Doubles(job.x) && Doubles(job.y); }

void DoubleRows(const ResizeJob& job) {
    for (std::int32_t row = 0; row < job.y.Target(); ++row) {
        const NearerAndFarther place = PlaceOfDoubled(row, job.y.Source());
        DoubleRow(job.SrcRow(place.nearer), job.SrcRow(place.farther), job.DstRow(row),
                  job.x.Source(), job.pixelKind, job.pixelBytes);
    }
}

// Rows as wide as the target's.
void ResizeDown(const ResizeJob& job) {
    const auto between = Forms().resize.linearBetween;
    const std::int32_t bytes = job.x.Target() * job.pixelBytes;
    for (std::int32_t row = 0; row < job.y.Target(); ++row) {
        const LinearRows tap = LinearRowsAt(job.y, row);
        if (tap.weightBelow == 0)
            std::memcpy(job.DstRow(row), job.SrcRow(tap.above), static_cast<std::size_t>(bytes));
        else
            between(job.SrcRow(tap.above), job.SrcRow(tap.below), tap.weightBelow, job.DstRow(row),
                    bytes);
    }
}

// Runs one strip: row by row, `across` fills sums, `down` makes target samples of them.
template <class Columns, class Operation>
auto AcrossRows(const ResizeJob& job, const Columns& columns, Operation operation, int taps,
                ShortRow& shortRow) {
    return [&job, &columns, operation, taps, &shortRow](std::int32_t row, std::int16_t* sums) {
        const std::ptrdiff_t rowBytes = std::ptrdiff_t{job.x.Source()} * job.pixelBytes;
        const Sample* src = job.SrcRow(row);
        if (job.x.Source() >= taps) {
            operation(src, rowBytes, columns, sums);
        } else {
            operation(shortRow.Continue(src, job.x.Source(), job.pixelBytes), ShortRow::kBytes,
                      columns, sums);
        }
    };
}

template <int kPixelBytes>
void PickPixels(const Sample* src, const std::int32_t* columns, std::int32_t count, Sample* dst) {
    for (std::ptrdiff_t i = 0; i < count; ++i)
        std::memcpy(dst + kPixelBytes * i, src + std::ptrdiff_t{columns[i]} * kPixelBytes,
                    kPixelBytes);
}

constexpr auto PickPixelsOf(int pixelKind) {
    constexpr decltype(&PickPixels<1>) kByKind[] = {PickPixels<1>, PickPixels<3>, PickPixels<4>};
    return kByKind[pixelKind];
}

}  // namespace

void ResizeNearest(const ResizeJob& job) {
    const auto pick = PickPixelsOf(job.pixelKind);
    std::int32_t columns[kStripColumns];
    for (std::int32_t start = 0; start < job.x.Target(); start += kStripColumns) {
        const std::int32_t count = std::min(kStripColumns, job.x.Target() - start);
        for (std::int32_t i = 0; i < count; ++i) columns[i] = job.x.Nearest(start + i);
        const std::ptrdiff_t left = std::ptrdiff_t{start} * job.pixelBytes;
        for (std::int32_t row = 0; row < job.y.Target(); ++row)
            pick(job.SrcRow(job.y.Nearest(row)), columns, count, job.DstRow(row) + left);
    }
}

void ResizeLinear(const ResizeJob& job) {
    if (IsHalving(job)) return HalveRows(job);
    if (IsDoubling(job)) return DoubleRows(job);
    if (Keeps(job.x)) return ResizeDown(job);
    const ResizeRows& forms = Forms().resize;
    LinearColumns columns;
    SumRows<2> rows;
    ShortRow shortRow;
    const auto across = AcrossRows(job, columns, forms.linearAcross[job.pixelKind], 2, shortRow);
    for (std::int32_t start = 0; start < job.x.Target(); start += kStripColumns) {
        FillColumns(job.x, start, std::min(kStripColumns, job.x.Target() - start), job.pixelBytes,
                    &columns);
        rows.Forget();
        for (std::int32_t row = 0; row < job.y.Target(); ++row) {
            const LinearRows tap = LinearRowsAt(job.y, row);
            const std::int16_t* above = rows.Get(tap.above, across);
            const std::int16_t* below = tap.weightBelow ? rows.Get(tap.below, across) : above;
            forms.linearDown(above, below, tap.weightBelow,
                             job.DstRow(row) + std::ptrdiff_t{start} * job.pixelBytes,
                             columns.count * job.pixelBytes);
        }
    }
}

void ResizeCubic(const ResizeJob& job) {
    const ResizeRows& forms = Forms().resize;
    CubicColumns columns;
    SumRows<kCubicTaps> rows;
    ShortRow shortRow;
    const auto across =
        AcrossRows(job, columns, forms.cubicAcross[job.pixelKind], kCubicTaps, shortRow);
    for (std::int32_t start = 0; start < job.x.Target(); start += kStripColumns) {
        FillColumns(job.x, start, std::min(kStripColumns, job.x.Target() - start), &columns);
        rows.Forget();
        for (std::int32_t row = 0; row < job.y.Target(); ++row) {
            const ResizeAxis::Cubic tap = job.y.CubicAt(row);
            const std::int16_t* neighbours[kCubicTaps];
            for (int i = 0; i < kCubicTaps; ++i)
                neighbours[i] = rows.Get(std::min(tap.first + i, job.y.Source() - 1), across);
            forms.cubicDown(neighbours, tap.weights.data(),
                            job.DstRow(row) + std::ptrdiff_t{start} * job.pixelBytes,
                            columns.count * job.pixelBytes);
        }
    }
}

}  // namespace qdvm
