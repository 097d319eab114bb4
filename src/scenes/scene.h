#pragma once

// A snapshot of the whole layout, and the two operations that take one and bring one back.

#include "mixer/mixer_core.h"

#include <qdvideomixer/mixing_rect.h>
#include <qdvideomixer/video_mixer.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>
#include <string>
#include <vector>

namespace qdvm {

// What one position of the stream order shows.
struct SceneInput {
    bool bIgnoreTime = false;
    bool bEnabled = false;
    bool bKeepRate = false;
    VM_VIDEO_PROPS inputProps{};        // the format that the source rects were made for
    std::vector<VM_MIXING_RECT> rects;  // with their final values, in pixels of the formats
};

// Knows positions in the stream order, not stream numbers. Holds no masks, no order and no settings
// of loop, loss or master stream.
struct Scene {
    bool bInternal = false;        // built in, not made by the user
    VM_VIDEO_PROPS outputProps{};  // the format that the target rects were made for
    std::u16string description;
    std::vector<SceneInput> inputs;  // entry i belongs to position i
    eVM_Background backgroundKind = eVMB_Color;
    std::int32_t backgroundColor = 0;  // 0xAABBGGRR
    std::u16string backgroundImage;
};

// Replaces *scene by the present layout: one entry for each connected stream in drawing order; a
// rect that is changing is recorded where its change will end. Needs pinsLock shared and mixLock,
// shared at the least; takes each stream's lock.
void CaptureScene(const MixerCore& mixer, Scene* scene);

// Drives the mixer to a layout over `milliseconds`, 0 or less at once. Rects are scaled from the
// scene's formats to the present ones. Surplus rects of a stream go, and a shown stream without an
// entry loses all of its rects. What can't be done is left out. Needs pinsLock shared and mixLock
// exclusive.
void ApplyScene(MixerCore& mixer, const Scene& scene, std::int32_t milliseconds,
                bool restoreKeepRate);

}  // namespace qdvm
