#pragma once

// Scenes as elements of a document, and documents of scenes.
//
//   <qdvideomixer>
//     <user-scenes>
//       <scene name description internal>
//         <relative-output width height colorspace interlace aspect-ratio-x aspect-ratio-y
//         frame-rate> <background color type image-path> <inputs>
//           <input enabled keep-rate ignore-time>
//             <input ...>                             as relative-output
//             <chroma-key>                            empty; keys don't travel in documents
//             <mix-blocks>
//               <mix-block alpha border-width ...>
//                 <src-rect left right top bottom>
//                 <dst-rect left right top bottom>
//
// Reading is tolerant: what is missing is 0, false, empty or absent, other elements are passed
// over, and no value is checked; a rect cleans its own when it is set. Fields of a format but width
// and height are for whoever reads the document. Key settings are all zero after reading, so that
// selecting the scene turns keys off.

#include "config/xml_node.h"
#include "scenes/scene_table.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/video_mixer.h>
#include <qdvideomixer/video_props.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm {

// --- parts, which the configuration of a mixer has too; each fills or reads a given element ---

void WriteVideoProps(const XMLParse::XMLNodePtr& element, const VM_VIDEO_PROPS& props);
VM_VIDEO_PROPS ReadVideoProps(const XMLParse::XMLNodePtr& element);

// What a background is made of, as in Scene. A background that shows through to the streams is
// written as none.
struct BackgroundSetup {
    eVM_Background kind = eVMB_None;
    std::int32_t colour = 0;
    std::u16string image;
};

void WriteBackground(const XMLParse::XMLNodePtr& element, const BackgroundSetup& background);
BackgroundSetup ReadBackground(const XMLParse::XMLNodePtr& element);

// Everything but the name.
void WriteScene(const XMLParse::XMLNodePtr& element, const Scene& scene);
Scene ReadScene(const XMLParse::XMLNodePtr& element);

// Appends a scene element with its name in front.
void AddSceneElement(const XMLParse::XMLNodePtr& parent, std::u16string_view name,
                     const Scene& scene);

// All scene elements among the children, in their order. One that tells no name becomes "Scene N",
// N being its place among them, or the next number that no other of them has. Pictures of
// backgrounds are looked for beside the document at `place` if it is known (file_path.h).
std::vector<NamedScene> ReadSceneElements(const XMLParse::XMLNodePtr& parent,
                                          std::u16string_view place);

// --- whole documents ---

// The root of a document without scenes, and in it the element to add them to.
struct SceneDocument {
    SceneDocument();
    XMLParse::XMLNodePtr root;
    XMLParse::XMLNodePtr scenes;
};

// Reads a file, if there is one of that name, else a text. The top element may be a whole document,
// its list of scenes, one scene, or any other with scenes in it. E_INVALIDARG without a text, for a
// file that has no element the failure of reading it; a text without elements has no scenes.
HRESULT ReadSceneDocument(std::optional<std::u16string_view> textOrFile,
                          std::vector<NamedScene>* scenes);

}  // namespace qdvm
