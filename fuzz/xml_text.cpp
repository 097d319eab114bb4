// Documents as text: whatever is read can be written, copied and read again. What is read again
// need not be the same: names such as "?a" stand for something else once they are written.

#include "fuzz_text.h"

#include "config/xml_reader.h"
#include "config/xml_writer.h"

using namespace qdvm;
using namespace qdvm::XMLParse;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::u16string text =
        data[0] & 1 ? fuzz::WideText(data + 1, size - 1) : fuzz::NarrowText(data + 1, size - 1);
    const XMLNodePtr root = CreateNode(u"root");
    std::size_t end = text.size();
    if (Failed(Parse(root, text, &end))) return 0;
    fuzz::Require(end <= text.size());
    const XMLNodePtr back = CreateNode(u"back");
    const std::u16string written = ToText(root);
    (void)Parse(back, written);
    const XMLNodePtr copy = CreateNode(u"copy");
    fuzz::Require(root->CopyTo(copy, true, AttrMode::Replace) >= 0);
    fuzz::Require(ToText(copy) == written);
    return 0;
}
