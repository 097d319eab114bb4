#include "hosts/gstreamer/rect_settings.h"

#include "hosts/gstreamer/colours.h"

#include <algorithm>
#include <cmath>

namespace qdvm {
namespace {

LONG EvenUp(LONG value) { return (value + 1) & ~1; }

RECT SourceOf(const RectSettings& settings, int width, int height) {
    return {EvenUp(settings.cropLeft), EvenUp(settings.cropTop), (width - settings.cropRight) & ~1,
            (height - settings.cropBottom) & ~1};
}

eVM_Process ProcessOf(const RectSettings& settings) {
    int flags = eVMP_None;
    if (settings.flipsHorizontally) flags |= eVMP_FlipHorz;
    if (settings.flipsVertically) flags |= eVMP_FlipVert;
    if (settings.showsOneField) flags |= eVMP_OneField;
    if (settings.sizing == SizingPolicy::kKeepAspectRatio) flags |= eVMP_AR_LetterBox;
    if (settings.sizing == SizingPolicy::kCrop) flags |= eVMP_AR_Crop;
    return static_cast<eVM_Process>(flags);
}

// A border that can't be seen has no width: to the mixer a colour without alpha is opaque.
void SetBorder(const RectSettings& settings, VM_MIXING_RECT* rect) {
    const double own = static_cast<double>(settings.borderColour >> 24);
    const auto alpha = static_cast<guint32>(std::lround(own * settings.borderAlpha));
    rect->nBorderWidth = alpha > 0 ? settings.borderWidth : 0;
    rect->nBorderColor = MixerColour((settings.borderColour & 0xFFFFFFu) | alpha << 24);
}

}  // namespace

VM_MIXING_RECT MixingRectOf(const RectSettings& settings, int streamWidth, int streamHeight) {
    VM_MIXING_RECT rect{};
    rect.rcSource = SourceOf(settings, streamWidth, streamHeight);
    rect.dblAlpha = settings.alpha;
    LONG shownWidth = rect.rcSource.right - rect.rcSource.left;
    LONG shownHeight = rect.rcSource.bottom - rect.rcSource.top;
    if (shownWidth <= 0 || shownHeight <= 0) {
        shownWidth = shownHeight = 2;
        rect.rcSource = {0, 0, shownWidth, shownHeight};
        rect.dblAlpha = 0;
    }
    // Positions move to even pixels as a whole, so that a picture at its own size stays so.
    rect.rcTarget.left = EvenUp(settings.x);
    rect.rcTarget.top = EvenUp(settings.y);
    // The least that the mixer doesn't take for the whole output.
    rect.rcTarget.right =
        rect.rcTarget.left + (settings.width > 0 ? std::max(settings.width, 2) : shownWidth);
    rect.rcTarget.bottom =
        rect.rcTarget.top + (settings.height > 0 ? std::max(settings.height, 2) : shownHeight);
    SetBorder(settings, &rect);
    rect.eProcess = ProcessOf(settings);
    rect.dblViewAngle = settings.viewAngle;
    rect.dblHorzAngle = settings.horizontalAngle;
    rect.dblVertAngle = settings.verticalAngle;
    rect.dblHorzOffset = settings.horizontalOffset;
    rect.dblVertOffset = settings.verticalOffset;
    return rect;
}

}  // namespace qdvm
