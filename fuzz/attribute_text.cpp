// Lists of values: every mode, with paths and without, and every kind of reading.

#include "fuzz_text.h"

#include "config/xml_reader.h"
#include "config/xml_writer.h"

using namespace qdvm;
using namespace qdvm::XMLParse;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::u16string text = fuzz::NarrowText(data + 1, size - 1);
    const XMLNodePtr node = CreateNode(u"node");
    const bool isRead =
        ParseAttributes(node, text, static_cast<AttrMode>(data[0] % 3), (data[0] & 4) != 0);
    fuzz::Require(isRead || node->AttrCount() == 0);
    for (const XMLAttribute& attribute : node->Attributes()) {
        ObjectVal value = attribute.value;
        (void)value.AsBool();
        (void)value.AsInt();
        (void)value.AsSize();
        (void)value.AsDouble();
        ObjectVal number(value.AsDouble());
        (void)number.AsText();
        ObjectVal length(value.AsSize());
        (void)length.AsText();
        (void)ParseFourCC(value.AsText());
        fuzz::Require(value.AsText() == ObjectVal(attribute.value).AsText());
    }
    const XMLNodePtr back = CreateNode(u"back");
    (void)ParseAttributes(back, AttributesText(node), AttrMode::Update, false);
    return 0;
}
