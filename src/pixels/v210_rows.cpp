#include "pixels/v210_rows.h"

#include <cstring>

namespace qdvm {

namespace {

constexpr int kWords = 4;
constexpr int kWordSamples = 3;
constexpr int kGroupSamples = kWords * kWordSamples;
constexpr int kSampleBits = 10;
constexpr int kDroppedBits = kSampleBits - 8;

std::uint32_t LoadWord(const Sample* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

void StoreWord(std::uint32_t word, Sample* p) {
    p[0] = static_cast<Sample>(word);
    p[1] = static_cast<Sample>(word >> 8);
    p[2] = static_cast<Sample>(word >> 16);
    p[3] = static_cast<Sample>(word >> 24);
}

// The samples of a group are those of packed 4:2:2 in the order Cb, Y, Cr, Y, one after the other.
template <bool kLumaFirst>
void PackGroup(const Sample* src, Sample* dst) {
    const auto sample = [src](int i) {
        return static_cast<std::uint32_t>(src[kLumaFirst ? i ^ 1 : i]) << kDroppedBits;
    };
    for (int word = 0; word < kWords; ++word) {
        const int first = word * kWordSamples;
        StoreWord(
            sample(first) | sample(first + 1) << kSampleBits | sample(first + 2) << 2 * kSampleBits,
            dst + 4 * word);
    }
}

void UnpackGroup(const Sample* src, Sample* dst) {
    for (int word = 0; word < kWords; ++word) {
        const std::uint32_t bits = LoadWord(src + 4 * word) >> kDroppedBits;
        dst[kWordSamples * word] = static_cast<Sample>(bits);
        dst[kWordSamples * word + 1] = static_cast<Sample>(bits >> kSampleBits);
        dst[kWordSamples * word + 2] = static_cast<Sample>(bits >> 2 * kSampleBits);
    }
}

// Bytes of the row's whole pairs.
std::ptrdiff_t PairBytes(std::int32_t pixels) { return std::ptrdiff_t{pixels / 2} * 4; }

template <bool kLumaFirst>
void PackRow(const Sample* src, Sample* dst, std::int32_t pixels) {
    std::ptrdiff_t left = PairBytes(pixels);
    for (; left >= kGroupSamples; left -= kGroupSamples) {
        PackGroup<kLumaFirst>(src, dst);
        src += kGroupSamples;
        dst += kV210GroupBytes;
    }
    if (left == 0) return;
    Sample last[kGroupSamples] = {};
    std::memcpy(last, src, static_cast<std::size_t>(left));
    PackGroup<kLumaFirst>(last, dst);
}

}  // namespace

void UyvyToV210Row(const Sample* src, Sample* dst, std::int32_t pixels) {
    PackRow<false>(src, dst, pixels);
}

void Yuy2ToV210Row(const Sample* src, Sample* dst, std::int32_t pixels) {
    PackRow<true>(src, dst, pixels);
}

void V210ToUyvyRow(const Sample* src, Sample* dst, std::int32_t pixels) {
    std::ptrdiff_t left = PairBytes(pixels);
    for (; left >= kGroupSamples; left -= kGroupSamples) {
        UnpackGroup(src, dst);
        src += kV210GroupBytes;
        dst += kGroupSamples;
    }
    if (left == 0) return;
    Sample samples[kGroupSamples];
    UnpackGroup(src, samples);
    std::memcpy(dst, samples, static_cast<std::size_t>(left));
}

}  // namespace qdvm
