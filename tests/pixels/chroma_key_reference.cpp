#include "chroma_key_reference.h"

#include "frames/format_table.h"
#include "pixels/colour.h"
#include "pixels/primitives/colour_space.h"
#include "pixels/primitives/resize.h"

#include <algorithm>
#include <cmath>

namespace qdvm::test {

namespace {

int ByteAt(std::uint32_t word, int index) { return word >> (8 * index) & 0xff; }

std::uint32_t Swapped(std::uint32_t word) {
    return (word & 0xff00ff00u) | ByteAt(word, 0) << 16 | ByteAt(word, 2);
}

struct Picture {
    std::int32_t width;
    std::int32_t height;

    std::size_t At(int x, int y) const { return static_cast<std::size_t>(y) * width + x; }
    bool IsOutermost(int x, int y) const {
        return x == 0 || y == 0 || x == width - 1 || y == height - 1;
    }

    // Each pixel inside from its neighbourhood in row order; the outermost ones stay.
    template <class Operation>
    Bytes Filtered(const Bytes& plane, Operation operation) const {
        Bytes result = plane;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                if (IsOutermost(x, y)) continue;
                int nine[9];
                for (int i = 0; i < 9; ++i) nine[i] = plane[At(x + i % 3 - 1, y + i / 3 - 1)];
                result[At(x, y)] = static_cast<BYTE>(operation(nine));
            }
        return result;
    }
};

Bytes Smoothed(const Picture& picture, const Bytes& matte, int passes) {
    Bytes buffers[2] = {matte, matte};  // the second one starts with the outermost rows only
    int a = 0;
    for (int pass = 1; pass < passes; ++pass) {
        buffers[a] = picture.Filtered(
            buffers[a], [](const int* nine) { return *std::min_element(nine, nine + 9); });
        Bytes blurred = picture.Filtered(buffers[a], [](const int* nine) {
            int sum = 5;
            for (int i = 0; i < 9; ++i) sum += nine[i];
            return sum * 455 >> 12;
        });
        buffers[1 - a] = blurred;
        for (std::size_t i = 0; i < blurred.size(); ++i)
            buffers[1 - a][i] = std::min(buffers[1 - a][i], buffers[0][i]);
        a = 1 - a;
    }
    return picture.Filtered(buffers[a], [](const int* nine) {
        constexpr int kWeights[9] = {1, 2, 1, 2, 4, 2, 1, 2, 1};
        int v = 0;
        for (int i = 0; i < 9; ++i) v += kWeights[i] * nine[i];
        return (v + (v >> 4 & 1) + 7) >> 4;
    });
}

int Limit(long long value) { return static_cast<int>(std::clamp<long long>(value, 0, 255)); }
long long Short(long long value) { return std::clamp<long long>(value, -32768, 32767); }
int Chroma(long long difference) {
    return static_cast<int>(std::clamp<long long>(difference, -128, 127)) + 128;
}

// The four bytes of a group by the matrix.
void CorrectByMatrix(BYTE* group, int luma, int m, const ChromaKeyEntry& entry, const int* key) {
    const auto product = [](long long a, long long b) { return Short(a * b) >> 7; };
    for (int i = 0; i < 4; ++i) {
        const bool isLuma = i % 2 == luma;
        const int zero = isLuma ? 0 : 128;
        const long long u = product(
            m, Short(isLuma ? -static_cast<long long>(entry.spillChroma) / 4 : entry.spillChroma));
        const long long v =
            product(m, Short(isLuma ? entry.spillLuma : 2LL * entry.spillSaturation));
        const long long a = product(u, key[i] - zero);
        const long long b = std::max(v + 127, 0LL);
        group[i] = static_cast<BYTE>(Limit(product(group[i] - zero - a, b) + zero));
    }
}

// And by the other form.
void CorrectUv(BYTE* group, int luma, int m, const ChromaKeyEntry& entry, const int* key,
               std::uint32_t colour) {
    const bool f = ByteAt(colour, 1) > ByteAt(colour, 2);
    const long long w = 255 - m;
    for (int i = 0; i < 4; ++i) {
        long long value = group[i];
        if (i % 2 == luma) {
            const long long l = (entry.spillLuma * w) >> 6;
            const long long q = std::max(l + 255, 0LL);
            group[i] = static_cast<BYTE>(Limit(f ? value + l : (value * q + 255) >> 8));
            continue;
        }
        const bool isU = i < 2;
        if (!f)
            value = value * m >> 8;
        else
            value = isU ? 255 - ((255 - value) * m >> 8) : ((value - 128) * m >> 8) + 128;
        const long long e = (entry.spillChroma * w) >> 6;
        value = Chroma(value - 128 - (((key[i] - 128) * e + 255) >> 8));
        const long long g = entry.spillSaturation * w;
        long long t = value - 128;
        if (f) {
            const int magnitude = Limit(std::llabs(t) + (g >> 7));
            t = t < 0 ? -magnitude : magnitude;
        } else {
            t = (t * std::max((g >> 6) + 255, 0LL) + 255) >> 8;
        }
        group[i] = static_cast<BYTE>(Chroma(t));
    }
}

// The spill plane of an entry at half width.
Bytes SpillPlane(const Picture& picture, const Bytes& space, const ChromaKeyEntry& entry,
                 bool isAway) {
    std::uint32_t wide = 0;
    for (int i = 0; i < 4; ++i)
        wide |= static_cast<std::uint32_t>(Limit(static_cast<long long>(ByteAt(entry.keyDelta, i)) +
                                                 entry.spillExtraDelta))
                << (8 * i);
    Bytes plane = PlainKeyDistance(space, entry.keyColour, wide, 10);
    if (!isAway)
        for (BYTE& m : plane) m = static_cast<BYTE>(255 - m);
    for (int i = 0; i < 2; ++i)
        plane = picture.Filtered(plane,
                                 [](const int* nine) { return *std::max_element(nine, nine + 9); });
    const ImageRect whole{0, 0, picture.width, picture.height};
    const ImageRect target{0, 0, picture.width / 2, picture.height};
    std::int32_t bytes = 0;
    (void)ResizeSqrPixelBufferSize(whole, target, 1, kLinear, &bytes);
    Bytes buffer(static_cast<std::size_t>(bytes) + 1);
    Bytes half(picture.At(0, picture.height) / 2);
    (void)ResizeSqrPixel_8u_C1R(plane.data(), {picture.width, picture.height}, picture.width, whole,
                                half.data(), picture.width / 2, target, 0.5, 1.0, 0, 0, kLinear,
                                buffer.data());
    return half;
}

// The colour whose spill is removed, red lowest.
std::uint32_t SpillColour(const ChromaKeySettings& settings) {
    const std::uint32_t colour = settings.keys[0].keyColour & 0xffffff;
    Bytes bytes{static_cast<BYTE>(colour), static_cast<BYTE>(colour >> 8),
                static_cast<BYTE>(colour >> 16), 0};
    if (settings.keyType == eVMK_HLS) (void)HLSToBGRA(bytes.data(), 4, bytes.data(), 4, {1, 1});
    if (settings.keyType == eVMK_YUV) (void)YUVToRGB(bytes.data(), 4, bytes.data(), 4, {1, 1});
    const std::uint32_t word = bytes[0] | bytes[1] << 8 | bytes[2] << 16;
    return settings.keyType == eVMK_RGB ? word : Swapped(word);
}

bool TakesPart(const ChromaKeyEntry& entry, bool isUv) {
    return entry.keyDelta != 0 && (isUv || entry.spillChroma || entry.spillSaturation ||
                                   entry.spillLuma || entry.spillEnable);
}

void RemoveSpill(Bytes* frame, const FrameDesc& desc, const Picture& picture, const Bytes& space,
                 const ChromaKeySettings& settings, const std::vector<ChromaKeyEntry>& entries) {
    const bool isUv = settings.nSpillMode == eVMSM_UV;
    if (std::none_of(entries.begin(), entries.end(),
                     [=](const ChromaKeyEntry& entry) { return TakesPart(entry, isUv); }))
        return;
    const bool isPacked =
        desc.fccType == kFccYUY2 || desc.fccType == kFccUYVY || desc.fccType == kFccHDYC;
    const int luma = isPacked && desc.fccType != kFccYUY2 ? 1 : 0;
    FrameDesc own = desc;
    own.nHeight = -picture.height;
    FrameDesc yuy2 = own;
    yuy2.fccType = kFccYUY2;
    yuy2.nRowBytes = picture.width * 2;
    Bytes packed(picture.At(0, picture.height) * 2);
    if (isPacked)
        packed = *frame;
    else
        (void)CopyFrameCC(frame->data(), packed.data(), &own, &yuy2);

    const std::uint32_t colour = SpillColour(settings);
    const YuvColour yuv = RGBToYUV601(colour);
    const int y = std::clamp<int>(yuv.y, 16, 235);
    const int u = std::clamp<int>(yuv.u, 16, 240);
    const int v = std::clamp<int>(yuv.v, 16, 240);
    const int key[4] = {luma ? u : y, luma ? y : u, luma ? v : y, luma ? y : v};
    for (const ChromaKeyEntry& entry : entries) {
        if (!TakesPart(entry, isUv)) continue;
        const Bytes half =
            SpillPlane(picture, space, entry, (settings.nFlags & eVMKF_SpillAway) != 0);
        for (std::size_t i = 0; i < half.size(); ++i) {
            BYTE* const group = packed.data() + 4 * i;
            if (isUv)
                CorrectUv(group, luma, half[i], entry, key, colour);
            else
                CorrectByMatrix(group, luma, half[i], entry, key);
        }
    }
    if (isPacked)
        *frame = packed;
    else
        (void)CopyFrameCC(packed.data(), frame->data(), &yuy2, &own);
}

}  // namespace

