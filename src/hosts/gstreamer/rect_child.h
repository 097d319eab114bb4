#pragma once

// A further rect of a pad's stream: its child "rect-1", "rect-2" ...

#include "hosts/gstreamer/rect_settings.h"

#include <gst/gst.h>

G_BEGIN_DECLS

#define GST_TYPE_QD_VIDEO_MIXER_RECT (gst_qd_video_mixer_rect_get_type())
#define GST_QD_VIDEO_MIXER_RECT(object) \
    (G_TYPE_CHECK_INSTANCE_CAST((object), GST_TYPE_QD_VIDEO_MIXER_RECT, GstQdVideoMixerRect))

struct GstQdVideoMixerRect {
    GstObject parent;
    guint number;                  // of the name rect-%u
    qdvm::RectSettings* settings;  // owned; under the object lock
};

struct GstQdVideoMixerRectClass {
    GstObjectClass parentClass;
};

GType gst_qd_video_mixer_rect_get_type();

// A child of the pad, whose reference is the caller's.
GstQdVideoMixerRect* gst_qd_video_mixer_rect_new(GstObject* pad, guint number);

G_END_DECLS

namespace qdvm {

RectSettings SettingsOf(GstQdVideoMixerRect* rect);

}  // namespace qdvm
