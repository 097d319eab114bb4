#include "hosts/qdmix/input_spec.h"

#include "hosts/qdmix/json.h"

#include "hosts/qdmix/gst_handles.h"

#include <algorithm>
#include <array>
#include <utility>

namespace qdvm::qdmix {

namespace {

constexpr std::array<std::string_view, 9> kLiveSchemes = {
    "rtsp://", "rtsps://", "rtp://", "udp://", "srt://", "rtmp://", "ndi://", "ws://", "wss://"};

// The patterns of the test source; valid while the process lives.
const GEnumClass* TestPatterns() {
    static const GEnumClass* const patterns = []() -> const GEnumClass* {
        const GstHandle<GstElement> source(MakeElement("videotestsrc"));
        if (!source) {
            return nullptr;
        }
        (void)gst_object_ref_sink(source.get());
        const GParamSpec* spec =
            g_object_class_find_property(G_OBJECT_GET_CLASS(source.get()), "pattern");
        return static_cast<const GEnumClass*>(g_type_class_ref(spec->value_type));
    }();
    return patterns;
}

bool IsTestPattern(const std::string& name) {
    const GEnumClass* patterns = TestPatterns();
    return patterns != nullptr &&
           g_enum_get_value_by_nick(const_cast<GEnumClass*>(patterns), name.c_str()) != nullptr;
}

std::optional<Failure> Refuse(const InputSpec& spec, std::string what, std::string why) {
    return Failure{ExitStatus::kInput, spec.Subject(), std::move(what), std::move(why)};
}

bool ParseSetting(std::string_view setting, InputSpec& spec) {
    if (setting.starts_with("size=")) {
        spec.size = ParseSize(setting.substr(5));
        return spec.size && spec.size->width % 2 == 0 && spec.size->height % 2 == 0;
    }
    if (setting.starts_with("rate=")) {
        spec.rate = ParseRate(setting.substr(5));
        return spec.rate.has_value();
    }
    return false;
}

// The part after the "?": settings joined by "&".
std::optional<Failure> ParseSettings(std::string_view settings, InputSpec& spec) {
    while (!settings.empty()) {
        const std::size_t end = std::min(settings.find('&'), settings.size());
        const std::string_view setting = settings.substr(0, end);
        if (!ParseSetting(setting, spec)) {
            return Refuse(spec, "can't read \"" + std::string(setting) + "\"",
                          "give size=WxH with even numbers, or rate=N");
        }
        settings.remove_prefix(std::min(end + 1, settings.size()));
    }
    return std::nullopt;
}

std::optional<Failure> ParseDevice(InputKind kind, std::string_view rest, InputSpec& spec) {
    spec.kind = kind;
    const std::size_t question = std::min(rest.find('?'), rest.size());
    spec.locator = rest.substr(0, question);
    if (spec.locator.empty()) {
        return Refuse(spec, "the name is incomplete",
                      kind == InputKind::kTest ? "give test:NAME" : "give camera:DEVICE");
    }
    if (kind == InputKind::kTest && !IsTestPattern(spec.locator)) {
        return Refuse(spec, "no such test picture", "see qdmix --list-inputs");
    }
    rest.remove_prefix(std::min(question + 1, rest.size()));
    return ParseSettings(rest, spec);
}

}  // namespace

std::string InputSpec::Subject() const {
    return "input " + std::to_string(number) + " (" + text + ")";
}

bool InputSpec::IsLive() const {
    const auto isScheme = [this](std::string_view scheme) { return locator.starts_with(scheme); };
    return kind == InputKind::kCamera ||
           (kind == InputKind::kUri &&
            std::any_of(kLiveSchemes.begin(), kLiveSchemes.end(), isScheme));
}

std::optional<Failure> ParseInput(int number, const std::string& text, InputSpec& spec) {
    spec = {};
    spec.number = number;
    spec.text = text;
    const std::string_view view = text;
    if (view.starts_with("test:")) {
        return ParseDevice(InputKind::kTest, view.substr(5), spec);
    }
    if (view.starts_with("camera:")) {
        return ParseDevice(InputKind::kCamera, view.substr(7), spec);
    }
    const bool isUri = view.find("://") != std::string_view::npos && gst_uri_is_valid(text.c_str());
    spec.kind = isUri ? InputKind::kUri : InputKind::kFile;
    spec.locator = text;
    return std::nullopt;
}

std::string TestPictureList(bool isJson) {
    std::string out = isJson ? "[" : "";
    const GEnumClass* patterns = TestPatterns();
    for (guint i = 0; patterns != nullptr && i < patterns->n_values; ++i) {
        const GEnumValue& value = patterns->values[i];
        std::string name = std::string("test:") + value.value_nick;
        if (isJson) {
            out += std::string(i > 0 ? ",\n" : "\n") + "  {\"name\": " + JsonText(name) +
                   ", \"description\": " + JsonText(value.value_name) + "}";
        } else {
            name.resize(std::max<std::size_t>(name.size() + 1, 24), ' ');
            out += name + value.value_name + "\n";
        }
    }
    return isJson ? out + "\n]\n" : out;
}

}  // namespace qdvm::qdmix
