// Streams with a key, and what their frames become.

#include "pixels/stream_alpha.h"

#include "frames/format_table.h"
#include "support/alloc_counter.h"
#include "support/test_picture.h"

#include <qdvideomixer/graph_results.h>
#include <qdvideomixer/trace.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace qdvm::test {

namespace {

class StandStill final : public RectAnimator {
public:
    Outcome StepRect(std::size_t) override { return Outcome::kShow; }
};

VM_VIDEO_PROPS PropsOf(const PIC_PROPS& picture, eVM_Interlace interlace = eVMI_Progressive) {
    VM_VIDEO_PROPS props{};
    props.picProps = picture;
    props.eInterlace = interlace;
    return props;
}

void SetGreenKey(StreamPixels& stream) {
    stream.key.settings.keyType = eVMK_RGB;
    stream.key.settings.nKeys = 1;
    stream.key.settings.keys[0].keyColour = 0x00c000;
    stream.key.settings.keys[0].keyDelta = 0x282828;
}

// Green with a grey block of 8 x 4 in its upper left corner, as the picture's format has it.
void PaintScene(TestPicture& picture) {
    const bool isRgb = IsRGBFormat(picture.props.fccType);
    for (std::int32_t y = 0; y < AbsHeight(picture.props); ++y)
        for (std::int32_t x = 0; x < picture.props.nWidth; ++x) {
            const bool isBlock = x < 8 && y < 4;
            // Blue, green, red; or Y, U, V.
            const BYTE green[] = {isRgb ? BYTE{0} : BYTE{113}, isRgb ? BYTE{192} : BYTE{72},
                                  isRgb ? BYTE{0} : BYTE{58}, 200};
            const std::vector<std::size_t> at = picture.Samples(x, y);
            for (std::size_t i = 0; i < at.size(); ++i)
                picture.Frame()[at[i]] = isBlock ? BYTE{128} : green[i];
        }
}

TEST(StreamAlpha, ComesFromTheFourthBytesUnlessKeyed) {
    for (const std::int32_t height : {2, -2}) {
        StreamPixels stream;
        stream.inputProps = PropsOf({kFccARGB32, 3, height, 4});
        std::vector<BYTE> frame(4 * 4 * 2);
        for (std::size_t i = 0; i < frame.size(); ++i) frame[i] = static_cast<BYTE>(i);
        for (const std::int32_t type : {eVMK_None, eVMK_Alpha}) {
            stream.key.settings.keyType = type;
            stream.DropDerived();
            const BYTE* drawn = frame.data();
            EXPECT_EQ(MakeStreamAlpha(stream, stream.inputProps, &drawn), S_OK);
            EXPECT_EQ(drawn, frame.data());
            const BYTE* const plane = stream.streamAlpha.At(0);
            EXPECT_EQ(plane[0], height > 0 ? 19 : 3);
            EXPECT_EQ(plane[4 + 2], height > 0 ? 11 : 27);
            EXPECT_EQ(MakeStreamAlpha(stream, stream.inputProps, &drawn), S_FALSE);
        }
        stream.DropDerived();
        stream.inputProps = PropsOf({kFccRGB32, 3, height, 4});
        const BYTE* drawn = frame.data();
        EXPECT_EQ(MakeStreamAlpha(stream, stream.inputProps, &drawn), S_FALSE);
        EXPECT_TRUE(stream.streamAlpha.IsEmpty());
    }
}

TEST(StreamAlpha, IsKeyedFromTheTopWhateverTheRows) {
    // Rows of 7 pixels are padded to as many bytes as rows of 8.
    for (const std::int32_t rowWidth : {0, 7, 8, 13})
        for (const std::int32_t height : {5, -5})
            for (const eVM_Interlace fields : {eVMI_Progressive, eVMI_Field1First, eVMI_Auto}) {
                TestPicture picture({kFccRGB24, 7, height, rowWidth}, 1);
                PaintScene(picture);
                for (std::int32_t i = 0; i < 5; ++i)
                    for (const std::size_t at : picture.Samples(i, i)) picture.Frame()[at] = 255;
                StreamPixels stream;
                stream.inputProps = PropsOf(picture.props, fields);
                SetGreenKey(stream);
                const BYTE* drawn = picture.Frame();
                const VM_VIDEO_PROPS out = PropsOf({kFccRGB32, 7, 5, 0});
                ASSERT_EQ(MakeStreamAlpha(stream, out, &drawn), S_OK);
                const std::int32_t columns = RowWidth(picture.props);
                for (std::int32_t y = 0; y < 5; ++y)
                    for (std::int32_t x = 0; x < 7; ++x)
                        EXPECT_EQ(stream.streamAlpha.At(0)[y * columns + x],
                                  y < 4 || x == y ? 255 : 0)
                            << x << ',' << y << " of rows " << rowWidth;
            }
}

TEST(StreamAlpha, AFrameThatIsRewrittenIsTheStreamsOwn) {
    TestPicture picture({kFccYUY2, 32, 16, 0}, 1);
    PaintScene(picture);
    const std::vector<BYTE> before = picture.memory;
    StreamPixels stream;
    stream.inputProps = PropsOf(picture.props);
    SetGreenKey(stream);
    stream.key.settings.nSpillMode = eVMSM_Matrix;
    stream.key.settings.keys[0].spillChroma = 100;
    const BYTE* first = picture.Frame();
    ASSERT_EQ(MakeStreamAlpha(stream, stream.inputProps, &first), S_OK);
    EXPECT_NE(first, picture.Frame());
    EXPECT_EQ(picture.memory, before);
    const std::vector<BYTE> cleaned(first, first + 32 * 16 * 2);
    EXPECT_FALSE(std::equal(cleaned.begin(), cleaned.end(), picture.Frame()));
    // Once for each frame, and once only however often the frame comes.
    const BYTE* second = picture.Frame();
    EXPECT_EQ(MakeStreamAlpha(stream, stream.inputProps, &second), S_FALSE);
    EXPECT_EQ(second, first);
    stream.DropDerived();
    const BYTE* const working = stream.key.working.At(0);
    const AllocCounter allocations;
    const BYTE* third = picture.Frame();
    EXPECT_EQ(MakeStreamAlpha(stream, stream.inputProps, &third), S_OK);
    EXPECT_EQ(allocations.Count(), 0u);
    EXPECT_EQ(stream.key.working.At(0), working);
    EXPECT_EQ(third, first);
    EXPECT_TRUE(std::equal(cleaned.begin(), cleaned.end(), third));
    // Without a key the frame is drawn as it comes again.
    stream.key.settings.keyType = eVMK_None;
    stream.DropDerived();
    const BYTE* fourth = picture.Frame();
    EXPECT_EQ(MakeStreamAlpha(stream, stream.inputProps, &fourth), S_FALSE);
    EXPECT_EQ(fourth, picture.Frame());
}

// Says so once, and asks once for each frame however many rects draw it.
TEST(StreamAlpha, TellsOfAFormatThatCantBeKeyedAndOnlyThen) {
    int told = 0;
    SetTraceHook(
        [](void* context, const char* line) {
            if (std::string_view(line).find("no key") != std::string_view::npos)
                ++*static_cast<int*>(context);
        },
        &told);
    for (const std::int32_t fccType : {kFccYUY2, kFccI420}) {
        TestPicture picture({fccType, 16, 8, 0}, 1);
        StreamPixels stream;
        SetGreenKey(stream);
        stream.key.settings.nSpillMode = eVMSM_Matrix;
        stream.key.settings.keys[0].spillChroma = 100;
        stream.inputProps = PropsOf(picture.props);
        for (int frame = 0; frame < 2; ++frame) {
            stream.DropDerived();
            const BYTE* drawn = picture.Frame();
            (void)MakeStreamAlpha(stream, stream.inputProps, &drawn);
            EXPECT_EQ(MakeStreamAlpha(stream, stream.inputProps, &drawn), S_FALSE);
            EXPECT_EQ(drawn == picture.Frame(), fccType == kFccI420);
        }
        EXPECT_EQ(told, fccType == kFccI420 ? 1 : 0);
    }
    SetTraceHook(nullptr, nullptr);
}

TEST(StreamAlpha, AFormatThatCantBeKeyedIsShownWhole) {
    const std::vector<BYTE> frame(FrameBytes({kFccI420, 16, 8, 0}), 1);
    StreamPixels stream;
    SetGreenKey(stream);
    stream.inputProps = PropsOf({kFccI420, 16, 8, 0});
    const BYTE* drawn = frame.data();
    EXPECT_EQ(MakeStreamAlpha(stream, stream.inputProps, &drawn), VFW_E_INVALIDSUBTYPE);
    EXPECT_TRUE(stream.streamAlpha.IsEmpty());
    EXPECT_EQ(drawn, frame.data());
    for (const PIC_PROPS& bad : {PIC_PROPS{kFccRGB32, 0, 8, 0}, PIC_PROPS{kFccRGB32, 8, 0, 0},
                                 PIC_PROPS{kFccRGB32, 8, 8, 4}, PIC_PROPS{kFccRGB32, -8, 8, 0}}) {
        stream.inputProps = PropsOf(bad);
        stream.DropDerived();
        EXPECT_TRUE(Failed(MakeStreamAlpha(stream, stream.inputProps, &drawn)));
        EXPECT_TRUE(stream.streamAlpha.IsEmpty());
    }
}

// Keyed pixels of ARGB32 are moved and warped with their planes.
TEST(StreamAlpha, AKeyedStreamStaysKeyedWhereItIsScaledAndProjected) {
    for (const std::int32_t from : {kFccARGB32, kFccRGB32})
        for (const std::int32_t to : {kFccARGB32, kFccYUY2})
            for (const std::int32_t bARGB32Mix : {0, 1})
                for (const double angle : {0.0, 10.0}) {
                    TestPicture source({from, 32, 16, 0}, 1);
                    TestPicture target({to, 64, 32, 0}, 2);
                    PaintScene(source);
                    StreamPixels stream;
                    stream.bARGB32Mix = bARGB32Mix;
                    stream.inputProps = PropsOf(source.props);
                    SetGreenKey(stream);
                    stream.rects.resize(1);
                    MixBlockState& state = stream.rects[0].current;
                    state[kAlpha] = 1.0;
                    state[kSourceRight] = 32;
                    state[kSourceBottom] = 16;
                    state[kTargetRight] = 64;
                    state[kTargetBottom] = 32;
                    state[kViewAngle] = 30;
                    state[kHorzAngle] = angle;
                    const VM_VIDEO_PROPS out = PropsOf(target.props);
                    (void)UpdateProjection(stream.rects[0], stream.inputProps, out);
                    StandStill animator;
                    for (int i = 0; i < 2; ++i) {
                        std::fill(target.memory.begin(), target.memory.end(), BYTE{90});
                        ASSERT_EQ(MixRects(stream, source.Frame(), target.Frame(), out, animator),
                                  S_OK);
                    }
                    const auto sample = [&](std::int32_t x, std::int32_t y) {
                        return int{target.Frame()[target.Samples(x, y)[0]]};
                    };
                    EXPECT_NEAR(sample(9, 4), IsRGBFormat(to) ? 128 : 126, 3)
                        << from << to << angle;
                    EXPECT_NEAR(sample(40, 24), 90, 4) << from << to << angle;
                    EXPECT_NEAR(sample(9, 24), 90, 4) << from << to << angle;
                }
}

// The keyed stream over a picture of one value: what shows at a place in the block, and elsewhere.
TEST(StreamAlpha, AKeyedStreamShowsTheBackgroundInEveryFormat) {
    for (const std::int32_t from : {kFccRGB32, kFccARGB32, kFccRGB24, kFccYUY2, kFccUYVY})
        for (const std::int32_t to : {kFccRGB32, kFccARGB32, kFccYUY2, kFccI420})
            for (const std::int32_t bARGB32Mix : {0, 1}) {
                TestPicture source({from, 32, 16, 0}, 1);
                TestPicture target({to, 32, 16, 0}, 2);
                PaintScene(source);
                std::fill(target.memory.begin(), target.memory.end(), BYTE{90});
                StreamPixels stream;
                stream.bARGB32Mix = bARGB32Mix;
                stream.inputProps = PropsOf(source.props);
                SetGreenKey(stream);
                stream.rects.resize(1);
                MixBlockState& state = stream.rects[0].current;
                state[kAlpha] = 1.0;
                state[kSourceRight] = state[kTargetRight] = 32;
                state[kSourceBottom] = state[kTargetBottom] = 16;
                const VM_VIDEO_PROPS out = PropsOf(target.props);
                (void)UpdateProjection(stream.rects[0], stream.inputProps, out);
                StandStill animator;
                ASSERT_EQ(MixRects(stream, source.Frame(), target.Frame(), out, animator), S_OK);
                const auto sample = [&](std::int32_t x, std::int32_t y) {
                    return int{target.Frame()[target.Samples(x, y)[0]]};
                };
                const int grey = IsRGBFormat(from) == IsRGBFormat(to) ? 128
                                 : IsRGBFormat(to)                    ? 130
                                                                      : 126;
                EXPECT_NEAR(sample(2, 2), grey, 2) << from << " to " << to;
                // A target with little alpha of its own is held to few steps.
                EXPECT_NEAR(sample(20, 12), 90, 3) << from << " to " << to;
                EXPECT_NEAR(sample(2, 12), 90, 3) << from << " to " << to;
            }
}

}  // namespace

}  // namespace qdvm::test
