// The setup of the filter as a document: what is in it, and how it comes back.

#include "config/file_path.h"
#include "config/value_text.h"
#include "config/xml_node.h"
#include "graph/input_pin.h"
#include "graph/mixer_filter.h"
#include "platform/counted_string.h"
#include "platform/file.h"
#include "scenes/default_scenes.h"
#include "scenes/scene_document.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qdvm {
namespace {

using namespace XMLParse;
using Mode = SharedLockGuard::Mode;

// Far above what a mix holds, so that a damaged document doesn't fill the memory with pins.
constexpr std::int32_t kMostLoadedPins = 512;

// Scenes tell their pictures whole: a path that counts from the working directory would be looked
// for beside the document. What is no file there stays as it is.
std::u16string WholePath(const std::u16string& path) {
    return IsAbsolutePath(path) || FileExists(path) ? AbsoluteFileName(path) : path;
}

// A picture's path as a document at `place` tells it.
std::u16string WrittenPath(std::u16string_view place, const std::u16string& path) {
    const std::u16string whole = WholePath(path);
    return IsAbsolutePath(place) && IsAbsolutePath(whole) ? MakeRelativePath(place, whole) : path;
}

std::u16string OrderText(const std::vector<std::int32_t>& order) {
    std::u16string text;
    for (const std::int32_t number : order) {
        if (!text.empty()) text += u", ";
        text += FormatInt(number);
    }
    return text;
}

// The numbers in a text, whatever stands between them.
std::vector<std::int64_t> NumbersIn(std::u16string_view text) {
    constexpr std::u16string_view kDigits = u"0123456789";
    constexpr std::u16string_view kHexDigits = u"0123456789abcdefABCDEF";
    std::vector<std::int64_t> numbers;
    std::size_t at = text.find_first_of(kDigits);
    while (at != std::u16string_view::npos) {
        const bool isNegative = at > 0 && text[at - 1] == u'-';
        numbers.push_back(ParseNumber(text.substr(isNegative ? at - 1 : at)));
        const std::u16string_view prefix = text.substr(at, 2);
        const bool isHex = (prefix == u"0x" || prefix == u"0X") && at + 2 < text.size() &&
                           kHexDigits.find(text[at + 2]) != std::u16string_view::npos;
        const std::u16string_view digits = isHex              ? kHexDigits
                                           : text[at] == u'0' ? kDigits.substr(0, 8)
                                                              : kDigits;
        at = text.find_first_not_of(digits, isHex ? at + 2 : at);
        if (at != std::u16string_view::npos) at = text.find_first_of(kDigits, at);
    }
    return numbers;
}

// The order that a text tells for so many streams: each of them once. The plain one if it doesn't.
std::vector<std::int32_t> ReadOrder(std::u16string_view text, std::size_t streamCount) {
    std::vector<std::int32_t> order;
    std::vector<bool> isTaken(streamCount, false);
    for (const std::int64_t number : NumbersIn(text)) {
        if (number < 0 || static_cast<std::uint64_t>(number) >= streamCount) continue;
        const auto stream = static_cast<std::size_t>(number);
        if (isTaken[stream]) continue;
        isTaken[stream] = true;
        order.push_back(static_cast<std::int32_t>(stream));
    }
    if (order.size() == streamCount) return order;
    order.resize(streamCount);
    std::iota(order.begin(), order.end(), 0);
    return order;
}

}  // namespace

// What is saved, as it stood at one moment.
struct CCoQDVideoMixer::PresentSetup {
    BackgroundSetup background;
    std::size_t pins = 0;
    std::vector<std::int32_t> order;
    Scene layout;
    SceneTable scenes;
};

CCoQDVideoMixer::PresentSetup CCoQDVideoMixer::TakeSetup() {
    PresentSetup setup;
    {
        SharedLockGuard pins(pinsLock, Mode::kShared);
        SharedLockGuard layout(mixLock, Mode::kShared);
        setup.background = {background.Kind(), background.Colour(), background.ImageName()};
        setup.pins = inputs.size();
        setup.order = order;
        CaptureScene(*this, &setup.layout);
    }
    ScopedLock guard(sceneLock);
    setup.scenes = scenes;
    return setup;
}

