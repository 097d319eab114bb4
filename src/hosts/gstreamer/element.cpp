#include "hosts/gstreamer/element.h"

#include "hosts/gstreamer/element_scenes.h"
#include "hosts/gstreamer/log.h"
#include "hosts/gstreamer/sink_pad.h"
#include "hosts/gstreamer/source_pad.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace qdvm {
namespace {

enum ElementProperty : guint {
    kBackground = 1,
    kBackgroundColor,
    kBackgroundPicture,
    kChangeTime,
    kMaster,
    kLatency,
    kHealthMessages,
    kFramesSkipped,
    kMixer,
    kScenes,
};

GType BackgroundType() {
    static const GEnumValue values[] = {
        {eVMB_None, "Nothing; black where no stream draws at all", "none"},
        {eVMB_Color, "The colour of background-color", "color"},
        {eVMB_Image, "The picture of background-picture, stretched to the output", "picture"},
        {eVMB_Stream, "Nothing, not even black: the streams are all there is", "stream"},
        {0, nullptr, nullptr},
    };
    static const GType type = g_enum_register_static("GstQdVideoMixerBackground", values);
    return type;
}

class SettingsGuard {
public:
    explicit SettingsGuard(GstQdVideoMixer* held) : mixer(held) {
        g_mutex_lock(&mixer->settingsLock);
    }
    ~SettingsGuard() { g_mutex_unlock(&mixer->settingsLock); }
    SettingsGuard(const SettingsGuard&) = delete;
    SettingsGuard& operator=(const SettingsGuard&) = delete;

private:
    GstQdVideoMixer* const mixer;
};

std::string TextOf(const GValue* value) {
    const char* text = g_value_get_string(value);
    return text ? text : "";
}

const char* TextOrNull(const std::string& text) { return text.empty() ? nullptr : text.c_str(); }

// The session takes them over once for all that are set together.
void SetProperty(GObject* object, guint property, const GValue* value, GParamSpec* param) {
    GstQdVideoMixer* mixer = GST_QD_VIDEO_MIXER(object);
    const SettingsGuard guard(mixer);
    ElementSettings& settings = *mixer->settings;
    switch (property) {
        case kBackground:
            settings.background = static_cast<eVM_Background>(g_value_get_enum(value));
            break;
        case kBackgroundColor:
            settings.backgroundColor = g_value_get_uint(value);
            break;
        case kBackgroundPicture:
            settings.backgroundPicture = TextOf(value);
            break;
        case kChangeTime:
            settings.changeTimeMs = g_value_get_uint(value);
            break;
        case kMaster:
            settings.master = TextOf(value);
            break;
        case kLatency:
            settings.latency = g_value_get_uint64(value);
            break;
        case kHealthMessages:
            settings.postsHealth = g_value_get_boolean(value) != FALSE;
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, param);
    }
}

void HandOver(GstQdVideoMixer* mixer) {
    const SettingsGuard guard(mixer);
    if (mixer->session) mixer->session->SetSettings(*mixer->settings);
}

void GetProperty(GObject* object, guint property, GValue* value, GParamSpec* param) {
    GstQdVideoMixer* mixer = GST_QD_VIDEO_MIXER(object);
    const SettingsGuard guard(mixer);
    const ElementSettings& settings = *mixer->settings;
    switch (property) {
        case kBackground:
            g_value_set_enum(value, settings.background);
            break;
        case kBackgroundColor:
            g_value_set_uint(value, settings.backgroundColor);
            break;
        case kBackgroundPicture:
            g_value_set_string(value, TextOrNull(settings.backgroundPicture));
            break;
        case kChangeTime:
            g_value_set_uint(value, settings.changeTimeMs);
            break;
        case kMaster:
            g_value_set_string(value, TextOrNull(settings.master));
            break;
        case kLatency:
            g_value_set_uint64(value, settings.latency);
            break;
        case kHealthMessages:
            g_value_set_boolean(value, settings.postsHealth);
            break;
        case kFramesSkipped:
            g_value_set_uint64(value, mixer->session->FramesSkipped());
            break;
        case kMixer:
            g_value_set_pointer(value, mixer->session->Mixer());
            break;
        case kScenes:
            g_value_take_boxed(value, NewSceneNames(*mixer->session));
            break;
        default:
            G_OBJECT_WARN_INVALID_PROPERTY_ID(object, property, param);
    }
}

