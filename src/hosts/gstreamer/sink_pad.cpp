#include "hosts/gstreamer/sink_pad.h"

#include "hosts/gstreamer/health.h"
#include "hosts/gstreamer/log.h"

#include <array>

namespace qdvm {
namespace {

enum PadProperty : guint {
    kXPos = 1,
    kYPos,
    kWidth,
    kHeight,
    kAlpha,
    kCropLeft,
    kCropTop,
    kCropRight,
    kCropBottom,
    kVisible,
    kLoop,
    kStopAllOnEos,
    kIgnoreTime,
    kKeepRate,
    kMaxWait,
    kLostShow,
    kHealth,
    kFramesIn,
    kFramesRepeated,
    kFramesDropped,
    kStreamNumber,
};

constexpr int kLargestSide = 32768;

GType LostShowType() {
    static const GEnumValue values[] = {
        {eVMLS_Hide, "Nothing: what lies below shows through", "hide"},
        {eVMLS_Last, "The last frame that came", "last"},
        {eVMLS_Black, "Black", "black"},
        {eVMLS_White, "White", "white"},
        {eVMLS_Bars, "Colour bars", "bars"},
        {0, nullptr, nullptr},
    };
    static const GType type = g_enum_register_static("GstQdVideoMixerLostShow", values);
    return type;
}

// The field of the settings behind a property, for those that are plain numbers and switches.
int* IntSetting(PadSettings& settings, guint property) {
    switch (property) {
        case kXPos:
            return &settings.x;
        case kYPos:
            return &settings.y;
        case kWidth:
            return &settings.width;
        case kHeight:
            return &settings.height;
        case kCropLeft:
            return &settings.cropLeft;
        case kCropTop:
            return &settings.cropTop;
        case kCropRight:
            return &settings.cropRight;
        case kCropBottom:
            return &settings.cropBottom;
        case kMaxWait:
            return &settings.maxWait;
        default:
            return nullptr;
    }
}

bool* BoolSetting(PadSettings& settings, guint property) {
    switch (property) {
        case kVisible:
            return &settings.isVisible;
        case kLoop:
            return &settings.loops;
        case kStopAllOnEos:
            return &settings.stopsAll;
        case kIgnoreTime:
            return &settings.ignoresTime;
        case kKeepRate:
            return &settings.keepsRate;
        default:
            return nullptr;
    }
}

class StreamGuard {
public:
    explicit StreamGuard(GstQdVideoMixerPad* held) : pad(held) { g_mutex_lock(&pad->streamLock); }
    ~StreamGuard() { g_mutex_unlock(&pad->streamLock); }
    StreamGuard(const StreamGuard&) = delete;
    StreamGuard& operator=(const StreamGuard&) = delete;

private:
    GstQdVideoMixerPad* const pad;
};

void SetProperty(GObject* object, guint property, const GValue* value, GParamSpec* param) {
    GstQdVideoMixerPad* pad = GST_QD_VIDEO_MIXER_PAD(object);
    const StreamGuard guard(pad);
    PadSettings& settings = *pad->settings;
    if (int* number = IntSetting(settings, property))
        *number = g_value_get_int(value);
    else if (bool* isSet = BoolSetting(settings, property))
        *isSet = g_value_get_boolean(value) != FALSE;
    else if (property == kAlpha)
        settings.alpha = g_value_get_double(value);
    else if (property == kLostShow)
        settings.lostShow = static_cast<eVM_LostShow>(g_value_get_enum(value));
    else
        G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, param);
    if (pad->stream) pad->session->SetPadSettings(*pad->stream, settings);
}

void GetStatus(GstQdVideoMixerPad* pad, guint property, GValue* value, GParamSpec* param) {
    PadStream* stream = pad->stream;
    const PadCounts counts = stream ? pad->session->CountsOf(*stream) : PadCounts{};
    switch (property) {
        case kHealth:
            g_value_set_enum(value, static_cast<int>(stream ? pad->session->HealthOf(*stream)
                                                            : PadHealth::kWaiting));
            break;
        case kFramesIn:
            g_value_set_uint64(value, counts.in);
            break;
        case kFramesRepeated:
            g_value_set_uint64(value, counts.repeated);
            break;
        case kFramesDropped:
            g_value_set_uint64(value, counts.dropped);
            break;
        case kStreamNumber:
            g_value_set_int(value, stream ? pad->session->StreamNumberOf(*stream) : -1);
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(pad, property, param);
    }
}

void GetProperty(GObject* object, guint property, GValue* value, GParamSpec* param) {
    GstQdVideoMixerPad* pad = GST_QD_VIDEO_MIXER_PAD(object);
    const StreamGuard guard(pad);
    PadSettings& settings = *pad->settings;
    if (const int* number = IntSetting(settings, property))
        g_value_set_int(value, *number);
    else if (const bool* isSet = BoolSetting(settings, property))
        g_value_set_boolean(value, *isSet);
    else if (property == kAlpha)
        g_value_set_double(value, settings.alpha);
    else if (property == kLostShow)
        g_value_set_enum(value, settings.lostShow);
    else
        GetStatus(pad, property, value, param);
}

constexpr auto kSettable =
    static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_CONTROLLABLE |
                             GST_PARAM_MUTABLE_PLAYING);
