#include "scenes/scene_document.h"

#include "config/file_path.h"
#include "config/value_text.h"
#include "config/xml_reader.h"
#include "platform/file.h"
#include "platform/letter_case.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

namespace qdvm {
namespace {

using namespace XMLParse;

constexpr std::u16string_view kRootName = u"qdvideomixer";
constexpr std::u16string_view kScenesName = u"user-scenes";
constexpr std::u16string_view kSceneName = u"scene";
constexpr std::u16string_view kInputName = u"input";
constexpr std::u16string_view kBlockName = u"mix-block";

template <class T>
void Put(const XMLNodePtr& element, std::u16string_view name, const T& value) {
    (void)element->PutAttr(name, ObjectVal(value), true);
}

// An enumeration with its names in documents; the first one stands for all others.
template <class Enum>
struct NamedValue {
    Enum value;
    std::u16string_view name;
};

constexpr NamedValue<eVM_Interlace> kInterlaceNames[] = {
    {eVMI_Auto, u"auto"},
    {eVMI_Progressive, u"progressive"},
    {eVMI_Field1First, u"top"},
    {eVMI_Field2First, u"bottom"},
};

constexpr NamedValue<eVM_Background> kBackgroundNames[] = {
    {eVMB_None, u"none"},
    {eVMB_Color, u"color"},
    {eVMB_Image, u"image"},
};

template <class Enum, std::size_t count>
std::u16string_view NameOf(const NamedValue<Enum> (&names)[count], Enum value) {
    const auto found = std::find_if(std::begin(names), std::end(names),
                                    [&](const auto& entry) { return entry.value == value; });
    return found != std::end(names) ? found->name : names[0].name;
}

template <class Enum, std::size_t count>
Enum ValueOf(const NamedValue<Enum> (&names)[count], std::u16string_view name) {
    const auto found = std::find_if(std::begin(names), std::end(names), [&](const auto& entry) {
        return EqualsIgnoringCase(entry.name, name);
    });
    return found != std::end(names) ? found->value : names[0].value;
}

// Children of one name; lists are picky about case, since reading lowers the names of elements.
std::vector<XMLNodePtr> ChildrenNamed(const XMLNodePtr& parent, std::u16string_view name) {
    std::vector<XMLNodePtr> found = parent->Elements();
    std::erase_if(found, [&](const XMLNodePtr& child) { return child->Name() != name; });
    return found;
}

// --- rects ---

void WriteRect(const XMLNodePtr& element, const RECT& rect) {
    constexpr int kDecimals = 2;
    const auto put = [&](std::u16string_view name, LONG edge) {
        (void)element->PutAttr(name, ObjectVal(FormatDouble(edge, kDecimals)), true);
    };
    put(u"left", rect.left);
    put(u"right", rect.right);
    put(u"top", rect.top);
    put(u"bottom", rect.bottom);
}

RECT ReadRect(const XMLNodePtr& element) {
    if (!element) return {};
    return {element->GetInt(u"left"), element->GetInt(u"top"), element->GetInt(u"right"),
            element->GetInt(u"bottom")};
}

void WriteBlock(const XMLNodePtr& element, const VM_MIXING_RECT& rect) {
    Put(element, u"alpha", rect.dblAlpha);
    Put(element, u"border-width", rect.nBorderWidth);
    Put(element, u"border-color", rect.nBorderColor);
    Put(element, u"process", static_cast<std::int32_t>(rect.eProcess));
    Put(element, u"3D-view-angle", rect.dblViewAngle);
    Put(element, u"3D-horz-angle", rect.dblHorzAngle);
    Put(element, u"3D-vert-angle", rect.dblVertAngle);
    Put(element, u"3D-horz-offset", rect.dblHorzOffset);
    Put(element, u"3D-vert-offset", rect.dblVertOffset);
    WriteRect(element->AppendElement(u"src-rect"), rect.rcSource);
    WriteRect(element->AppendElement(u"dst-rect"), rect.rcTarget);
}

VM_MIXING_RECT ReadBlock(const XMLNodePtr& element) {
    VM_MIXING_RECT rect{};
    rect.dblAlpha = element->GetDouble(u"alpha");
    rect.nBorderWidth = element->GetInt(u"border-width");
    rect.nBorderColor = element->GetInt(u"border-color");
    rect.eProcess = static_cast<eVM_Process>(element->GetInt(u"process"));
    rect.dblViewAngle = element->GetDouble(u"3D-view-angle");
    rect.dblHorzAngle = element->GetDouble(u"3D-horz-angle");
    rect.dblVertAngle = element->GetDouble(u"3D-vert-angle");
    rect.dblHorzOffset = element->GetDouble(u"3D-horz-offset");
    rect.dblVertOffset = element->GetDouble(u"3D-vert-offset");
    rect.rcSource = ReadRect(element->Child(u"src-rect"));
    rect.rcTarget = ReadRect(element->Child(u"dst-rect"));
    return rect;
}

// --- inputs ---

void WriteInput(const XMLNodePtr& element, const SceneInput& input) {
    Put(element, u"enabled", input.bEnabled);
    Put(element, u"keep-rate", input.bKeepRate);
    Put(element, u"ignore-time", input.bIgnoreTime);
    WriteVideoProps(element->AppendElement(kInputName), input.inputProps);
    (void)element->AppendElement(u"chroma-key");
    if (input.rects.empty()) return;
    const XMLNodePtr blocks = element->AppendElement(u"mix-blocks");
    for (const VM_MIXING_RECT& rect : input.rects)
        WriteBlock(blocks->AppendElement(kBlockName), rect);
}

SceneInput ReadInput(const XMLNodePtr& element) {
    SceneInput input{};
    input.bEnabled = element->GetBool(u"enabled");
    input.bKeepRate = element->GetBool(u"keep-rate");
    input.bIgnoreTime = element->GetBool(u"ignore-time");
    if (const XMLNodePtr props = element->Child(kInputName))
        input.inputProps = ReadVideoProps(props);
    if (const XMLNodePtr blocks = element->Child(u"mix-blocks"))
        for (const XMLNodePtr& block : ChildrenNamed(blocks, kBlockName))
            input.rects.push_back(ReadBlock(block));
    return input;
}

// Names for the scenes at these places, which have none.
void NameScenes(std::vector<NamedScene>& scenes, const std::vector<std::size_t>& places) {
    std::set<std::u16string, std::less<>> taken;
    for (const NamedScene& entry : scenes) taken.insert(entry.name);
    std::int64_t number = 0;
    for (const std::size_t place : places) {
        number = std::max(number + 1, static_cast<std::int64_t>(place + 1));
        while (taken.contains(u"Scene " + FormatInt(number))) ++number;
        scenes[place].name = u"Scene " + FormatInt(number);
    }
}

std::vector<NamedScene> ReadSceneList(const std::vector<XMLNodePtr>& elements,
                                      std::u16string_view place) {
    std::vector<NamedScene> scenes;
    std::vector<std::size_t> nameless;
    for (const XMLNodePtr& element : elements) {
        NamedScene read{element->GetString(u"name"), ReadScene(element)};
        read.scene.backgroundImage = PathInDocument(place, read.scene.backgroundImage);
        read.isNamed = !read.name.empty();
        if (!read.isNamed) nameless.push_back(scenes.size());
        scenes.push_back(std::move(read));
    }
    NameScenes(scenes, nameless);
    return scenes;
}

// Whether there is a file to read instead of a text. A name needs no directory and no extension.
bool IsFileName(std::u16string_view text) {
    constexpr std::u16string_view kNeverInNames = u"<>\r\n";
    return text.find_first_of(kNeverInNames) == std::u16string_view::npos && FileExists(text);
}

}  // namespace

void WriteVideoProps(const XMLNodePtr& element, const VM_VIDEO_PROPS& props) {
    Put(element, u"width", static_cast<std::uint32_t>(props.picProps.nWidth));
    Put(element, u"height", props.picProps.nHeight);
    if (props.picProps.fccType != 0)
        Put(element, u"colorspace",
            FormatFourCC(static_cast<std::uint32_t>(props.picProps.fccType)));
    Put(element, u"interlace", NameOf(kInterlaceNames, props.eInterlace));
    if (props.nAspectX >= 1 && props.nAspectY >= 1) {
        Put(element, u"aspect-ratio-x", props.nAspectX);
        Put(element, u"aspect-ratio-y", props.nAspectY);
    }
    Put(element, u"frame-rate", props.dblStreamFPS);
}

VM_VIDEO_PROPS ReadVideoProps(const XMLNodePtr& element) {
    VM_VIDEO_PROPS props{};
    props.picProps.nWidth = element->GetInt(u"width");
    props.picProps.nHeight = element->GetInt(u"height");
    props.picProps.fccType =
        static_cast<std::int32_t>(ParseFourCC(element->GetString(u"colorspace")));
    props.eInterlace = ValueOf(kInterlaceNames, element->GetString(u"interlace"));
    props.nAspectX = element->GetInt(u"aspect-ratio-x");
    props.nAspectY = element->GetInt(u"aspect-ratio-y");
    props.dblStreamFPS = element->GetDouble(u"frame-rate");
    return props;
}

void WriteBackground(const XMLNodePtr& element, const BackgroundSetup& background) {
    Put(element, u"color", static_cast<std::uint32_t>(background.colour));
    Put(element, u"type", NameOf(kBackgroundNames, background.kind));
    if (!background.image.empty()) Put(element, u"image-path", background.image);
}

BackgroundSetup ReadBackground(const XMLNodePtr& element) {
    return {ValueOf(kBackgroundNames, element->GetString(u"type")),
            static_cast<std::int32_t>(element->GetHex32(u"color")),
            element->GetString(u"image-path")};
}

void WriteScene(const XMLNodePtr& element, const Scene& scene) {
    if (!scene.description.empty()) Put(element, u"description", scene.description);
    Put(element, u"internal", scene.bInternal);
    WriteVideoProps(element->AppendElement(u"relative-output"), scene.outputProps);
    WriteBackground(element->AppendElement(u"background"),
                    {scene.backgroundKind, scene.backgroundColor, scene.backgroundImage});
    if (scene.inputs.empty()) return;
    const XMLNodePtr inputs = element->AppendElement(u"inputs");
    for (const SceneInput& input : scene.inputs)
        WriteInput(inputs->AppendElement(kInputName), input);
}

Scene ReadScene(const XMLNodePtr& element) {
    Scene scene;
    scene.description = element->GetString(u"description");
    scene.bInternal = element->GetBool(u"internal");
    if (const XMLNodePtr output = element->Child(u"relative-output"))
        scene.outputProps = ReadVideoProps(output);
    if (const XMLNodePtr child = element->Child(u"background")) {
        BackgroundSetup background = ReadBackground(child);
        scene.backgroundKind = background.kind;
        scene.backgroundColor = background.colour;
        scene.backgroundImage = std::move(background.image);
    }
    if (const XMLNodePtr inputs = element->Child(u"inputs"))
        for (const XMLNodePtr& input : ChildrenNamed(inputs, kInputName))
            scene.inputs.push_back(ReadInput(input));
    return scene;
}

void AddSceneElement(const XMLNodePtr& parent, std::u16string_view name, const Scene& scene) {
    const XMLNodePtr element = parent->AppendElement(kSceneName);
    Put(element, u"name", name);
    WriteScene(element, scene);
}

std::vector<NamedScene> ReadSceneElements(const XMLNodePtr& parent, std::u16string_view place) {
    return ReadSceneList(ChildrenNamed(parent, kSceneName), place);
}

SceneDocument::SceneDocument()
    : root(CreateNode(kRootName)), scenes(root->AppendElement(kScenesName)) {}

HRESULT ReadSceneDocument(std::optional<std::u16string_view> textOrFile,
                          std::vector<NamedScene>* scenes) {
    scenes->clear();
    if (!textOrFile) return E_INVALIDARG;
    const XMLNodePtr root = CreateNode(kRootName);
    const bool isFile = IsFileName(*textOrFile);
    const HRESULT result = isFile ? ParseFile(root, *textOrFile) : ParseAny(root, textOrFile);
    if (Failed(result)) return result;
    const std::u16string place = isFile ? AbsoluteFileName(*textOrFile) : std::u16string();
    const XMLNodePtr list = root->Child(kScenesName);
    const XMLNodePtr& working = list ? list : root;
    const bool isOneScene = working->Name() == kSceneName;
    *scenes = isOneScene ? ReadSceneList({working}, place) : ReadSceneElements(working, place);
    return S_OK;
}

}  // namespace qdvm
