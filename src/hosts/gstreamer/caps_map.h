#pragma once

// Between caps and the filter's formats.

#include "frames/media_type.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_props.h>

#include <gst/gst.h>
#include <gst/video/video.h>

#include <cstdint>
#include <span>
#include <string>

namespace qdvm {

// One pixel format under both names. Needs BT.709 colorimetry to tell HDYC from UYVY.
struct PixelFormat {
    GstVideoFormat gst;
    std::int32_t fccType;
    bool isYuv;
    bool isPlanar;
    int pixelBytes;  // of packed formats
};

// The nine working formats, HDYC not among them: by caps it is UYVY.
std::span<const PixelFormat> PixelFormats();

// Null for a format that the mixer doesn't work in.
const PixelFormat* FindPixelFormat(GstVideoFormat format);

// What the pads' templates offer.
GstCaps* NewTemplateCaps();

// A stream as its caps describe it.
struct StreamFormat {
    GstVideoInfo info{};
    const PixelFormat* pixels = nullptr;
    // YUV pictures are cropped to even sizes, RGB is stored top line first: negative height.
    // nRowWidth is 0: how wide a stored row is differs from buffer to buffer.
    VM_VIDEO_PROPS props{};
    REFERENCE_TIME period = 0;  // 100 ns per frame; 0 for a variable rate

    bool IsSet() const { return pixels != nullptr; }
};

// False, with the reason, for caps that can't be mixed.
bool ReadCaps(const GstCaps* caps, StreamFormat* format, std::string* reason);

// How the fields of one buffer lie in time. Caps that leave the order open, or that let whole
// frames and fields alternate, leave it to the buffer's flags.
eVM_Interlace InterlaceOf(const GstVideoInfo& info, GstBuffer* buffer);

// The type of a pad's stream whose rows are rowWidth pixels apart, 0 for its own width.
HRESULT BuildStreamType(const StreamFormat& format, std::int32_t rowWidth, MediaType* type);

// The output that is asked for where downstream leaves a choice.
struct OutputWish {
    std::int32_t fccType = 0;
    int width = 0;
    int height = 0;
    int rateNum = 25;
    int rateDen = 1;
    eVM_Interlace interlace = eVMI_Progressive;
    std::string colorimetry = GST_VIDEO_COLORIMETRY_BT601;  // of a YUV output
};

// Fixed caps nearest to the wish among those that downstream allows; null if there are none. The
// caller owns them; `allowed` stays the caller's.
GstCaps* ChooseOutputCaps(const GstCaps* allowed, const OutputWish& wish);

}  // namespace qdvm
