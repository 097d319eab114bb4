#include "hosts/qdmix/branches.h"
#include "hosts/qdmix/chain.h"
#include "hosts/qdmix/raw_writer.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace qdvm::qdmix {

namespace {

constexpr guint kQueuedFrames = 4;
constexpr double kBitsPerPixel = 0.1;
constexpr double kLeastBits = 200'000;

void SetBitrate(GstElement* encoding, const Encoding& row, const Plan& plan) {
    if (row.bitrateProperty == nullptr) {
        return;
    }
    const double pixels = static_cast<double>(plan.size.width) * plan.size.height;
    const double bits = std::max(kLeastBits, pixels * plan.rate.PerSecond() * kBitsPerPixel);
    const GstHandle<GstElement> encoder(gst_bin_get_by_name(GST_BIN(encoding), "encoder"));
    gst_util_set_object_arg(G_OBJECT(encoder.get()), row.bitrateProperty,
                            std::to_string(static_cast<int>(bits / row.bitrateUnit)).c_str());
}

// Encoder and muxer as one element.
GstElement* MakeEncoding(const Encoding& row, const Plan& plan) {
    const std::string muxer = row.muxer != nullptr ? std::string(" ! ") + row.muxer : "";
    GError* fault = nullptr;
    GstElement* encoding =
        gst_parse_bin_from_description((row.encoder + muxer).c_str(), TRUE, &fault);
    const GstHandle<GError> error(fault);
    if (encoding != nullptr) {
        SetBitrate(encoding, row, plan);
    }
    return encoding;
}

void AddFile(Chain& chain, const Encoding& row, const Plan& plan,
             const std::filesystem::path& path) {
    if (row.isFullRange) {
        // From YUV to YUV of the same matrix the range would stay as it is.
        (void)chain.Add("videoconvert");
        chain.AddCaps("video/x-raw,format=BGRx");
    }
    (void)chain.Add("videoconvert");
    chain.AddCaps(EncoderCapsText(row, plan.size));
    (void)chain.Add(MakeEncoding(row, plan), row.encoder);
    if (GstElement* sink = chain.Add("filesink")) {
        g_object_set(sink, "location", path.c_str(), nullptr);
    }
}

// Whether the sink has found a display; without one it would take frames and show nothing.
bool HasDisplay(GstElement* window) {
    bool isShown = false;
    if (gst_element_set_state(window, GST_STATE_READY) != GST_STATE_CHANGE_FAILURE) {
        const GList* children = GST_BIN_CHILDREN(window);
        const GstElementFactory* factory =
            children != nullptr ? gst_element_get_factory(GST_ELEMENT(children->data)) : nullptr;
        isShown =
            factory != nullptr && !std::string_view(GST_OBJECT_NAME(factory)).starts_with("fake");
    }
    (void)gst_element_set_state(window, GST_STATE_NULL);
    return isShown;
}

bool AddWindow(Chain& chain) {
    (void)chain.Add("videoconvert");
    GstElement* window = chain.Add("autovideosink");
    return window == nullptr || HasDisplay(window);
}

}  // namespace

std::optional<Failure> MakeOutputBranch(const OutputSpec& output, const Plan& plan,
                                        const std::filesystem::path& path, GstElement*& branch) {
    Chain chain("output");
    chain.AddQueue(kQueuedFrames);
    GstElement* head = chain.Last();
    switch (output.kind) {
        case OutputKind::kFile:
            AddFile(chain, *output.encoding, plan, path);
            break;
        case OutputKind::kRaw:
            (void)chain.Add(MakeRawWriter(), "appsink");
            break;
        case OutputKind::kWindow:
            if (!AddWindow(chain)) {
                return Failure{ExitStatus::kOutput, output.Subject(), "can't be opened",
                               "there is no display"};
            }
            break;
    }
    chain.Expose(head, "sink");
    if (!chain.Missing().empty()) {
        return Failure{ExitStatus::kOutput, output.Subject(), "can't be written",
                       "GStreamer's " + chain.Missing() + " is missing"};
    }
    branch = chain.Release();
    return std::nullopt;
}

}  // namespace qdvm::qdmix
