#include "hosts/qdmix/png.h"

#include <gst/video/video.h>

#include <fstream>

namespace qdvm::qdmix {

namespace {

constexpr GstClockTime kTimeLimit = 30 * GST_SECOND;

}  // namespace

bool WritePng(GstSample* picture, const std::filesystem::path& file) {
    const GstHandle<GstCaps> png(gst_caps_from_string("image/png"));
    const GstHandle<GstSample> encoded(
        gst_video_convert_sample(picture, png.get(), kTimeLimit, nullptr));
    GstMapInfo map;
    if (!encoded || !gst_buffer_map(gst_sample_get_buffer(encoded.get()), &map, GST_MAP_READ)) {
        return false;
    }
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    (void)out.write(reinterpret_cast<const char*>(map.data),
                    static_cast<std::streamsize>(map.size));
    gst_buffer_unmap(gst_sample_get_buffer(encoded.get()), &map);
    out.close();
    return out.good();
}

}  // namespace qdvm::qdmix