constexpr auto kReadable = static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);

struct IntProperty {
    PadProperty id;
    const char* name;
    const char* nick;
    const char* blurb;
    int min;
    int max;
    int standard;
};

struct BoolProperty {
    PadProperty id;
    const char* name;
    const char* nick;
    const char* blurb;
    bool standard;
};

constexpr std::array kIntProperties = {
    IntProperty{kXPos, "xpos", "Left edge",
                "Distance of the picture from the left edge of the output in pixels; odd numbers "
                "move to the next even one",
                -kLargestSide, kLargestSide, 0},
    IntProperty{kYPos, "ypos", "Top edge",
                "Distance of the picture from the top edge of the output in pixels; odd numbers "
                "move to the next even one",
                -kLargestSide, kLargestSide, 0},
    IntProperty{kWidth, "width", "Width",
                "Width of the picture in the output in pixels; 0 is the stream's own width less "
                "what is cropped",
                0, kLargestSide, 0},
    IntProperty{kHeight, "height", "Height",
                "Height of the picture in the output in pixels; 0 is the stream's own height less "
                "what is cropped",
                0, kLargestSide, 0},
    IntProperty{kCropLeft, "crop-left", "Crop left", "Pixels of the stream cut off at the left", 0,
                kLargestSide, 0},
    IntProperty{kCropTop, "crop-top", "Crop top", "Pixels of the stream cut off at the top", 0,
                kLargestSide, 0},
    IntProperty{kCropRight, "crop-right", "Crop right", "Pixels of the stream cut off at the right",
                0, kLargestSide, 0},
    IntProperty{kCropBottom, "crop-bottom", "Crop bottom",
                "Pixels of the stream cut off at the bottom", 0, kLargestSide, 0},
    IntProperty{kMaxWait, "max-wait", "Longest wait",
                "How many of its own frames the stream may miss before the output goes on without "
                "it; 0 waits for it for ever. Part of the latency of a live pipeline",
                0, 100000, 8},
};

constexpr std::array kBoolProperties = {
    BoolProperty{kVisible, "visible", "Visible",
                 "Whether the stream is drawn; it is taken in at its rate either way", true},
    BoolProperty{kLoop, "loop", "Loop",
                 "Seek the stream back to its start when it ends, if it can seek", false},
    BoolProperty{kStopAllOnEos, "stop-all-on-eos", "End ends all",
                 "The output ends when this stream and all before it have ended, without waiting "
                 "for the streams after it",
                 false},
    BoolProperty{kIgnoreTime, "ignore-time", "Ignore time stamps",
                 "Show the frames as they come, one for each output frame, whatever their time "
                 "stamps",
                 false},
    BoolProperty{kKeepRate, "keep-rate", "Keep rate",
                 "Take each frame in at its time by the clock and not earlier, for a source that "
                 "runs ahead",
                 false},
};

void InstallSettings(GObjectClass* klass) {
    for (const IntProperty& p : kIntProperties)
        g_object_class_install_property(
            klass, p.id,
            g_param_spec_int(p.name, p.nick, p.blurb, p.min, p.max, p.standard, kSettable));
    for (const BoolProperty& p : kBoolProperties)
        g_object_class_install_property(
            klass, p.id, g_param_spec_boolean(p.name, p.nick, p.blurb, p.standard, kSettable));
    g_object_class_install_property(
        klass, kAlpha,
        g_param_spec_double("alpha", "Opacity", "How opaque the picture is, from 0 to 1", 0, 1, 1,
                            kSettable));
    g_object_class_install_property(
        klass, kLostShow,
        g_param_spec_enum("lost-show", "Shown when lost",
                          "What takes the stream's place while it is lost, that is after it has "
                          "missed max-wait frames and until it sends one again",
                          LostShowType(), eVMLS_Last, kSettable));
}

