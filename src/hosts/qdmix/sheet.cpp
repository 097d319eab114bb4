#include "hosts/qdmix/sheet.h"

#include "hosts/qdmix/gst_handles.h"
#include "hosts/qdmix/png.h"

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace qdvm::qdmix {

namespace {

constexpr std::size_t kPixelBytes = 4;
constexpr GstClockTime kTimeLimit = 30 * GST_SECOND;
constexpr GstClockTime kPatience = 200 * GST_MSECOND;

struct Sheet {
    std::uint64_t moments = 0;
    int columns = 0;
    int rows = 0;
    Size moment;  // of one picture
    std::vector<guint8> pixels;

    int Width() const { return moment.width * columns; }
    int Height() const { return moment.height * rows; }
};

// As square as it gets, and about as wide as the film.
Sheet MakeSheet(int moments, Size film) {
    Sheet sheet;
    sheet.moments = static_cast<std::uint64_t>(moments);
    sheet.columns = static_cast<int>(std::ceil(std::sqrt(moments)));
    sheet.rows = (moments + sheet.columns - 1) / sheet.columns;
    // Of even width, so that the rows of the sheet are without padding.
    sheet.moment = {std::max(2, film.width / sheet.columns & ~1),
                    std::max(2, film.height / sheet.columns & ~1)};
    sheet.pixels.resize(kPixelBytes * sheet.Width() * sheet.Height());
    return sheet;
}

GstHandle<GstCaps> PixelCaps(Size size) {
    return GstHandle<GstCaps>(gst_caps_new_simple(
        "video/x-raw", "format", G_TYPE_STRING, "RGBA", "width", G_TYPE_INT, size.width, "height",
        G_TYPE_INT, size.height, "framerate", GST_TYPE_FRACTION, 1, 1, nullptr));
}

void Paste(const guint8* picture, std::uint64_t moment, Sheet& sheet) {
    const auto columns = static_cast<std::uint64_t>(sheet.columns);
    const std::size_t rowBytes = sheet.moment.width * kPixelBytes;
    const std::size_t sheetRowBytes = rowBytes * columns;
    const std::size_t left = (moment % columns) * rowBytes;
    const std::size_t top = (moment / columns) * sheet.moment.height;
    for (int y = 0; y < sheet.moment.height; ++y) {
        std::memcpy(sheet.pixels.data() + (top + y) * sheetRowBytes + left, picture + y * rowBytes,
                    rowBytes);
    }
}

// Puts a frame of the film into its place, reduced.
bool AddMoment(Sheet& sheet, std::uint64_t moment, GstSample* sample) {
    const GstHandle<GstCaps> caps = PixelCaps(sheet.moment);
    const GstHandle<GstSample> reduced(
        gst_video_convert_sample(sample, caps.get(), kTimeLimit, nullptr));
    if (!reduced) {
        return false;
    }
    GstMapInfo map;
    GstBuffer* buffer = gst_sample_get_buffer(reduced.get());
    if (!gst_buffer_map(buffer, &map, GST_MAP_READ)) {
        return false;
    }
    const bool isWhole = map.size >= sheet.moment.width * kPixelBytes *
                                         static_cast<std::size_t>(sheet.moment.height);
    if (isWhole) {
        Paste(map.data, moment, sheet);
    }
    gst_buffer_unmap(buffer, &map);
    return isWhole;
}

bool HasFailed(GstBus* bus) {
    const GstHandle<GstMessage> error(gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR));
    return error != nullptr;
}

// The next frame, or null at the end and after a failure.
GstHandle<GstSample> NextFrame(GstAppSink* sink, GstBus* bus) {
    GstHandle<GstSample> sample;
    for (GstClockTime waited = 0; !sample && waited < kTimeLimit; waited += kPatience) {
        sample.reset(gst_app_sink_try_pull_sample(sink, kPatience));
        if (gst_app_sink_is_eos(sink) || HasFailed(bus)) {
            break;
        }
    }
    return sample;
}

// Reads the film once, from its beginning, so that it needs no index.
bool CollectMoments(GstAppSink* sink, GstBus* bus, std::uint64_t frames, Sheet& sheet) {
    std::uint64_t moment = 0;
    for (std::uint64_t frame = 0; moment < sheet.moments; ++frame) {
        const GstHandle<GstSample> sample = NextFrame(sink, bus);
        if (!sample) {
            break;
        }
        while (moment < sheet.moments && frame >= (2 * moment + 1) * frames / (2 * sheet.moments)) {
            if (!AddMoment(sheet, moment++, sample.get())) {
                return false;
            }
        }
    }
    return moment == sheet.moments;
}

bool ReadFilm(const std::filesystem::path& film, std::uint64_t frames, Sheet& sheet) {
    const GstHandle<GstElement> pipeline(gst_parse_launch(
        "uridecodebin name=film ! videoconvert ! appsink name=frames sync=false max-buffers=4",
        nullptr));
    if (!pipeline) {
        return false;
    }
    const GstHandle<GstElement> source(gst_bin_get_by_name(GST_BIN(pipeline.get()), "film"));
    const GstHandle<GstElement> sink(gst_bin_get_by_name(GST_BIN(pipeline.get()), "frames"));
    const std::string uri =
        TakeText(gst_filename_to_uri(std::filesystem::absolute(film).c_str(), nullptr));
    g_object_set(source.get(), "uri", uri.c_str(), nullptr);
    (void)gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    const GstHandle<GstBus> bus(gst_element_get_bus(pipeline.get()));
    const bool isRead = CollectMoments(GST_APP_SINK(sink.get()), bus.get(), frames, sheet);
    (void)gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    return isRead;
}

bool WritePixels(const Sheet& sheet, const std::filesystem::path& picture) {
    GstBuffer* buffer = gst_buffer_new_memdup(sheet.pixels.data(), sheet.pixels.size());
    GST_BUFFER_PTS(buffer) = 0;
    const GstHandle<GstCaps> caps = PixelCaps({sheet.Width(), sheet.Height()});
    const GstHandle<GstSample> raw(gst_sample_new(buffer, caps.get(), nullptr, nullptr));
    gst_buffer_unref(buffer);
    return WritePng(raw.get(), picture);
}

}  // namespace

std::optional<Failure> WriteSheet(const std::filesystem::path& film, std::uint64_t frames,
                                  Size size, int moments, const std::filesystem::path& picture,
                                  const std::string& subject) {
    const auto fail = [&](std::string what, std::string why) {
        return Failure{ExitStatus::kOutput, subject, std::move(what), std::move(why)};
    };
    Sheet sheet = MakeSheet(moments, size);
    if (!ReadFilm(film, frames, sheet)) {
        return fail("can't be made", "the film can't be read back");
    }
    if (!WritePixels(sheet, picture)) {
        return fail("can't be written", "the disk is full, or no PNG encoder is installed");
    }
    return std::nullopt;
}

}  // namespace qdvm::qdmix
