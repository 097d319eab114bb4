#include "hosts/gstreamer/sink_pad.h"

#include "hosts/gstreamer/health.h"
#include "hosts/gstreamer/key_properties.h"
#include "hosts/gstreamer/log.h"
#include "hosts/gstreamer/rect_properties.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <string>

namespace qdvm {
namespace {

enum PadProperty : guint {
    kZOrder = kFirstOwnProperty,
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
    kStreamPosition,
};

// The rect that the pad's own properties describe; children have the numbers from 1.
constexpr guint kOwnRect = 0;
constexpr guint kMostRects = 1000;

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

struct BoolProperty {
    PadProperty id;
    bool PadSettings::*field;
    const char* name;
    const char* nick;
    const char* blurb;
};

constexpr std::array kBoolProperties = {
    BoolProperty{kVisible, &PadSettings::isVisible, "visible", "Visible",
                 "Whether the stream is drawn; it is taken in at its rate either way"},
    BoolProperty{kLoop, &PadSettings::loops, "loop", "Loop",
                 "Seek the stream back to its start when it ends, if it can seek"},
    BoolProperty{kStopAllOnEos, &PadSettings::stopsAll, "stop-all-on-eos", "End ends all",
                 "The output ends when this stream and all before it have ended, without waiting "
                 "for the streams after it"},
    BoolProperty{kIgnoreTime, &PadSettings::ignoresTime, "ignore-time", "Ignore time stamps",
                 "Show the frames as they come, one for each output frame, whatever their time "
                 "stamps"},
    BoolProperty{kKeepRate, &PadSettings::keepsRate, "keep-rate", "Keep rate",
                 "Take each frame in at its time by the clock and not earlier, for a source that "
                 "runs ahead"},
};

const BoolProperty* FindBool(guint property) {
    const auto* found = std::ranges::find_if(
        kBoolProperties, [property](const BoolProperty& p) { return p.id == property; });
    return found == kBoolProperties.end() ? nullptr : found;
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

bool SetPadProperty(PadSettings& settings, guint property, const GValue* value) {
    if (const BoolProperty* isSet = FindBool(property))
        settings.*isSet->field = g_value_get_boolean(value) != FALSE;
    else if (property == kZOrder)
        settings.zOrder = g_value_get_uint(value);
    else if (property == kMaxWait)
        settings.maxWait = g_value_get_int(value);
    else if (property == kLostShow)
        settings.lostShow = static_cast<eVM_LostShow>(g_value_get_enum(value));
    else
        return false;
    return true;
}

bool GetPadProperty(const PadSettings& settings, guint property, GValue* value) {
    if (const BoolProperty* isSet = FindBool(property))
        g_value_set_boolean(value, settings.*isSet->field);
    else if (property == kZOrder)
        g_value_set_uint(value, settings.zOrder);
    else if (property == kMaxWait)
        g_value_set_int(value, settings.maxWait);
    else if (property == kLostShow)
        g_value_set_enum(value, settings.lostShow);
    else
        return false;
    return true;
}

// Said on standard error too, since the messages of a pipeline that isn't up yet are lost.
void Refuse(GstQdVideoMixerPad* pad, const std::string& fault) {
    g_warning("%s: %s", GST_PAD_NAME(pad), fault.c_str());
    GstObject* element = gst_object_get_parent(GST_OBJECT(pad));
    if (!element) return;
    GST_ELEMENT_WARNING(element, LIBRARY, SETTINGS, ("%s: %s", GST_PAD_NAME(pad), fault.c_str()),
                        (nullptr));
    gst_object_unref(element);
}

// The session takes them over in DispatchChanges, once for all that are set together.
void SetProperty(GObject* object, guint property, const GValue* value, GParamSpec* param) {
    GstQdVideoMixerPad* pad = GST_QD_VIDEO_MIXER_PAD(object);
    std::string fault;
    {
        const StreamGuard guard(pad);
        if (SetRectProperty(*pad->rect, property, value))
            pad->isRectSet = true;
        else if (!SetPadProperty(*pad->settings, property, value) &&
                 !SetKeyProperty(*pad->settings, property, value, &fault))
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, param);
    }
    if (!fault.empty()) Refuse(pad, fault);
}

// Needs the guard.
void HandOver(GstQdVideoMixerPad* pad) {
    pad->session->SetPadSettings(*pad->stream, *pad->settings);
    pad->session->SetRect(*pad->stream, kOwnRect, *pad->rect, std::exchange(pad->isRectSet, false));
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
        case kStreamPosition:
            g_value_set_int(value, stream ? pad->session->PositionOf(*stream) : -1);
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(pad, property, param);
    }
}

void GetProperty(GObject* object, guint property, GValue* value, GParamSpec* param) {
    GstQdVideoMixerPad* pad = GST_QD_VIDEO_MIXER_PAD(object);
    const StreamGuard guard(pad);
    if (!GetRectProperty(*pad->rect, property, value) &&
        !GetPadProperty(*pad->settings, property, value) &&
        !GetKeyProperty(*pad->settings, property, value))
        GetStatus(pad, property, value, param);
}

constexpr auto kSettable =
    static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_CONTROLLABLE |
                             GST_PARAM_MUTABLE_PLAYING);
