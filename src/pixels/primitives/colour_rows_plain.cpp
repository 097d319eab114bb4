#include "pixels/primitives/forms.h"

namespace qdvm {

namespace {

Sample Limit(int value) { return static_cast<Sample>(value < 0 ? 0 : value > 255 ? 255 : value); }

struct Rgb {
    Sample r;
    Sample g;
    Sample b;
};

Rgb ToRgb(int y, int cb, int cr) {
    return {
        Limit((76284 * y + 104595 * cr - 14608761) >> 16),
        Limit((76284 * y - 25690 * cb - 53281 * cr + 8887730) >> 16),
        Limit((76284 * y + 132186 * cb - 18140365) >> 16),
    };
}

struct StoreBgr {
    static constexpr int kBytes = 3;
    static void Put(Sample* dst, Rgb c, Sample /*fourth*/) {
        dst[0] = c.b;
        dst[1] = c.g;
        dst[2] = c.r;
    }
};

struct StoreBgra {
    static constexpr int kBytes = 4;
    static void Put(Sample* dst, Rgb c, Sample fourth) {
        StoreBgr::Put(dst, c, fourth);
        dst[3] = fourth;
    }
};

// Little-endian words, the top bits of each colour.
struct StoreRgb565 {
    static constexpr int kBytes = 2;
    static void Put(Sample* dst, Rgb c, Sample /*fourth*/) {
        dst[0] = static_cast<Sample>(c.b >> 3 | (c.g >> 2 & 7) << 5);
        dst[1] = static_cast<Sample>(c.g >> 5 | (c.r >> 3) << 3);
    }
};

struct StoreRgb555 {
    static constexpr int kBytes = 2;
    static void Put(Sample* dst, Rgb c, Sample /*fourth*/) {
        dst[0] = static_cast<Sample>(c.b >> 3 | (c.g >> 3 & 7) << 5);
        dst[1] = static_cast<Sample>(c.g >> 6 | (c.r >> 3) << 2);
    }
};

template <class Store>
void PutPair(int y0, int y1, int cb, int cr, Sample* dst, Sample fourth) {
    Store::Put(dst, ToRgb(y0, cb, cr), fourth);
    Store::Put(dst + Store::kBytes, ToRgb(y1, cb, cr), fourth);
}

template <class Store, LumaPlace kPlace>
void FromPacked(const Sample* src, Sample* dst, std::int32_t pairs, Sample fourth) {
    for (std::ptrdiff_t i = 0; i < pairs; ++i) {
        const Sample* p = src + 4 * i;
        PutPair<Store>(p[kPlace], p[2 + kPlace], p[1 - kPlace], p[3 - kPlace],
                       dst + 2 * Store::kBytes * i, fourth);
    }
}

template <class Store>
void FromPlanes(const Sample* y, const Sample* u, const Sample* v, Sample* dst, std::int32_t pairs,
                Sample fourth) {
    for (std::ptrdiff_t i = 0; i < pairs; ++i)
        PutPair<Store>(y[2 * i], y[2 * i + 1], u[i], v[i], dst + 2 * Store::kBytes * i, fourth);
}

template <class Store>
void FromYuy2(const Sample* src, Sample* dst, std::int32_t pairs) {
    FromPacked<Store, kLumaFirst>(src, dst, pairs, 0);
}

template <class Store>
void FromPlanesNoFourth(const Sample* y, const Sample* u, const Sample* v, Sample* dst,
                        std::int32_t pairs) {
    FromPlanes<Store>(y, u, v, dst, pairs, 0);
}

struct RgbSum {
    int r = 0;
    int g = 0;
    int b = 0;

    void Add(const Sample* pixel) {
        b += pixel[0];
        g += pixel[1];
        r += pixel[2];
    }
};

Sample LumaOf(const Sample* pixel) {
    return Limit((16843 * pixel[2] + 33030 * pixel[1] + 6423 * pixel[0] + 0x108000) >> 16);
}

// kShift is 17 for sums over two pixels, 18 for sums over four.
template <int kShift>
Sample CbOf(const RgbSum& s) {
    constexpr int kHalf = 1 << (kShift - 3);
    return Limit(((28770 * s.b - 19071 * s.g - 9699 * s.r + kHalf) >> kShift) + 128);
}

template <int kShift>
Sample CrOf(const RgbSum& s) {
    constexpr int kHalf = 1 << (kShift - 3);
    return Limit(((28770 * s.r - 24117 * s.g - 4653 * s.b + kHalf) >> kShift) + 128);
}

template <int kBytes, LumaPlace kPlace>
void ToPacked(const Sample* src, Sample* dst, std::int32_t pairs) {
    for (std::ptrdiff_t i = 0; i < pairs; ++i, src += 2 * kBytes, dst += 4) {
        RgbSum sum;
        sum.Add(src);
        sum.Add(src + kBytes);
        dst[kPlace] = LumaOf(src);
        dst[2 + kPlace] = LumaOf(src + kBytes);
        dst[1 - kPlace] = CbOf<17>(sum);
        dst[3 - kPlace] = CrOf<17>(sum);
    }
}

template <int kBytes>
void ToPlanes(const Sample* src0, const Sample* src1, Sample* y0, Sample* y1, Sample* u, Sample* v,
              std::int32_t pairs) {
    for (std::ptrdiff_t i = 0; i < pairs; ++i) {
        RgbSum sum;
        for (std::ptrdiff_t x = 2 * i; x < 2 * i + 2; ++x) {
            const Sample* upper = src0 + kBytes * x;
            const Sample* lower = src1 + kBytes * x;
            y0[x] = LumaOf(upper);
            y1[x] = LumaOf(lower);
            sum.Add(upper);
            sum.Add(lower);
        }
        u[i] = CbOf<18>(sum);
        v[i] = CrOf<18>(sum);
    }
}

}  // namespace

const ColourRows kColourRowsPlain = {
    {FromPacked<StoreBgra, kLumaFirst>, FromPacked<StoreBgra, kLumaSecond>},
    FromYuy2<StoreBgr>,
    FromYuy2<StoreRgb565>,
    FromYuy2<StoreRgb555>,
    FromPlanes<StoreBgra>,
    FromPlanesNoFourth<StoreBgr>,
    FromPlanesNoFourth<StoreRgb565>,
    FromPlanesNoFourth<StoreRgb555>,
    {ToPacked<4, kLumaFirst>, ToPacked<4, kLumaSecond>},
    ToPacked<3, kLumaFirst>,
    ToPlanes<4>,
    ToPlanes<3>,
};

}  // namespace qdvm