constexpr auto kSettable = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                                    GST_PARAM_MUTABLE_PLAYING);
constexpr auto kReadable = static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS);

void InstallSettings(GObjectClass* klass) {
    g_object_class_install_property(
        klass, kBackground,
        g_param_spec_enum("background", "Background", "What lies under all streams",
                          BackgroundType(), eVMB_Color, kSettable));
    g_object_class_install_property(
        klass, kBackgroundColor,
        g_param_spec_uint("background-color", "Background colour",
                          "Colour of the background as 0xAARRGGBB; alpha counts for an output "
                          "that has alpha",
                          0, G_MAXUINT32, 0xFF000000,
                          static_cast<GParamFlags>(kSettable | GST_PARAM_CONTROLLABLE)));
    g_object_class_install_property(
        klass, kBackgroundPicture,
        g_param_spec_string("background-picture", "Background picture",
                            "File of the background's picture: PNG, JPEG, BMP and what else the "
                            "system's picture library reads",
                            nullptr, kSettable));
    g_object_class_install_property(
        klass, kChangeTime,
        g_param_spec_uint("change-time", "Time of changes",
                          "How long the changes take that are made from now on, of the "
                          "background and of a picture's place, crop, opacity, border colour and "
                          "angles, in milliseconds; 0 is at once",
                          0, 3600 * 1000, 0, kSettable));
    g_object_class_install_property(
        klass, kMaster,
        g_param_spec_string("master", "Master pad",
                            "Name of the sink pad whose frames drive the output, one for one and "
                            "with their time stamps; unset, all streams drive it on a common grid",
                            nullptr, kSettable));
    g_object_class_install_property(
        klass, kLatency,
        g_param_spec_uint64("latency", "Added latency",
                            "Nanoseconds added to the latency of a live pipeline, for inputs that "
                            "come later than they say",
                            0, G_MAXINT64, 0, kSettable));
    g_object_class_install_property(
        klass, kHealthMessages,
        g_param_spec_boolean("health-messages", "Health messages",
                             "Post an element message \"qdvideomixer-health\" with the fields pad, "
                             "health, frames-in, frames-repeated and frames-dropped whenever the "
                             "health of a pad changes",
                             TRUE, kSettable));
}

void InstallStatus(GObjectClass* klass) {
    g_object_class_install_property(
        klass, kFramesSkipped,
        g_param_spec_uint64("frames-skipped", "Frames skipped",
                            "Output frames left out because a live output had fallen behind", 0,
                            G_MAXUINT64, 0, kReadable));
    g_object_class_install_property(
        klass, kMixer,
        g_param_spec_pointer("mixer", "Mixer",
                             "The control interface of the mixer for C++ programs, an "
                             "IQDVideoMixer* of <qdvideomixer/video_mixer.h>, whose QueryInterface "
                             "gives the others; borrowed, valid as long as the element. Streams go "
                             "by a pad's stream-number",
                             kReadable));
    g_object_class_install_property(
        klass, kScenes,
        g_param_spec_boxed("scenes", "Scenes",
                           "The names of the scenes, in their order, for the action select-scene",
                           G_TYPE_STRV, kReadable));
}

void BeginChanges(GstQdVideoMixer* mixer) { mixer->session->BeginChanges(); }

void CommitChanges(GstQdVideoMixer* mixer) { mixer->session->CommitChanges(); }

gboolean RemoveRect(GstQdVideoMixer*, GstPad* pad, guint number) {
    return GST_IS_QD_VIDEO_MIXER_PAD(pad) &&
           gst_qd_video_mixer_pad_remove_rect(GST_QD_VIDEO_MIXER_PAD(pad), number);
}

constexpr auto kAction = static_cast<GSignalFlags>(G_SIGNAL_RUN_LAST | G_SIGNAL_ACTION);