constexpr auto kReadable = static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);

void InstallSettings(GObjectClass* klass) {
    const PadSettings standard;
    for (const BoolProperty& p : kBoolProperties)
        g_object_class_install_property(
            klass, p.id,
            g_param_spec_boolean(p.name, p.nick, p.blurb, standard.*p.field, kSettable));
    g_object_class_install_property(
        klass, kZOrder,
        g_param_spec_uint("zorder", "Drawing order",
                          "Streams are drawn from the lowest number up, so that the highest lies "
                          "on top; by default the number in the pad's name, which also decides "
                          "between equal ones",
                          0, G_MAXUINT32, 0, kSettable));
    g_object_class_install_property(
        klass, kMaxWait,
        g_param_spec_int("max-wait", "Longest wait",
                         "How many of its own frames the stream may miss before the output goes "
                         "on without it; 0 waits for it for ever. Part of the latency of a live "
                         "pipeline",
                         0, 100000, standard.maxWait, kSettable));
    g_object_class_install_property(
        klass, kLostShow,
        g_param_spec_enum("lost-show", "Shown when lost",
                          "What takes the stream's place while it is lost, that is after it has "
                          "missed max-wait frames and until it sends one again",
                          LostShowType(), standard.lostShow, kSettable));
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
    g_object_class_install_property(
        klass, kStreamPosition,
        g_param_spec_int("stream-position", "Stream position",
                         "Position in the drawing order, which scenes go by: 0 is drawn first; -1 "
                         "while the mixer doesn't have the stream",
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

// A reference for the caller; null if there is none.
GstQdVideoMixerRect* FindRect(GstQdVideoMixerPad* pad, guint number) {
    const StreamGuard guard(pad);
    const auto found = std::ranges::find_if(
        *pad->rects, [number](GstQdVideoMixerRect* rect) { return rect->number == number; });
    if (found == pad->rects->end()) return nullptr;
    return static_cast<GstQdVideoMixerRect*>(gst_object_ref(*found));
}

// A reference for the caller.
GstQdVideoMixerRect* MakeRect(GstQdVideoMixerPad* pad, guint number) {
    GstQdVideoMixerRect* rect = gst_qd_video_mixer_rect_new(GST_OBJECT(pad), number);
    bool isTaken = false;
    {
        const StreamGuard guard(pad);
        isTaken = std::ranges::any_of(
            *pad->rects, [number](GstQdVideoMixerRect* other) { return other->number == number; });
        if (!isTaken) {
            pad->rects->push_back(static_cast<GstQdVideoMixerRect*>(gst_object_ref(rect)));
            if (pad->stream) pad->session->SetRect(*pad->stream, number, SettingsOf(rect), true);
        }
    }
    if (isTaken) {
        gst_object_unparent(GST_OBJECT(rect));
        gst_object_unref(rect);
        return FindRect(pad, number);
    }
    gst_child_proxy_child_added(GST_CHILD_PROXY(pad), G_OBJECT(rect), GST_OBJECT_NAME(rect));
    return rect;
}

// The number of a name of the form rect-%u; 0 for another.
guint RectNumberOf(const char* name) {
    guint number = 0;
    char rest = 0;
    const bool isRead = std::sscanf(name, "rect-%u%c", &number, &rest) == 1;
    const bool isPlain = isRead && "rect-" + std::to_string(number) == name;
    return isPlain && number <= kMostRects ? number : 0;
}

// A rect is there as soon as it is named.
GObject* RectByName(GstChildProxy* proxy, const gchar* name) {
    GstQdVideoMixerPad* pad = GST_QD_VIDEO_MIXER_PAD(proxy);
    const guint number = RectNumberOf(name);
    if (number == 0) return nullptr;
    GstQdVideoMixerRect* rect = FindRect(pad, number);
    return G_OBJECT(rect ? rect : MakeRect(pad, number));
}

GObject* RectByIndex(GstChildProxy* proxy, guint index) {
    GstQdVideoMixerPad* pad = GST_QD_VIDEO_MIXER_PAD(proxy);
    const StreamGuard guard(pad);
    if (index >= pad->rects->size()) return nullptr;
    return G_OBJECT(g_object_ref((*pad->rects)[index]));
}

guint RectCount(GstChildProxy* proxy) {
    GstQdVideoMixerPad* pad = GST_QD_VIDEO_MIXER_PAD(proxy);
    const StreamGuard guard(pad);
    return static_cast<guint>(pad->rects->size());
}

void InitChildProxy(gpointer interface, gpointer) {
    auto* proxy = static_cast<GstChildProxyInterface*>(interface);
    proxy->get_child_by_name = RectByName;
    proxy->get_child_by_index = RectByIndex;
    proxy->get_children_count = RectCount;
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

G_DEFINE_TYPE_WITH_CODE(GstQdVideoMixerPad, gst_qd_video_mixer_pad, GST_TYPE_PAD,
                        G_IMPLEMENT_INTERFACE(GST_TYPE_CHILD_PROXY, qdvm::InitChildProxy))

static void gst_qd_video_mixer_pad_dispatch(GObject* object, guint count, GParamSpec** params) {
    GstQdVideoMixerPad* pad = GST_QD_VIDEO_MIXER_PAD(object);
    {
        const qdvm::StreamGuard guard(pad);
        if (pad->stream) qdvm::HandOver(pad);
    }
    G_OBJECT_CLASS(gst_qd_video_mixer_pad_parent_class)
        ->dispatch_properties_changed(object, count, params);
}

static void gst_qd_video_mixer_pad_dispose(GObject* object) {
    GstQdVideoMixerPad* pad = GST_QD_VIDEO_MIXER_PAD(object);
    for (GstQdVideoMixerRect* rect : std::exchange(*pad->rects, {})) {
        gst_object_unparent(GST_OBJECT(rect));
        gst_object_unref(rect);
    }
    G_OBJECT_CLASS(gst_qd_video_mixer_pad_parent_class)->dispose(object);
}

static void gst_qd_video_mixer_pad_finalize(GObject* object) {
    GstQdVideoMixerPad* pad = GST_QD_VIDEO_MIXER_PAD(object);
    delete pad->settings;
    delete pad->rect;
    delete pad->rects;
    g_mutex_clear(&pad->streamLock);
    G_OBJECT_CLASS(gst_qd_video_mixer_pad_parent_class)->finalize(object);
}

static void gst_qd_video_mixer_pad_class_init(GstQdVideoMixerPadClass* klass) {
    auto* object = G_OBJECT_CLASS(klass);
    object->set_property = qdvm::SetProperty;
    object->get_property = qdvm::GetProperty;
    object->dispatch_properties_changed = gst_qd_video_mixer_pad_dispatch;
    object->dispose = gst_qd_video_mixer_pad_dispose;
    object->finalize = gst_qd_video_mixer_pad_finalize;
    qdvm::InstallRectProperties(object);
    qdvm::InstallSettings(object);
    qdvm::InstallKeyProperties(object);
    qdvm::InstallStatus(object);
}

static void gst_qd_video_mixer_pad_init(GstQdVideoMixerPad* pad) {
    g_mutex_init(&pad->streamLock);
    pad->settings = new qdvm::PadSettings();
    pad->rect = new qdvm::RectSettings();
    pad->rects = new std::vector<GstQdVideoMixerRect*>();
}

void gst_qd_video_mixer_pad_join(GstQdVideoMixerPad* pad, qdvm::Session* session, guint number) {
    GstPad* base = GST_PAD(pad);
    gst_pad_set_chain_function(base, qdvm::Chain);
    gst_pad_set_event_function(base, qdvm::HandleEvent);
    gst_pad_set_query_function(base, qdvm::HandleQuery);
    gst_pad_set_activatemode_function(base, qdvm::Activate);
    (void)g_signal_connect(pad, "unlinked", G_CALLBACK(qdvm::OnUnlinked), nullptr);
    qdvm::PadStream* stream = session->AddPad(base, number);
    const qdvm::StreamGuard guard(pad);
    pad->session = session;
    pad->stream = stream;
    pad->settings->zOrder = number;
    qdvm::HandOver(pad);
}

void gst_qd_video_mixer_pad_leave(GstQdVideoMixerPad* pad) {
    qdvm::PadStream* stream = nullptr;
    {
        const qdvm::StreamGuard guard(pad);
        stream = std::exchange(pad->stream, nullptr);
    }
    if (stream) pad->session->RemovePad(stream);
}

void gst_qd_video_mixer_pad_take_rect(GstQdVideoMixerPad* pad, GstQdVideoMixerRect* rect) {
    const qdvm::StreamGuard guard(pad);
    const bool isMember = std::ranges::find(*pad->rects, rect) != pad->rects->end();
    if (isMember && pad->stream)
        pad->session->SetRect(*pad->stream, rect->number, qdvm::SettingsOf(rect), true);
}

bool gst_qd_video_mixer_pad_remove_rect(GstQdVideoMixerPad* pad, guint number) {
    GstQdVideoMixerRect* rect = nullptr;
    {
        const qdvm::StreamGuard guard(pad);
        const auto found = std::ranges::find_if(
            *pad->rects, [number](GstQdVideoMixerRect* other) { return other->number == number; });
        if (found == pad->rects->end()) return false;
        rect = *found;
        pad->rects->erase(found);
        if (pad->stream) pad->session->RemoveRect(*pad->stream, number);
    }
    gst_child_proxy_child_removed(GST_CHILD_PROXY(pad), G_OBJECT(rect), GST_OBJECT_NAME(rect));
    gst_object_unparent(GST_OBJECT(rect));
    gst_object_unref(rect);
    return true;
}

bool gst_qd_video_mixer_pad_move(GstQdVideoMixerPad* pad, int position, bool swaps, bool rearranges,
                                 guint timeMs) {
    const qdvm::StreamGuard guard(pad);
    return pad->stream &&
           pad->session->MoveStream(*pad->stream, position, swaps, rearranges, timeMs);
}
