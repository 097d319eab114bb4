// Cue sheets and documents as people write them: any text is read to its end, and what is wrong in
// it stands within the text. A document is told from a cue sheet by its first character.

#include "fuzz_text.h"

#include "hosts/qdmix/document_check.h"
#include "hosts/qdmix/script.h"

#include <algorithm>
#include <string_view>

using namespace qdvm;
using namespace qdvm::qdmix;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto lines = static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1;
    const auto requirePlaces = [&](const std::vector<TextFault>& faults) {
        for (const TextFault& fault : faults) {
            fuzz::Require(fault.place.line >= 1 && fault.place.line <= lines);
            fuzz::Require(fault.place.column >= 1 && !fault.what.empty());
        }
        fuzz::Require(faults.empty() == LinesOf("a", faults).empty());
    };
    if (text.starts_with('<')) {
        requirePlaces(CheckDocument(text));
        return 0;
    }
    const Script script = ParseScript(text);
    requirePlaces(script.faults);
    std::int64_t last = 0;
    for (const Cue& cue : script.cues) {
        fuzz::Require(cue.span.start >= last && cue.span.take >= 0);
        last = cue.span.start;
    }
    requirePlaces(CheckScript(script, {.inputs = 2,
                                       .scenes = {"FIRST", "PIP"},
                                       .duration = {},
                                       .scenesOf = [](const std::string&, std::string& why) {
                                           why = "no file";
                                           return std::vector<std::string>{};
                                       }}));
    return 0;
}
