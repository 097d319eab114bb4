// Documents as files: every encoding, with comments and processing instructions.

#include "fuzz_text.h"

#include "config/xml_reader.h"
#include "config/xml_writer.h"

using namespace qdvm;
using namespace qdvm::XMLParse;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const XMLNodePtr root = CreateNode(u"root");
    if (Succeeded(ParseBytes(root, {data, size}))) (void)ToText(root);
    return 0;
}