HRESULT CCoQDVideoMixer::SaveConfiguration(const XMLNodePtr& document, std::u16string_view place) {
    PresentSetup setup = TakeSetup();
    const bool isChanged = setup.scenes.bDefaultScenesChanged;
    (void)document->PutAttr(u"default-scenes", ObjectVal(!isChanged), true);
    (void)document->PutAttr(u"master-stream", ObjectVal(masterStream.load()), true);
    setup.background.image = WrittenPath(place, setup.background.image);
    setup.layout.backgroundImage = WholePath(setup.layout.backgroundImage);
    WriteBackground(document->AppendElement(u"background"), setup.background);
    WriteVideoProps(document->AppendElement(u"output-props"), GivenOutputProps());
    const XMLNodePtr pins = document->AppendElement(u"pins");
    (void)pins->PutAttr(u"number", ObjectVal(static_cast<std::int32_t>(setup.pins)), true);
    (void)pins->PutAttr(u"order", ObjectVal(OrderText(setup.order)), true);
    WriteScene(document->AppendElement(u"current-scene"), setup.layout);
    // Built-in scenes are made anew when they are as they were.
    XMLNodePtr list;
    for (const SceneTable::Entry& entry : setup.scenes.Entries()) {
        if (entry.scene->bInternal && !isChanged) continue;
        if (!list) list = document->AppendElement(u"user-scenes");
        Scene scene = *entry.scene;
        scene.backgroundImage = WholePath(scene.backgroundImage);
        AddSceneElement(list, entry.name, scene);
    }
    return S_OK;
}

HRESULT CCoQDVideoMixer::LoadConfiguration(const XMLNodePtr& document, std::u16string_view place) {
    const XMLNodePtr pins = document->Child(u"pins");
    const std::int32_t wanted = pins ? std::clamp(pins->GetInt(u"number"), 0, kMostLoadedPins) : 0;
    const bool isNewMaster = LoadMaster(document->GetInt(u"master-stream", -1), wanted);
    if (const XMLNodePtr child = document->Child(u"background")) {
        const BackgroundSetup loaded = ReadBackground(child);
        const CountedString image(PathInDocument(place, loaded.image));
        const HRESULT result = SetBackground(loaded.kind, loaded.colour, image.Get());
        if (Succeeded(result) && loaded.kind != eVMB_Image) {
            SharedLockGuard mix(mixLock, Mode::kExclusive);
            background.ForgetImageName();
        }
    }
    if (const XMLNodePtr child = document->Child(u"output-props")) {
        const VM_VIDEO_PROPS props = ReadVideoProps(child);
        (void)SetOutputProps(&props);
    } else if (isNewMaster) {
        (void)BuildOutputFormat(true);
    }
    LoadPins(wanted, pins ? pins->GetString(u"order") : std::u16string());
    if (const XMLNodePtr child = document->Child(u"current-scene")) {
        Scene layout = ReadScene(child);
        layout.backgroundImage = PathInDocument(place, layout.backgroundImage);
        RestoreLayout(std::move(layout));
    } else {
        DropLayout();
    }
    LoadSceneTable(document, place);
    return S_OK;
}

// The threads of a mixer that isn't stopped were started for the master that it had.
bool CCoQDVideoMixer::LoadMaster(std::int32_t number, std::int32_t pinsWanted) {
    ScopedLock states(filterLock);
    if (State() != PlayState::kStopped) return false;
    SharedLockGuard pins(pinsLock, Mode::kShared);
    const auto count = std::max(static_cast<std::int32_t>(inputs.size()), pinsWanted);
    const std::int32_t master = number >= 0 && number < count ? number : -1;
    return masterStream.exchange(master) != master;
}

void CCoQDVideoMixer::LoadPins(std::int32_t wanted, std::u16string_view orderText) {
    const auto isShort = [&] {
        SharedLockGuard pins(pinsLock, Mode::kShared);
        return static_cast<std::int32_t>(inputs.size()) < wanted;
    };
    while (isShort())
        if (Failed(AddInputPin())) break;
    SharedLockGuard pins(pinsLock, Mode::kExclusive);
    order = ReadOrder(orderText, inputs.size());
}

void CCoQDVideoMixer::LoadSceneTable(const XMLNodePtr& document, std::u16string_view place) {
    SceneTable loaded;
    loaded.bDefaultScenesChanged = !document->GetBool(u"default-scenes", true);
    if (!loaded.bDefaultScenesChanged) BuildDefaultScenes(loaded);
    if (const XMLNodePtr list = document->Child(u"user-scenes"))
        loaded.Merge(ReadSceneElements(list, place), false);
    ScopedLock guard(sceneLock);
    std::swap(scenes, loaded);
}

}  // namespace qdvm
