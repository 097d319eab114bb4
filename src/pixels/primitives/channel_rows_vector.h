#pragma once

// Vector forms of the rows of channels and of packed 4:2:2. Included behind a vector_*.h.

#include "pixels/primitives/any_width.h"
#include "pixels/primitives/forms.h"

namespace qdvm {
namespace {

// Four vectors of four-byte pixels to the first byte of each.
inline V FirstBytes(const Sample* p) {
    const V low = All32(0xff);
    const V a = Narrow32(And(Load(p), low), And(Load(p + kVectorBytes), low));
    const V b =
        Narrow32(And(Load(p + 2 * kVectorBytes), low), And(Load(p + 3 * kVectorBytes), low));
    return InOrderTwice(Narrow16(a, b));
}

inline void VectorExtract4(const Sample* src, Sample* dst, std::int32_t n) {
    // The last pixel's other bytes may lie outside the region.
    AnyWidth<kVectorBytes>(
        n - 1, [](const Sample* from, Sample* to) { Store(to, FirstBytes(from)); }, In<4>{src},
        Out<1>{dst});
    dst[n - 1] = src[4 * (std::ptrdiff_t{n} - 1)];
}

inline void VectorSet4(Sample value, Sample* dst, std::int32_t n) {
    const V others = All32(static_cast<int>(0xffffff00u));
    const V set = All32(value);
    AnyWidth<kVectorBytes / 4>(
        n - 1, [=](Sample* to) { Store(to, Or(And(Load(to), others), set)); }, InOut<4>{dst});
    dst[4 * (std::ptrdiff_t{n} - 1)] = value;
}

inline void LoadFour(const Sample* p, V* quads) {
    for (int i = 0; i < 4; ++i) quads[i] = Load(p + i * kVectorBytes);
}

inline void StoreFour(Sample* p, const V* quads) {
    for (int i = 0; i < 4; ++i) Store(p + i * kVectorBytes, quads[i]);
}

inline void VectorDropFourth(const Sample* src, Sample* dst, std::int32_t n) {
    AnyWidth<kVectorBytes>(
        n,
        [](const Sample* from, Sample* to) {
            V quads[4];
            LoadFour(from, quads);
            StoreFourAsThree(to, quads);
        },
        In<4>{src}, Out<3>{dst});
}

inline void VectorAddFourth(const Sample* src, Sample* dst, std::int32_t n) {
    const V fourth = All32(static_cast<int>(0xff000000u));
    AnyWidth<kVectorBytes>(
        n,
        [=](const Sample* from, Sample* to) {
            V quads[4];
            LoadThreeAsFour(from, quads);
            for (int i = 0; i < 4; ++i)
                quads[i] = Or(quads[i], And(Load(to + i * kVectorBytes), fourth));
            StoreFour(to, quads);
        },
        In<3>{src}, InOut<4>{dst});
}

inline void VectorOrder4(const Sample* src, Sample* dst, std::int32_t n,
                         const std::uint8_t* order) {
    std::uint8_t bytes[16];
    for (int i = 0; i < 16; ++i) bytes[i] = static_cast<std::uint8_t>((i & ~3) + order[i & 3]);
    const V places = LoadLanes(bytes);
    AnyWidth<kVectorBytes / 4>(
        n, [=](const Sample* from, Sample* to) { Store(to, Shuffle8(Load(from), places)); },
        In<4>{src}, Out<4>{dst});
}

// Places that turn the units of kBytes bytes of a lane around; byte i of a unit comes from i with
// the bits of kSwap changed.
template <int kBytes, int kSwap = 0>
inline V MirrorPlaces() {
    std::uint8_t places[16];
    for (int i = 0; i < 16; ++i)
        places[i] =
            static_cast<std::uint8_t>(16 - kBytes - i / kBytes * kBytes + (i % kBytes ^ kSwap));
    return LoadLanes(places);
}

// Blocks of two vectors, a cache line where vectors are long.
template <int kBytes>
inline void MirrorUnits(const Sample* src, Sample* dst, std::int32_t n, const Sample* next,
                        V places) {
    AnyWidthMirrored<2 * kVectorBytes / kBytes, kBytes>(
        n,
        [=](const Sample* from, Sample* to) {
            const V first = Load(from);
            Store(to, Mirrored(Load(from + kVectorBytes), places));
            Store(to + kVectorBytes, Mirrored(first, places));
        },
        src, dst, next);
}

template <int kBytes>
inline void VectorMirror(const Sample* src, Sample* dst, std::int32_t n, const Sample* next) {
    MirrorUnits<kBytes>(src, dst, n, next, MirrorPlaces<kBytes>());
}

template <LumaPlace kPlace>
inline void VectorMirrorPairs(const Sample* src, Sample* dst, std::int32_t pairs,
                              const Sample* next) {
    const V isLuma = All16(kPlace == kLumaFirst ? 0x00ff : 0xff00);
    const V places = Or(And(MirrorPlaces<4, 2>(), isLuma), AndNot(isLuma, MirrorPlaces<4>()));
    MirrorUnits<4>(src, dst, pairs, next, places);
}

inline void VectorMirror3(const Sample* src, Sample* dst, std::int32_t n, const Sample* next) {
    const V places = MirrorPlaces<4>();
    AnyWidthMirrored<kVectorBytes, 3>(
        n,
        [=](const Sample* from, Sample* to) {
            V quads[4];
            LoadThreeAsFour(from, quads);
            const V turned[4] = {Mirrored(quads[3], places), Mirrored(quads[2], places),
                                 Mirrored(quads[1], places), Mirrored(quads[0], places)};
            StoreFourAsThree(to, turned);
        },
        src, dst, next);
}

// The bytes of each 16-bit word at kPlace, of two vectors.
template <int kPlace>
inline V BytesAt(V a, V b) {
    if constexpr (kPlace == 0)
        return InOrder(Narrow16(And(a, All16(0xff)), And(b, All16(0xff))));
    else
        return InOrder(Narrow16(Right16<8>(a), Right16<8>(b)));
}

template <LumaPlace kPlace>
inline void VectorSplit(const Sample* src, Sample* y, Sample* c0, Sample* c1, std::int32_t pairs) {
    AnyWidth<kVectorBytes>(
        pairs,
        [](const Sample* from, Sample* luma, Sample* first, Sample* second) {
            V words[4];
            LoadFour(from, words);
            Store(luma, BytesAt<kPlace>(words[0], words[1]));
            Store(luma + kVectorBytes, BytesAt<kPlace>(words[2], words[3]));
            const V chroma0 = BytesAt<1 - kPlace>(words[0], words[1]);
            const V chroma1 = BytesAt<1 - kPlace>(words[2], words[3]);
            Store(first, BytesAt<0>(chroma0, chroma1));
            Store(second, BytesAt<1>(chroma0, chroma1));
        },
        In<4>{src}, Out<2>{y}, Out<1>{c0}, Out<1>{c1});
}

template <LumaPlace kPlace>
inline void VectorLuma(const Sample* src, Sample* y, std::int32_t pairs) {
    AnyWidth<kVectorBytes / 2>(
        pairs,
        [](const Sample* from, Sample* luma) {
            Store(luma, BytesAt<kPlace>(Load(from), Load(from + kVectorBytes)));
        },
        In<4>{src}, Out<2>{y});
}

template <LumaPlace kPlace>
inline void StorePacked(Sample* to, V luma, V chroma) {
    V first;
    V second;
    if constexpr (kPlace == kLumaFirst)
        Zip8(luma, chroma, &first, &second);
    else
        Zip8(chroma, luma, &first, &second);
    Store(to, first);
    Store(to + kVectorBytes, second);
}

template <LumaPlace kPlace>
inline void VectorPack(const Sample* y, const Sample* c0, const Sample* c1, Sample* dst,
                       std::int32_t pairs) {
    AnyWidth<kVectorBytes>(
        pairs,
        [](const Sample* luma, const Sample* first, const Sample* second, Sample* to) {
            V chroma0;
            V chroma1;
            Zip8(Load(first), Load(second), &chroma0, &chroma1);
            StorePacked<kPlace>(to, Load(luma), chroma0);
            StorePacked<kPlace>(to + 2 * kVectorBytes, Load(luma + kVectorBytes), chroma1);
        },
        In<2>{y}, In<1>{c0}, In<1>{c1}, Out<4>{dst});
}

inline void UseVectorRows(ChannelRows* rows) {
    *rows = {VectorExtract4,   VectorSet4,
             VectorDropFourth, VectorAddFourth,
             VectorOrder4,     VectorMirror<1>,
             VectorMirror<2>,  VectorMirror3,
             VectorMirror<4>,  {VectorMirrorPairs<kLumaFirst>, VectorMirrorPairs<kLumaSecond>}};
}

inline void UseVectorRows(PackedRows* rows) {
    *rows = {{VectorSplit<kLumaFirst>, VectorSplit<kLumaSecond>},
             {VectorLuma<kLumaFirst>, VectorLuma<kLumaSecond>},
             {VectorPack<kLumaFirst>, VectorPack<kLumaSecond>}};
}

}  // namespace
}  // namespace qdvm
