#include "key_scenes.h"

#include "pixels/primitives/convert.h"

#include <algorithm>
#include <cmath>
#include <random>

#ifdef QDVM_BENCH_GSTREAMER
#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <cstring>
#include <string>
#endif

namespace qdvm::bench {
namespace {

struct Colour {
    double r, g, b;

    Colour Mixed(const Colour& other, double part) const {
        return {r + (other.r - r) * part, g + (other.g - g) * part, b + (other.b - b) * part};
    }
};

constexpr Colour kWall{kWallColour >> 16, kWallColour >> 8 & 0xff, kWallColour & 0xff};
constexpr double kEdge = 3;          // pixels in which the edge fades
constexpr double kLightReach = 0.2;  // of the radius, where the wall's light falls onto the rim
constexpr double kNoise = 4;
constexpr int kHairs = 24;
constexpr double kHairReach = 1.3;
constexpr double kPi = 3.14159265358979;

// What stands before the wall at one place.
struct Subject {
    double opacity;
    Colour colour;
};

Subject SubjectAt(double x, double y, double radius) {
    const double distance = std::hypot(x, y);
    const double inside = std::clamp((radius - distance) / kEdge + 0.5, 0.0, 1.0);
    const double angle = std::atan2(y, x) * kHairs / (2 * kPi);
    const double aside = std::abs(angle - std::round(angle)) * 2 * kPi / kHairs * distance;
    const bool isHair = distance < radius * kHairReach;
    const double hair = isHair ? std::clamp(1.5 - aside, 0.0, 1.0) : 0.0;
    const Colour skin{205 - 40 * x / radius, 150 + 30 * y / radius, 120};
    const double light =
        std::clamp(1 - (radius - distance) / (kLightReach * radius), 0.0, 1.0) * 0.35;
    return {std::max(inside, hair), skin.Mixed(kWall, light)};
}

}  // namespace

KeyClip GenerateKeyClip(std::int32_t width, std::int32_t height, int frames) {
    KeyClip clip{width, height, {}, {}};
    std::mt19937 random(5);
    std::normal_distribution<double> noise(0, kNoise);
    // Drawn once and shifted: a normal number for each sample would take longer than the keys.
    std::vector<double> grain(1 << 16);
    for (double& value : grain) value = noise(random);
    const std::size_t pixels = static_cast<std::size_t>(width) * height;
    for (int frame = 0; frame < frames; ++frame) {
        std::vector<std::uint8_t> bgra(pixels * 4, 255);
        std::vector<std::uint8_t> truth(pixels);
        const double middleX = width * (0.4 + 0.01 * frame);
        const double middleY = height * 0.5;
        for (std::size_t i = 0; i < pixels; ++i) {
            const double x = static_cast<double>(i % width);
            const double y = static_cast<double>(i / width);
            const Subject subject = SubjectAt(x - middleX, y - middleY, height * 0.3);
            const double lit = 1 + 0.25 * (x / width - 0.5) - 0.2 * (y / height - 0.5);
            const Colour wall{kWall.r * lit, kWall.g * lit, kWall.b * lit};
            const Colour seen = wall.Mixed(subject.colour, subject.opacity);
            const double values[3] = {seen.b, seen.g, seen.r};
            for (std::size_t c = 0; c < 3; ++c) {
                const std::size_t at = (i * 3 + c + random() % 7) % grain.size();
                bgra[4 * i + c] =
                    static_cast<std::uint8_t>(std::clamp(values[c] + grain[at] + 0.5, 0.0, 255.0));
            }
            truth[i] = static_cast<std::uint8_t>(subject.opacity * 255 + 0.5);
        }
        std::vector<std::uint8_t> yuy2(pixels * 2);
        (void)BGRAToYUY2(bgra.data(), width * std::ptrdiff_t{4}, yuy2.data(),
                         width * std::ptrdiff_t{2}, {width, height});
        clip.frames.push_back(std::move(yuy2));
        clip.truth.push_back(std::move(truth));
    }
    return clip;
}

#ifdef QDVM_BENCH_GSTREAMER

KeyClip DecodeGreenScreen(int frames) {
    KeyClip clip{640, 360, {}, {}};
    const std::size_t bytes = std::size_t{640} * 360 * 2;
    if (!gst_init_check(nullptr, nullptr, nullptr)) return clip;
    const std::string text = "filesrc location=\"" QDVM_SAMPLES_DIR
                             "/clips/greenscreen.webm\" ! matroskademux ! vp8dec ! videoconvert ! "
                             "video/x-raw,format=YUY2,width=640,height=360 ! "
                             "appsink name=sink sync=false";
    GstElement* const pipeline = gst_parse_launch(text.c_str(), nullptr);
    if (!pipeline) return clip;
    GstElement* const sink = gst_bin_get_by_name(GST_BIN(pipeline), "sink");
    (void)gst_element_set_state(pipeline, GST_STATE_PLAYING);
    for (int i = 0; i < frames; ++i) {
        GstSample* const sample = gst_app_sink_pull_sample(GST_APP_SINK(sink));
        if (!sample) break;
        GstMapInfo map;
        if (gst_buffer_map(gst_sample_get_buffer(sample), &map, GST_MAP_READ)) {
            if (map.size >= bytes) clip.frames.emplace_back(map.data, map.data + bytes);
            gst_buffer_unmap(gst_sample_get_buffer(sample), &map);
        }
        gst_sample_unref(sample);
    }
    (void)gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(sink);
    gst_object_unref(pipeline);
    return clip;
}

#else

KeyClip DecodeGreenScreen(int) { return {640, 360, {}, {}}; }

#endif

}  // namespace qdvm::bench
