#include "hosts/gstreamer/key_properties.h"

#include <gst/gst.h>

namespace qdvm {
namespace {

// Beyond those of rects and pads.
enum KeyProperty : guint { kKey = 200, kKeyColour, kKeyTolerance, kKeySoftness, kKeySpill };

std::string ReadKey(const GValue* value, PadSettings& settings) {
    const char* text = g_value_get_string(value);
    const std::string words = text && *text ? text : "none";
    if (const auto fault = ParseKey(words, &settings.key)) return "the key is refused: " + *fault;
    ++settings.keyTimesSet;
    return {};
}

KeyPart FirstOf(const PadSettings& settings) {
    return settings.key.parts.empty() ? settings.usualKey : settings.key.parts.front();
}

// The values of the other words stay as they were set.
void SetColour(PadSettings& settings, guint32 colour) {
    KeyPart part = FirstOf(settings);
    part.name = KeyColourName::kOwn;
    part.colour = colour;
    part.centre.reset();
    part.delta.reset();
    settings.key.parts = {part};
}

template <class Value>
void SetForAll(PadSettings& settings, Value KeyPart::*field, Value value) {
    settings.usualKey.*field = value;
    for (KeyPart& part : settings.key.parts) part.*field = value;
}

std::string HelpText() {
    std::string text =
        "What becomes transparent: none; green, blue, auto (the colour of the picture's border) or "
        "#RRGGBB, with words behind commas, as green,softness=2,spill=0.3; several joined by +. "
        "The words:";
    for (const KeyWordHelp& word : KeyWords())
        text += std::string(" ") + word.name + " (" + word.takes + ": " + word.text + ")";
    return text;
}

constexpr auto kSettable = static_cast<GParamFlags>(G_PARAM_READWRITE | GST_PARAM_MUTABLE_PLAYING);
constexpr auto kMovable = static_cast<GParamFlags>(kSettable | GST_PARAM_CONTROLLABLE);

}  // namespace

void InstallKeyProperties(GObjectClass* klass) {
    g_object_class_install_property(
        klass, kKey,
        g_param_spec_string("key", "Chroma key", HelpText().c_str(), "none", kSettable));
    g_object_class_install_property(
        klass, kKeyColour,
        g_param_spec_uint("key-color", "Key colour",
                          "The one colour that becomes transparent, as 0xRRGGBB; setting it "
                          "switches the key on",
                          0, 0xFFFFFF, 0, kMovable));
    g_object_class_install_property(
        klass, kKeyTolerance,
        g_param_spec_int("key-tolerance", "Key tolerance",
                         "How far a pixel may be from the key's colour and still become "
                         "transparent, in steps of 255; of all colours of the key",
                         1, kLargestTolerance, kUsualTolerance, kMovable));
    g_object_class_install_property(
        klass, kKeySoftness,
        g_param_spec_int("key-softness", "Key softness",
                         "How soft the edge of what is keyed is, in passes of smoothing; each "
                         "after the first also draws it in by a pixel",
                         0, kLargestSoftness, kUsualSoftness, kMovable));
    g_object_class_install_property(
        klass, kKeySpill,
        g_param_spec_double("key-spill", "Key spill removal",
                            "How much of the key colour's light is taken from the edges of what "
                            "stands before the wall, from 0 to 1; of all colours of the key",
                            0, 1, kUsualSpill, kMovable));
}

bool SetKeyProperty(PadSettings& settings, guint property, const GValue* value,
                    std::string* fault) {
    switch (property) {
        case kKey:
            *fault = ReadKey(value, settings);
            return true;
        case kKeyColour:
            SetColour(settings, g_value_get_uint(value));
            return true;
        case kKeyTolerance:
            SetForAll(settings, &KeyPart::tolerance, g_value_get_int(value));
            return true;
        case kKeySpill:
            SetForAll(settings, &KeyPart::spill, g_value_get_double(value));
            return true;
        case kKeySoftness:
            settings.key.softness = g_value_get_int(value);
            return true;
        default:
            return false;
    }
}

bool GetKeyProperty(const PadSettings& settings, guint property, GValue* value) {
    const KeyPart first = FirstOf(settings);
    switch (property) {
        case kKey:
            g_value_set_string(value, TextOf(settings.key).c_str());
            return true;
        case kKeyColour:
            g_value_set_uint(value, first.colour);
            return true;
        case kKeyTolerance:
            g_value_set_int(value, first.tolerance);
            return true;
        case kKeySoftness:
            g_value_set_int(value, settings.key.softness);
            return true;
        case kKeySpill:
            g_value_set_double(value, first.spill);
            return true;
        default:
            return false;
    }
}

}  // namespace qdvm
