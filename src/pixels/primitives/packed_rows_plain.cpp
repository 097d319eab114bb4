#include "pixels/primitives/forms.h"

namespace qdvm {

namespace {

template <LumaPlace kPlace>
void Luma(const Sample* src, Sample* y, std::int32_t pairs) {
    for (std::ptrdiff_t i = 0; i < 2 * std::ptrdiff_t{pairs}; ++i) y[i] = src[2 * i + kPlace];
}

template <LumaPlace kPlace>
void Split(const Sample* src, Sample* y, Sample* c0, Sample* c1, std::int32_t pairs) {
    Luma<kPlace>(src, y, pairs);
    for (std::ptrdiff_t i = 0; i < pairs; ++i) {
        c0[i] = src[4 * i + 1 - kPlace];
        c1[i] = src[4 * i + 3 - kPlace];
    }
}

template <LumaPlace kPlace>
void Pack(const Sample* y, const Sample* c0, const Sample* c1, Sample* dst, std::int32_t pairs) {
    for (std::ptrdiff_t i = 0; i < pairs; ++i) {
        dst[4 * i + kPlace] = y[2 * i];
        dst[4 * i + 2 + kPlace] = y[2 * i + 1];
        dst[4 * i + 1 - kPlace] = c0[i];
        dst[4 * i + 3 - kPlace] = c1[i];
    }
}

}  // namespace

const PackedRows kPackedRowsPlain = {
    {Split<kLumaFirst>, Split<kLumaSecond>},
    {Luma<kLumaFirst>, Luma<kLumaSecond>},
    {Pack<kLumaFirst>, Pack<kLumaSecond>},
};

}  // namespace qdvm
