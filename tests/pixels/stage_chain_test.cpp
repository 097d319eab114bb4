// Rects through all stages, seen as users see them: by what stands in the output frame.

#include "frames/format_table.h"
#include "pixels/img_rect.h"
#include "pixels/stream_mix.h"
#include "support/alloc_counter.h"
#include "support/guarded_memory.h"
#include "support/test_picture.h"

#include <qdvideomixer/trace.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <vector>

namespace qdvm::test {
namespace {

constexpr std::int32_t kMixed[] = {kFccI420, kFccYV12,  kFccYUY2,  kFccUYVY,  kFccHDYC,
                                   kFccYVYU, kFccRGB24, kFccRGB32, kFccARGB32};

struct Rgb {
    double r, g, b;
};

// A colour as the samples of a pixel tell it, and back; studio range, BT.601.
std::vector<BYTE> SamplesOf(std::int32_t fccType, Rgb c, BYTE alpha = 255) {
    const auto byte = [](double v) { return static_cast<BYTE>(std::clamp(v + 0.5, 0.0, 255.0)); };
    if (IsRGBFormat(fccType)) return {byte(c.b), byte(c.g), byte(c.r), alpha};
    const double y = 16 + (65.738 * c.r + 129.057 * c.g + 25.064 * c.b) / 256;
    return {byte(y), byte(128 + (-37.945 * c.r - 74.494 * c.g + 112.439 * c.b) / 256),
            byte(128 + (112.439 * c.r - 94.154 * c.g - 18.285 * c.b) / 256)};
}

Rgb ColourAt(const TestPicture& picture, std::int32_t x, std::int32_t y) {
    const std::vector<std::size_t> at = picture.Samples(x, y);
    const auto sample = [&](std::size_t i) { return double{1} * picture.Frame()[at[i]]; };
    if (IsRGBFormat(picture.props.fccType)) return {sample(2), sample(1), sample(0)};
    const double l = 1.164 * (sample(0) - 16);
    const double u = sample(1) - 128;
    const double v = sample(2) - 128;
    return {l + 1.596 * v, l - 0.392 * u - 0.813 * v, l + 2.017 * u};
}

constexpr Rgb kRed{200, 40, 40};
constexpr Rgb kGreen{30, 180, 60};
constexpr Rgb kBlue{40, 60, 210};
constexpr Rgb kYellow{220, 210, 30};
constexpr Rgb kGrey{100, 100, 100};

void Paint(TestPicture& picture, const std::function<Rgb(std::int32_t, std::int32_t)>& colour,
           BYTE alpha = 255) {
    for (std::int32_t y = 0; y < AbsHeight(picture.props); ++y)
        for (std::int32_t x = 0; x < picture.props.nWidth; ++x) {
            const std::vector<BYTE> samples = SamplesOf(picture.props.fccType, colour(x, y), alpha);
            const std::vector<std::size_t> at = picture.Samples(x, y);
            for (std::size_t i = 0; i < at.size(); ++i) picture.Frame()[at[i]] = samples[i];
        }
}

// Four quarters: red and green above, blue and yellow below.
Rgb Quarter(double x, double y, double width, double height) {
    if (y < height / 2) return x < width / 2 ? kRed : kGreen;
    return x < width / 2 ? kBlue : kYellow;
}

class StandStill final : public RectAnimator {
public:
    Outcome StepRect(std::size_t) override { return Outcome::kShow; }
};

class Mix {
public:
    Mix(const PIC_PROPS& in, const PIC_PROPS& output) : source(in, 1), target(output, 2) {
        stream.inputProps.picProps = in;
        out.picProps = output;
        out.eInterlace = stream.inputProps.eInterlace = eVMI_Progressive;
        PaintQuarters();
        PaintBackground();
    }

    void PaintQuarters(BYTE alpha = 255) {
        const PIC_PROPS& props = source.props;
        Paint(
            source, [&](auto x, auto y) { return Quarter(x, y, props.nWidth, AbsHeight(props)); },
            alpha);
    }
    void PaintBackground() {
        Paint(target, [](auto, auto) { return kGrey; });
    }

