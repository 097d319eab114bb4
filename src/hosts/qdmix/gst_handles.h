#pragma once

// Owning handles for what GStreamer and GLib hand out.

#include <gst/gst.h>

#include <memory>
#include <string>

namespace qdvm::qdmix {

struct GstRelease {
    void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
    void operator()(GstSample* sample) const { gst_sample_unref(sample); }
    void operator()(GstMessage* message) const { gst_message_unref(message); }
    void operator()(GError* error) const { g_error_free(error); }
    void operator()(gchar* text) const { g_free(text); }
    void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }

    // Every GObject.
    template <class Object>
    void operator()(Object* object) const {
        g_object_unref(object);
    }
};

template <class Object>
using GstHandle = std::unique_ptr<Object, GstRelease>;

// The text of something that GLib allocated, which it frees; empty for null.
inline std::string TakeText(gchar* text) {
    const GstHandle<gchar> owned(text);
    return owned ? std::string(owned.get()) : std::string();
}

// A new element, or null where its plugin is not installed. The first container takes it over.
inline GstElement* MakeElement(const char* factory, const char* name = nullptr) {
    return gst_element_factory_make(factory, name);
}

inline bool IsInstalled(const char* factory) {
    const GstHandle<GstElementFactory> found(gst_element_factory_find(factory));
    return found != nullptr;
}

}  // namespace qdvm::qdmix
