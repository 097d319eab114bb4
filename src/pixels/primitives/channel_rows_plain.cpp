#include "pixels/primitives/forms.h"

namespace qdvm {

namespace {

void Extract4(const Sample* src, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) dst[i] = src[4 * i];
}

void Set4(Sample value, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) dst[4 * i] = value;
}

void DropFourth(const Sample* src, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i)
        for (int c = 0; c < 3; ++c) dst[3 * i + c] = src[4 * i + c];
}

void AddFourth(const Sample* src, Sample* dst, std::int32_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i)
        for (int c = 0; c < 3; ++c) dst[4 * i + c] = src[3 * i + c];
}

void Order4(const Sample* src, Sample* dst, std::int32_t n, const std::uint8_t* order) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const Sample group[4] = {src[4 * i], src[4 * i + 1], src[4 * i + 2], src[4 * i + 3]};
        for (int c = 0; c < 4; ++c) dst[4 * i + c] = group[order[c]];
    }
}

template <int kBytes>
void Mirror(const Sample* src, Sample* dst, std::int32_t n, const Sample* /*next*/) {
    for (std::ptrdiff_t i = 0; i < n; ++i)
        for (int c = 0; c < kBytes; ++c) dst[kBytes * i + c] = src[kBytes * (n - 1 - i) + c];
}

template <LumaPlace kPlace>
void MirrorPairs(const Sample* src, Sample* dst, std::int32_t pairs, const Sample* /*next*/) {
    constexpr int kChroma = 1 - kPlace;
    for (std::ptrdiff_t i = 0; i < pairs; ++i) {
        const Sample* from = src + 4 * (pairs - 1 - i);
        Sample* to = dst + 4 * i;
        to[kPlace] = from[kPlace + 2];
        to[kPlace + 2] = from[kPlace];
        to[kChroma] = from[kChroma];
        to[kChroma + 2] = from[kChroma + 2];
    }
}

}  // namespace

const ChannelRows kChannelRowsPlain = {
    Extract4,   Set4,
    DropFourth, AddFourth,
    Order4,     Mirror<1>,
    Mirror<2>,  Mirror<3>,
    Mirror<4>,  {MirrorPairs<kLumaFirst>, MirrorPairs<kLumaSecond>},
};

}  // namespace qdvm