    MixBlock& Add(ImgRect from, ImgRect to) {
        MixBlock& rect = stream.rects.emplace_back();
        rect.current.values = {double(from.left),   double(from.top),  double(from.right),
                               double(from.bottom), double(to.left),   double(to.top),
                               double(to.right),    double(to.bottom), 1};
        return rect;
    }
    MixBlock& AddWhole(ImgRect to) {
        return Add({0, 0, source.props.nWidth, AbsHeight(source.props)}, to);
    }
    void SetMask(MixBlock& rect, std::int32_t width, std::int32_t height,
                 const std::function<int(std::int32_t, std::int32_t)>& value) {
        rect.maskProps = {kFccRGB8, width, -height, width};
        ASSERT_EQ(rect.rectMask.Resize(static_cast<std::uint32_t>(width * height)), S_OK);
        for (std::int32_t y = 0; y < height; ++y)
            for (std::int32_t x = 0; x < width; ++x)
                *rect.rectMask.At(static_cast<std::uint32_t>(y * width + x)) =
                    static_cast<BYTE>(value(x, y));
    }
    void Run() {
        StandStill animator;
        ASSERT_EQ(MixRects(stream, source.Frame(), target.Frame(), out, animator), S_OK);
    }
    void NewFrame() { stream.DropDerived(); }

    void Expect(std::int32_t x, std::int32_t y, Rgb colour, double tolerance = 9) const {
        const Rgb found = ColourAt(target, x, y);
        EXPECT_NEAR(found.r, colour.r, tolerance) << x << "," << y;
        EXPECT_NEAR(found.g, colour.g, tolerance) << x << "," << y;
        EXPECT_NEAR(found.b, colour.b, tolerance) << x << "," << y;
    }

