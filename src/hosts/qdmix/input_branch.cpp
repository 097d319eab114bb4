#include "hosts/qdmix/branches.h"
#include "hosts/qdmix/chain.h"

#include <gst/video/video.h>

#include <string>
#include <string_view>

namespace qdvm::qdmix {

namespace {

// Enough for decoding and mixing to go on side by side.
constexpr guint kQueuedFrames = 3;

std::string RateCaps(Rate rate) {
    return "video/x-raw,framerate=" + std::to_string(rate.num) + "/" + std::to_string(rate.den);
}

// Made in the format of the mix, so that nothing has to be converted, and opaque.
void AddTestSource(Chain& chain, const PlannedInput& input, const PixelFormat& format) {
    if (GstElement* source = chain.Add("videotestsrc")) {
        gst_util_set_object_arg(G_OBJECT(source), "pattern", input.spec.locator.c_str());
        const std::string caps = format.gstFormat == std::string_view("BGRA")
                                     ? "video/x-raw,format=BGRx"
                                     : CapsText(format);
        chain.AddCaps(caps + ",framerate=" + std::to_string(input.probed.rate.num) + "/" +
                      std::to_string(input.probed.rate.den) +
                      ",width=" + std::to_string(input.probed.size.width) +
                      ",height=" + std::to_string(input.probed.size.height));
    }
}

void AddCamera(Chain& chain, const PlannedInput& input) {
    if (GstElement* source = chain.Add("v4l2src")) {
        g_object_set(source, "device", input.spec.locator.c_str(), nullptr);
        chain.AddCaps(input.probed.cameraCaps);
    }
}

// The first stream of pictures goes on; others are left alone.
void OnPadAdded(GstElement*, GstPad* pad, gpointer next) {
    const GstHandle<GstPad> sink(
        gst_element_get_static_pad(static_cast<GstElement*>(next), "sink"));
    if (!gst_pad_is_linked(sink.get())) {
        (void)gst_pad_link(pad, sink.get());
    }
}

GstElement* AddDecoder(Chain& chain, const PlannedInput& input) {
    GstElement* decoder = chain.Add("uridecodebin");
    if (decoder != nullptr) {
        const std::string uri =
            input.spec.kind == InputKind::kUri
                ? input.spec.locator
                : TakeText(gst_filename_to_uri(input.spec.locator.c_str(), nullptr));
        const GstHandle<GstCaps> pictures(gst_caps_from_string("video/x-raw(ANY)"));
        g_object_set(decoder, "uri", uri.c_str(), "caps", pictures.get(), "expose-all-streams",
                     FALSE, nullptr);
        chain.Break();
    }
    return decoder;
}

void AddCrop(Chain& chain, const PlannedInput& input) {
    const Size size = input.probed.size;
    const Size even = input.probed.evenSize;
    if (size != even) {
        if (GstElement* crop = chain.Add("videocrop")) {
            g_object_set(crop, "right", size.width - even.width, "bottom",
                         size.height - even.height, nullptr);
        }
    }
}

// A picture without a rate has no grid of its own: it gets that of the mix.
void AddGrid(Chain& chain, const PlannedInput& input, const Plan& plan) {
    if (!input.probed.rate.IsKnown()) {
        (void)chain.Add(input.probed.isStill ? "imagefreeze" : "videorate");
        chain.AddCaps(RateCaps(plan.rate));
    }
}

// The caps on the two stages of a conversion.
struct Conversion {
    GstElement* first;   // borrowed
    GstElement* second;  // borrowed
    const PixelFormat* format;
};

void SetCaps(GstElement* filter, const std::string& text) {
    const GstHandle<GstCaps> caps(gst_caps_from_string(text.c_str()));
    g_object_set(filter, "caps", caps.get(), nullptr);
}

// Pictures of full range, as those of JPEG, take the way over RGB: a conversion from YUV to YUV of
// the same matrix would leave the range as it is.
void SetUp(const Conversion& conversion, const GstVideoInfo& info) {
    const bool isRgb = GST_VIDEO_INFO_IS_RGB(&info);
    const bool isFullRange = !isRgb && info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255;
    SetCaps(conversion.first, isFullRange ? "video/x-raw,format=BGRx" : "ANY");
    SetCaps(conversion.second, InputCapsText(*conversion.format, isRgb || isFullRange));
}

GstPadProbeReturn TakeCaps(GstPad*, GstPadProbeInfo* info, gpointer conversion) {
    GstEvent* event = GST_PAD_PROBE_INFO_EVENT(info);
    if (GST_EVENT_TYPE(event) == GST_EVENT_CAPS) {
        GstCaps* caps = nullptr;
        GstVideoInfo video;
        gst_event_parse_caps(event, &caps);
        if (gst_video_info_from_caps(&video, caps)) {
            SetUp(*static_cast<Conversion*>(conversion), video);
        }
    }
    return GST_PAD_PROBE_OK;
}

// Brings pictures to a format that the mixer works in and to the colours of the mix. Most decoded
// ones have them and go through as they are. Sizes, rates, fields and pixel shapes stay.
void AddConversion(Chain& chain, const Plan& plan) {
    GstElement* head = chain.Add("videoconvert");
    GstElement* first = chain.Add("capsfilter");
    (void)chain.Add("videoconvert");
    GstElement* second = chain.Add("capsfilter");
    if (!chain.Missing().empty()) {
        return;
    }
    const GstHandle<GstPad> pad(gst_element_get_static_pad(head, "sink"));
    (void)gst_pad_add_probe(pad.get(), GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, TakeCaps,
                            new Conversion{first, second, plan.format},
                            [](gpointer data) { delete static_cast<Conversion*>(data); });
}

void AddSource(Chain& chain, const PlannedInput& input, const Plan& plan, GstElement*& decoder) {
    switch (input.spec.kind) {
        case InputKind::kTest:
            AddTestSource(chain, input, *plan.format);
            break;
        case InputKind::kCamera:
            AddCamera(chain, input);
            break;
        case InputKind::kFile:
        case InputKind::kUri:
            decoder = AddDecoder(chain, input);
            break;
    }
}

}  // namespace

std::optional<Failure> MakeInputBranch(const PlannedInput& input, const Plan& plan,
                                       GstElement*& branch) {
    Chain chain(("input-" + std::to_string(input.spec.number)).c_str());
    GstElement* decoder = nullptr;
    AddSource(chain, input, plan, decoder);
    GstElement* head = decoder != nullptr ? chain.Add("identity") : nullptr;
    AddCrop(chain, input);
    AddConversion(chain, plan);
    AddGrid(chain, input, plan);
    chain.AddQueue(kQueuedFrames);
    chain.Expose(chain.Last(), "src");
    if (!chain.Missing().empty()) {
        return Failure{ExitStatus::kFailed, input.spec.Subject(), "can't be decoded",
                       "GStreamer's " + chain.Missing() + " is missing"};
    }
    if (decoder != nullptr) {
        (void)g_signal_connect(decoder, "pad-added", G_CALLBACK(OnPadAdded), head);
    }
    branch = chain.Release();
    return std::nullopt;
}

}  // namespace qdvm::qdmix
