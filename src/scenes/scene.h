#pragma once

// A snapshot of the whole layout, and the two operations that take one and bring one back.

#include "mixer/mixer_core.h"

#include <qdvideomixer/chroma_key.h>
#include <qdvideomixer/mixing_rect.h>
#include <qdvideomixer/video_mixer.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qdvm {

// What one position of the stream order shows.
struct SceneInput {
    bool bIgnoreTime = false;
    bool bEnabled = false;
    bool bKeepRate = false;
    ChromaKeySettings chromaKey{};
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
// rect that is changing is recorded where its change will end. Throws std::bad_alloc. Needs
// pinsLock shared and mixLock, shared at the least; takes each stream's lock.
void CaptureScene(const MixerCore& mixer, Scene* scene);

// What ApplyScene sets as background; empty if it can't be loaded, so that the present one stays.
// Reads a picture file anew. With neither pinsLock nor mixLock held.
std::optional<BackgroundChange> LoadBackgroundOf(const MixerCore& mixer, const Scene& scene);

// Drives the mixer to a layout over `milliseconds`, 0 or less at once. Rects are scaled from the
// scene's formats to the present ones. Surplus rects of a stream go, and a shown stream without an
// entry loses all of its rects. What can't be done is left out. The selection of the key control
// moves to the last stream that had an entry. Throws std::bad_alloc. Needs pinsLock shared and
// mixLock exclusive.
//
// Unconnected streams before a connected one are passed over, as CaptureScene passes them over; the
// ones behind take entries, so that they stand in their place when they are connected.
void ApplyScene(MixerCore& mixer, const Scene& scene, std::optional<BackgroundChange> background,
                std::int32_t milliseconds, bool restoreKeepRate);

// The same without the background.
void ApplyStreams(MixerCore& mixer, const Scene& scene, std::int32_t milliseconds,
                  bool restoreKeepRate);

// Loads what the scene needs, takes the locks and applies it. With neither pinsLock nor mixLock
// held.
void RunScene(MixerCore& mixer, const Scene& scene, std::int32_t milliseconds,
              bool restoreKeepRate);

}  // namespace qdvm
