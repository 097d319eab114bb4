#include "hosts/qdmix/mixer_settings.h"

#include "hosts/gstreamer/rect_settings.h"

#include <qdvideomixer/video_mixer.h>

#include <string>

namespace qdvm::qdmix {

namespace {

SizingPolicy SizingPolicyOf(Fit fit) {
    switch (fit) {
        case Fit::kStretch:
            return SizingPolicy::kStretch;
        case Fit::kLetterBox:
            return SizingPolicy::kKeepAspectRatio;
        case Fit::kCrop:
            return SizingPolicy::kCrop;
    }
    return SizingPolicy::kStretch;
}

}  // namespace

void SetChangeTime(GstElement* mixer, std::int64_t take) {
    g_object_set(mixer, "change-time", static_cast<guint>(take / GST_MSECOND), nullptr);
}

void SetRect(GstPad* pad, std::size_t rect, const RectValues& values, Size picture) {
    const std::string child = "rect-" + std::to_string(rect);
    // The first rect is the pad's own.
    const GstHandle<GObject> object(
        rect == 0 ? G_OBJECT(g_object_ref(pad))
                  : gst_child_proxy_get_child_by_name(GST_CHILD_PROXY(pad), child.c_str()));
    if (!object) {
        return;
    }
    const Geometry& source = values.source;
    const Geometry& target = values.target;
    // All at once, so that one frame shows all of it.
    g_object_set(
        object.get(), "xpos", target.at.x, "ypos", target.at.y, "width", target.size.width,
        "height", target.size.height, "crop-left", source.at.x, "crop-top", source.at.y,
        "crop-right", picture.width - source.at.x - source.size.width, "crop-bottom",
        picture.height - source.at.y - source.size.height, "alpha", values.alpha, "border-width",
        values.border.width, "border-color", static_cast<guint>(values.border.colour),
        "flip-horizontal", gboolean{values.flip.isHorizontal}, "flip-vertical",
        gboolean{values.flip.isVertical}, "one-field", gboolean{values.isOneField}, "sizing-policy",
        static_cast<gint>(SizingPolicyOf(values.fit)), "view-angle", values.viewAngle,
        "horizontal-angle", values.turn.horizontal, "vertical-angle", values.turn.vertical,
        "horizontal-offset", values.eye.horizontal, "vertical-offset", values.eye.vertical, "mask",
        values.mask.empty() ? nullptr : values.mask.c_str(), nullptr);
}

void SetBackground(GstElement* mixer, const Background& background) {
    if (background.colour) {
        g_object_set(mixer, "background", eVMB_Color, "background-color",
                     static_cast<guint>(*background.colour), nullptr);
    } else if (!background.picture.empty()) {
        g_object_set(mixer, "background", eVMB_Image, "background-picture",
                     background.picture.c_str(), nullptr);
    } else {
        g_object_set(mixer, "background", eVMB_None, nullptr);
    }
}

void SetPolicy(GstPad* pad, const PlannedInput& input) {
    const InputOptions& options = input.options;
    g_object_set(pad, "loop", gboolean{options.loop && !input.probed.isStill}, "ignore-time",
                 gboolean{options.ignoreTime}, "keep-rate", gboolean{options.keepRate}, "max-wait",
                 input.waitFrames, nullptr);
    gst_util_set_object_arg(G_OBJECT(pad), "lost-show", options.lost.c_str());
    g_object_set(pad, "key", TextOf(options.key).c_str(), nullptr);
}

}  // namespace qdvm::qdmix
