#include "hosts/gstreamer/rect_child.h"

#include "hosts/gstreamer/rect_properties.h"
#include "hosts/gstreamer/sink_pad.h"

#include <string>

namespace qdvm {

RectSettings SettingsOf(GstQdVideoMixerRect* rect) {
    GST_OBJECT_LOCK(rect);
    RectSettings settings = *rect->settings;
    GST_OBJECT_UNLOCK(rect);
    return settings;
}

namespace {

void SetProperty(GObject* object, guint property, const GValue* value, GParamSpec* param) {
    GstQdVideoMixerRect* rect = GST_QD_VIDEO_MIXER_RECT(object);
    GST_OBJECT_LOCK(rect);
    const bool isKnown = SetRectProperty(*rect->settings, property, value);
    GST_OBJECT_UNLOCK(rect);
    if (!isKnown) G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, param);
}

void GetProperty(GObject* object, guint property, GValue* value, GParamSpec* param) {
    GstQdVideoMixerRect* rect = GST_QD_VIDEO_MIXER_RECT(object);
    GST_OBJECT_LOCK(rect);
    const bool isKnown = GetRectProperty(*rect->settings, property, value);
    GST_OBJECT_UNLOCK(rect);
    if (!isKnown) G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, param);
}

}  // namespace
}  // namespace qdvm

G_DEFINE_TYPE(GstQdVideoMixerRect, gst_qd_video_mixer_rect, GST_TYPE_OBJECT)

// Once for all properties that are set together.
static void gst_qd_video_mixer_rect_dispatch(GObject* object, guint count, GParamSpec** params) {
    GstQdVideoMixerRect* rect = GST_QD_VIDEO_MIXER_RECT(object);
    if (GstObject* pad = gst_object_get_parent(GST_OBJECT(object))) {
        gst_qd_video_mixer_pad_take_rect(GST_QD_VIDEO_MIXER_PAD(pad), rect);
        gst_object_unref(pad);
    }
    G_OBJECT_CLASS(gst_qd_video_mixer_rect_parent_class)
        ->dispatch_properties_changed(object, count, params);
}

static void gst_qd_video_mixer_rect_finalize(GObject* object) {
    delete GST_QD_VIDEO_MIXER_RECT(object)->settings;
    G_OBJECT_CLASS(gst_qd_video_mixer_rect_parent_class)->finalize(object);
}

static void gst_qd_video_mixer_rect_class_init(GstQdVideoMixerRectClass* klass) {
    auto* object = G_OBJECT_CLASS(klass);
    object->set_property = qdvm::SetProperty;
    object->get_property = qdvm::GetProperty;
    object->dispatch_properties_changed = gst_qd_video_mixer_rect_dispatch;
    object->finalize = gst_qd_video_mixer_rect_finalize;
    qdvm::InstallRectProperties(object);
}

static void gst_qd_video_mixer_rect_init(GstQdVideoMixerRect* rect) {
    rect->settings = new qdvm::RectSettings();
}

GstQdVideoMixerRect* gst_qd_video_mixer_rect_new(GstObject* pad, guint number) {
    const std::string name = "rect-" + std::to_string(number);
    auto* rect = GST_QD_VIDEO_MIXER_RECT(
        g_object_new(GST_TYPE_QD_VIDEO_MIXER_RECT, "name", name.c_str(), nullptr));
    rect->number = number;
    (void)gst_object_ref_sink(rect);
    (void)gst_object_set_parent(GST_OBJECT(rect), pad);
    return rect;
}
