// Documents of scenes: what is read can be written, and written twice it stays the same.

#include "fuzz_text.h"

#include "config/xml_writer.h"
#include "scenes/scene_document.h"

#include <string>
#include <vector>

using namespace qdvm;

namespace {

std::u16string Rewritten(const std::u16string& text) {
    std::vector<NamedScene> scenes;
    fuzz::Require(ReadSceneDocument(text, &scenes) == S_OK);
    SceneDocument document;
    for (const NamedScene& entry : scenes)
        AddSceneElement(document.scenes, entry.name, entry.scene);
    return XMLParse::ToText(document.root);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::u16string text =
        data[0] & 1 ? fuzz::WideText(data + 1, size - 1) : fuzz::NarrowText(data + 1, size - 1);
    // Anything else may be the name of a file.
    if (text.find(u'<') == std::u16string::npos) return 0;
    // The first time, values beyond their range and mixed quotes become what they can be written
    // as.
    const std::u16string first = Rewritten(Rewritten(text));
    fuzz::Require(Rewritten(first) == first);
    return 0;
}
