#include "pixels/primitives/forms.h"

namespace qdvm {

namespace {

void Box3(const Sample* a, const Sample* b, const Sample* c, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        unsigned sum = 5;
        for (std::ptrdiff_t x = i; x < i + 3; ++x) sum += a[x] + b[x] + c[x];
        dst[i] = static_cast<Sample>((sum * 455) >> 12);
    }
}

void Gauss3(const Sample* a, const Sample* b, const Sample* c, Sample* dst, std::int32_t n) {
    const auto column = [&](std::ptrdiff_t x) { return unsigned{a[x]} + 2u * b[x] + c[x]; };
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const unsigned v = column(i) + 2 * column(i + 1) + column(i + 2);
        dst[i] = static_cast<Sample>((v + ((v >> 4) & 1) + 7) >> 4);
    }
}

Sample Smaller(Sample a, Sample b) { return a < b ? a : b; }
Sample Larger(Sample a, Sample b) { return a < b ? b : a; }

void Min3(const Sample* a, const Sample* b, const Sample* c, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) dst[i] = Smaller(Smaller(a[i], b[i]), c[i]);
}

void Max3(const Sample* a, const Sample* b, const Sample* c, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) dst[i] = Larger(Larger(a[i], b[i]), c[i]);
}

void ThresholdGreater(Sample* row, std::int32_t n, Sample threshold, Sample value) {
    for (std::ptrdiff_t i = 0; i < n; ++i)
        if (row[i] > threshold) row[i] = value;
}

void ThresholdLess(Sample* row, std::int32_t n, Sample threshold, Sample value) {
    for (std::ptrdiff_t i = 0; i < n; ++i)
        if (row[i] < threshold) row[i] = value;
}

}  // namespace

const FilterRows kFilterRowsPlain = {Box3, Gauss3, Min3, Max3, ThresholdGreater, ThresholdLess};

}  // namespace qdvm
