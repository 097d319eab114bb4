#include "hosts/qdmix/mixer_settings.h"

namespace qdvm::qdmix {

void SetChangeTime(GstElement* mixer, std::int64_t take) {
    g_object_set(mixer, "change-time", static_cast<guint>(take / GST_MSECOND), nullptr);
}

void SetRect(GstPad* pad, std::size_t, const RectValues& values, Size picture) {
    const Geometry& source = values.source;
    g_object_set(pad, "xpos", values.target.at.x, "ypos", values.target.at.y, "crop-left",
                 source.at.x, "crop-top", source.at.y, "crop-right",
                 picture.width - source.at.x - source.size.width, "crop-bottom",
                 picture.height - source.at.y - source.size.height, "alpha", values.alpha, nullptr);
}

void SetBackground(GstElement* mixer, const Background& background) {
    if (background.colour) {
        gst_util_set_object_arg(G_OBJECT(mixer), "background", "color");
        g_object_set(mixer, "background-color", static_cast<guint>(*background.colour), nullptr);
    } else {
        gst_util_set_object_arg(G_OBJECT(mixer), "background", "none");
    }
}

void SetPolicy(GstPad* pad, const PlannedInput& input) {
    const InputOptions& options = input.options;
    g_object_set(pad, "loop", gboolean{options.loop && !input.probed.isStill}, "ignore-time",
                 gboolean{options.ignoreTime}, "keep-rate", gboolean{options.keepRate}, "max-wait",
                 input.waitFrames, nullptr);
    gst_util_set_object_arg(G_OBJECT(pad), "lost-show", options.lost.c_str());
}

}  // namespace qdvm::qdmix
