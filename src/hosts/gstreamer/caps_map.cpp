#include "hosts/gstreamer/caps_map.h"

#include "frames/format_table.h"
#include "frames/media_type_map.h"

#include <array>
#include <cstdlib>

namespace qdvm {
namespace {

constexpr std::array kFormats = {
    PixelFormat{GST_VIDEO_FORMAT_I420, kFccI420, true, true, 1},
    PixelFormat{GST_VIDEO_FORMAT_YV12, kFccYV12, true, true, 1},
    PixelFormat{GST_VIDEO_FORMAT_YUY2, kFccYUY2, true, false, 2},
    PixelFormat{GST_VIDEO_FORMAT_UYVY, kFccUYVY, true, false, 2},
    PixelFormat{GST_VIDEO_FORMAT_YVYU, kFccYVYU, true, false, 2},
    PixelFormat{GST_VIDEO_FORMAT_BGRx, kFccRGB32, false, false, 4},
    PixelFormat{GST_VIDEO_FORMAT_BGRA, kFccARGB32, false, false, 4},
    PixelFormat{GST_VIDEO_FORMAT_BGR, kFccRGB24, false, false, 3},
};

constexpr char kTemplate[] =
    GST_VIDEO_CAPS_MAKE("{ I420, YV12, YUY2, UYVY, YVYU, BGRx, BGRA, BGR }");

// The mixer holds sizes in 32 bits, and a frame's bytes too.
constexpr int kLargestSide = 32768;

eVM_Interlace InterlaceOfCaps(const GstVideoInfo& info) {
    if (GST_VIDEO_INFO_INTERLACE_MODE(&info) == GST_VIDEO_INTERLACE_MODE_PROGRESSIVE)
        return eVMI_Progressive;
    return GST_VIDEO_INFO_FIELD_ORDER(&info) == GST_VIDEO_FIELD_ORDER_BOTTOM_FIELD_FIRST
               ? eVMI_Field2First
               : eVMI_Field1First;
}

// Only what the caps say themselves counts: a colorimetry assumed for the size would make streams
// of two sizes differ that their makers hold for the same.
bool IsBt709(const GstCaps* caps) {
    const char* colorimetry =
        gst_structure_get_string(gst_caps_get_structure(caps, 0), "colorimetry");
    GstVideoColorimetry parsed;
    return colorimetry && gst_video_colorimetry_from_string(&parsed, colorimetry) &&
           gst_video_colorimetry_matches(&parsed, GST_VIDEO_COLORIMETRY_BT709);
}

std::int32_t FccOf(const PixelFormat& pixels, const GstCaps* caps) {
    return pixels.fccType == kFccUYVY && IsBt709(caps) ? kFccHDYC : pixels.fccType;
}

AspectRatio AspectOfCaps(const GstVideoInfo& info, int width, int height) {
    const std::int64_t x = std::int64_t{width} * GST_VIDEO_INFO_PAR_N(&info);
    const std::int64_t y = std::int64_t{height} * GST_VIDEO_INFO_PAR_D(&info);
    const std::int64_t divisor = GreatestCommonDivisor(x, y);
    if (divisor == 0 || x / divisor > G_MAXINT32 || y / divisor > G_MAXINT32)
        return AspectOfSize(width, height);
    return {static_cast<std::int32_t>(x / divisor), static_cast<std::int32_t>(y / divisor)};
}

REFERENCE_TIME PeriodOf(int rateNum, int rateDen) {
    if (rateNum <= 0 || rateDen <= 0) return 0;
    return static_cast<REFERENCE_TIME>(gst_util_uint64_scale_round(
        kTimeUnitsPerSecond, static_cast<guint64>(rateDen), static_cast<guint64>(rateNum)));
}

// What keeps the picture from being mixed; null if nothing does.
const char* FindObstacle(const GstVideoInfo& info, const PixelFormat* pixels, int width,
                         int height) {
    if (!pixels) return "the pixel format is none that the mixer works in";
    if (GST_VIDEO_INFO_INTERLACE_MODE(&info) == GST_VIDEO_INTERLACE_MODE_FIELDS ||
        GST_VIDEO_INFO_INTERLACE_MODE(&info) == GST_VIDEO_INTERLACE_MODE_ALTERNATE)
        return "fields in buffers of their own can't be mixed; put an interlacing element before";
    if (width < 1 || height < 1) return "a YUV picture needs at least 2 by 2 pixels";
    if (width > kLargestSide || height > kLargestSide) return "the picture is too large";
    return nullptr;
}

void SetSimple(GstStructure* structure, const OutputWish& wish) {
    gst_structure_fixate_field_nearest_int(structure, "width", wish.width);
    gst_structure_fixate_field_nearest_int(structure, "height", wish.height);
    gst_structure_fixate_field_nearest_fraction(structure, "framerate", wish.rateNum, wish.rateDen);
    if (gst_structure_has_field(structure, "pixel-aspect-ratio"))
        gst_structure_fixate_field_nearest_fraction(structure, "pixel-aspect-ratio", 1, 1);
    else
        gst_structure_set(structure, "pixel-aspect-ratio", GST_TYPE_FRACTION, 1, 1, nullptr);
}

void SetPixelFormat(GstStructure* structure, const OutputWish& wish) {
    for (const PixelFormat& pixels : kFormats) {
        const bool isWanted = pixels.fccType == wish.fccType ||
                              (pixels.fccType == kFccUYVY && wish.fccType == kFccHDYC);
        if (isWanted)
            gst_structure_fixate_field_string(structure, "format",
                                              gst_video_format_to_string(pixels.gst));
    }
    if (wish.fccType == kFccHDYC && !gst_structure_has_field(structure, "colorimetry"))
        gst_structure_set(structure, "colorimetry", G_TYPE_STRING, GST_VIDEO_COLORIMETRY_BT709,
                          nullptr);
}

void SetInterlace(GstStructure* structure, const OutputWish& wish) {
    if (gst_structure_has_field(structure, "interlace-mode")) {
        gst_structure_fixate_field_string(
            structure, "interlace-mode",
            wish.interlace == eVMI_Progressive ? "progressive" : "interleaved");
    } else if (wish.interlace != eVMI_Progressive) {
        gst_structure_set(structure, "interlace-mode", G_TYPE_STRING, "interleaved", nullptr);
    }
    const char* mode = gst_structure_get_string(structure, "interlace-mode");
    const char* order =
        wish.interlace == eVMI_Field2First ? "bottom-field-first" : "top-field-first";
    if (mode && g_str_equal(mode, "interleaved") &&
        !gst_structure_has_field(structure, "field-order"))
        gst_structure_set(structure, "field-order", G_TYPE_STRING, order, nullptr);
}

// Nothing is said where it would be taken for granted anyway: UYVY of a named BT.709 is another
// format here.
void SetColorimetry(GstStructure* structure, const OutputWish& wish) {
    if (gst_structure_has_field(structure, "colorimetry")) {
        gst_structure_fixate_field_string(structure, "colorimetry", wish.colorimetry.c_str());
        return;
    }
    const char* name = gst_structure_get_string(structure, "format");
    const PixelFormat* pixels = FindPixelFormat(gst_video_format_from_string(name ? name : ""));
    int width = 0;
    int height = 0;
    GstVideoInfo assumed;
    GstVideoColorimetry wished;
    if (!pixels || !pixels->isYuv || !gst_structure_get_int(structure, "width", &width) ||
        !gst_structure_get_int(structure, "height", &height) ||
        !gst_video_info_set_format(&assumed, pixels->gst, static_cast<guint>(width),
                                   static_cast<guint>(height)) ||
        !gst_video_colorimetry_from_string(&wished, wish.colorimetry.c_str()) ||
        gst_video_colorimetry_is_equal(&wished, &assumed.colorimetry))
        return;
    gst_structure_set(structure, "colorimetry", G_TYPE_STRING, wish.colorimetry.c_str(), nullptr);
}

}  // namespace

std::span<const PixelFormat> PixelFormats() { return kFormats; }

const PixelFormat* FindPixelFormat(GstVideoFormat format) {
    for (const PixelFormat& pixels : kFormats)
        if (pixels.gst == format) return &pixels;
    return nullptr;
}

GstCaps* NewTemplateCaps() { return gst_caps_from_string(kTemplate); }

bool ReadCaps(const GstCaps* caps, StreamFormat* format, std::string* reason) {
    StreamFormat read;
    if (!caps || !gst_video_info_from_caps(&read.info, caps)) {
        *reason = "the caps don't describe raw video";
        return false;
    }
    read.pixels = FindPixelFormat(GST_VIDEO_INFO_FORMAT(&read.info));
    int width = GST_VIDEO_INFO_WIDTH(&read.info);
    int height = GST_VIDEO_INFO_HEIGHT(&read.info);
    if (read.pixels && read.pixels->isYuv) width &= ~1;
    if (read.pixels && read.pixels->isPlanar) height &= ~1;
    if (const char* obstacle = FindObstacle(read.info, read.pixels, width, height)) {
        *reason = obstacle;
        return false;
    }
    const AspectRatio aspect = AspectOfCaps(read.info, width, height);
    read.period = PeriodOf(GST_VIDEO_INFO_FPS_N(&read.info), GST_VIDEO_INFO_FPS_D(&read.info));
    read.props = {.picProps = {.fccType = FccOf(*read.pixels, caps),
                               .nWidth = width,
                               .nHeight = read.pixels->isYuv ? height : -height,
                               .nRowWidth = 0},
                  .eInterlace = InterlaceOfCaps(read.info),
                  .nAspectX = aspect.x,
                  .nAspectY = aspect.y,
                  .dblStreamFPS = FramesPerSecondOf(read.period),
                  .dblRealFPS = 0};
    *format = read;
    return true;
}

eVM_Interlace InterlaceOf(const GstVideoInfo& info, GstBuffer* buffer) {
    const eVM_Interlace told = InterlaceOfCaps(info);
    if (told == eVMI_Progressive) return told;
    const bool mayBeWhole = GST_VIDEO_INFO_INTERLACE_MODE(&info) == GST_VIDEO_INTERLACE_MODE_MIXED;
    if (mayBeWhole && !GST_BUFFER_FLAG_IS_SET(buffer, GST_VIDEO_BUFFER_FLAG_INTERLACED))
        return eVMI_Progressive;
    if (GST_VIDEO_INFO_FIELD_ORDER(&info) != GST_VIDEO_FIELD_ORDER_UNKNOWN) return told;
    return GST_BUFFER_FLAG_IS_SET(buffer, GST_VIDEO_BUFFER_FLAG_TFF) ? eVMI_Field1First
                                                                     : eVMI_Field2First;
}

HRESULT BuildStreamType(const StreamFormat& format, std::int32_t rowWidth, MediaType* type) {
    const PIC_PROPS& picture = format.props.picProps;
    const HRESULT result = BuildVideoMediaType(type, picture.fccType, FORMAT_VideoInfo2,
                                               picture.nWidth, picture.nHeight, rowWidth, false);
    if (Failed(result)) return result;
    VIDEOINFOHEADER2* header = type->VideoInfo2();
    if (!header) return E_UNEXPECTED;
    header->AvgTimePerFrame = format.period;
    header->dwInterlaceFlags = InterlaceFlagsOf(format.props.eInterlace);
    header->dwPictAspectRatioX = static_cast<DWORD>(format.props.nAspectX);
    header->dwPictAspectRatioY = static_cast<DWORD>(format.props.nAspectY);
    return S_OK;
}

GstCaps* ChooseOutputCaps(const GstCaps* allowed, const OutputWish& wish) {
    GstCaps* base = NewTemplateCaps();
    GstCaps* possible =
        gst_caps_intersect_full(const_cast<GstCaps*>(allowed), base, GST_CAPS_INTERSECT_FIRST);
    gst_caps_unref(base);
    if (gst_caps_is_empty(possible)) {
        gst_caps_unref(possible);
        return nullptr;
    }
    possible = gst_caps_make_writable(gst_caps_truncate(possible));
    GstStructure* structure = gst_caps_get_structure(possible, 0);
    SetSimple(structure, wish);
    SetPixelFormat(structure, wish);
    SetInterlace(structure, wish);
    SetColorimetry(structure, wish);
    return gst_caps_fixate(possible);
}

}  // namespace qdvm
