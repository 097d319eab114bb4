#pragma once

// Elements in a row inside a bin.

#include "hosts/qdmix/gst_handles.h"

#include <string>

namespace qdvm::qdmix {

// Builds a bin from its head on. After a failure Missing() names what went wrong and every later
// call does nothing.
class Chain {
public:
    explicit Chain(const char* binName) : bin(gst_bin_new(binName)) {
        (void)gst_object_ref_sink(bin.get());
    }

    // Adds an element at the end and links it, except to a head whose pads come later.
    GstElement* Add(const char* factory) { return Add(MakeElement(factory), factory); }

    GstElement* Add(GstElement* element, const char* what) {
        if (element == nullptr || !missing.empty()) {
            missing = missing.empty() ? what : missing;
            return nullptr;
        }
        (void)gst_bin_add(GST_BIN(bin.get()), element);
        if (last != nullptr && !gst_element_link(last, element)) {
            missing = what;
        }
        last = element;
        return element;
    }

    void AddCaps(const std::string& text) {
        if (GstElement* filter = Add("capsfilter")) {
            const GstHandle<GstCaps> caps(gst_caps_from_string(text.c_str()));
            g_object_set(filter, "caps", caps.get(), nullptr);
        }
    }

    void AddQueue(guint buffers) {
        if (GstElement* queue = Add("queue")) {
            g_object_set(queue, "max-size-buffers", buffers, "max-size-bytes", 0U, "max-size-time",
                         guint64{0}, nullptr);
        }
    }

    // The next element begins a new row.
    void Break() { last = nullptr; }

    // Shows a pad of an element as the bin's own.
    void Expose(GstElement* element, const char* padName) {
        if (missing.empty()) {
            const GstHandle<GstPad> pad(gst_element_get_static_pad(element, padName));
            (void)gst_element_add_pad(bin.get(), gst_ghost_pad_new(padName, pad.get()));
        }
    }

    GstElement* Last() const { return last; }
    GstElement* Bin() const { return bin.get(); }
    const std::string& Missing() const { return missing; }

    // The bin, floating as a new one, for the container that takes it over.
    GstElement* Release() {
        GstElement* released = bin.release();
        g_object_force_floating(G_OBJECT(released));
        return released;
    }

private:
    GstHandle<GstElement> bin;
    GstElement* last = nullptr;
    std::string missing;
};

}  // namespace qdvm::qdmix
