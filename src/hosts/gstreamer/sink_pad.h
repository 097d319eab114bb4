#pragma once

// The sink pads of the element, with the properties of a stream.

#include "hosts/gstreamer/session.h"

#include <gst/gst.h>

G_BEGIN_DECLS

#define GST_TYPE_QD_VIDEO_MIXER_PAD (gst_qd_video_mixer_pad_get_type())
#define GST_QD_VIDEO_MIXER_PAD(object) \
    (G_TYPE_CHECK_INSTANCE_CAST((object), GST_TYPE_QD_VIDEO_MIXER_PAD, GstQdVideoMixerPad))

struct GstQdVideoMixerPad {
    GstPad parent;
    GMutex streamLock;            // held while a property is at work with the stream
    qdvm::PadStream* stream;      // the session's, null before and after its time with it
    qdvm::Session* session;       // borrowed
    qdvm::PadSettings* settings;  // owned
};

struct GstQdVideoMixerPadClass {
    GstPadClass parentClass;
};

GType gst_qd_video_mixer_pad_get_type();

// The pad's functions, and its stream in the session. The pad has its name.
void gst_qd_video_mixer_pad_join(GstQdVideoMixerPad* pad, qdvm::Session* session, guint number);

// Waits until its streaming thread is out of the mixer.
void gst_qd_video_mixer_pad_leave(GstQdVideoMixerPad* pad);

G_END_DECLS
