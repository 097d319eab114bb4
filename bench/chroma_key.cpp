// The chroma key: how near its planes come to the truth, how still they are, and its speed at
// 1920x1080 beside FFmpeg's chromakey.

#include "pixels/chroma_key/chroma_key.h"

#include "bench.h"
#include "frames/format_table.h"
#include "key_scenes.h"
#include "pixels/chroma_key/key_recipe.h"
#include "pixels/primitives/colour_space.h"

#include <cstdio>
#include <cstdlib>

namespace qdvm::bench {
namespace {

using Planes = std::vector<std::vector<std::uint8_t>>;

std::uint32_t Word(int a, int b, int c) {
    return static_cast<std::uint32_t>(a) | static_cast<std::uint32_t>(b) << 8 |
           static_cast<std::uint32_t>(c) << 16;
}

// The wall's colour in the order of a key type's channels.
std::uint32_t WallAs(std::int32_t keyType) {
    const int r = kWallColour >> 16;
    const int g = kWallColour >> 8 & 0xff;
    const int b = kWallColour & 0xff;
    const std::uint8_t bgra[4] = {static_cast<std::uint8_t>(b), static_cast<std::uint8_t>(g),
                                  static_cast<std::uint8_t>(r), 0};
    std::uint8_t out[4] = {};
    if (keyType == eVMK_RGB) return Word(r, g, b);
    (void)(keyType == eVMK_HLS ? BGRAToHLS : RGBToYUV)(bgra, 4, out, 4, {1, 1});
    return Word(out[0], out[1], out[2]);
}

ChromaKeySettings KeyOf(std::int32_t keyType, std::uint32_t delta, std::int32_t smooth) {
    ChromaKeySettings settings{};
    settings.keyType = keyType;
    settings.nKeys = 1;
    settings.keys[0].keyColour = WallAs(keyType);
    settings.keys[0].keyDelta = delta;
    settings.keys[0].keySoftness = 20;
    settings.nSmooth = smooth;
    return settings;
}

// Half-axes that suit a wall like this one.
constexpr std::uint32_t kYuvDelta = 0x222246;  // Y 70, U 34, V 34
constexpr std::uint32_t kHlsDelta = 0x502d12;  // H 18, L 45, S 80
constexpr std::uint32_t kRgbDelta = 0x284628;  // R 40, G 70, B 40

// What a user's words make, without touching the pixels.
ChromaKeySettings Described(const char* words) {
    KeyRecipe recipe;
    (void)ParseKey(words, &recipe);
    ChromaKeySettings settings = KeySettingsOf(recipe);
    settings.nSpillMode = eVMSM_None;
    return settings;
}

Planes KeyClipWith(const KeyClip& clip, const ChromaKeySettings& settings) {
    const FrameDesc desc = MakeFrameDesc({kFccYUY2, clip.width, clip.height, 0});
    CBLOBHolder<CVirtualAlloc> working;
    Planes planes;
    for (std::vector<std::uint8_t> frame : clip.frames) {
        planes.emplace_back(frame.size() / 2);
        (void)CK_GetAlphaKeyEx3(frame.data(), planes.back().data(), &desc, &settings, &working);
    }
    return planes;
}

struct Quality {
    double mean = 0;     // error of all pixels, in steps of 255
    double edge = 0;     // of those that the truth has neither empty nor full
    double flicker = 0;  // change of the error, or without a truth of the plane, to the next frame
};

Quality Judge(const KeyClip& clip, const Planes& planes) {
    Quality quality;
    double edges = 0;
    double all = 0;
    double changes = 0;
    const auto error = [&](std::size_t frame, std::size_t i) {
        return planes[frame][i] - (clip.truth.empty() ? 0 : clip.truth[frame][i]);
    };
    for (std::size_t frame = 0; frame < planes.size(); ++frame)
        for (std::size_t i = 0; i < planes[frame].size(); ++i) {
            if (frame > 0) {
                quality.flicker += std::abs(error(frame, i) - error(frame - 1, i));
                ++changes;
            }
            if (clip.truth.empty()) continue;
            quality.mean += std::abs(error(frame, i));
            ++all;
            if (clip.truth[frame][i] == 0 || clip.truth[frame][i] == 255) continue;
            quality.edge += std::abs(error(frame, i));
            ++edges;
        }
    quality.mean /= std::max(all, 1.0);
    quality.edge /= std::max(edges, 1.0);
    quality.flicker /= std::max(changes, 1.0);
    return quality;
}

void PrintQuality(const char* name, const KeyClip& made, const KeyClip& filmed,
                  const Planes& madePlanes, const Planes& filmedPlanes) {
    if (madePlanes.empty()) return;
    const Quality quality = Judge(made, madePlanes);
    const Quality film = Judge(filmed, filmedPlanes);
    std::printf("%-28s %8.2f %8.1f %8.2f %12.2f\n", name, quality.mean, quality.edge,
                quality.flicker, film.flicker);
}

void ReportQuality() {
    const KeyClip made = GenerateKeyClip(640, 360, 8);
    const KeyClip filmed = DecodeGreenScreen(25);
    std::printf(
        "Chroma key: error of the alpha plane in steps of 255, generated scene and sample "
        "clip\n%-28s %8s %8s %8s %12s\n",
        "", "mean", "edge", "flicker", "clip flicker");
    const auto judge = [&](const char* name, const ChromaKeySettings& settings) {
        PrintQuality(name, made, filmed, KeyClipWith(made, settings),
                     KeyClipWith(filmed, settings));
    };
    judge("YUV", KeyOf(eVMK_YUV, kYuvDelta, 0));
    judge("YUV, 1 pass", KeyOf(eVMK_YUV, kYuvDelta, 1));
    judge("YUV, 2 passes", KeyOf(eVMK_YUV, kYuvDelta, 2));
    judge("YUV, 3 passes", KeyOf(eVMK_YUV, kYuvDelta, 3));
    judge("HLS, 2 passes", KeyOf(eVMK_HLS, kHlsDelta, 2));
    judge("RGB, 2 passes", KeyOf(eVMK_RGB, kRgbDelta, 2));
    judge("words: #18A038", Described("#18A038"));
    judge("words: green", Described("green"));
    Planes peerMade;
    Planes peerFilmed;
    (void)RunChromaKeyPeer(made, 1, &peerMade);
    (void)RunChromaKeyPeer(filmed, 1, &peerFilmed);
    PrintQuality("FFmpeg chromakey", made, filmed, peerMade, peerFilmed);
}

// Processor time of a frame in seconds.
double KeySeconds(const KeyClip& clip, const ChromaKeySettings& settings, int times) {
    const FrameDesc desc = MakeFrameDesc({kFccYUY2, clip.width, clip.height, 0});
    CBLOBHolder<CVirtualAlloc> working;
    std::vector<std::uint8_t> frame = clip.frames[0];
    std::vector<std::uint8_t> plane(frame.size() / 2);
    const auto key = [&] {
        (void)CK_GetAlphaKeyEx3(frame.data(), plane.data(), &desc, &settings, &working);
    };
    key();
    return Measure([&] {
               for (int i = 0; i < times; ++i) key();
           }).cpu /
           times;
}

struct SpeedCase {
    const char* name;
    ChromaKeySettings settings;
};

std::vector<SpeedCase> SpeedCases() {
    const ChromaKeySettings one = KeyOf(eVMK_YUV, kYuvDelta, 0);
    ChromaKeySettings four = one;
    four.nKeys = 4;
    for (int i = 1; i < 4; ++i) four.keys[i] = one.keys[0];
    ChromaKeySettings matrix = one;
    matrix.nSpillMode = eVMSM_Matrix;
    matrix.keys[0].spillChroma = 12;
    matrix.keys[0].spillSaturation = -45;
    matrix.keys[0].spillExtraDelta = 12;
    ChromaKeySettings uv = matrix;
    uv.nSpillMode = eVMSM_UV;
    uv.nFlags = eVMKF_SpillAway;
    ChromaKeySettings smooth = one;
    smooth.nSmooth = 2;
    return {{"YUV, one key", one},
            {"YUV, four keys", four},
            {"YUV, one key, matrix spill", matrix},
            {"YUV, one key, UV spill", uv},
            {"YUV, one key, 2 passes", smooth},
            {"RGB, one key", KeyOf(eVMK_RGB, kRgbDelta, 0)},
            {"HLS, one key", KeyOf(eVMK_HLS, kHlsDelta, 0)}};
}

void ReportSpeed() {
    constexpr int kTimes = 12;
    const KeyClip clip = GenerateKeyClip(1920, 1080, 1);
    const std::vector<SpeedCase> cases = SpeedCases();
    std::vector<std::vector<double>> ofFirst(cases.size());
    std::vector<std::vector<double>> ofPeer(cases.size());
    for (int pair = 0; pair < kPairs; ++pair) {
        const double peer = RunChromaKeyPeer(clip, kTimes, nullptr);
        double first = 0;
        for (std::size_t i = 0; i < cases.size(); ++i) {
            const double seconds = KeySeconds(clip, cases[i].settings, kTimes);
            if (i == 0) first = seconds;
            ofFirst[i].push_back(seconds / first);
            if (peer > 0) ofPeer[i].push_back(seconds / peer);
        }
    }
    std::printf("\nChroma key of YUY2 at 1920x1080, processor time\n%-28s %16s %28s\n", "",
                "of one YUV key", "of FFmpeg's chromakey");
    for (std::size_t i = 0; i < cases.size(); ++i) {
        std::printf("%-28s %16.2f", cases[i].name, Median(ofFirst[i]));
        if (ofPeer[i].empty()) {
            std::printf(" %28s\n", "-");
            continue;
        }
        const Spread spread = SpreadOf(ofPeer[i]);
        std::printf("      %7.3f (%.3f to %.3f)\n", spread.middle, spread.low, spread.high);
    }
    std::printf("\n");
}

}  // namespace

void ReportChromaKey() {
    ReportQuality();
    ReportSpeed();
    ReportKeyThreads();
}

}  // namespace qdvm::bench
