#include "mixer/colour_bars.h"

#include "frames/blob_holder.h"
#include "frames/format_table.h"
#include "pixels/convert_picture.h"

#include <array>
#include <cstdint>
#include <span>

namespace qdvm {
namespace {

constexpr std::int32_t kWidth = 720;
constexpr std::int32_t kHeight = 576;
constexpr std::int32_t kSecondRow = 384;
constexpr std::int32_t kThirdRow = 432;

struct Bar {
    std::int32_t width;
    std::uint32_t colour;  // 0xRRGGBB
};

// clang-format off
constexpr std::array<Bar, 7> kBars = {{
    {102, 0xC0C0C0}, {104, 0xC0C000}, {104, 0x00C0C0}, {102, 0x00C000},
    {102, 0xC000C0}, {102, 0xC00000}, {104, 0x0000C0},
}};
constexpr std::array<Bar, 7> kCounterBars = {{
    {102, 0x0000C0}, {104, 0x131313}, {104, 0xC000C0}, {102, 0x131313},
    {102, 0x00C0C0}, {102, 0x131313}, {104, 0xC0C0C0},
}};
constexpr std::array<Bar, 8> kLevels = {{
    {128, 0x00214C}, {129, 0xFFFFFF}, {129, 0x32006A}, {128, 0x131313},
    {34, 0x090909}, {34, 0x131313}, {34, 0x1D1D1D}, {104, 0x131313},
}};
// clang-format on

std::span<const Bar> BarsOfLine(std::int32_t line) {
    if (line < kSecondRow) return kBars;
    if (line < kThirdRow) return kCounterBars;
    return kLevels;
}

// RGB24, top line first.
void DrawBars(BYTE* pixel) {
    for (std::int32_t line = 0; line < kHeight; ++line) {
        for (const Bar& bar : BarsOfLine(line)) {
            for (std::int32_t x = 0; x < bar.width; ++x, pixel += 3) {
                pixel[0] = static_cast<BYTE>(bar.colour);
                pixel[1] = static_cast<BYTE>(bar.colour >> 8);
                pixel[2] = static_cast<BYTE>(bar.colour >> 16);
            }
        }
    }
}

}  // namespace

HRESULT DrawColourBars(BYTE* frame, const PIC_PROPS& props) {
    constexpr PIC_PROPS kProps = {kFccRGB24, kWidth, -kHeight, kWidth};
    CBLOBHolder<CNewAlloc> bars;
    const HRESULT result = bars.Resize(FrameBytes(kProps));
    if (Failed(result)) return result;
    DrawBars(bars.At(0));
    return ConvertPicture(bars.At(0), frame, kProps, props, false);
}

}  // namespace qdvm
