// The chroma key: against the plain reference, and case by case.

#include "pixels/chroma_key/chroma_key.h"

#include "chroma_key_reference.h"
#include "frames/format_table.h"
#include "support/guarded_memory.h"

#include <qdvideomixer/graph_results.h>
#include <qdvideomixer/trace.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <string_view>

namespace qdvm::test {

namespace {

constexpr std::uint32_t kGreen = 0x0000c000;
constexpr std::int32_t kKeyedFormats[] = {kFccRGB32, kFccARGB32, kFccRGB24,
                                          kFccYUY2,  kFccUYVY,   kFccHDYC};

FrameDesc DescOf(std::int32_t fccType, std::int32_t width, std::int32_t height) {
    return MakeFrameDesc({fccType, width, height, 0});
}

Bytes RandomBytes(std::size_t count, std::uint_fast32_t seed) {
    std::mt19937 random(seed);
    Bytes bytes(count);
    for (BYTE& byte : bytes) byte = static_cast<BYTE>(random());
    return bytes;
}

// Random colours in patches, so that mattes have areas and edges.
Bytes Patches(const FrameDesc& desc, std::uint_fast32_t seed) {
    const std::size_t rowBytes = static_cast<std::size_t>(desc.nRowBytes);
    const Bytes noise = RandomBytes(4096, seed);
    Bytes frame(rowBytes * AbsHeight(desc.nHeight));
    for (std::size_t i = 0; i < frame.size(); ++i) {
        const std::size_t patch = i / rowBytes / 5 * 7 + i % rowBytes / 48;
        frame[i] = noise[(patch * 12 + i % rowBytes % 12) % noise.size()];
    }
    return frame;
}

ChromaKeySettings OneKey(std::int32_t keyType, std::uint32_t colour, std::uint32_t delta) {
    ChromaKeySettings settings{};
    settings.keyType = keyType;
    settings.nKeys = 1;
    settings.keys[0].keyColour = colour;
    settings.keys[0].keyDelta = delta;
    return settings;
}

ChromaKeySettings RandomSettings(std::uint_fast32_t seed) {
    std::mt19937 random(seed);
    const auto upTo = [&](int most) { return static_cast<std::int32_t>(random() % (most + 1)); };
    ChromaKeySettings settings{};
    settings.keyType = 2 + upTo(2);
    settings.nKeys = 1 + upTo(3);
    for (ChromaKeyEntry& entry : settings.keys) {
        entry.keyColour = static_cast<std::uint32_t>(random());
        entry.keyDelta = upTo(6) == 0 ? 0 : static_cast<std::uint32_t>(random()) & 0x7f7f7f7f;
        entry.keySoftness = upTo(80) - 10;
        const std::int32_t floors[] = {0, 0, 0, 0, 255, 3, -40};
        entry.keyFloor = floors[upTo(6)];
        entry.spillExtraDelta = upTo(120) - 40;
        entry.spillChroma = upTo(300) - 100;
        entry.spillSaturation = upTo(200) - 100;
        entry.spillLuma = upTo(200) - 100;
        if (upTo(3) == 0) entry.spillChroma = entry.spillSaturation = entry.spillLuma = 0;
        entry.spillEnable = upTo(1);
    }
    settings.keys[0].keyDelta |= 0x202020;
    settings.keys[0].keyFloor = 0;
    settings.nSmooth = upTo(4);
    settings.nSpillMode = upTo(3);
    settings.nFlags = upTo(3);
    return settings;
}

TEST(ChromaKey, GivesTheReferencesPlaneAndFrame) {
    int cut = 0;
    for (std::uint_fast32_t seed = 0; seed < 240; ++seed) {
        const std::int32_t height = 3 + static_cast<std::int32_t>(seed % 29);
        const std::int32_t width = 4 + 2 * static_cast<std::int32_t>(seed % 61);
        // RGB24 rows end at whole words, which the reference does not know.
        const FrameDesc desc = DescOf(kKeyedFormats[seed % 6], width / 4 * 4 + 4, height);
        const ChromaKeySettings settings = RandomSettings(seed);
        Bytes frame = Patches(desc, seed);
        Bytes expectedFrame = frame;
        const Bytes expected = PlainChromaKey(&expectedFrame, desc, settings);
        Bytes plane(expected.size(), 77);
        ASSERT_EQ(CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, &settings, nullptr), S_OK);
        ASSERT_EQ(plane, expected) << "settings " << seed;
        ASSERT_EQ(frame, expectedFrame) << "settings " << seed;
        cut += std::count(plane.begin(), plane.end(), 0) > 0 &&
               std::count(plane.begin(), plane.end(), 255) > 0;
    }
    EXPECT_GT(cut, 60);
}

TEST(ChromaKey, DistancesGrowFromTheEllipsoidToTheEndOfTheRing) {
    // Along one channel from the centre of a ball of 20.
    Bytes picture;
    for (int x = 0; x < 64; ++x)
        picture.insert(picture.end(), {static_cast<BYTE>(100 + x), 100, 100, 9});
    Bytes plane(64);
    ASSERT_EQ(KeyDistance(plane.data(), picture.data(), 0xff646464, 0x141414, 30, 64, 1, 64), S_OK);
    EXPECT_EQ(plane, PlainKeyDistance(picture, 0xff646464, 0x141414, 30));
    EXPECT_TRUE(std::is_sorted(plane.begin(), plane.end()));
    for (int x = 0; x < 20; ++x) EXPECT_EQ(plane[x], 0) << x;
    EXPECT_GT(plane[22], 0);
    EXPECT_LT(plane[48], 255);
    EXPECT_GE(plane[51], 254);

    // A half-axis of 0 counts as 1, a centre of 0 and 255 as 1 and 254.
    const Bytes noise = RandomBytes(4 * 40, 3);
    EXPECT_EQ(PlainKeyDistance(noise, 0x00fe0180, 0x00010a14, 5),
              PlainKeyDistance(noise, 0x77ff0080, 0x88000a14, 5));
    Bytes distances(40);
    ASSERT_EQ(KeyDistance(distances.data(), noise.data(), 0x77ff0080, 0x88000a14, 5, 40, 1, 40),
              S_OK);
    EXPECT_EQ(distances, PlainKeyDistance(noise, 0x00fe0180, 0x00010a14, 5));

    // Columns come in fours as far as the row goes.
    Bytes wide(16, 9);
    ASSERT_EQ(KeyDistance(wide.data(), noise.data(), 0, 0x010101, 0, 5, 1, 16), S_OK);
    EXPECT_TRUE(std::all_of(wide.begin() + 8, wide.end(), [](BYTE b) { return b == 9; }));
    EXPECT_NE(wide[7], 9);
    EXPECT_EQ(KeyDistance(nullptr, noise.data(), 0, 0, 0, 1, 1, 1), E_POINTER);
    EXPECT_EQ(KeyDistance(wide.data(), noise.data(), 0, 0, 0, 9, 1, 8), E_INVALIDARG);
}

TEST(ChromaKey, SaysWhenThereIsNothingToDo) {
    const FrameDesc desc = DescOf(kFccRGB32, 8, 4);
    Bytes frame = RandomBytes(8 * 4 * 4, 1);
    const Bytes before = frame;
    Bytes plane(32, 7);
    const auto key = [&](const ChromaKeySettings& settings) {
        return CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, &settings, nullptr);
    };
    ChromaKeySettings settings = OneKey(eVMK_RGB, kGreen, 0x202020);
    for (const std::int32_t type : {0, 1, 5, -1}) {
        settings.keyType = type;
        EXPECT_EQ(key(settings), S_FALSE);
        EXPECT_EQ(plane, Bytes(32, 7)) << type;
    }
    // No entry, and only entries that are off.
    settings.keyType = eVMK_RGB;
    for (const std::int32_t keys : {0, -5, 1}) {
        settings.nKeys = keys;
        settings.keys[0].keyDelta = 0;
        settings.keys[0].spillChroma = 90;
        settings.nSpillMode = 1;
        plane.assign(32, 7);
        EXPECT_EQ(key(settings), S_FALSE);
        EXPECT_EQ(plane, Bytes(32, 255));
    }
    EXPECT_EQ(frame, before);
    EXPECT_EQ(CK_GetAlphaKeyEx3(nullptr, plane.data(), &desc, &settings, nullptr), E_POINTER);
    EXPECT_EQ(CK_GetAlphaKeyEx3(frame.data(), nullptr, &desc, &settings, nullptr), E_POINTER);
    EXPECT_EQ(CK_GetAlphaKeyEx3(frame.data(), plane.data(), nullptr, &settings, nullptr),
              E_POINTER);
    EXPECT_EQ(CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, nullptr, nullptr), E_POINTER);
}

