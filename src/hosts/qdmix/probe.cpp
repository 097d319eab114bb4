#include "hosts/qdmix/probe.h"

#include "hosts/qdmix/gst_handles.h"

#include <gst/pbutils/pbutils.h>

#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

namespace qdvm::qdmix {

namespace {

constexpr GstClockTime kTimeLimit = 10 * GST_SECOND;
constexpr Size kTestSize = {640, 360};
constexpr Rate kTestRate = {25, 1};
constexpr Size kCameraSize = {640, 480};
constexpr int kLargestSide = 16384;

Failure CantOpen(const InputSpec& spec, std::string what, std::string why = {}) {
    return {ExitStatus::kInput, spec.Subject(), std::move(what), std::move(why)};
}

std::optional<Failure> CheckFile(const InputSpec& spec) {
    std::error_code error;
    const std::filesystem::path path = spec.locator;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        const bool isMissing = !error || error == std::errc::no_such_file_or_directory;
        return CantOpen(spec, "can't be opened", isMissing ? "no such file" : error.message());
    }
    if (std::filesystem::is_directory(status)) {
        return CantOpen(spec, "can't be opened", "it is a directory");
    }
    if (!std::filesystem::is_regular_file(status)) {
        return CantOpen(spec, "can't be opened", "it is no file but a device or a pipe");
    }
    if (!std::ifstream(path, std::ios::binary)) {
        return CantOpen(spec, "can't be opened", "no permission to read it");
    }
    if (std::filesystem::file_size(path, error) == 0) {
        return CantOpen(spec, "can't be read", "it is empty");
    }
    return std::nullopt;
}

std::string UriOf(const InputSpec& spec) {
    if (spec.kind == InputKind::kUri) {
        return spec.locator;
    }
    return TakeText(gst_filename_to_uri(spec.locator.c_str(), nullptr));
}

struct StreamListFree {
    void operator()(GList* list) const { gst_discoverer_stream_info_list_free(list); }
};
using StreamList = std::unique_ptr<GList, StreamListFree>;

// What decoder for pictures is missing, or empty. Missing decoders for sound don't matter.
std::string MissingDecoder(GstDiscovererInfo* info) {
    const gchar** details = gst_discoverer_info_get_missing_elements_installer_details(info);
    for (; details != nullptr && *details != nullptr; ++details) {
        const std::string detail = *details;
        const std::size_t kind = detail.rfind('|');
        if (kind == std::string::npos || detail.find("audio", kind) != std::string::npos ||
            detail.find("text", kind) != std::string::npos) {
            continue;
        }
        const std::size_t name = detail.rfind('|', kind - 1);
        return detail.substr(name + 1, kind - name - 1);
    }
    return {};
}

std::optional<Failure> NoVideo(const InputSpec& spec, GstDiscovererInfo* info) {
    const StreamList sound(gst_discoverer_info_get_audio_streams(info));
    return CantOpen(spec, "no video", sound ? "it holds only sound" : "it holds no pictures");
}

std::optional<Failure> Judge(const InputSpec& spec, GstDiscovererInfo* info, const GError* error) {
    switch (gst_discoverer_info_get_result(info)) {
        case GST_DISCOVERER_OK:
            return std::nullopt;
        case GST_DISCOVERER_MISSING_PLUGINS:
            if (const std::string missing = MissingDecoder(info); !missing.empty()) {
                return CantOpen(spec, "can't be decoded", "no " + missing + " is installed");
            }
            return std::nullopt;
        case GST_DISCOVERER_TIMEOUT:
            return CantOpen(spec, "can't be read", "nothing came within ten seconds");
        case GST_DISCOVERER_URI_INVALID:
            return CantOpen(spec, "can't be opened", "the address is not valid");
        default:
            break;
    }
    const bool isNoVideo = error != nullptr && error->domain == GST_STREAM_ERROR &&
                           (error->code == GST_STREAM_ERROR_TYPE_NOT_FOUND ||
                            error->code == GST_STREAM_ERROR_WRONG_TYPE);
    return CantOpen(spec, isNoVideo ? "not a video" : "can't be read",
                    error != nullptr ? error->message : "unknown reason");
}

std::optional<Failure> Describe(const InputSpec& spec, GstDiscovererInfo* info, Probed& probed) {
    const StreamList pictures(gst_discoverer_info_get_video_streams(info));
    if (!pictures) {
        return NoVideo(spec, info);
    }
    auto* video = static_cast<GstDiscovererVideoInfo*>(pictures->data);
    probed.size = {static_cast<int>(gst_discoverer_video_info_get_width(video)),
                   static_cast<int>(gst_discoverer_video_info_get_height(video))};
    probed.rate = {static_cast<int>(gst_discoverer_video_info_get_framerate_num(video)),
                   static_cast<int>(gst_discoverer_video_info_get_framerate_denom(video))};
    probed.isStill = gst_discoverer_video_info_is_image(video);
    if (probed.isStill || probed.rate.den <= 0) {
        probed.rate = {};
    }
    probed.isSeekable = gst_discoverer_info_get_seekable(info);
    const GstClockTime length = gst_discoverer_info_get_duration(info);
    probed.length = GST_CLOCK_TIME_IS_VALID(length) ? static_cast<std::int64_t>(length) : 0;
    return std::nullopt;
}

std::optional<Failure> ProbeMedia(const InputSpec& spec, Probed& probed) {
    GError* fault = nullptr;
    const GstHandle<GstDiscoverer> discoverer(gst_discoverer_new(kTimeLimit, &fault));
    const GstHandle<GError> newFault(std::exchange(fault, nullptr));
    if (!discoverer) {
        return CantOpen(spec, "can't be opened", newFault->message);
    }
    const GstHandle<GstDiscovererInfo> info(
        gst_discoverer_discover_uri(discoverer.get(), UriOf(spec).c_str(), &fault));
    const GstHandle<GError> error(fault);
    if (!info) {
        return CantOpen(spec, "can't be read", error ? error->message : "unknown reason");
    }
    if (auto failure = Judge(spec, info.get(), error.get())) {
        return failure;
    }
    return Describe(spec, info.get(), probed);
}

// Of what a camera offers, the format nearest to what is asked for.
std::optional<Failure> ChooseCameraCaps(const InputSpec& spec, GstElement* source, Probed& probed) {
    const GstHandle<GstPad> pad(gst_element_get_static_pad(source, "src"));
    const GstHandle<GstCaps> wanted(gst_caps_new_empty_simple("video/x-raw"));
    GstHandle<GstCaps> offered(gst_pad_query_caps(pad.get(), wanted.get()));
    if (gst_caps_is_empty(offered.get())) {
        return CantOpen(spec, "can't be used", "it offers no uncompressed pictures");
    }
    offered.reset(gst_caps_make_writable(gst_caps_truncate(offered.release())));
    GstStructure* format = gst_caps_get_structure(offered.get(), 0);
    const Size size = spec.size.value_or(kCameraSize);
    const Rate rate = spec.rate.value_or(kTestRate);
    (void)gst_structure_fixate_field_nearest_int(format, "width", size.width);
    (void)gst_structure_fixate_field_nearest_int(format, "height", size.height);
    (void)gst_structure_fixate_field_nearest_fraction(format, "framerate", rate.num, rate.den);
    offered.reset(gst_caps_fixate(offered.release()));
    format = gst_caps_get_structure(offered.get(), 0);
    (void)gst_structure_get_int(format, "width", &probed.size.width);
    (void)gst_structure_get_int(format, "height", &probed.size.height);
    (void)gst_structure_get_fraction(format, "framerate", &probed.rate.num, &probed.rate.den);
    probed.cameraCaps = TakeText(gst_caps_to_string(offered.get()));
    return std::nullopt;
}

std::optional<Failure> ProbeCamera(const InputSpec& spec, Probed& probed) {
    std::error_code error;
    if (!std::filesystem::exists(spec.locator, error)) {
        return CantOpen(spec, "can't be opened", "no such device");
    }
    const GstHandle<GstElement> source(MakeElement("v4l2src"));
    if (!source) {
        return CantOpen(spec, "can't be opened", "GStreamer's camera source is not installed");
    }
    (void)gst_object_ref_sink(source.get());
    g_object_set(source.get(), "device", spec.locator.c_str(), nullptr);
    std::optional<Failure> failure;
    if (gst_element_set_state(source.get(), GST_STATE_READY) == GST_STATE_CHANGE_FAILURE) {
        failure = CantOpen(spec, "can't be opened", "it is no camera, or it is in use");
    } else {
        failure = ChooseCameraCaps(spec, source.get(), probed);
    }
    (void)gst_element_set_state(source.get(), GST_STATE_NULL);
    probed.isSeekable = false;
    return failure;
}

std::optional<Failure> Probe(const InputSpec& spec, Probed& probed) {
    switch (spec.kind) {
        case InputKind::kTest:
            probed.size = spec.size.value_or(kTestSize);
            probed.rate = spec.rate.value_or(kTestRate);
            return std::nullopt;
        case InputKind::kCamera:
            return ProbeCamera(spec, probed);
        case InputKind::kFile:
            if (auto failure = CheckFile(spec)) {
                return failure;
            }
            return ProbeMedia(spec, probed);
        case InputKind::kUri:
            return ProbeMedia(spec, probed);
    }
    return std::nullopt;
}

}  // namespace

std::optional<Failure> ProbeInput(const InputSpec& spec, Probed& probed) {
    probed = {};
    if (auto failure = Probe(spec, probed)) {
        return failure;
    }
    probed.evenSize = {probed.size.width & ~1, probed.size.height & ~1};
    if (probed.size.width <= 0 || probed.size.height <= 0) {
        return CantOpen(spec, "can't be read", "no picture comes out of it");
    }
    if (probed.evenSize.width == 0 || probed.evenSize.height == 0) {
        return CantOpen(spec, "its size can't be used",
                        TextOf(probed.size) + " is less than two pixels either way");
    }
    if (probed.size.width > kLargestSide || probed.size.height > kLargestSide) {
        return CantOpen(spec, "its size can't be used", TextOf(probed.size) + " is too large");
    }
    return std::nullopt;
}

}  // namespace qdvm::qdmix
