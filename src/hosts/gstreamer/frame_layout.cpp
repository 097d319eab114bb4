#include "hosts/gstreamer/frame_layout.h"

#include "frames/format_table.h"

#include <cstdlib>
#include <cstring>

namespace qdvm {
namespace {

constexpr int kRowAlignment = 4;

int Aligned(int bytes) { return (bytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment; }

int Lines(const StreamFormat& format) { return std::abs(format.props.picProps.nHeight); }

// Bytes from where a plane begins to where what is to be seen of it begins.
gsize CropOffset(GstBuffer* buffer, const GstVideoFormatInfo* format, int plane, int stride) {
    const GstVideoCropMeta* crop = gst_buffer_get_video_crop_meta(buffer);
    if (!crop) return 0;
    guint component = 0;
    while (static_cast<int>(GST_VIDEO_FORMAT_INFO_PLANE(format, component)) != plane) ++component;
    // Whole pairs of pixels, so that colours stay where they are.
    const guint x = (crop->x & ~1u) >> GST_VIDEO_FORMAT_INFO_W_SUB(format, component);
    const guint y = (crop->y & ~1u) >> GST_VIDEO_FORMAT_INFO_H_SUB(format, component);
    const auto pixelBytes = static_cast<gsize>(GST_VIDEO_FORMAT_INFO_PSTRIDE(format, component));
    return y * static_cast<gsize>(stride) + x * pixelBytes;
}

}  // namespace

PlanePlaces PlacesOf(const GstVideoInfo& info) {
    PlanePlaces places;
    places.count = static_cast<int>(GST_VIDEO_INFO_N_PLANES(&info));
    for (int plane = 0; plane < places.count; ++plane) {
        places.offset[plane] = GST_VIDEO_INFO_PLANE_OFFSET(&info, plane);
        places.stride[plane] = GST_VIDEO_INFO_PLANE_STRIDE(&info, plane);
    }
    return places;
}

PlanePlaces PlacesOf(GstBuffer* buffer, const GstVideoInfo& info) {
    const GstVideoMeta* meta = gst_buffer_get_video_meta(buffer);
    PlanePlaces places = PlacesOf(info);
    for (int plane = 0; plane < places.count; ++plane) {
        if (meta) {
            places.offset[plane] = meta->offset[plane];
            places.stride[plane] = meta->stride[plane];
        }
        places.offset[plane] += CropOffset(buffer, info.finfo, plane, places.stride[plane]);
    }
    return places;
}

PlanePlaces MixerPlaces(const StreamFormat& format, std::int32_t rowWidth) {
    PlanePlaces places;
    if (!format.pixels->isPlanar) {
        places.count = 1;
        places.stride[0] = Aligned(rowWidth * format.pixels->pixelBytes);
        return places;
    }
    const gsize luma = static_cast<gsize>(rowWidth) * static_cast<gsize>(Lines(format));
    places.count = 3;
    places.offset[1] = luma;
    places.offset[2] = luma + luma / 4;
    places.stride[0] = rowWidth;
    places.stride[1] = places.stride[2] = rowWidth / 2;
    return places;
}

std::optional<std::int32_t> RowWidthOf(const StreamFormat& format, const PlanePlaces& places) {
    const int stride = places.stride[0];
    if (stride <= 0) return std::nullopt;
    const std::int32_t rowWidth = stride / format.pixels->pixelBytes;
    if (rowWidth < format.props.picProps.nWidth) return std::nullopt;
    if (format.pixels->isYuv && rowWidth % 2 != 0) return std::nullopt;
    PlanePlaces wanted = MixerPlaces(format, rowWidth);
    for (int plane = 0; plane < wanted.count; ++plane) wanted.offset[plane] += places.offset[0];
    if (wanted != places) return std::nullopt;
    return rowWidth;
}

void CopyFrame(const StreamFormat& format, const GstVideoFrame& from, BYTE* to,
               const PlanePlaces& toPlaces) {
    const PIC_PROPS& picture = format.props.picProps;
    for (int plane = 0; plane < toPlaces.count; ++plane) {
        const int scale = plane == 0 ? 1 : 2;
        const auto rowBytes =
            static_cast<std::size_t>(picture.nWidth / scale * format.pixels->pixelBytes);
        const int fromStride = GST_VIDEO_FRAME_PLANE_STRIDE(&from, plane);
        const BYTE* source = static_cast<const BYTE*>(GST_VIDEO_FRAME_PLANE_DATA(&from, plane)) +
                             CropOffset(from.buffer, from.info.finfo, plane, fromStride);
        BYTE* target = to + toPlaces.offset[plane];
        for (int line = 0; line < Lines(format) / scale; ++line) {
            std::memcpy(target, source, rowBytes);
            source += fromStride;
            target += toPlaces.stride[plane];
        }
    }
}

}  // namespace qdvm
