#include "pixels/primitives/forms.h"
#include "pixels/primitives/resize_job.h"

#include <algorithm>
#include <cstring>

namespace qdvm {

namespace {

constexpr int kMaxPixelBytes = 4;
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

// The sums of the last kRows source rows. Neighbouring rows never share a place.
template <int kRows>
class SumRows {
public:
    // Sums of a source row, made by `across` if they are not there.
    template <class Across>
    const std::int16_t* Get(std::int32_t row, Across across) {
        const int slot = row % kRows;
        if (rows[slot] != row) {
            across(row, sums[slot]);
            rows[slot] = row;
        }
        return sums[slot];
    }

    // For the next strip.
    void Forget() { std::fill(std::begin(rows), std::end(rows), -1); }

private:
    alignas(64) std::int16_t sums[kRows][kStripColumns * kMaxPixelBytes + kSumsPadding];
    std::int32_t rows[kRows];
};

bool IsHalving(const ResizeJob& job) {
    const auto halves = [](const ResizeAxis& axis) {
        return axis.Source() == 2 * std::int64_t{axis.Target()} && axis.IsSymmetric();
    };
    return halves(job.x) && halves(job.y);
}

void HalveRows(const ResizeJob& job) {
    const auto halve = Forms().resize.halve[job.pixelKind];
    for (std::int32_t row = 0; row < job.y.Target(); ++row)
        halve(job.SrcRow(2 * row), job.SrcRow(2 * row + 1), job.DstRow(row), job.x.Target());
}

bool IsDoubling(const ResizeJob& job) {
    const auto doubles = [](const ResizeAxis& axis) {
        return axis.Target() == 2 * std::int64_t{axis.Source()} && axis.IsSymmetric();
    };
    return doubles(job.x) && doubles(job.y);
}

// The outermost pixels of a doubled line, which have neighbours on one side only.
void DoubleEnds(const ResizeJob& job, const Sample* nearer, const Sample* farther, Sample* dst) {
    const std::ptrdiff_t lastFrom = std::ptrdiff_t{job.x.Source() - 1} * job.pixelBytes;
    const std::ptrdiff_t lastTo = std::ptrdiff_t{job.x.Target() - 1} * job.pixelBytes;
    for (int c = 0; c < job.pixelBytes; ++c) {
        const auto mix = [&](std::ptrdiff_t at) {
            return static_cast<Sample>((3 * nearer[at] + farther[at] + 2) >> 2);
        };
        dst[c] = mix(c);
        dst[lastTo + c] = mix(lastFrom + c);
    }
}

void DoubleRows(const ResizeJob& job) {
    const auto twice = Forms().resize.twice[job.pixelKind];
    const std::int32_t last = job.y.Source() - 1;
    for (std::int32_t row = 0; row < job.y.Target(); ++row) {
        const std::int32_t place = row / 2;
        const Sample* nearer = job.SrcRow(place);
        const Sample* farther = job.SrcRow(std::clamp(row % 2 ? place + 1 : place - 1, 0, last));
        Sample* dst = job.DstRow(row);
        DoubleEnds(job, nearer, farther, dst);
        if (job.x.Source() > 1) twice(nearer, farther, dst + job.pixelBytes, job.x.Source() - 1);
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
            const ResizeAxis::Linear tap = job.y.LinearAt(row);
            const bool isSecondAlone = tap.weightSecond == kLinearOne;
            const std::int32_t second = std::min(tap.first + 1, job.y.Source() - 1);
            const std::int16_t* above = rows.Get(isSecondAlone ? second : tap.first, across);
            const std::int16_t* below = tap.weightSecond ? rows.Get(second, across) : above;
            forms.linearDown(above, below, isSecondAlone ? 0 : tap.weightSecond,
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
