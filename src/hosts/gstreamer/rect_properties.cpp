#include "hosts/gstreamer/rect_properties.h"

#include <gst/gst.h>

#include <array>

namespace qdvm {
namespace {

// Of the tables below first, so that a place in one tells the number.
constexpr guint kFirstInt = 1;
constexpr guint kFirstDouble = 20;
constexpr guint kFirstBool = 40;

enum OtherProperty : guint { kBorderColour = 60, kMask, kSizingPolicy };

constexpr int kLargestSide = 32768;

struct IntProperty {
    int RectSettings::*field;
    const char* name;
    const char* nick;
    const char* blurb;
    int min;
    int max;
};

struct DoubleProperty {
    double RectSettings::*field;
    const char* name;
    const char* nick;
    const char* blurb;
    double min;
    double max;
};

struct BoolProperty {
    bool RectSettings::*field;
    const char* name;
    const char* nick;
    const char* blurb;
};

constexpr std::array kInts = {
    IntProperty{&RectSettings::x, "xpos", "Left edge",
                "Distance of the picture from the left edge of the output in pixels; odd numbers "
                "move to the next even one",
                -kLargestSide, kLargestSide},
    IntProperty{&RectSettings::y, "ypos", "Top edge",
                "Distance of the picture from the top edge of the output in pixels; odd numbers "
                "move to the next even one",
                -kLargestSide, kLargestSide},
    IntProperty{&RectSettings::width, "width", "Width",
                "Width of the picture in the output in pixels, to which it is scaled; 0 or -1 is "
                "the stream's own width less what is cropped",
                -1, kLargestSide},
    IntProperty{&RectSettings::height, "height", "Height",
                "Height of the picture in the output in pixels, to which it is scaled; 0 or -1 is "
                "the stream's own height less what is cropped",
                -1, kLargestSide},
    IntProperty{&RectSettings::cropLeft, "crop-left", "Crop left",
                "Pixels of the stream cut off at the left", 0, kLargestSide},
    IntProperty{&RectSettings::cropTop, "crop-top", "Crop top",
                "Pixels of the stream cut off at the top", 0, kLargestSide},
    IntProperty{&RectSettings::cropRight, "crop-right", "Crop right",
                "Pixels of the stream cut off at the right", 0, kLargestSide},
    IntProperty{&RectSettings::cropBottom, "crop-bottom", "Crop bottom",
                "Pixels of the stream cut off at the bottom", 0, kLargestSide},
    IntProperty{&RectSettings::borderWidth, "border-width", "Border width",
                "Width of a border inside the picture's edges in pixels; odd numbers lose one, 0 "
                "is none",
                0, kLargestSide},
};

constexpr std::array kDoubles = {
    DoubleProperty{&RectSettings::alpha, "alpha", "Opacity",
                   "How opaque the picture is, from 0 to 1", 0, 1},
    DoubleProperty{&RectSettings::borderAlpha, "border-alpha", "Border opacity",
                   "How opaque the border is, from 0 to 1, times the alpha of border-color", 0, 1},
    DoubleProperty{&RectSettings::viewAngle, "view-angle", "View angle",
                   "Opening angle of the view on a turned picture in degrees: the larger, the "
                   "stronger the perspective; 0 keeps the picture flat",
                   0, 179},
    DoubleProperty{&RectSettings::horizontalAngle, "horizontal-angle", "Horizontal angle",
                   "Turns the picture about its vertical axis, in degrees; above 0 the left edge "
                   "goes back",
                   -360, 360},
    DoubleProperty{&RectSettings::verticalAngle, "vertical-angle", "Vertical angle",
                   "Turns the picture about its horizontal axis, in degrees; above 0 the top edge "
                   "goes back",
                   -360, 360},
    DoubleProperty{&RectSettings::horizontalOffset, "horizontal-offset", "Horizontal offset",
                   "Moves the eye that looks at a turned picture sideways, in halves of the "
                   "picture's width",
                   -100, 100},
    DoubleProperty{&RectSettings::verticalOffset, "vertical-offset", "Vertical offset",
                   "Moves the eye that looks at a turned picture up or down, in halves of the "
                   "picture's width",
                   -100, 100},
};

constexpr std::array kBools = {
    BoolProperty{&RectSettings::flipsHorizontally, "flip-horizontal", "Flip horizontally",
                 "Mirror the picture left to right"},
    BoolProperty{&RectSettings::flipsVertically, "flip-vertical", "Flip vertically",
                 "Mirror the picture top to bottom"},
    BoolProperty{&RectSettings::showsOneField, "one-field", "One field",
                 "Show an interlaced stream from one of its fields, for pictures without combs"},
};

GType SizingPolicyType() {
    static const GEnumValue values[] = {
        {static_cast<int>(SizingPolicy::kStretch), "Stretched to its place", "none"},
        {static_cast<int>(SizingPolicy::kKeepAspectRatio),
         "As large as its place allows in its own shape, in the middle of it", "keep-aspect-ratio"},
        {static_cast<int>(SizingPolicy::kCrop),
         "Filling its place in its own shape, cut off at two sides", "crop"},
        {0, nullptr, nullptr},
    };
    static const GType type = g_enum_register_static("GstQdVideoMixerSizingPolicy", values);
    return type;
}

constexpr auto kSettable = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                                    GST_PARAM_MUTABLE_PLAYING);
constexpr auto kMovable = static_cast<GParamFlags>(kSettable | GST_PARAM_CONTROLLABLE);

void InstallOthers(GObjectClass* klass) {
    const RectSettings standard;
    g_object_class_install_property(
        klass, kBorderColour,
        g_param_spec_uint("border-color", "Border colour", "Colour of the border as 0xAARRGGBB", 0,
                          G_MAXUINT32, standard.borderColour, kMovable));
    g_object_class_install_property(
        klass, kMask,
        g_param_spec_string("mask", "Mask",
                            "A picture whose brightness is the opacity of this one, scaled to it: "
                            "\"Rect\", \"Rounded Rect\", \"Circle\", or a file; unset, none",
                            nullptr, kSettable));
    g_object_class_install_property(
        klass, kSizingPolicy,
        g_param_spec_enum("sizing-policy", "Sizing policy",
                          "How a picture comes into a place of another shape", SizingPolicyType(),
                          static_cast<int>(standard.sizing), kMovable));
}

}  // namespace