void InstallActions(GType type) {
    (void)g_signal_new_class_handler("begin-changes", type, kAction, G_CALLBACK(BeginChanges),
                                     nullptr, nullptr, nullptr, G_TYPE_NONE, 0);
    (void)g_signal_new_class_handler("commit-changes", type, kAction, G_CALLBACK(CommitChanges),
                                     nullptr, nullptr, nullptr, G_TYPE_NONE, 0);
    (void)g_signal_new_class_handler("remove-rect", type, kAction, G_CALLBACK(RemoveRect), nullptr,
                                     nullptr, nullptr, G_TYPE_BOOLEAN, 2, GST_TYPE_PAD,
                                     G_TYPE_UINT);
    (void)g_signal_new("before-frame", type, G_SIGNAL_RUN_LAST, 0, nullptr, nullptr, nullptr,
                       G_TYPE_NONE, 1, G_TYPE_UINT64);
}

// The number that a name of the form sink_%u carries.
bool NumberOfName(const char* name, guint* number) {
    char rest = 0;
    return name && std::sscanf(name, "sink_%u%c", number, &rest) == 1;
}

GstPad* RequestPad(GstElement* element, GstPadTemplate* padTemplate, const gchar* wishedName,
                   const GstCaps*) {
    GstQdVideoMixer* self = GST_QD_VIDEO_MIXER(element);
    guint number = 0;
    GST_OBJECT_LOCK(self);
    if (!NumberOfName(wishedName, &number)) number = self->nextPadNumber;
    self->nextPadNumber = std::max(self->nextPadNumber, number + 1);
    GST_OBJECT_UNLOCK(self);
    const std::string name = "sink_" + std::to_string(number);
    if (GstPad* taken = gst_element_get_static_pad(element, name.c_str())) {
        GST_WARNING_OBJECT(self, "there is a pad %s already", name.c_str());
        gst_object_unref(taken);
        return nullptr;
    }
    auto* pad = GST_QD_VIDEO_MIXER_PAD(g_object_new(GST_TYPE_QD_VIDEO_MIXER_PAD, "name",
                                                    name.c_str(), "direction", GST_PAD_SINK,
                                                    "template", padTemplate, nullptr));
    gst_qd_video_mixer_pad_join(pad, self->session, number);
    if (!gst_element_add_pad(element, GST_PAD(pad))) {
        gst_qd_video_mixer_pad_leave(pad);
        return nullptr;
    }
    gst_child_proxy_child_added(GST_CHILD_PROXY(element), G_OBJECT(pad), name.c_str());
    return GST_PAD(pad);
}

void ReleasePad(GstElement* element, GstPad* pad) {
    (void)gst_object_ref(pad);
    (void)gst_pad_set_active(pad, FALSE);
    gst_qd_video_mixer_pad_leave(GST_QD_VIDEO_MIXER_PAD(pad));
    gst_child_proxy_child_removed(GST_CHILD_PROXY(element), G_OBJECT(pad), GST_OBJECT_NAME(pad));
    (void)gst_element_remove_pad(element, pad);
    gst_object_unref(pad);
}

GObject* ChildByIndex(GstChildProxy* proxy, guint index) {
    GstElement* element = GST_ELEMENT(proxy);
    GST_OBJECT_LOCK(element);
    auto* pad = static_cast<GObject*>(g_list_nth_data(element->sinkpads, index));
    if (pad) (void)g_object_ref(pad);
    GST_OBJECT_UNLOCK(element);
    return pad;
}

guint ChildCount(GstChildProxy* proxy) {
    GstElement* element = GST_ELEMENT(proxy);
    GST_OBJECT_LOCK(element);
    const guint count = element->numsinkpads;
    GST_OBJECT_UNLOCK(element);
    return count;
}

}  // namespace
}  // namespace qdvm

static void InitChildProxy(gpointer interface, gpointer) {
    auto* proxy = static_cast<GstChildProxyInterface*>(interface);
    proxy->get_child_by_index = qdvm::ChildByIndex;
    proxy->get_children_count = qdvm::ChildCount;
}

G_DEFINE_TYPE_WITH_CODE(GstQdVideoMixer, gst_qd_video_mixer, GST_TYPE_ELEMENT,
                        G_IMPLEMENT_INTERFACE(GST_TYPE_CHILD_PROXY, InitChildProxy))