void InstallStatus(GObjectClass* klass) {
    g_object_class_install_property(
        klass, kHealth,
        g_param_spec_enum("health", "Health", "What the stream is doing now", PadHealthType(),
                          static_cast<int>(PadHealth::kWaiting), kReadable));
    g_object_class_install_property(
        klass, kFramesIn,
        g_param_spec_uint64("frames-in", "Frames in", "Frames that came on this pad", 0,
                            G_MAXUINT64, 0, kReadable));
    g_object_class_install_property(
        klass, kFramesRepeated,
        g_param_spec_uint64("frames-repeated", "Frames repeated",
                            "Output frames that showed a frame of this stream once more", 0,
                            G_MAXUINT64, 0, kReadable));
    g_object_class_install_property(
        klass, kFramesDropped,
        g_param_spec_uint64("frames-dropped", "Frames dropped",
                            "Frames of this stream that were never shown: between two output "
                            "frames, or too late",
                            0, G_MAXUINT64, 0, kReadable));
    g_object_class_install_property(
        klass, kStreamNumber,
        g_param_spec_int("stream-number", "Stream number",
                         "The number of this stream for the operations of the mixer's control "
                         "interface; -1 while the mixer doesn't have it",
                         -1, G_MAXINT, -1, kReadable));
}

GstFlowReturn Chain(GstPad* pad, GstObject*, GstBuffer* buffer) {
    GstQdVideoMixerPad* self = GST_QD_VIDEO_MIXER_PAD(pad);
    return self->session->TakeBuffer(*self->stream, buffer);
}

bool HandleGap(GstQdVideoMixerPad* self, GstEvent* event) {
    GstClockTime start = 0;
    GstClockTime duration = 0;
    gst_event_parse_gap(event, &start, &duration);
    return self->session->TakeGap(*self->stream, start, duration) == GST_FLOW_OK;
}

// Nothing of one input's events belongs on the output, which has its own.
gboolean HandleEvent(GstPad* pad, GstObject*, GstEvent* event) {
    GstQdVideoMixerPad* self = GST_QD_VIDEO_MIXER_PAD(pad);
    Session& session = *self->session;
    PadStream& stream = *self->stream;
    bool isTaken = true;
    switch (GST_EVENT_TYPE(event)) {
        case GST_EVENT_STREAM_START:
            session.BeginStream(stream);
            break;
        case GST_EVENT_CAPS: {
            GstCaps* caps = nullptr;
            gst_event_parse_caps(event, &caps);
            isTaken = session.TakeCaps(stream, caps);
            break;
        }
        case GST_EVENT_SEGMENT: {
            const GstSegment* segment = nullptr;
            gst_event_parse_segment(event, &segment);
            isTaken = session.TakeSegment(stream, *segment);
            break;
        }
        case GST_EVENT_GAP:
            isTaken = HandleGap(self, event);
            break;
        case GST_EVENT_EOS:
            session.TakeEndOfStream(stream);
            break;
        case GST_EVENT_FLUSH_START:
            session.BeginFlush(stream);
            break;
        case GST_EVENT_FLUSH_STOP:
            session.EndFlush(stream, false);
            break;
        default:
            break;
    }
    gst_event_unref(event);
    return isTaken;
}

// Strides of their own are welcome; a frame is held until its successor is shown.
void ProposeAllocation(GstQuery* query) {
    constexpr guint kLeastBuffers = 4;
    GstCaps* caps = nullptr;
    gst_query_parse_allocation(query, &caps, nullptr);
    GstVideoInfo info;
    const bool isVideo = caps && gst_video_info_from_caps(&info, caps);
    gst_query_add_allocation_pool(query, nullptr,
                                  isVideo ? static_cast<guint>(GST_VIDEO_INFO_SIZE(&info)) : 0,
                                  kLeastBuffers, 0);
    gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
    gst_query_add_allocation_meta(query, GST_VIDEO_CROP_META_API_TYPE, nullptr);
}

