#pragma once

// Masks of rects: 8-bit pictures that scale with a rect and multiply its opacity.

#include "pixels/mix_block.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <string_view>

namespace qdvm {

// Gives the rect a mask from a picture in RGB24, RGB32 or ARGB32 (FrameBytes of it): each byte is
// the mean of a pixel's three colours, rounded down; alpha plays no part. The mask is stored top
// line first without padding, and what was derived from the one before is dropped.
// E_NOTIMPL: another format. E_INVALIDARG: no size. E_OUTOFMEMORY: the rect is left without a mask.
HRESULT MakeMask(MixBlock& rect, const PIC_PROPS& props, const BYTE* pixels);

// Takes the mask and its name away.
void ClearMask(MixBlock& rect);

// "Circle", "Rect" or "Rounded Rect", in any case of letters.
enum class BuiltInMask { kNone, kCircle, kRect, kRoundedRect };
BuiltInMask FindBuiltInMask(std::u16string_view name);

// A grey picture of 256 x 256 with soft edges, the highest value 252.
HRESULT MakeBuiltInMask(MixBlock& rect, BuiltInMask shape);

}  // namespace qdvm
