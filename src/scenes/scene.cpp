#include "scenes/scene.h"

#include "frames/media_type_map.h"
#include "frames/rounding.h"
#include "platform/counted_string.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>

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
    ScopedLock guard(stream.streamLock);
    entry.inputProps = stream.inputProps;
    entry.inputProps.dblStreamFPS = FramesPerSecondOf(stream.frameTime);
    entry.chromaKey = stream.pixels.key.settings;
    entry.rects.reserve(stream.pixels.rects.size());
    for (const MixBlock& block : stream.pixels.rects) {
        VM_MIXING_RECT rect{};
        MixerCore::ReadRect(block, &rect);
        entry.rects.push_back(rect);
    }
    return entry;
}

// How many positions of the order there are up to the last connected stream.
std::size_t ConnectedPositions(const MixerCore& mixer) {
    std::size_t count = mixer.order.size();
    while (count > 0) {
        const InputStream* stream = mixer.FindStream(mixer.order[count - 1]);
        if (stream && stream->IsConnected()) break;
        --count;
    }
    return count;
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

// A rect that was on its way out and is shown by the scene stays.
void KeepRect(InputStream& stream, std::size_t number) {
    ScopedLock guard(stream.streamLock);
    if (number < stream.pixels.rects.size()) stream.pixels.rects[number].removing = false;
}

// A stream that was to be hidden and has nothing to fade out is hidden now.
void CloseIfEmpty(InputStream& stream) {
    ScopedLock guard(stream.streamLock);
    (void)stream.CloseIfFadedOut();
}

void ApplyRects(MixerCore& mixer, InputStream& stream, const SceneInput& entry,
                const Scale& outputScale, std::int32_t milliseconds) {
    const std::size_t present = RectCount(stream);
    const Scale inputScale = ScaleBetween(entry.inputProps.picProps, stream.InputProps().picProps);
    const std::size_t kept = entry.bEnabled ? entry.rects.size() : 0;
    for (std::size_t i = 0; i < kept; ++i) {
        VM_MIXING_RECT rect = entry.rects[i];
        if (rect.dblAlpha > 0) KeepRect(stream, i);
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
    mixer.SetKeyLocked(stream, entry.chromaKey);
    ApplyEnabled(mixer, stream, entry.bEnabled);
    stream.ignoreTime = entry.bIgnoreTime;
    if (restoreKeepRate) stream.keepRate = entry.bKeepRate;
    ApplyRects(mixer, stream, entry, outputScale, milliseconds);
    CloseIfEmpty(stream);
}

}  // namespace

void CaptureScene(const MixerCore& mixer, Scene* scene) {
    Scene captured;
    captured.outputProps = mixer.outputStage->OutputProps();
    captured.backgroundKind = mixer.background.Kind();
    captured.backgroundColor = mixer.background.Colour();
    captured.backgroundImage = mixer.background.ImageName();
    for (const std::int32_t number : mixer.order) {
        const InputStream* stream = mixer.FindStream(number);
        if (stream && stream->IsConnected()) captured.inputs.push_back(CaptureStream(*stream));
    }
    *scene = std::move(captured);
}

std::optional<BackgroundChange> LoadBackgroundOf(const MixerCore& mixer, const Scene& scene) {
    const CountedString image(scene.backgroundImage);
    BackgroundChange change;
    const HRESULT result =
        mixer.LoadBackground(scene.backgroundKind, scene.backgroundColor, image.Get(), &change);
    if (Failed(result)) return std::nullopt;
    return change;
}

void ApplyStreams(MixerCore& mixer, const Scene& scene, std::int32_t milliseconds,
                  bool restoreKeepRate) {
    const Scale outputScale =
        ScaleBetween(scene.outputProps.picProps, mixer.outputStage->OutputProps().picProps);
    const std::size_t connectedEnd = ConnectedPositions(mixer);
    std::size_t next = 0;
    for (std::size_t i = 0; i < mixer.order.size(); ++i) {
        InputStream* const stream = mixer.FindStream(mixer.order[i]);
        if (!stream || (i < connectedEnd && !stream->IsConnected())) continue;
        if (next >= scene.inputs.size()) {
            EmptyStream(mixer, *stream, milliseconds);
            continue;
        }
        mixer.chromaKeyStream = mixer.order[i];
        ApplyEntry(mixer, *stream, scene.inputs[next++], outputScale, milliseconds,
                   restoreKeepRate);
    }
}

void ApplyScene(MixerCore& mixer, const Scene& scene, std::optional<BackgroundChange> background,
                std::int32_t milliseconds, bool restoreKeepRate) {
    if (background) mixer.SetBackgroundLocked(std::move(*background), milliseconds);
    ApplyStreams(mixer, scene, milliseconds, restoreKeepRate);
}

void RunScene(MixerCore& mixer, const Scene& scene, std::int32_t milliseconds,
              bool restoreKeepRate) {
    std::optional<BackgroundChange> background = LoadBackgroundOf(mixer, scene);
    SharedLockGuard pins(mixer.pinsLock, SharedLockGuard::Mode::kShared);
    SharedLockGuard layout(mixer.mixLock, SharedLockGuard::Mode::kExclusive);
    ApplyScene(mixer, scene, std::move(background), milliseconds, restoreKeepRate);
}

}  // namespace qdvm