void InstallRectProperties(GObjectClass* klass) {
    const RectSettings standard;
    guint id = kFirstInt;
    for (const IntProperty& p : kInts)
        g_object_class_install_property(
            klass, id++,
            g_param_spec_int(p.name, p.nick, p.blurb, p.min, p.max, standard.*p.field, kMovable));
    id = kFirstDouble;
    for (const DoubleProperty& p : kDoubles)
        g_object_class_install_property(klass, id++,
                                        g_param_spec_double(p.name, p.nick, p.blurb, p.min, p.max,
                                                            standard.*p.field, kMovable));
    id = kFirstBool;
    for (const BoolProperty& p : kBools)
        g_object_class_install_property(
            klass, id++,
            g_param_spec_boolean(p.name, p.nick, p.blurb, standard.*p.field, kMovable));
    InstallOthers(klass);
}

bool SetRectProperty(RectSettings& settings, guint property, const GValue* value) {
    if (property - kFirstInt < kInts.size()) {
        settings.*kInts[property - kFirstInt].field = g_value_get_int(value);
    } else if (property - kFirstDouble < kDoubles.size()) {
        settings.*kDoubles[property - kFirstDouble].field = g_value_get_double(value);
    } else if (property - kFirstBool < kBools.size()) {
        settings.*kBools[property - kFirstBool].field = g_value_get_boolean(value) != FALSE;
    } else if (property == kBorderColour) {
        settings.borderColour = g_value_get_uint(value);
    } else if (property == kMask) {
        const char* mask = g_value_get_string(value);
        settings.mask = mask ? mask : "";
    } else if (property == kSizingPolicy) {
        settings.sizing = static_cast<SizingPolicy>(g_value_get_enum(value));
    } else {
        return false;
    }
    return true;
}

bool GetRectProperty(const RectSettings& settings, guint property, GValue* value) {
    if (property - kFirstInt < kInts.size())
        g_value_set_int(value, settings.*kInts[property - kFirstInt].field);
    else if (property - kFirstDouble < kDoubles.size())
        g_value_set_double(value, settings.*kDoubles[property - kFirstDouble].field);
    else if (property - kFirstBool < kBools.size())
        g_value_set_boolean(value, settings.*kBools[property - kFirstBool].field);
    else if (property == kBorderColour)
        g_value_set_uint(value, settings.borderColour);
    else if (property == kMask)
        g_value_set_string(value, settings.mask.empty() ? nullptr : settings.mask.c_str());
    else if (property == kSizingPolicy)
        g_value_set_enum(value, static_cast<int>(settings.sizing));
    else
        return false;
    return true;
}

}  // namespace qdvm
