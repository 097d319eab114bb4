#include "hosts/qdmix/scene_shelf.h"

#include "config/text_encoding.h"
#include "hosts/qdmix/json.h"
#include "hosts/qdmix/pictures.h"
#include "platform/counted_string.h"
#include "platform/file.h"
#include "platform/text.h"

#include <qdvideomixer/create.h>
#include <qdvideomixer/persist.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace qdvm::qdmix {

namespace {

CountedString Counted(const std::string& text) { return CountedString(FromUtf8(text)); }

std::uint32_t ColourOf(LONG mixerColour) {
    const auto value = static_cast<std::uint32_t>(mixerColour);
    return 0xFF000000 | (value & 0xFF) << 16 | (value & 0xFF00) | (value >> 16 & 0xFF);
}

}  // namespace

SceneShelf::SceneShelf() {
    if (Failed(CreateQDVideoMixer(IID_IQDVideoMixer, mixer.PutVoid())) ||
        Failed(mixer->QueryInterface(IID_IQDVideoMixerScene, scenes.PutVoid()))) {
        scenes.Reset();
    }
}

std::string SceneShelf::LoadScenes(const std::string& file) {
    if (std::string why = WhyUnreadable(file); !why.empty()) {
        return why;
    }
    const HRESULT result =
        scenes ? scenes->LoadScenes(Counted(file).Get(), 0) : HRESULT{E_OUTOFMEMORY};
    return Succeeded(result) ? "" : WhyRefused(result);
}

std::string SceneShelf::LoadSetup(const std::string& file) {
    if (std::string why = WhyUnreadable(file); !why.empty()) {
        return why;
    }
    Ref<IQPersist> persist;
    HRESULT result =
        scenes ? mixer->QueryInterface(IID_IQPersist, persist.PutVoid()) : HRESULT{E_OUTOFMEMORY};
    if (Succeeded(result)) {
        result = persist->PersistLoad(nullptr, Counted(file).Get(), nullptr);
    }
    return Succeeded(result) ? "" : WhyRefused(result);
}

std::vector<SceneEntry> SceneShelf::Scenes() const {
    std::vector<SceneEntry> entries;
    LONG count = 0;
    if (scenes) {
        (void)scenes->GetSceneCount(&count);
    }
    for (LONG i = 0; i < count; ++i) {
        CountedString name, description;
        if (Succeeded(scenes->GetSceneInfo(i, name.Put(), description.Put()))) {
            entries.push_back({ToUtf8(name.View()), ToUtf8(description.View())});
        }
    }
    return entries;
}

std::vector<std::string> SceneShelf::Names() const {
    std::vector<std::string> names;
    for (SceneEntry& entry : Scenes()) {
        names.push_back(std::move(entry.name));
    }
    return names;
}

Setup SceneShelf::LoadedSetup() const {
    Setup setup;
    VM_VIDEO_PROPS props{};
    if (!scenes || Failed(mixer->GetOutputProps(1, &props))) {
        return setup;
    }
    const Size size = {props.picProps.nWidth, std::abs(props.picProps.nHeight)};
    if (size.width > 0 && size.height > 0) {
        setup.size = size;
    }
    std::array<char, 32> rate{};
    (void)std::snprintf(rate.data(), rate.size(), "%.3f", props.dblStreamFPS);
    setup.rate = ParseRate(rate.data());
    eVM_Background kind = eVMB_None;
    LONG colour = 0;
    CountedString image;
    (void)mixer->GetBackground(&kind, &colour, image.Put());
    if (kind == eVMB_Color) {
        setup.background.colour = ColourOf(colour);
    } else if (kind == eVMB_Image) {
        setup.background.picture = ToUtf8(image.View());
    }
    return setup;
}

std::string SceneList(const std::vector<SceneEntry>& scenes, bool isJson) {
    std::string list = isJson ? "[" : "";
    std::size_t column = 0;
    for (const SceneEntry& scene : scenes) {
        column = std::max(column, scene.name.size() + 2);
    }
    for (const SceneEntry& scene : scenes) {
        if (isJson) {
            list += std::string(list.size() > 1 ? "," : "") +
                    "\n  {\"name\": " + JsonText(scene.name) +
                    ", \"description\": " + JsonText(scene.description) + "}";
        } else {
            std::string name = scene.name;
            name.resize(scene.description.empty() ? name.size() : column, ' ');
            list += name + scene.description + "\n";
        }
    }
    return isJson ? list + "\n]\n" : list;
}

HRESULT WriteDocument(const std::string& file, std::u16string_view text) {
    return WriteFile(FromUtf8(file), XMLParse::EncodeBytes(text));
}

std::optional<std::string> ReadDocument(const std::string& file) {
    std::vector<std::uint8_t> bytes;
    if (Failed(ReadFile(FromUtf8(file), bytes))) {
        return std::nullopt;
    }
    return ToUtf8(XMLParse::DecodeBytes(bytes));
}

std::string WhyRefused(HRESULT result) {
    constexpr auto kNotFound = static_cast<HRESULT>(0x80070002);
    constexpr auto kNoPermission = static_cast<HRESULT>(0x80070005);
    switch (result) {
        case kNotFound:
            return "no such file or directory";
        case kNoPermission:
            return "no permission";
        case E_OUTOFMEMORY:
            return "out of memory";
        default:
            return "there is no document in it";
    }
}

}  // namespace qdvm::qdmix
