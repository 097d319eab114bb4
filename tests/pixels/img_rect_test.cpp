#include "pixels/img_rect.h"

#include "frames/format_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

namespace qdvm {
namespace {

constexpr std::int32_t kIntMin = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kIntMax = std::numeric_limits<std::int32_t>::max();

struct Clipped {
    HRESULT result;
    ImgRect source;
    ImgRect dest;
};

Clipped Clip(const PIC_PROPS& S, const PIC_PROPS& D, const ImgRect& s, const ImgRect& d,
             bool bScaled) {
    Clipped clipped{};
    clipped.result = Img_ClipRects(S, D, &s, &d, bScaled, &clipped.source, &clipped.dest);
    return clipped;
}

const PIC_PROPS kRgb{kFccRGB32, 720, 576, 0};
const PIC_PROPS kYuv{kFccYUY2, 720, 576, 0};

TEST(ClipRects, NullIsTheWholePicture) {
    ImgRect source{};
    ImgRect dest{};
    const PIC_PROPS small{kFccRGB24, 100, -80, 128};
    EXPECT_EQ(Img_ClipRects(kRgb, small, nullptr, nullptr, true, &source, &dest), S_OK);
    EXPECT_EQ(source, (ImgRect{0, 0, 720, 576}));
    EXPECT_EQ(dest, (ImgRect{0, 0, 100, 80}));
    EXPECT_EQ(Img_ClipRects(kRgb, small, nullptr, nullptr, false, &source, &dest), S_OK);
    EXPECT_EQ(source, (ImgRect{0, 0, 100, 80}));
}

TEST(ClipRects, RefusesRectsWithoutArea) {
    const ImgRect whole{0, 0, 10, 10};
    for (const ImgRect& bad :
         {ImgRect{5, 0, 5, 10}, ImgRect{0, 6, 10, 5}, ImgRect{kIntMax, 0, kIntMin, 10}}) {
        EXPECT_EQ(Clip(kRgb, kRgb, bad, whole, true).result, E_INVALIDARG);
        EXPECT_EQ(Clip(kRgb, kRgb, whole, bad, false).result, E_INVALIDARG);
    }
}

TEST(ClipRects, CutsTheOtherRectInProportion) {
    const Clipped left = Clip(kRgb, kRgb, {0, 0, 200, 200}, {-100, 0, 300, 400}, true);
    EXPECT_EQ(left.source, (ImgRect{50, 0, 200, 200}));
    EXPECT_EQ(left.dest, (ImgRect{0, 0, 300, 400}));
    const Clipped right = Clip(kRgb, kRgb, {620, 0, 820, 100}, {0, 0, 100, 100}, true);
    EXPECT_EQ(right.source, (ImgRect{620, 0, 720, 100}));
    EXPECT_EQ(right.dest, (ImgRect{0, 0, 50, 100}));
    // 1.5 rounds up, away from zero.
    const Clipped half = Clip(kRgb, kRgb, {0, -3, 10, 7}, {0, 0, 10, 5}, true);
    EXPECT_EQ(half.dest.top, 2);
    EXPECT_EQ(half.source.top, 0);
}

TEST(ClipRects, UnscaledRectsKeepOneSize) {
    const Clipped clipped = Clip(kRgb, kRgb, {-5, -6, 100, 100}, {700, 560, 900, 900}, false);
    EXPECT_EQ(clipped.result, S_OK);
    EXPECT_EQ(clipped.source, (ImgRect{0, 0, 15, 10}));
    EXPECT_EQ(clipped.dest, (ImgRect{705, 566, 720, 576}));
}

TEST(ClipRects, WidensToPairsUnlessBothAreRgb) {
    const ImgRect odd{3, 3, 9, 9};
    EXPECT_EQ(Clip(kYuv, kYuv, odd, odd, false).dest, (ImgRect{2, 3, 10, 9}));
    EXPECT_EQ(Clip(kRgb, kYuv, odd, odd, true).source, (ImgRect{2, 3, 10, 9}));
    EXPECT_EQ(Clip(kRgb, kRgb, odd, odd, false).dest, odd);
}

TEST(ClipRects, DropsAPairThatAnOddPictureHasOnlyHalfOf) {
    const PIC_PROPS odd{kFccRGB24, 721, 576, 0};
    const PIC_PROPS wide{kFccYUY2, 722, 576, 0};
    const ImgRect all{0, 0, 722, 576};
    for (const bool bScaled : {false, true}) {
        const Clipped clipped = Clip(wide, odd, all, all, bScaled);
        EXPECT_EQ(clipped.result, S_OK);
        EXPECT_EQ(clipped.dest.right, 720);
        EXPECT_EQ(clipped.source.right, bScaled ? 722 : 720);
    }
}

TEST(ClipRects, TellsWhatIsOutside) {
    const ImgRect inside{0, 0, 20, 20};
    for (const ImgRect& outside :
         {ImgRect{-30, 0, -10, 20}, ImgRect{720, 0, 740, 20}, ImgRect{0, -30, 20, -10},
          ImgRect{0, 576, 20, 596}, ImgRect{kIntMin, 0, kIntMin + 20, 20},
          ImgRect{kIntMax - 20, kIntMax - 20, kIntMax, kIntMax}}) {
        EXPECT_EQ(Clip(kRgb, kRgb, inside, outside, true).result, S_FALSE);
        EXPECT_EQ(Clip(kRgb, kRgb, outside, inside, false).result, S_FALSE);
    }
    // Touching the edge leaves nothing, but is no miss.
    const Clipped touching = Clip(kRgb, kRgb, inside, {-20, 0, 0, 20}, false);
    EXPECT_EQ(touching.result, S_OK);
    EXPECT_TRUE(touching.dest.IsEmpty());
}

// Any rects, to the ends of 32 bits: what is left lies inside both pictures.
TEST(ClipRects, LeavesOnlyWhatIsInside) {
    std::mt19937 random(3);
    const auto edge = [&random]() -> std::int32_t {
        const auto value = static_cast<std::int32_t>(random());
        const auto kind = random() % 32;
        if (kind == 0) return kIntMin;
        if (kind == 1) return kIntMax;
        return kind == 2 ? value : value % 100;
    };
    const auto rect = [&edge] {
        const auto [left, right] = std::minmax({edge(), edge()});
        const auto [top, bottom] = std::minmax({edge(), edge()});
        return ImgRect{left, top, right, bottom};
    };
    const auto size = [&random] { return static_cast<std::int32_t>(1 + random() % 50); };
    const auto lies = [](const ImgRect& part, const PIC_PROPS& props) {
        return part.left >= 0 && part.top >= 0 && part.right <= props.nWidth &&
               part.bottom <= AbsHeight(props);
    };
    int shown = 0;
    for (int i = 0; i < 200000; ++i) {
        PIC_PROPS S{random() % 2 ? kFccRGB24 : kFccYUY2, size(), size(), 0};
        PIC_PROPS D{random() % 2 ? kFccRGB24 : kFccYUY2, size(), size(), 0};
        if (S.fccType == kFccYUY2) S.nWidth *= 2;
        if (D.fccType == kFccYUY2) D.nWidth *= 2;
        const bool bScaled = random() % 2;
        const Clipped clipped = Clip(S, D, rect(), rect(), bScaled);
        if (clipped.result != S_OK || clipped.source.IsEmpty() || clipped.dest.IsEmpty()) continue;
        ++shown;
        ASSERT_TRUE(lies(clipped.source, S) && lies(clipped.dest, D)) << i;
        if (!bScaled) {
            ASSERT_EQ(clipped.source.Width(), clipped.dest.Width()) << i;
            ASSERT_EQ(clipped.source.Height(), clipped.dest.Height()) << i;
        }
        if (S.fccType == kFccYUY2 || D.fccType == kFccYUY2) {
            ASSERT_EQ((clipped.source.left | clipped.source.right) & 1, 0) << i;
            ASSERT_EQ((clipped.dest.left | clipped.dest.right) & 1, 0) << i;
        }
    }
    EXPECT_GT(shown, 1000);
}

}  // namespace
}  // namespace qdvm