TEST(ChromaKey, FormatsWithoutARouteKeepTheirPlane) {
    const ChromaKeySettings settings = OneKey(eVMK_YUV, kGreen, 0x202020);
    for (const std::int32_t fccType : {kFccI420, kFccYV12, kFccYVYU, kFccRGB565, kFccNV12}) {
        Bytes frame(16 * 8 * 2, 128);
        Bytes plane(16 * 8, 7);
        const FrameDesc desc = DescOf(fccType, 16, 8);
        EXPECT_EQ(CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, &settings, nullptr),
                  VFW_E_INVALIDSUBTYPE);
        EXPECT_EQ(plane, Bytes(16 * 8, 7));
    }
    Bytes memory(1024);
    const FrameDesc unknown{0, 0x1234, 4, 4, 16, 0, 0, 0, 0};
    EXPECT_EQ(CK_GetAlphaKeyEx3(memory.data(), memory.data(), &unknown, &settings, nullptr),
              VFW_E_INVALIDSUBTYPE);
    // Rows that are shorter than they say, or none.
    const std::int32_t smallest = std::numeric_limits<std::int32_t>::min();
    for (const FrameDesc& bad : {FrameDesc{0, kFccRGB32, 8, 4, 31, 0, 0, 0, 0},
                                 FrameDesc{0, kFccYUY2, 8, 4, 14, 0, 0, 0, 0},
                                 FrameDesc{0, kFccRGB32, 0, 4, 32, 0, 0, 0, 0},
                                 FrameDesc{0, kFccRGB32, 8, 0, 32, 0, 0, 0, 0},
                                 FrameDesc{0, kFccRGB32, smallest, 4, 32, 0, 0, 0, 0},
                                 FrameDesc{0, kFccRGB32, 8, 4, smallest, 0, 0, 0, 0},
                                 FrameDesc{0, kFccV210, 48, 4, 120, 0, 0, 0, 0}})
        EXPECT_EQ(CK_GetAlphaKeyEx3(memory.data(), memory.data(), &bad, &settings, nullptr),
                  E_INVALIDARG);
}

