#pragma once

// Pictures to key: a generated one whose true opacity is known, and the sample clip.

#include <cstdint>
#include <vector>

namespace qdvm::bench {

// Frames in YUY2, rows of whole pairs.
struct KeyClip {
    std::int32_t width;
    std::int32_t height;
    std::vector<std::vector<std::uint8_t>> frames;
    // The opacity of what stands before the wall, one byte for each pixel; empty if not known.
    std::vector<std::vector<std::uint8_t>> truth;
};

// Something round with soft edges, thin hairs and green light on its rim moves before a green wall
// that is unevenly lit and noisy. 0xRRGGBB of the wall's middle: kWallColour.
inline constexpr std::uint32_t kWallColour = 0x18A038;
KeyClip GenerateKeyClip(std::int32_t width, std::int32_t height, int frames);

// The first frames of samples/clips/greenscreen.webm; none where it can't be decoded.
KeyClip DecodeGreenScreen(int frames);

// FFmpeg's chromakey on the frames of a clip, each `times` times over; the opacity it gives for
// each frame of the clip if `alphas` is given. Seconds of processor time for each frame; 0 where it
// can't be had.
double RunChromaKeyPeer(const KeyClip& clip, int times,
                        std::vector<std::vector<std::uint8_t>>* alphas);

}  // namespace qdvm::bench
