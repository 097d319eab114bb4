#pragma once

// The sink pads of the element, with the properties of a stream and of its first rect. Further
// rects are their children.

#include "hosts/gstreamer/rect_child.h"
#include "hosts/gstreamer/session.h"

#include <gst/gst.h>

#include <vector>

G_BEGIN_DECLS

#define GST_TYPE_QD_VIDEO_MIXER_PAD (gst_qd_video_mixer_pad_get_type())
#define GST_QD_VIDEO_MIXER_PAD(object) \
    (G_TYPE_CHECK_INSTANCE_CAST((object), GST_TYPE_QD_VIDEO_MIXER_PAD, GstQdVideoMixerPad))

#define GST_IS_QD_VIDEO_MIXER_PAD(object) \
    (G_TYPE_CHECK_INSTANCE_TYPE((object), GST_TYPE_QD_VIDEO_MIXER_PAD))

struct GstQdVideoMixerPad {
    GstPad parent;
    GMutex streamLock;        // held while a property is at work with the stream; guards the rest
    qdvm::PadStream* stream;  // the session's, null before and after its time with it
    qdvm::Session* session;   // borrowed
    qdvm::PadSettings* settings;               // owned
    qdvm::RectSettings* rect;                  // the first one's; owned
    bool isRectSet;                            // since the session has been told of it
    std::vector<GstQdVideoMixerRect*>* rects;  // the further ones, with a reference each; owned
};

struct GstQdVideoMixerPadClass {
    GstPadClass parentClass;
};

GType gst_qd_video_mixer_pad_get_type();

// The pad's functions, and its stream in the session. The pad has its name.
void gst_qd_video_mixer_pad_join(GstQdVideoMixerPad* pad, qdvm::Session* session, guint number);

// Waits until its streaming thread is out of the mixer.
void gst_qd_video_mixer_pad_leave(GstQdVideoMixerPad* pad);

// A further rect has changed.
void gst_qd_video_mixer_pad_take_rect(GstQdVideoMixerPad* pad, GstQdVideoMixerRect* rect);

// False if the pad has no such rect.
bool gst_qd_video_mixer_pad_remove_rect(GstQdVideoMixerPad* pad, guint number);

// To a position in the drawing order; false if the mixer doesn't have the stream.
bool gst_qd_video_mixer_pad_move(GstQdVideoMixerPad* pad, int position, bool swaps, bool rearranges,
                                 guint timeMs);

G_END_DECLS