TEST(ChromaKey, KeysUniteAndAFloorTurnsAKeyOff) {
    const FrameDesc desc = DescOf(kFccRGB32, 4, 1);
    // Memory order blue, green, red: a green, a blue, a red, a grey pixel.
    const Bytes pixels{0, 192, 0, 0, 200, 0, 0, 0, 0, 0, 200, 0, 90, 90, 90, 0};
    ChromaKeySettings settings = OneKey(eVMK_RGB, kGreen, 0x181818);
    settings.nKeys = 2;
    settings.keys[1] = settings.keys[0];
    settings.keys[1].keyColour = 0xc80000;
    const auto plane = [&] {
        Bytes frame = pixels;
        Bytes alpha(4);
        EXPECT_EQ(CK_GetAlphaKeyEx3(frame.data(), alpha.data(), &desc, &settings, nullptr), S_OK);
        return alpha;
    };
    EXPECT_EQ(plane(), (Bytes{0, 0, 255, 255}));
    settings.keys[1].keyFloor = 1;
    EXPECT_EQ(plane(), (Bytes{0, 255, 255, 255}));
    settings.keys[1].keyFloor = 0;
    settings.nFlags = eVMKF_Invert;
    EXPECT_EQ(plane(), (Bytes{255, 255, 0, 0}));
    // A key that is only there for its spill leaves the picture opaque, and its light goes.
    settings.nFlags = 0;
    settings.nSpillMode = eVMSM_Matrix;
    for (ChromaKeyEntry& entry : settings.keys) entry.keyFloor = 255;
    settings.keys[0].spillChroma = 127;
    Bytes frame = pixels;
    Bytes alpha(4);
    EXPECT_EQ(CK_GetAlphaKeyEx3(frame.data(), alpha.data(), &desc, &settings, nullptr), S_OK);
    EXPECT_EQ(alpha, Bytes(4, 255));
    EXPECT_NE(frame, pixels);
}

TEST(ChromaKey, SpillRemovalFarFromTheKeyDarkensByOnePart) {
    const FrameDesc desc = DescOf(kFccYUY2, 8, 3);
    Bytes frame(8 * 2 * 3, 128);
    ChromaKeySettings settings = OneKey(eVMK_YUV, 0x003595, 0x101010);
    settings.nSpillMode = eVMSM_Matrix;
    settings.keys[0].spillEnable = 1;
    Bytes plane(24);
    ASSERT_EQ(CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, &settings, nullptr), S_OK);
    for (std::size_t i = 0; i < frame.size(); i += 2) {
        EXPECT_EQ(frame[i], 127);
        EXPECT_EQ(frame[i + 1], 128);
    }
    // Without any value the matrix form leaves the frame alone, the other form does not.
    settings.keys[0].spillEnable = 0;
    const Bytes before(frame.size(), 60);
    frame = before;
    ASSERT_EQ(CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, &settings, nullptr), S_OK);
    EXPECT_EQ(frame, before);
    settings.nSpillMode = eVMSM_UV;
    ASSERT_EQ(CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, &settings, nullptr), S_OK);
    EXPECT_NE(frame, before);
}

