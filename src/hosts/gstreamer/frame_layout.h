#pragma once

// Where the planes of a frame lie, in buffers and in the mixer's frame memory.

#include "hosts/gstreamer/caps_map.h"

#include <qdvideomixer/video_props.h>

#include <gst/gst.h>
#include <gst/video/video.h>

#include <cstdint>
#include <optional>

namespace qdvm {

// Byte offsets from the frame's start and bytes from row to row, in the order of a GstVideoInfo's
// planes.
struct PlanePlaces {
    int count = 0;
    gsize offset[GST_VIDEO_MAX_PLANES] = {};
    gint stride[GST_VIDEO_MAX_PLANES] = {};

    bool operator==(const PlanePlaces&) const = default;
};

// Of what is to be seen of a buffer: from its GstVideoMeta, else from the caps, and from its
// GstVideoCropMeta.
PlanePlaces PlacesOf(GstBuffer* buffer, const GstVideoInfo& info);
PlanePlaces PlacesOf(const GstVideoInfo& info);

// Of a frame in the mixer's memory whose rows are rowWidth pixels apart.
PlanePlaces MixerPlaces(const StreamFormat& format, std::int32_t rowWidth);

// The row width (pixels) with which the mixer finds these planes, seen from the first one; none if
// it can't.
std::optional<std::int32_t> RowWidthOf(const StreamFormat& format, const PlanePlaces& places);

// Copies the format's picture row by row.
void CopyFrame(const StreamFormat& format, const GstVideoFrame& from, BYTE* to,
               const PlanePlaces& toPlaces);

}  // namespace qdvm
