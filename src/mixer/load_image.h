#pragma once

// Picture files as the mixer works with them: backgrounds and masks.

#include "frames/blob_holder.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <string_view>

namespace qdvm {

// A picture as it came from its file: ARGB32.
struct LoadedImage {
    CBLOBHolder<CCoTaskAlloc> pixels;
    PIC_PROPS props{};
};

// Loads the first picture of a file. A ".bmp" of 32 bits a pixel keeps its alpha bytes and row
// order and is taken as straight; anything else is decoded, bottom line first, straight or
// premultiplied. Takes no lock and may take seconds for a large file.
// 0x80070002: no such file. E_FAIL: no picture came out. E_OUTOFMEMORY. The image is then empty.
HRESULT LoadImage(std::u16string_view path, bool bStraightAlpha, LoadedImage* image);

}  // namespace qdvm