TEST(ChromaKey, FieldsAreKeyedEachOnItsOwn) {
    for (const std::int32_t height : {1, 2, 11, 16}) {
        for (const std::int32_t fccType : {kFccYUY2, kFccRGB24, kFccARGB32}) {
            // 6 pixels of RGB24 fill their row with padding.
            const FrameDesc desc = DescOf(fccType, 6, height);
            ChromaKeySettings settings = RandomSettings(9);
            settings.nSmooth = height > 5 ? 3 : 0;
            settings.bInterlaced = 1;
            Bytes frame = Patches(desc, 4);
            Bytes expected(6 * static_cast<std::size_t>(height));
            Bytes expectedFrame = frame;
            settings.bInterlaced = 0;
            const std::size_t rowBytes = static_cast<std::size_t>(desc.nRowBytes);
            for (int field = 0; field < std::min(height, 2); ++field) {
                FrameDesc half = desc;
                half.nHeight = (height + 1 - field) / 2;
                Bytes lines;
                for (int y = field; y < height; y += 2)
                    lines.insert(lines.end(), frame.begin() + y * desc.nRowBytes,
                                 frame.begin() + (y + 1) * desc.nRowBytes);
                Bytes plane(6 * static_cast<std::size_t>(half.nHeight));
                ASSERT_EQ(CK_GetAlphaKeyEx3(lines.data(), plane.data(), &half, &settings, nullptr),
                          S_OK);
                for (int y = 0; y < half.nHeight; ++y) {
                    const int line = 2 * y + field;
                    std::copy_n(plane.begin() + 6 * y, 6, expected.begin() + 6 * line);
                    std::copy_n(lines.begin() + y * desc.nRowBytes, rowBytes,
                                expectedFrame.begin() + line * desc.nRowBytes);
                }
            }
            settings.bInterlaced = 1;
            Bytes plane(expected.size());
            ASSERT_EQ(CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, &settings, nullptr),
                      S_OK);
            EXPECT_EQ(plane, expected) << height;
            EXPECT_EQ(frame, expectedFrame) << height;
        }
    }
}

TEST(ChromaKey, TouchesNothingOutsideWhateverTheSettings) {
    std::mt19937 random(11);
    for (int run = 0; run < 300; ++run) {
        const std::int32_t formats[] = {kFccRGB32, kFccARGB32, kFccRGB24, kFccYUY2,
                                        kFccUYVY,  kFccHDYC,   kFccV210,  kFccI420};
        const std::int32_t fccType = formats[run % 8];
        const std::int32_t width = 1 + static_cast<std::int32_t>(random() % 40);
        const std::int32_t height = 1 + static_cast<std::int32_t>(random() % 9);
        const FrameDesc desc = DescOf(fccType, width, run % 3 ? height : -height);
        ChromaKeySettings settings;
        auto* const words = reinterpret_cast<std::uint32_t*>(&settings);
        for (std::size_t i = 0; i < sizeof(settings) / 4; ++i)
            words[i] = static_cast<std::uint32_t>(random()) >> (random() % 2 ? 0 : 24);
        settings.keyType = 2 + run % 3;
        if (run % 4 == 0) settings.nSpillMode = eVMSM_UV;
        settings.bInterlaced = static_cast<std::int32_t>(random() % 2);
        const std::size_t planar =
            fccType == kFccI420 ? static_cast<std::size_t>(width * height) : 0;
        const std::size_t frameBytes = static_cast<std::size_t>(desc.nRowBytes) * height + planar;
        const std::size_t planeBytes =
            static_cast<std::size_t>(KeyPlaneStride(desc)) * (height - 1) + width;
        const GuardedMemory frame(frameBytes);
        const GuardedMemory plane(planeBytes);
        std::memset(frame.Begin(), run, frame.Size());
        std::memset(plane.Begin(), 99, plane.Size());
        BYTE* const planeStart = plane.End() - planeBytes;
        (void)CK_GetAlphaKeyEx3(frame.End() - frameBytes, planeStart, &desc, &settings, nullptr);
        EXPECT_TRUE(std::all_of(plane.Begin(), planeStart, [](BYTE b) { return b == 99; }));
        (void)CK_GetAlphaKeyEx3(frame.Begin(), plane.Begin(), &desc, &settings, nullptr);
    }
}