    StreamPixels stream;
    VM_VIDEO_PROPS out{};
    TestPicture source;
    TestPicture target;
};

Rgb Blend(Rgb a, Rgb b, double part) {
    return {a.r * part + b.r * (1 - part), a.g * part + b.g * (1 - part),
            a.b * part + b.b * (1 - part)};
}

std::vector<PIC_PROPS> PicturesOf(std::int32_t fccType, std::int32_t width, std::int32_t height) {
    if (!IsRGBFormat(fccType)) return {{fccType, width, height, width + 8}};
    return {{fccType, width, height, width + 3}, {fccType, width, -height, 0}};
}

struct Pair {
    PIC_PROPS in;
    PIC_PROPS out;
};

std::vector<Pair> AllPairs() {
    std::vector<Pair> pairs;
    for (const std::int32_t from : kMixed)
        for (const std::int32_t to : kMixed)
            for (const PIC_PROPS& in : PicturesOf(from, 48, 32))
                for (const PIC_PROPS& out : PicturesOf(to, 96, 64)) pairs.push_back({in, out});
    return pairs;
}

// The same colours stand at the same places whatever goes in and comes out, placed, scaled, flipped
// and seen through opacity.
TEST(StageChain, ShowsTheSameInEveryFormat) {
    for (const Pair& pair : AllPairs()) {
        SCOPED_TRACE(testing::Message()
                     << std::hex << pair.in.fccType << " " << std::dec << pair.in.nHeight << " to "
                     << std::hex << pair.out.fccType << " " << std::dec << pair.out.nHeight);
        for (const bool scales : {false, true})
            for (const std::int32_t process : {0, 2, 4, 6})
                for (const double alpha : {1.0, 0.5}) {
                    Mix mix(pair.in, pair.out);
                    const ImgRect to = scales ? ImgRect{8, 6, 80, 54} : ImgRect{8, 6, 56, 38};
                    MixBlock& rect = mix.AddWhole(to);
                    rect.current.eProcess = process;
                    rect.current[kAlpha] = alpha;
                    for (int i = 0; i < 2; ++i) {
                        mix.PaintBackground();
                        mix.Run();
                        if (testing::Test::HasFatalFailure()) return;
                        const double w = static_cast<double>(to.Width());
                        const double h = static_cast<double>(to.Height());
                        for (const double fx : {0.2, 0.8})
                            for (const double fy : {0.2, 0.8}) {
                                const double sx = process & eVMP_FlipHorz ? 1 - fx : fx;
                                const double sy = process & eVMP_FlipVert ? 1 - fy : fy;
                                mix.Expect(to.left + static_cast<int>(fx * w),
                                           to.top + static_cast<int>(fy * h),
                                           Blend(Quarter(sx, sy, 1, 1), kGrey, alpha));
                            }
                        mix.Expect(2, 2, kGrey);
                        mix.Expect(90, 58, kGrey);
                    }
                    if (testing::Test::HasFailure()) return;
                }
    }
}

TEST(StageChain, CombinesMaskOpacityAndTheStreamsAlpha) {
    for (const std::int32_t fccType : kMixed)
        for (const PIC_PROPS& out : PicturesOf(fccType, 96, 64))
            for (const std::int32_t height : {32, -32})
                for (const bool scales : {false, true})
                    for (const bool flips : {false, true}) {
                        SCOPED_TRACE(testing::Message() << std::hex << fccType << std::dec << " "
                                                        << height << scales << flips);
                        Mix mix({kFccARGB32, 48, height, 51}, out);
                        mix.PaintQuarters(128);
                        const ImgRect to = scales ? ImgRect{8, 6, 80, 54} : ImgRect{8, 6, 56, 38};
                        MixBlock& rect = mix.AddWhole(to);
                        rect.current[kAlpha] = 0.8;
                        rect.current.eProcess = flips ? eVMP_FlipHorz : 0;
                        // Seen above, not below.
                        mix.SetMask(rect, 4, 4, [](auto, auto y) { return y < 2 ? 255 : 0; });
                        const int top = to.top + static_cast<int>(to.Height()) / 5;
                        const int low = to.top + static_cast<int>(to.Height()) * 4 / 5;
                        for (int i = 0; i < 3; ++i) {
                            mix.PaintBackground();
                            mix.Run();
                            mix.Expect(to.left + 6, top, Blend(flips ? kGreen : kRed, kGrey, 0.4));
                            mix.Expect(to.left + 6, low, kGrey);
                            if (i == 1) mix.NewFrame();
                        }
                        if (testing::Test::HasFailure()) return;
                    }
}

TEST(StageChain, RectsOfOneStreamDoNotDisturbEachOther) {
    const auto fill = [](Mix& mix, bool reversed) {
        std::vector<std::function<void()>> adders = {
            [&] {
                MixBlock& rect = mix.AddWhole({0, 0, 40, 30});
                rect.current[kViewAngle] = 30;
                rect.current[kVertAngle] = 25;
                rect.current[kAlpha] = 0.7;
                rect.current.nBorderWidth = 2;
                rect.current[kBorderAlpha] = 255;
                (void)UpdateProjection(rect, mix.stream.inputProps, mix.out);
            },
            [&] {
                mix.AddWhole({48, 0, 90, 30}).current.eProcess = eVMP_FlipHorz;
            },
            [&] {
                mix.AddWhole({0, 32, 48, 64}).current.eProcess = eVMP_FlipVert;
            },
            [&] {
                mix.AddWhole({48, 32, 96, 64});
            },
        };
        if (reversed) std::reverse(adders.begin(), adders.end());
        for (const auto& add : adders) add();
    };
    for (const PIC_PROPS& in : {PIC_PROPS{kFccARGB32, 48, 32, 0}, PIC_PROPS{kFccYUY2, 48, 32, 0}})
        for (const std::int32_t to : {kFccARGB32, kFccI420, kFccUYVY}) {
            const PIC_PROPS out{to, 96, 64, 0};
            Mix one(in, out);
            Mix other(in, out);
            const TestPicture frame = one.source;
            fill(one, false);
            fill(other, true);
            for (int i = 0; i < 3; ++i) {
                one.PaintBackground();
                other.PaintBackground();
                one.Run();
                other.Run();
                ASSERT_EQ(one.target.memory.size(), other.target.memory.size());
                for (std::int32_t y = 0; y < 64; ++y)
                    for (std::int32_t x = 0; x < 96; ++x)
                        for (const std::size_t at : one.target.Samples(x, y))
                            ASSERT_EQ(one.target.Frame()[at], other.target.Frame()[at])
                                << x << "," << y << " mix " << i;
            }
            EXPECT_EQ(one.source.memory, frame.memory) << "the stream's frame is only read";
        }
}

TEST(StageChain, PreparedAheadIsTheSameBitForBit) {
    for (const Pair& pair : AllPairs()) {
        if (pair.in.nHeight < 0 && pair.out.nHeight < 0) continue;
        Mix plain(pair.in, pair.out);
        Mix prepared(pair.in, pair.out);
        for (Mix* mix : {&plain, &prepared}) {
            mix->AddWhole({8, 6, 80, 54}).current.eProcess = eVMP_FlipVert;
            mix->AddWhole({30, 20, 78, 52}).current[kAlpha] = 0.3;
        }
        (void)PrepareStream(prepared.stream, prepared.source.Frame(), prepared.out, false);
        plain.Run();
        prepared.Run();
        ASSERT_TRUE(std::equal(plain.target.Frame(), plain.target.Frame() + FrameBytes(pair.out),
                               prepared.target.Frame()));
    }
}

TEST(StageChain, PreparedAheadIsTheSameWithFieldsAndAlpha) {
    constexpr eVM_Interlace kOrders[] = {eVMI_Progressive, eVMI_Field1First, eVMI_Field2First};
    for (const std::int32_t from : {kFccARGB32, kFccYUY2, kFccI420})
        for (const std::int32_t to : {kFccARGB32, kFccRGB32, kFccUYVY})
            for (const eVM_Interlace in : kOrders)
                for (const eVM_Interlace out : kOrders) {
                    Mix plain({from, 48, 32, 0}, {to, 96, 64, 0});
                    Mix prepared({from, 48, 32, 0}, {to, 96, 64, 0});
                    for (Mix* mix : {&plain, &prepared}) {
                        mix->stream.inputProps.eInterlace = in;
                        mix->out.eInterlace = out;
                        mix->PaintQuarters(90);
                        mix->AddWhole({0, 0, 48, 32}).current[kAlpha] = 0.6;
                        mix->AddWhole({8, 6, 80, 54}).current.eProcess = eVMP_FlipHorz;
                        mix->SetMask(mix->AddWhole({0, 32, 96, 64}), 4, 4,
                                     [](auto x, auto y) { return 60 * x + y; });
                    }
                    // The second time as a frame that is shown again, one field of it.
                    for (const std::int32_t fieldPass : {0, in == eVMI_Progressive ? 0 : 2}) {
                        for (Mix* mix : {&plain, &prepared}) {
                            mix->stream.fieldPass = fieldPass;
                            mix->NewFrame();
                        }
                        (void)PrepareStream(prepared.stream, prepared.source.Frame(), prepared.out,
                                            false);
                        plain.Run();
                        prepared.Run();
                        ASSERT_TRUE(
                            std::equal(plain.target.Frame(),
                                       plain.target.Frame() + FrameBytes(plain.out.picProps),
                                       prepared.target.Frame()))
                            << std::hex << from << " to " << to << " fields " << in << out;
                    }
                }
}

TEST(StageChain, HangingOverAnEdgeShowsThePartThatIsLeft) {
    for (const std::int32_t fccType : {kFccI420, kFccYUY2, kFccRGB32})
        for (const std::int32_t process : {0, 2, 4}) {
            Mix mix({fccType, 48, 32, 0}, {fccType, 96, 64, 0});
            // Only its right lower quarter is inside.
            mix.AddWhole({-96, -64, 96, 64}).current.eProcess = process;
            mix.Run();
            const Rgb seen = process == 0 ? kYellow : process == 2 ? kBlue : kGreen;
            for (const auto& [x, y] : {std::pair{8, 8}, {90, 8}, {8, 58}, {90, 58}})
                mix.Expect(x, y, seen);
            // The source's own edge cuts the target.
            Mix cut({fccType, 48, 32, 0}, {fccType, 96, 64, 0});
            cut.Add({-48, 0, 48, 32}, {0, 0, 96, 64}).current.eProcess = process;
            cut.Run();
            const bool isMirrored = process == 2;
            cut.Expect(isMirrored ? 70 : 20, 10, kGrey);
            cut.Expect(isMirrored ? 40 : 55, 10, process == 0 ? kRed : process == 2 ? kRed : kBlue);
        }
}

TEST(StageChain, LetterBoxAndCropKeepTheShape) {
    Mix mix({kFccI420, 720, 576, 0}, {kFccI420, 1920, 1080, 0});
    mix.stream.inputProps.nAspectX = 4;
    mix.stream.inputProps.nAspectY = 3;
    mix.out.nAspectX = 16;
    mix.out.nAspectY = 9;
    MixBlock& rect = mix.AddWhole({0, 0, 1920, 1080});
    rect.current.eProcess = eVMP_AR_LetterBox;
    mix.Run();
    // 327 columns on each side.
    mix.Expect(324, 200, kGrey);
    mix.Expect(330, 200, kRed);
    mix.Expect(1590, 200, kGreen);
    mix.Expect(1596, 200, kGrey);
    rect.current.eProcess = eVMP_AR_LetterBox | eVMP_AR_Crop;
    (void)UpdateProjection(rect, mix.stream.inputProps, mix.out);
    mix.Run();
    mix.Expect(2, 200, kRed);
    mix.Expect(1917, 1000, kYellow);
}

TEST(StageChain, MasksStandStillOnRectsThatHangOverAnEdge) {
    for (const std::int32_t size : {1, 9})
        for (const bool hasAlpha : {false, true}) {
            Mix mix({hasAlpha ? kFccARGB32 : kFccRGB32, 48, 32, 0}, {kFccYUY2, 96, 64, 0});
            MixBlock& rect = mix.AddWhole({-48, 0, 48, 64});
            // Seen on the right, through the middle and beyond.
            mix.SetMask(rect, size, size,
                        [&](auto x, auto) { return 2 * x >= size - 1 ? 255 : 0; });
            mix.Run();
            mix.Expect(10, 10, kGreen);
            mix.Expect(40, 50, kYellow);
        }
}

TEST(StageChain, FollowsTheAspectOfTheStream) {
    Mix mix({kFccYUY2, 48, 32, 0}, {kFccYUY2, 96, 64, 0});
    MixBlock& rect = mix.AddWhole({0, 0, 96, 64});
    rect.current.eProcess = eVMP_AR_LetterBox;
    mix.SetMask(rect, 4, 4, [](auto, auto) { return 255; });
    mix.Run();
    mix.Expect(2, 10, kRed);
    mix.stream.inputProps.nAspectX = mix.stream.inputProps.nAspectY = 1;
    mix.PaintBackground();
    mix.Run();
    mix.Expect(20, 8, kGrey);
    mix.Expect(20, 14, kRed);
}

// Lines of the first field are bright, those of the second dark.
class Fields : public testing::TestWithParam<PIC_PROPS> {
protected:
    void Prepare(Mix& mix, eVM_Interlace in, eVM_Interlace out) {
        Paint(mix.source, [](auto, auto y) {
            return y % 2 ? Rgb{60, 60, 60} : Rgb{200, 200, 200};
        });
        mix.stream.inputProps.eInterlace = in;
        mix.out.eInterlace = out;
    }
    static void ExpectLines(const Mix& mix, double even, double odd, std::int32_t end) {
        for (std::int32_t y = 0; y < end; ++y) {
            const double value = y % 2 ? odd : even;
            mix.Expect(20, y, {value, value, value}, 12);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(All, Fields,
                         testing::Values(PIC_PROPS{kFccI420, 48, 32, 0},
                                         PIC_PROPS{kFccYUY2, 48, 32, 52},
                                         PIC_PROPS{kFccRGB24, 48, 32, 51},
                                         PIC_PROPS{kFccRGB32, 48, -32, 0}));

TEST_P(Fields, AreKeptApartOrOneOfThemFillsThePicture) {
    const PIC_PROPS in = GetParam();
    for (const bool scales : {false, true}) {
        const ImgRect to{0, 0, 48, scales ? 48 : 32};
        const PIC_PROPS out{in.fccType, 48, in.nHeight < 0 ? -48 : 48, 0};
        Mix same(in, out);
        Prepare(same, eVMI_Field1First, eVMI_Field1First);
        same.AddWhole(to);
        same.Run();
        ExpectLines(same, 200, 60, to.bottom);
        // Shown again, one field alone.
        same.stream.DropDerived();
        same.stream.fieldPass = 2;
        same.Run();
        ExpectLines(same, 60, 60, to.bottom);

        Mix progressive(in, out);
        Prepare(progressive, eVMI_Field1First, eVMI_Progressive);
        progressive.AddWhole(to);
        progressive.Run();
        ExpectLines(progressive, 200, 200, to.bottom);

        Mix one(in, out);
        Prepare(one, eVMI_Field2First, eVMI_Auto);
        one.AddWhole(to).current.eProcess = eVMP_OneField;
        one.Run();
        ExpectLines(one, 200, 200, to.bottom);

        // The other order: up by one line.
        Mix swapped(in, out);
        Prepare(swapped, eVMI_Field1First, eVMI_Field2First);
        swapped.AddWhole(to);
        swapped.AddWhole(to);
        for (int i = 0; i < 2; ++i) {
            swapped.Run();
            ExpectLines(swapped, 60, 200, to.bottom - (scales ? 0 : 2));
        }
    }
}

// A frame that is shown again comes from one field, and with it in other dimensions.
TEST_P(Fields, MasksFollowThePictureIntoOneFieldAndBack) {
    const PIC_PROPS in = GetParam();
    Mix mix(in, {in.fccType, 192, in.nHeight < 0 ? -128 : 128, 0});
    Prepare(mix, eVMI_Field1First, eVMI_Field1First);
    MixBlock& rect = mix.AddWhole({140, 90, 188, 122});
    mix.SetMask(rect, 2, 1, [](auto x, auto) { return x * 255; });
    for (const std::int32_t pass : {0, 2, 0, 1}) {
        mix.stream.fieldPass = pass;
        mix.stream.DropDerived();
        mix.PaintBackground();
        mix.Run();
        const double even = pass == 2 ? 60 : 200;
        const double odd = pass == 1 ? 200 : 60;
        mix.Expect(144, 100, kGrey);
        mix.Expect(184, 100, {even, even, even}, 12);
        mix.Expect(184, 101, {odd, odd, odd}, 12);
        mix.Expect(138, 100, kGrey);
    }
}

TEST(StageChain, StandsOnTheVeryPixelWhereTheOutputHasThem) {
    Mix mix({kFccYUY2, 48, 32, 0}, {kFccRGB32, 96, 64, 0});
    mix.AddWhole({21, 10, 71, 50});
    mix.Run();
    mix.Expect(20, 20, kGrey);
    mix.Expect(21, 20, kRed);
    mix.Expect(70, 20, kGreen);
    mix.Expect(71, 20, kGrey);
    // YVYU goes by way of another format, in whole pairs.
    Mix odd({kFccYVYU, 48, 32, 0}, {kFccRGB32, 96, 64, 0});
    odd.Add({1, 0, 20, 32}, {41, 10, 60, 42});
    odd.Run();
    odd.Expect(40, 20, kGrey);
    odd.Expect(41, 20, kRed);
    odd.Expect(59, 20, kRed);
    odd.Expect(60, 20, kGrey);
}

// What hangs over the edge while it is flat can be in sight when it is turned.
TEST(StageChain, ProjectsTheWholePictureWhereverItLies) {
    for (const std::int32_t width : {48, 170, 400})
        for (const std::int32_t fccType : {kFccYUY2, kFccI420, kFccRGB32}) {
            SCOPED_TRACE(testing::Message() << std::hex << fccType << " of " << width);
            Mix mix({fccType, width, 94, 0}, {fccType, 192, 128, 0});
            MixBlock& rect = mix.AddWhole({-20, 16, 150, 110});
            rect.current[kViewAngle] = 40;
            rect.current[kHorzAngle] = 60;
            rect.current.nBorderWidth = 2;
            rect.current[kBorderAlpha] = 0;
            ASSERT_TRUE(UpdateProjection(rect, mix.stream.inputProps, mix.out));
            mix.Run();
            const auto& corners = rect.projectedCorners;
            ASSERT_GT(corners[0].x, 4);
            const auto column = [&](std::size_t left, std::size_t right, double part) {
                return static_cast<std::int32_t>(corners[left].x +
                                                 (corners[right].x - corners[left].x) * part);
            };
            mix.Expect(column(0, 1, 0.1), 50, kRed);
            mix.Expect(column(0, 1, 0.9), 50, kGreen);
            mix.Expect(column(3, 2, 0.1), 80, kBlue);
            mix.Expect(column(3, 2, 0.9), 80, kYellow);
            mix.Expect(column(0, 1, -0.1), 50, kGrey);
        }
}

TEST(StageChain, ABorderThatHasFadedOutLeavesNoTrace) {
    for (const std::int32_t from : {kFccARGB32, kFccYUY2})
        for (const double angle : {0.0, 30.0}) {
            SCOPED_TRACE(testing::Message() << std::hex << from << " turned " << angle);
            std::vector<BYTE> drawn[2];
            for (const std::int32_t width : {0, 8}) {
                Mix mix({from, 48, 32, 0}, {kFccYUY2, 192, 128, 0});
                MixBlock& rect = mix.AddWhole({20, 16, 170, 110});
                rect.current[kViewAngle] = 40;
                rect.current[kHorzAngle] = angle;
                rect.current.nBorderWidth = width;
                rect.current[kBorderAlpha] = 0;
                (void)UpdateProjection(rect, mix.stream.inputProps, mix.out);
                mix.Run();
                const BYTE* const frame = mix.target.Frame();
                drawn[width == 0].assign(frame, frame + FrameBytes(mix.target.props));
            }
            EXPECT_EQ(drawn[0], drawn[1]);
        }
}

TEST(StageChain, ProjectsOpaqueAndFaintPicturesWithoutSeams) {
    for (const std::int32_t from : kMixed)
        for (const std::int32_t to : kMixed)
            for (const double alpha : {1.0, 0.5}) {
                SCOPED_TRACE(testing::Message()
                             << std::hex << from << " to " << to << " " << alpha);
                Mix mix({from, 48, 32, 0}, {to, 192, 128, 0});
                // One colour, the background's: nothing of the edges may be seen.
                Paint(mix.source, [](auto, auto) { return kGrey; });
                MixBlock& rect = mix.AddWhole({20, 16, 170, 110});
                rect.current[kViewAngle] = 40;
                rect.current[kHorzAngle] = 30;
                rect.current[kAlpha] = alpha;
                ASSERT_TRUE(UpdateProjection(rect, mix.stream.inputProps, mix.out));
                ASSERT_TRUE(rect.bProjected);
                for (int i = 0; i < 2; ++i) {
                    mix.Run();
                    for (std::int32_t y = 0; y < 128; ++y)
                        for (std::int32_t x = 0; x < 192; ++x) mix.Expect(x, y, kGrey, 6);
                    if (testing::Test::HasFailure()) return;
                }
                mix.PaintQuarters();
                mix.NewFrame();
                mix.Run();
                mix.Expect(60, 45, Blend(kRed, kGrey, alpha));
                mix.Expect(140, 80, Blend(kYellow, kGrey, alpha));
                mix.Expect(4, 4, kGrey);
                if (testing::Test::HasFailure()) return;
            }
}

TEST(StageChain, SteadyFramesAllocateNothing) {
    Mix mix({kFccARGB32, 48, 32, 0}, {kFccYUY2, 96, 64, 0});
    mix.AddWhole({8, 6, 56, 38});
    MixBlock& masked = mix.AddWhole({0, 0, 90, 60});
    mix.SetMask(masked, 9, 9, [](auto x, auto) { return x * 20; });
    masked.current.eProcess = eVMP_FlipHorz;
    MixBlock& projected = mix.AddWhole({0, 0, 90, 60});
    projected.current[kViewAngle] = 40;
    projected.current[kHorzAngle] = 30;
    projected.current[kAlpha] = 0.5;
    projected.current.nBorderWidth = 3;
    projected.current[kBorderAlpha] = 200;
    (void)UpdateProjection(projected, mix.stream.inputProps, mix.out);
    for (int i = 0; i < 3; ++i) {
        mix.NewFrame();
        mix.Run();
    }
    StandStill animator;
    // Frames lie in pages of their own, which no counter of operator new sees.
    const auto blocks = [&] {
        std::vector<const BYTE*> all{mix.stream.streamAlpha.At(0), mix.stream.stageBuffers.At(0),
                                     mix.stream.scratchBuffer.At(0)};
        for (const MixBlock& rect : mix.stream.rects)
            for (const auto* holder : {&rect.rectCache, &rect.rectAlpha, &rect.rectAlphaFlat})
                all.push_back(holder->At(0));
        return all;
    };
    const std::vector<const BYTE*> before = blocks();
    {
        const AllocCounter counter;
        for (int i = 0; i < 10; ++i) {
            mix.NewFrame();
            (void)MixRects(mix.stream, mix.source.Frame(), mix.target.Frame(), mix.out, animator);
        }
        EXPECT_EQ(counter.Count(), 0u);
    }
    EXPECT_EQ(blocks(), before);
}

// Whatever the values of a rect, nothing outside the two frames is touched.
TEST(StageChain, StaysInsideTheFrames) {
    std::mt19937 random(5);
    const auto below = [&random](std::int32_t end) {
        return static_cast<std::int32_t>(random() % static_cast<std::uint32_t>(end));
    };
    const GuardedMemory sourceMemory(4096);
    const GuardedMemory targetMemory(4096);
    const auto picture = [&](std::int32_t fccType) {
        const std::int32_t step = IsRGBFormat(fccType) ? 1 : 2;
        const std::int32_t lines = IsPlanar(fccType) ? 2 : 1;
        const std::int32_t width = (below(17 / step) + 1) * step;
        const std::int32_t height = (below(17 / lines) + 1) * lines;
        return PIC_PROPS{fccType, width, IsRGBFormat(fccType) && below(2) ? -height : height,
                         below(3) == 0 ? width + step * below(3) : 0};
    };
    const auto value = [&] {
        constexpr double kOdd[] = {std::numeric_limits<double>::quiet_NaN(),
                                   std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::infinity(), 1e300, -2147483648.0};
        return below(25) == 0 ? kOdd[below(5)] : below(60) - 20 + below(3) * 0.5;
    };
    StandStill animator;
    for (int round = 0; round < 20000; ++round) {
        StreamPixels stream;
        VM_VIDEO_PROPS out{};
        stream.inputProps.picProps = picture(kMixed[below(9)]);
        out.picProps = picture(kMixed[below(9)]);
        stream.inputProps.eInterlace = static_cast<eVM_Interlace>(below(4));
        out.eInterlace = static_cast<eVM_Interlace>(below(4));
        stream.inputProps.nAspectX = below(3);
        stream.inputProps.nAspectY = below(3);
        stream.fieldPass = below(4) == 0 ? below(3) : 0;
        for (int i = below(2); i >= 0; --i) {
            MixBlock& rect = stream.rects.emplace_back();
            for (double& v : rect.current.values) v = value();
            rect.current[kAlpha] = below(3) ? 1 : value() / 10;
            if (below(2)) rect.current[kViewAngle] = 0;
            if (below(4) == 0) rect.current[kHorzAngle] = 90 * (below(5) - 2);
            rect.current.nBorderWidth = below(3) ? 0 : below(30);
            rect.current.eProcess = below(3) ? 0 : below(64);
            if (below(3) == 0) {
                rect.maskProps = {kFccRGB8, below(9) + 1, -(below(9) + 1), 0};
                rect.maskProps.nRowWidth = rect.maskProps.nWidth;
                (void)rect.rectMask.Resize(FrameBytes(rect.maskProps), true, 99);
            }
            (void)UpdateProjection(rect, stream.inputProps, out);
        }
        const auto place = [&](const GuardedMemory& memory, const PIC_PROPS& props) {
            return below(2) ? memory.Begin() : memory.End() - FrameBytes(props);
        };
        const BYTE* const frame = place(sourceMemory, stream.inputProps.picProps);
        BYTE* const target = place(targetMemory, out.picProps);
        for (int i = 0; i < 2; ++i) (void)MixRects(stream, frame, target, out, animator);
    }
}

}  // namespace
}  // namespace qdvm::test
