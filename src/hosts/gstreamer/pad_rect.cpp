#include "hosts/gstreamer/pad_rect.h"

namespace qdvm {
namespace {

LONG EvenUp(LONG value) { return (value + 1) & ~1; }

}  // namespace

bool RectOfPad(const PadSettings& pad, int streamWidth, int streamHeight, VM_MIXING_RECT* rect) {
    *rect = {};
    rect->rcSource = {EvenUp(pad.cropLeft), EvenUp(pad.cropTop), (streamWidth - pad.cropRight) & ~1,
                      (streamHeight - pad.cropBottom) & ~1};
    const LONG shownWidth = rect->rcSource.right - rect->rcSource.left;
    const LONG shownHeight = rect->rcSource.bottom - rect->rcSource.top;
    if (shownWidth <= 0 || shownHeight <= 0) return false;
    // Positions move to even pixels as a whole, so that a picture at its own size stays so.
    rect->rcTarget.left = EvenUp(pad.x);
    rect->rcTarget.top = EvenUp(pad.y);
    rect->rcTarget.right = rect->rcTarget.left + (pad.width > 0 ? pad.width : shownWidth);
    rect->rcTarget.bottom = rect->rcTarget.top + (pad.height > 0 ? pad.height : shownHeight);
    rect->dblAlpha = pad.isVisible ? pad.alpha : 0;
    return true;
}

}  // namespace qdvm