TEST(ChromaKey, SmallPicturesThatCantBeSmoothedKeepTheirEdge) {
    const FrameDesc desc = DescOf(kFccRGB32, 2, 5);
    Bytes frame(2 * 5 * 4, 0);
    for (std::size_t i = 1; i < frame.size(); i += 8) frame[i] = 192;
    ChromaKeySettings settings = OneKey(eVMK_RGB, kGreen, 0x202020);
    settings.nSmooth = 2;
    Bytes plane(10, 7);
    EXPECT_TRUE(Failed(CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, &settings, nullptr)));
    EXPECT_EQ(plane, (Bytes{0, 255, 0, 255, 0, 255, 0, 255, 0, 255}));
}

// Each stage that a key takes is told once for a picture, however many rows and keys it has.
TEST(ChromaKey, TellsItsStagesToTheTrace) {
    using Labels = std::multiset<std::string>;
    const auto stagesOf = [](std::int32_t fccType, ChromaKeySettings settings) {
        Labels labels;
        SetTraceHook(
            [](void* context, const char* line) {
                const std::string_view text(line);
                static_cast<Labels*>(context)->emplace(
                    text.substr(0, text.rfind(' ', text.size() - 4)));
            },
            &labels);
        const FrameDesc desc = DescOf(fccType, 16, 8);
        Bytes frame = Patches(desc, 1);
        Bytes plane(16 * 8);
        EXPECT_EQ(CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, &settings, nullptr), 0);
        SetTraceHook(nullptr, nullptr);
        return labels;
    };
    const std::string whole = "[CK_GetAlphaKeyEx3 (Cur)]";
    const std::string one = "[MMXGetAlphaCenter_AC4C1 + Min (1 keys)]";
    const std::string distance = "[SSEGetAlphaCenterEx_AC4C1]";
    ChromaKeySettings settings = OneKey(eVMK_RGB, kGreen, 0x101010);
    EXPECT_EQ(stagesOf(kFccRGB32, settings), (Labels{whole, one, distance}));
    settings.keyType = eVMK_HLS;
    EXPECT_EQ(stagesOf(kFccRGB24, settings),
              (Labels{whole, "[RGB24->RGB32]", "[RGB->HLS]", one, distance}));
    settings.nSmooth = 3;
    settings.nSpillMode = eVMSM_Matrix;
    settings.keys[0].spillChroma = 50;
    const std::string measure = "[SSEGetAlphaCenterEx_AC4C1(Chroma) + UV Scale + Smooth]";
    EXPECT_EQ(stagesOf(kFccYUY2, settings),
              (Labels{whole, "[YUV->RGB32]", "[RGB->HLS]", one, distance, "[Gauss+AND 3]",
                      "[Anti-Spill (Full)]", measure, "[SSECorrectUV_422_C1IR]"}));
    settings.keyType = eVMK_YUV;
    settings.nSmooth = 0;
    settings.nSpillMode = eVMSM_UV;
    settings.nKeys = 2;
    settings.keys[1] = settings.keys[0];
    EXPECT_EQ(stagesOf(kFccHDYC, settings),
              (Labels{whole, "[YUV->RGB32]", "CbYCr422ToBGR_709CSC_8u_C2C4R(ASM)", "[RGB->YUV]",
                      "[MMXGetAlphaCenter_AC4C1 + Min (2 keys)]", distance, "[Anti-Spill (Full)]",
                      measure, "[Anti-Spill (UV)]"}));
}

TEST(ChromaKey, WorksInTheMemoryThatItIsLent) {
    const FrameDesc desc = DescOf(kFccYUY2, 64, 32);
    Bytes frame = Patches(desc, 2);
    Bytes plane(64 * 32);
    const ChromaKeySettings settings = RandomSettings(21);
    CBLOBHolder<CVirtualAlloc> working;
    (void)CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, &settings, &working);
    const BYTE* const block = working.At(0);
    ASSERT_NE(block, nullptr);
    (void)CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, &settings, &working);
    EXPECT_EQ(working.At(0), block);
}

}  // namespace

}  // namespace qdvm::test
