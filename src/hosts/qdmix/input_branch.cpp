#include "hosts/qdmix/branches.h"
#include "hosts/qdmix/chain.h"

#include <string>
#include <string_view>

namespace qdvm::qdmix {

namespace {

// Enough for decoding and mixing to go on side by side.
constexpr guint kQueuedFrames = 3;

std::string RateCaps(Rate rate) {
    return "video/x-raw,framerate=" + std::to_string(rate.num) + "/" + std::to_string(rate.den);
}

void AddTestSource(Chain& chain, const PlannedInput& input) {
    if (GstElement* source = chain.Add("videotestsrc")) {
        gst_util_set_object_arg(G_OBJECT(source), "pattern", input.spec.locator.c_str());
        chain.AddCaps(RateCaps(input.probed.rate) +
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

void AddSource(Chain& chain, const PlannedInput& input, GstElement*& decoder) {
    switch (input.spec.kind) {
        case InputKind::kTest:
            AddTestSource(chain, input);
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
    AddSource(chain, input, decoder);
    GstElement* head = decoder != nullptr ? chain.Add("identity") : nullptr;
    AddCrop(chain, input);
    // The mixer draws pictures in its output's pixel format, so all of them are brought to it here.
    // Sizes, rates, fields and pixel shapes go on as they are.
    (void)chain.Add("videoconvert");
    chain.AddCaps(CapsText(*plan.format));
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
