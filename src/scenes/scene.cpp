#include "scenes/scene.h"

#include "frames/rounding.h"
#include "platform/counted_string.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace qdvm {
namespace {

struct Scale {
    double x = 1.0;
    double y = 1.0;
};

// Factors from one picture size to another; 1.0 where either has no size.
Scale ScaleBetween(const PIC_PROPS& from, const PIC_PROPS& to) {
    if (from.nWidth == 0 || from.nHeight == 0 || to.nWidth == 0 || to.nHeight == 0) return {};
    return {static_cast<double>(to.nWidth) / from.nWidth,
            std::abs(static_cast<double>(to.nHeight) / from.nHeight)};
}

RECT Scaled(const RECT& rect, const Scale& scale) {
    return {RoundToInt32(rect.left * scale.x), RoundToInt32(rect.top * scale.y),
            RoundToInt32(rect.right * scale.x), RoundToInt32(rect.bottom * scale.y)};
}

std::size_t RectCount(const InputStream& stream) {
    ScopedLock guard(stream.streamLock);
    return stream.pixels.rects.size();
}

SceneInput CaptureStream(const InputStream& stream) {
    SceneInput entry;
    entry.bEnabled = stream.IsShown();
    entry.bKeepRate = stream.keepRate;
    entry.bIgnoreTime = stream.ignoreTime;
    entry.inputProps = stream.InputProps();
    ScopedLock guard(stream.streamLock);
    entry.rects.reserve(stream.pixels.rects.size());
    for (const MixBlock& block : stream.pixels.rects) {
        VM_MIXING_RECT rect{};
        MixerCore::ReadRect(block, &rect);
        entry.rects.push_back(rect);
    }
    return entry;
}

// Whether the stream in the order can be worked on at all.
InputStream* StreamAt(const MixerCore& mixer, std::int32_t number) {
    const bool isThere = number >= 0 && static_cast<std::size_t>(number) < mixer.inputs.size();
    return isThere ? mixer.inputs[static_cast<std::size_t>(number)].Get() : nullptr;
}

// A position that the scene says nothing about stays on, with nothing to show.
void EmptyStream(MixerCore& mixer, InputStream& stream, std::int32_t milliseconds) {
    if (!stream.IsConnected() || !stream.IsShown()) return;
    stream.enabled = true;
    stream.hidePending = false;
    // From the last one down: a removal at once moves the later ones.
    for (std::size_t i = RectCount(stream); i > 0; --i)
        (void)mixer.RemoveRectLocked(stream, static_cast<LONG>(i - 1), milliseconds);
}

void ApplyEnabled(MixerCore& mixer, InputStream& stream, bool isEnabled) {
    if (isEnabled && !stream.IsShown()) {
        (void)mixer.RemoveRectLocked(stream, -1, 0);
        stream.hidePending = false;
        stream.enabled = true;
    } else if (!isEnabled && stream.IsShown()) {
        // Counts as off at once, and ends when its last rect has gone.
        stream.hidePending = true;
    }
}

void ApplyRects(MixerCore& mixer, InputStream& stream, const SceneInput& entry,
                const Scale& outputScale, std::int32_t milliseconds) {
    const std::size_t present = RectCount(stream);
    const Scale inputScale = ScaleBetween(entry.inputProps.picProps, stream.InputProps().picProps);
    const std::size_t kept = entry.bEnabled ? entry.rects.size() : 0;
    for (std::size_t i = 0; i < kept; ++i) {
        VM_MIXING_RECT rect = entry.rects[i];
        rect.rcSource = Scaled(rect.rcSource, inputScale);
        rect.rcTarget = Scaled(rect.rcTarget, outputScale);
        LONG number = static_cast<LONG>(i);
        (void)mixer.SetRectLocked(stream, &number, &rect, milliseconds);
    }
    for (std::size_t i = present; i > kept; --i)
        (void)mixer.RemoveRectLocked(stream, static_cast<LONG>(i - 1), milliseconds);
}

void ApplyEntry(MixerCore& mixer, InputStream& stream, const SceneInput& entry,
                const Scale& outputScale, std::int32_t milliseconds, bool restoreKeepRate) {
    ApplyEnabled(mixer, stream, entry.bEnabled);
    stream.ignoreTime = entry.bIgnoreTime;
    if (restoreKeepRate) stream.keepRate = entry.bKeepRate;
    ApplyRects(mixer, stream, entry, outputScale, milliseconds);
}

}  // namespace

void CaptureScene(const MixerCore& mixer, Scene* scene) {
    Scene captured;
    captured.outputProps = mixer.outputStage->OutputProps();
    captured.backgroundKind = mixer.background.Kind();
    captured.backgroundColor = mixer.background.Colour();
    captured.backgroundImage = mixer.background.ImageName();
    for (const std::int32_t number : mixer.order) {
        const InputStream* stream = StreamAt(mixer, number);
        if (stream && stream->IsConnected()) captured.inputs.push_back(CaptureStream(*stream));
    }
    *scene = std::move(captured);
}

void ApplyScene(MixerCore& mixer, const Scene& scene, std::int32_t milliseconds,
                bool restoreKeepRate) {
    const Scale outputScale =
        ScaleBetween(scene.outputProps.picProps, mixer.outputStage->OutputProps().picProps);
    const CountedString image(scene.backgroundImage);
    (void)mixer.SetBackgroundLocked(scene.backgroundKind, scene.backgroundColor,
                                    scene.backgroundImage.empty() ? nullptr : image.Get(),
                                    milliseconds);
    for (std::size_t i = 0; i < mixer.order.size(); ++i) {
        InputStream* const stream = StreamAt(mixer, mixer.order[i]);
        if (!stream) continue;
        if (i >= scene.inputs.size()) {
            EmptyStream(mixer, *stream, milliseconds);
            continue;
        }
        mixer.chromaKeyStream = mixer.order[i];
        ApplyEntry(mixer, *stream, scene.inputs[i], outputScale, milliseconds, restoreKeepRate);
    }
}

}  // namespace qdvm
