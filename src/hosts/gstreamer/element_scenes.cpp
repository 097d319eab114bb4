#include "hosts/gstreamer/element_scenes.h"

#include "hosts/gstreamer/element.h"
#include "hosts/gstreamer/session.h"
#include "hosts/gstreamer/sink_pad.h"

#include <string>

namespace qdvm {
namespace {

std::string TextOf(const gchar* text) { return text ? text : ""; }

gboolean SelectScene(GstQdVideoMixer* mixer, const gchar* name, guint timeMs) {
    return mixer->session->SelectScene(TextOf(name), timeMs);
}

gboolean AddScene(GstQdVideoMixer* mixer, const gchar* name, const gchar* description) {
    return mixer->session->AddScene(TextOf(name), TextOf(description));
}

gboolean UpdateScene(GstQdVideoMixer* mixer, const gchar* name) {
    return mixer->session->UpdateScene(TextOf(name));
}

gboolean RemoveScene(GstQdVideoMixer* mixer, const gchar* name) {
    return mixer->session->RemoveScene(TextOf(name));
}

gchar* SaveScenes(GstQdVideoMixer* mixer, const gchar* name) {
    const auto document = mixer->session->SaveScenes(TextOf(name));
    return document ? g_strndup(document->data(), document->size()) : nullptr;
}

gboolean LoadScenes(GstQdVideoMixer* mixer, const gchar* document, gint removeOld) {
    return mixer->session->LoadScenes(TextOf(document), removeOld);
}

gboolean MoveStream(GstQdVideoMixer*, GstPad* pad, gint position, gboolean swaps,
                    gboolean rearranges, guint timeMs) {
    return GST_IS_QD_VIDEO_MIXER_PAD(pad) &&
           gst_qd_video_mixer_pad_move(GST_QD_VIDEO_MIXER_PAD(pad), position, swaps != FALSE,
                                       rearranges != FALSE, timeMs);
}

template <class... Types>
void InstallAction(GType type, const char* name, GCallback action, GType result, Types... types) {
    constexpr auto kAction = static_cast<GSignalFlags>(G_SIGNAL_RUN_LAST | G_SIGNAL_ACTION);
    (void)g_signal_new_class_handler(name, type, kAction, action, nullptr, nullptr, nullptr, result,
                                     sizeof...(types), types...);
}

}  // namespace

void InstallSceneActions(GType type) {
    InstallAction(type, "select-scene", G_CALLBACK(SelectScene), G_TYPE_BOOLEAN, G_TYPE_STRING,
                  G_TYPE_UINT);
    InstallAction(type, "add-scene", G_CALLBACK(AddScene), G_TYPE_BOOLEAN, G_TYPE_STRING,
                  G_TYPE_STRING);
    InstallAction(type, "update-scene", G_CALLBACK(UpdateScene), G_TYPE_BOOLEAN, G_TYPE_STRING);
    InstallAction(type, "remove-scene", G_CALLBACK(RemoveScene), G_TYPE_BOOLEAN, G_TYPE_STRING);
    InstallAction(type, "save-scenes", G_CALLBACK(SaveScenes), G_TYPE_STRING, G_TYPE_STRING);
    InstallAction(type, "load-scenes", G_CALLBACK(LoadScenes), G_TYPE_BOOLEAN, G_TYPE_STRING,
                  G_TYPE_INT);
    InstallAction(type, "move-stream", G_CALLBACK(MoveStream), G_TYPE_BOOLEAN, GST_TYPE_PAD,
                  G_TYPE_INT, G_TYPE_BOOLEAN, G_TYPE_BOOLEAN, G_TYPE_UINT);
}

gchar** NewSceneNames(const Session& session) {
    const std::vector<std::string> names = session.SceneNames();
    gchar** vector = g_new0(gchar*, names.size() + 1);
    for (std::size_t i = 0; i < names.size(); ++i) vector[i] = g_strdup(names[i].c_str());
    return vector;
}

}  // namespace qdvm
