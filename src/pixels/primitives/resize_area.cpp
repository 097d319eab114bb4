#include "pixels/primitives/resize_job.h"

#include <algorithm>

namespace qdvm {

namespace {

constexpr std::int32_t kAreaColumns = 256;
constexpr int kMaxPixelBytes = 4;

// Halves go up even where a sum of parts is a hair below the half that it stands for.
constexpr double kRounding = 0.5 + 1.0 / 65536;

// The mean of one channel over the part of a row under a target column.
double MeanAcross(const Sample* row, const ResizeAxis::Area& area, int pixelBytes) {
    const std::ptrdiff_t first = std::ptrdiff_t{area.first} * pixelBytes;
    const std::ptrdiff_t last = std::ptrdiff_t{area.last} * pixelBytes;
    if (first == last) return row[first];
    std::int64_t whole = 0;
    for (std::ptrdiff_t at = first + pixelBytes; at < last; at += pixelBytes) whole += row[at];
    return (area.firstPart * row[first] + static_cast<double>(whole) + area.lastPart * row[last]) /
           area.Total();
}

struct AreaStrip {
    ResizeAxis::Area columns[kAreaColumns];
    double sums[kAreaColumns * kMaxPixelBytes];
    std::int32_t count;

    void AddRow(const Sample* row, double part, int pixelBytes) {
        for (std::int32_t i = 0; i < count; ++i)
            for (int c = 0; c < pixelBytes; ++c)
                sums[i * pixelBytes + c] += part * MeanAcross(row + c, columns[i], pixelBytes);
    }

    void Store(Sample* dst, double total, int pixelBytes) const {
        for (std::int32_t i = 0; i < count * pixelBytes; ++i)
            dst[i] = static_cast<Sample>(std::min(sums[i] / total + kRounding, 255.0));
    }
};

}  // namespace

void ResizeArea(const ResizeJob& job) {
    AreaStrip strip;
    for (std::int32_t start = 0; start < job.x.Target(); start += kAreaColumns) {
        strip.count = std::min(kAreaColumns, job.x.Target() - start);
        for (std::int32_t i = 0; i < strip.count; ++i) strip.columns[i] = job.x.AreaAt(start + i);
        for (std::int32_t row = 0; row < job.y.Target(); ++row) {
            const ResizeAxis::Area area = job.y.AreaAt(row);
            std::fill(std::begin(strip.sums), std::end(strip.sums), 0.0);
            for (std::int32_t y = area.first; y <= area.last; ++y) {
                const double part = y == area.first  ? area.firstPart
                                    : y == area.last ? area.lastPart
                                                     : 1.0;
                strip.AddRow(job.SrcRow(y), part, job.pixelBytes);
            }
            strip.Store(job.DstRow(row) + std::ptrdiff_t{start} * job.pixelBytes, area.Total(),
                        job.pixelBytes);
        }
    }
}

}  // namespace qdvm
