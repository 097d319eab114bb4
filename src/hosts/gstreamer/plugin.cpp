#include "hosts/gstreamer/plugin.h"

#include "hosts/gstreamer/element.h"
#include "hosts/gstreamer/log.h"

#include <qdvideomixer/version.h>

GST_DEBUG_CATEGORY(qdvideomixer_debug);

namespace qdvm {

bool RegisterQdVideoMixerElement(GstPlugin* plugin) {
    GST_DEBUG_CATEGORY_INIT(qdvideomixer_debug, "qdvideomixer", 0, "Live video mixer");
    // A program that carries the element inside may have loaded the plugin too: the first one's
    // type stands for both.
    const GType loaded = g_type_from_name("GstQdVideoMixer");
    // Nothing plugs a mixer by itself.
    return gst_element_register(plugin, "qdvideomixer", GST_RANK_NONE,
                                loaded != 0 ? loaded : GST_TYPE_QD_VIDEO_MIXER);
}

}  // namespace qdvm

static gboolean InitPlugin(GstPlugin* plugin) { return qdvm::RegisterQdVideoMixerElement(plugin); }

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, qdvideomixer, "Live video mixer",
                  InitPlugin, QDVM_VERSION_TEXT, "MIT/X11", PACKAGE, "qdvideomixer")
