// No kernel reads or writes outside the memory of its pictures, whatever the rects: frames lie
// against inaccessible pages.

#include "pixels/img_border.h"
#include "pixels/img_convert.h"
#include "pixels/img_fill.h"
#include "pixels/img_mix.h"
#include "support/guarded_memory.h"
#include "support/test_picture.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace qdvm {
namespace {

using test::GuardedMemory;
using test::kKernelFormats;

class KernelBounds : public testing::Test {
protected:
    static constexpr std::int32_t kLargest = 17;

    std::int32_t Below(std::int32_t end) { return static_cast<std::int32_t>(random() % end); }

    PIC_PROPS Picture(std::int32_t fccType) {
        const std::int32_t step = IsRGBFormat(fccType) ? 1 : 2;
        const std::int32_t width = (Below(kLargest / step) + 1) * step;
        const std::int32_t height = Below(kLargest) + 1;
        return {fccType, width, IsRGBFormat(fccType) && Below(2) ? -height : height,
                Below(3) == 0 ? width + step * Below(3) : 0};
    }

    ImgRect Rect() {
        if (Below(8) == 0) {
            constexpr std::int32_t kEnd = std::numeric_limits<std::int32_t>::max();
            return {-kEnd - Below(2), -kEnd + Below(4), Below(2) ? kEnd : 9, kEnd - Below(3)};
        }
        const std::int32_t left = Below(30) - 10;
        const std::int32_t top = Below(30) - 10;
        return {left, top, left + Below(24) - 2, top + Below(24) - 2};
    }

    // Against the page behind or the one before.
    BYTE* Place(const GuardedMemory& memory, std::uint32_t bytes) {
        return Below(2) ? memory.Begin() : memory.End() - bytes;
    }
    BYTE* Place(const GuardedMemory& memory, const PIC_PROPS& props) {
        return Place(memory, FrameBytes(props));
    }

    std::mt19937 random{11};
    GuardedMemory sourceMemory{4096};
    GuardedMemory destMemory{4096};
    GuardedMemory planeMemory{4096};
};

TEST_F(KernelBounds, OfBlendsFillsAndBorders) {
    for (const std::int32_t fccType : kKernelFormats)
        for (int round = 0; round < 4000; ++round) {
            const PIC_PROPS S = Picture(fccType);
            const PIC_PROPS D = Picture(fccType);
            const BYTE* const src = Place(sourceMemory, S);
            BYTE* const dst = Place(destMemory, D);
            const auto planeBytes = static_cast<std::uint32_t>(RowWidth(S) * AbsHeight(S));
            const BYTE* const plane = Place(planeMemory, planeBytes);
            const ImgRect s = Rect();
            const ImgRect d = Rect();
            (void)Img_MixConst(src, dst, 77, 179, &S, &D, &s, &d);
            (void)Img_MixPlane(src, plane, dst, &S, &D, Below(2) != 0, &s, &d);
            (void)Img_FillRect(dst, &D, 0x80123456, &d, Below(2) ? 255 : 100);
            (void)Img_Border(dst, &D, 0x80123456, Below(12), &d, Below(2) ? 255 : 100);
        }
}

TEST_F(KernelBounds, OfConversions) {
    for (const std::int32_t fromFcc : kKernelFormats)
        for (const std::int32_t toFcc : kKernelFormats)
            for (int round = 0; round < 1000; ++round) {
                const PIC_PROPS S = Picture(fromFcc);
                const PIC_PROPS D = Picture(toFcc);
                const ImgRect s = Rect();
                const ImgRect d = Rect();
                (void)Img_Convert(Place(sourceMemory, S), Place(destMemory, D), &S, &D,
                                  Below(4) ? &s : nullptr, Below(4) ? &d : nullptr, Below(4) != 0);
            }
}

}  // namespace
}  // namespace qdvm