static GstStateChangeReturn gst_qd_video_mixer_change_state(GstElement* element,
                                                            GstStateChange transition) {
    qdvm::Session& session = *GST_QD_VIDEO_MIXER(element)->session;
    if (transition == GST_STATE_CHANGE_PLAYING_TO_PAUSED) session.SetPlaying(false);
    const GstStateChangeReturn result =
        GST_ELEMENT_CLASS(gst_qd_video_mixer_parent_class)->change_state(element, transition);
    if (transition == GST_STATE_CHANGE_PAUSED_TO_PLAYING && result != GST_STATE_CHANGE_FAILURE)
        session.SetPlaying(true);
    return result;
}

static void gst_qd_video_mixer_dispatch(GObject* object, guint count, GParamSpec** params) {
    qdvm::HandOver(GST_QD_VIDEO_MIXER(object));
    G_OBJECT_CLASS(gst_qd_video_mixer_parent_class)
        ->dispatch_properties_changed(object, count, params);
}

static void gst_qd_video_mixer_finalize(GObject* object) {
    GstQdVideoMixer* mixer = GST_QD_VIDEO_MIXER(object);
    delete mixer->session;
    delete mixer->settings;
    g_mutex_clear(&mixer->settingsLock);
    G_OBJECT_CLASS(gst_qd_video_mixer_parent_class)->finalize(object);
}

static void gst_qd_video_mixer_class_init(GstQdVideoMixerClass* klass) {
    auto* object = G_OBJECT_CLASS(klass);
    object->set_property = qdvm::SetProperty;
    object->get_property = qdvm::GetProperty;
    object->dispatch_properties_changed = gst_qd_video_mixer_dispatch;
    object->finalize = gst_qd_video_mixer_finalize;
    qdvm::InstallSettings(object);
    qdvm::InstallStatus(object);
    qdvm::InstallActions(G_TYPE_FROM_CLASS(klass));
    qdvm::InstallSceneActions(G_TYPE_FROM_CLASS(klass));

    auto* element = GST_ELEMENT_CLASS(klass);
    element->request_new_pad = qdvm::RequestPad;
    element->release_pad = qdvm::ReleasePad;
    element->change_state = gst_qd_video_mixer_change_state;
    GstCaps* caps = qdvm::NewTemplateCaps();
    gst_element_class_add_pad_template(
        element, gst_pad_template_new_with_gtype("sink_%u", GST_PAD_SINK, GST_PAD_REQUEST, caps,
                                                 GST_TYPE_QD_VIDEO_MIXER_PAD));
    gst_element_class_add_pad_template(
        element, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
    gst_caps_unref(caps);
    gst_element_class_set_static_metadata(
        element, "Live video mixer", "Filter/Editor/Video/Compositor",
        "Mixes any number of video streams into one; the output goes on when streams stall, end, "
        "come or go. The properties of a pad show its stream once; it is shown again by its "
        "children, which have the same properties: sink_0::rect-1::xpos, sink_0::rect-2::alpha ... "
        "What is set between the actions begin-changes and commit-changes lands on one frame",
        "The qdvideomixer authors");
    gst_type_mark_as_plugin_api(GST_TYPE_QD_VIDEO_MIXER_PAD, static_cast<GstPluginAPIFlags>(0));
    gst_type_mark_as_plugin_api(GST_TYPE_QD_VIDEO_MIXER_RECT, static_cast<GstPluginAPIFlags>(0));
}

static void gst_qd_video_mixer_init(GstQdVideoMixer* mixer) {
    GstPadTemplate* source =
        gst_element_class_get_pad_template(GST_ELEMENT_GET_CLASS(mixer), "src");
    mixer->srcPad = gst_pad_new_from_template(source, "src");
    g_mutex_init(&mixer->settingsLock);
    mixer->settings = new qdvm::ElementSettings();
    mixer->session = new qdvm::Session(GST_ELEMENT(mixer), mixer->srcPad);
    qdvm::PrepareSourcePad(mixer->srcPad);
    (void)gst_element_add_pad(GST_ELEMENT(mixer), mixer->srcPad);
}