gboolean HandleQuery(GstPad* pad, GstObject* parent, GstQuery* query) {
    GstQdVideoMixerPad* self = GST_QD_VIDEO_MIXER_PAD(pad);
    switch (GST_QUERY_TYPE(query)) {
        case GST_QUERY_CAPS: {
            GstCaps* filter = nullptr;
            gst_query_parse_caps(query, &filter);
            GstCaps* caps = self->session->SinkCaps(filter);
            gst_query_set_caps_result(query, caps);
            gst_caps_unref(caps);
            return TRUE;
        }
        case GST_QUERY_ALLOCATION:
            ProposeAllocation(query);
            return TRUE;
        case GST_QUERY_DRAIN:
            return TRUE;
        default:
            return gst_pad_query_default(pad, parent, query);
    }
}

gboolean Activate(GstPad* pad, GstObject*, GstPadMode mode, gboolean active) {
    GstQdVideoMixerPad* self = GST_QD_VIDEO_MIXER_PAD(pad);
    if (mode != GST_PAD_MODE_PUSH) return FALSE;
    if (!self->stream) return TRUE;
    if (active)
        self->session->EndFlush(*self->stream, true);
    else
        self->session->BeginFlush(*self->stream);
    return TRUE;
}

void OnUnlinked(GstPad* pad, GstPad*, gpointer) {
    GstQdVideoMixerPad* self = GST_QD_VIDEO_MIXER_PAD(pad);
    if (self->stream) self->session->Unlink(*self->stream);
}

}  // namespace

GType PadHealthType() {
    static const GEnumValue values[] = {
        {static_cast<int>(PadHealth::kWaiting), "No frame has come yet", "waiting"},
        {static_cast<int>(PadHealth::kLive), "Frames come", "live"},
        {static_cast<int>(PadHealth::kStalled), "No frame for a while; still waited for",
         "stalled"},
        {static_cast<int>(PadHealth::kLost), "No longer waited for", "lost"},
        {static_cast<int>(PadHealth::kEnded), "The stream has ended", "ended"},
        {0, nullptr, nullptr},
    };
    static const GType type = g_enum_register_static("GstQdVideoMixerHealth", values);
    return type;
}

const char* HealthName(PadHealth health) {
    auto* klass = static_cast<GEnumClass*>(g_type_class_ref(PadHealthType()));
    const GEnumValue* value = g_enum_get_value(klass, static_cast<int>(health));
    g_type_class_unref(klass);  // static types stay
    return value ? value->value_nick : "";
}

}  // namespace qdvm

G_DEFINE_TYPE(GstQdVideoMixerPad, gst_qd_video_mixer_pad, GST_TYPE_PAD)

static void gst_qd_video_mixer_pad_finalize(GObject* object) {
    GstQdVideoMixerPad* pad = GST_QD_VIDEO_MIXER_PAD(object);
    delete pad->settings;
    g_mutex_clear(&pad->streamLock);
    G_OBJECT_CLASS(gst_qd_video_mixer_pad_parent_class)->finalize(object);
}

static void gst_qd_video_mixer_pad_class_init(GstQdVideoMixerPadClass* klass) {
    auto* object = G_OBJECT_CLASS(klass);
    object->set_property = qdvm::SetProperty;
    object->get_property = qdvm::GetProperty;
    object->finalize = gst_qd_video_mixer_pad_finalize;
    qdvm::InstallSettings(object);
    qdvm::InstallStatus(object);
}

static void gst_qd_video_mixer_pad_init(GstQdVideoMixerPad* pad) {
    g_mutex_init(&pad->streamLock);
    pad->settings = new qdvm::PadSettings();
}

void gst_qd_video_mixer_pad_join(GstQdVideoMixerPad* pad, qdvm::Session* session, guint number) {
    GstPad* base = GST_PAD(pad);
    gst_pad_set_chain_function(base, qdvm::Chain);
    gst_pad_set_event_function(base, qdvm::HandleEvent);
    gst_pad_set_query_function(base, qdvm::HandleQuery);
    gst_pad_set_activatemode_function(base, qdvm::Activate);
    (void)g_signal_connect(pad, "unlinked", G_CALLBACK(qdvm::OnUnlinked), nullptr);
    qdvm::PadStream* stream = session->AddPad(base, number);
    session->SetPadSettings(*stream, *pad->settings);
    const qdvm::StreamGuard guard(pad);
    pad->session = session;
    pad->stream = stream;
}

void gst_qd_video_mixer_pad_leave(GstQdVideoMixerPad* pad) {
    qdvm::PadStream* stream = nullptr;
    {
        const qdvm::StreamGuard guard(pad);
        stream = std::exchange(pad->stream, nullptr);
    }
    if (stream) pad->session->RemovePad(stream);
}
