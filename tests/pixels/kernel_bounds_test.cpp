// No kernel reads or writes outside the memory of its pictures, whatever the rects: frames lie
// against inaccessible pages.

#include "pixels/img_border.h"
#include "pixels/img_convert.h"
#include "pixels/img_convert_resize.h"
#include "pixels/img_fill.h"
#include "pixels/img_flip.h"
#include "pixels/img_mix.h"
#include "pixels/img_perspective.h"
#include "pixels/img_resize.h"
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

    double Coordinate() {
        constexpr double kOdd[] = {std::numeric_limits<double>::quiet_NaN(),
                                   std::numeric_limits<double>::infinity(), -1e300, 1e18, -0.0};
        if (Below(20) == 0) return kOdd[Below(5)];
        return Below(300) / 8.0 - 10;
    }

    std::mt19937 random{11};
    GuardedMemory sourceMemory{4096};
    GuardedMemory destMemory{4096};
    GuardedMemory planeMemory{4096};
    GuardedMemory scratchMemory{4 * 4096};
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

TEST_F(KernelBounds, OfScalingAndFlips) {
    constexpr std::int32_t kModes[] = {1, 2, 4, 8, 32, 33, 34, 5};
    for (const std::int32_t fccType : kKernelFormats)
        for (int round = 0; round < 3000; ++round) {
            const PIC_PROPS S = Picture(fccType);
            const PIC_PROPS D = Picture(fccType);
            const BYTE* const src = Place(sourceMemory, S);
            BYTE* const dst = Place(destMemory, D);
            const ImgRect rects[] = {Rect(), Rect()};
            const ImgRect* const s = Below(4) ? &rects[0] : nullptr;
            const ImgRect* const d = Below(4) ? &rects[1] : nullptr;
            const std::int32_t mode = kModes[Below(8)];
            BYTE* const scratch =
                Below(4) ? Place(scratchMemory, ResizeScratchBytes(S, D)) : nullptr;
            (void)Img_Resize(src, dst, &S, &D, s, d, mode, scratch);
            (void)Img_ResizeFields(src, dst, &S, &D, s, d, mode, scratch);
            (void)Img_ResizeOneField(src, dst, &S, &D, s, d, Below(2), mode, scratch);
            (void)Img_Flip(src, dst, &S, &D, Below(2) != 0, Below(2) != 0, s, d);
            (void)Img_FlipInPlace(dst, &D, Below(2) != 0, Below(2) != 0, d);
        }
}

TEST_F(KernelBounds, OfConversionsWithScaling) {
    for (const std::int32_t fromFcc : kKernelFormats)
        for (const std::int32_t toFcc : kKernelFormats)
            for (int round = 0; round < 300; ++round) {
                const PIC_PROPS S = Picture(fromFcc);
                const PIC_PROPS D = Picture(toFcc);
                const ImgRect s = Rect();
                const ImgRect d = Rect();
                BYTE* const scratch =
                    Below(4) ? Place(scratchMemory, ResizeScratchBytes16(S, D)) : nullptr;
                (void)Img_ConvertResize(Place(sourceMemory, S), Place(destMemory, D), &S, &D,
                                        Below(4) ? &s : nullptr, Below(4) ? &d : nullptr,
                                        Below(2) != 0, kResizeLinear, scratch);
            }
}

TEST_F(KernelBounds, OfProjections) {
    for (const std::int32_t fccType : kKernelFormats)
        for (int round = 0; round < 3000; ++round) {
            const PIC_PROPS S = Picture(fccType);
            const PIC_PROPS D = Picture(fccType);
            const ImgRect rect = Rect();
            PointD corners[4];
            if (Below(2)) {
                for (PointD& corner : corners) corner = {Coordinate(), Coordinate()};
            } else {
                (void)Img_ProjectCorners(&rect, D.nWidth, Below(5) - 2, Below(5) - 2, corners,
                                         Below(4) * 60, Below(13) * 30 - 180, Below(13) * 30 - 180);
            }
            BYTE* const scratch =
                Below(4) ? Place(scratchMemory, FrameBytes(S) + FrameBytes(D)) : nullptr;
            ImgRect bound{};
            (void)Img_Perspective(Place(sourceMemory, S), Place(destMemory, D), &S, &D, corners,
                                  Below(4) ? &rect : nullptr, &bound, Below(2) != 0, 2, scratch);
        }
}

}  // namespace
}  // namespace qdvm
