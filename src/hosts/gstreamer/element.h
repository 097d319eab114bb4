#pragma once

// The element "qdvideomixer".

#include "hosts/gstreamer/session.h"

#include <gst/gst.h>

G_BEGIN_DECLS

#define GST_TYPE_QD_VIDEO_MIXER (gst_qd_video_mixer_get_type())
#define GST_QD_VIDEO_MIXER(object) \
    (G_TYPE_CHECK_INSTANCE_CAST((object), GST_TYPE_QD_VIDEO_MIXER, GstQdVideoMixer))

struct GstQdVideoMixer {
    GstElement parent;
    GstPad* srcPad;
    qdvm::Session* session;  // owned
    guint nextPadNumber;     // under the object lock
    GMutex settingsLock;
    qdvm::ElementSettings* settings;  // owned; under settingsLock
};

struct GstQdVideoMixerClass {
    GstElementClass parentClass;
};

GType gst_qd_video_mixer_get_type();

G_END_DECLS