Bytes PlainKeyDistance(const Bytes& picture, std::uint32_t colour, std::uint32_t delta,
                       std::int32_t softness) {
    double axis[3];
    double whole = 1;
    for (int j = 0; j < 3; ++j) whole *= axis[j] = std::max(ByteAt(delta, j), 1);
    whole *= whole;
    double factor = std::max(whole / 2 / 1073741822.0, 0.001);
    for (const double a : axis) factor = std::max(factor, whole / (a * a) / 16382.0);
    const long long p = std::llround(whole / factor);
    long long weight[3];
    long long ring = 0;
    for (int j = 0; j < 3; ++j) {
        weight[j] = std::llround(whole / (axis[j] * axis[j]) / factor);
        const long long outer = static_cast<long long>(axis[j]) + softness;
        ring += outer * outer * weight[j];
    }
    float gain = std::sqrt(static_cast<float>(2 * (ring / 3 - p))) / 512.0f;
    if (!(gain > 0)) gain = 0.001f;
    Bytes out(picture.size() / 4);
    for (std::size_t i = 0; i < out.size(); ++i) {
        long long e = 0;
        for (int j = 0; j < 3; ++j) {
            const int x = picture[4 * i + j] - std::clamp(ByteAt(colour, j), 1, 254);
            e += weight[j] * (x * x / 2);
        }
        const float d = static_cast<float>(e - p / 2);
        out[i] = d < 0 ? 0 : static_cast<BYTE>(std::lrint(std::min(std::sqrt(d) / gain, 255.0f)));
    }
    return out;
}

