#pragma once

// How a stream is shown once, as a user of the element sets it.

#include <qdvideomixer/mixing_rect.h>

#include <glib.h>

#include <string>

namespace qdvm {

// What happens to a picture whose shape isn't that of its place.
enum class SizingPolicy {
    kStretch,
    kKeepAspectRatio,  // made smaller than its place
    kCrop,             // cut to the shape of its place
};

struct RectSettings {
    int x = 0;  // pixels of the output
    int y = 0;
    int width = 0;  // 0 and below: as large as what is shown of the stream
    int height = 0;
    int cropLeft = 0;  // pixels of the stream
    int cropTop = 0;
    int cropRight = 0;
    int cropBottom = 0;
    SizingPolicy sizing = SizingPolicy::kStretch;
    double alpha = 1.0;
    int borderWidth = 0;                // pixels of the output
    guint32 borderColour = 0xFFFFFFFF;  // 0xAARRGGBB
    double borderAlpha = 1.0;
    bool flipsHorizontally = false;
    bool flipsVertically = false;
    bool showsOneField = false;
    std::string mask;         // a built-in one, a file, or empty for none
    double viewAngle = 40.0;  // degrees
    double horizontalAngle = 0.0;
    double verticalAngle = 0.0;
    double horizontalOffset = 0.0;  // halves of the rect's width
    double verticalOffset = 0.0;

    bool operator==(const RectSettings&) const = default;
};

// The mixer's record for a stream of this size in pixels. With nothing of the stream left to show
// the rect is one that isn't drawn.
VM_MIXING_RECT MixingRectOf(const RectSettings& settings, int streamWidth, int streamHeight);

}  // namespace qdvm
