#include "pixels/primitives/forms.h"

#include <algorithm>

namespace qdvm {

namespace {

constexpr int kOpaque = 255;

Sample TopByte(int value) { return static_cast<Sample>(std::clamp(value, 0, 65535) >> 8); }

Sample Limited(int value) { return static_cast<Sample>(std::clamp(value, 0, 255)); }

Sample Luma(const Sample* bgra) {
    return Limited((16 * bgra[0] + 157 * bgra[1] + 49 * bgra[2] + 16 * kOpaque) >> 8);
}

void PackedToBgra(const Sample* src, Sample* dst, std::int32_t pairs) {
    for (std::int32_t pair = 0; pair < pairs; ++pair, src += 4, dst += 8) {
        const int c = src[0] - 128;
        const int r = src[2] - 128;
        for (int i = 0; i < 2; ++i) {
            const int y = 298 * (src[1 + 2 * i] - 16);
            dst[4 * i] = TopByte(y + 542 * c);
            dst[4 * i + 1] = TopByte(y - 55 * c - 137 * r);
            dst[4 * i + 2] = TopByte(y + 459 * r);
            dst[4 * i + 3] = kOpaque;
        }
    }
}

void BgraToPacked(const Sample* src, Sample* dst, std::int32_t pairs) {
    for (std::int32_t pair = 0; pair < pairs; ++pair, src += 8, dst += 4) {
        const int b = src[0] + src[4];
        const int g = src[1] + src[5];
        const int r = src[2] + src[6];
        dst[0] = Limited((112 * b - 87 * g - 26 * r + 2 * 129 * kOpaque) >> 9);
        dst[1] = Luma(src);
        dst[2] = Limited((-10 * b - 102 * g + 112 * r + 2 * 129 * kOpaque) >> 9);
        dst[3] = Luma(src + 4);
    }
}

}  // namespace

const Colour709Rows kColour709RowsPlain = {PackedToBgra, BgraToPacked};

}  // namespace qdvm