Bytes PlainChromaKey(Bytes* frame, const FrameDesc& desc, const ChromaKeySettings& settings) {
    const Picture picture{desc.nWidth, AbsHeight(desc.nHeight)};
    FrameDesc own = desc;
    own.nHeight = -picture.height;
    FrameDesc four = own;
    four.fccType = kFccRGB32;
    four.nRowBytes = picture.width * 4;
    Bytes space(picture.At(0, picture.height) * 4);
    (void)CopyFrameCC(frame->data(), space.data(), &own, &four);
    const ImageSize size{picture.width, picture.height};
    if (settings.keyType == eVMK_HLS)
        (void)BGRAToHLS(space.data(), four.nRowBytes, space.data(), four.nRowBytes, size);
    if (settings.keyType == eVMK_YUV)
        (void)RGBToYUV(space.data(), four.nRowBytes, space.data(), four.nRowBytes, size);

    std::vector<ChromaKeyEntry> entries(settings.keys, settings.keys + settings.nKeys);
    Bytes matte(space.size() / 4, 255);
    for (ChromaKeyEntry& entry : entries) {
        if (settings.keyType == eVMK_RGB) {
            entry.keyColour = Swapped(entry.keyColour);
            entry.keyDelta = Swapped(entry.keyDelta);
        }
        if (entry.keyDelta == 0 || entry.keyFloor == 255) continue;
        const Bytes plane =
            PlainKeyDistance(space, entry.keyColour, entry.keyDelta, entry.keySoftness);
        for (std::size_t i = 0; i < matte.size(); ++i)
            matte[i] = std::min(matte[i], static_cast<BYTE>(Limit(plane[i] + entry.keyFloor)));
    }
    if (settings.nSpillMode != 0) RemoveSpill(frame, desc, picture, space, settings, entries);
    for (BYTE& alpha : matte) alpha = alpha > 0 ? 255 : 0;
    if (settings.nSmooth > 0) matte = Smoothed(picture, matte, settings.nSmooth);
    if (settings.nFlags & eVMKF_Invert)
        for (BYTE& alpha : matte) alpha = static_cast<BYTE>(255 - alpha);
    if (desc.fccType == kFccARGB32)
        for (std::size_t i = 0; i < matte.size(); ++i) (*frame)[4 * i + 3] = matte[i];
    return matte;
}

}  // namespace qdvm::test
