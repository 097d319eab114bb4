#pragma once

// From the tree to text: one tab for each level, lines that end in CR LF. Names and attribute
// values are written as they are; a name that holds a delimiter doesn't come back the same.

#include "config/xml_node.h"

#include <qdvideomixer/object.h>

#include <string>
#include <string_view>

namespace qdvm::XMLParse {

// The document of a node and all below it; empty for a text node. Takes no stack for depth.
std::u16string ToText(const XMLNodePtr& node);

// The node's attributes, each as a blank, its name, "=" and the quoted value. A value with a single
// quote in it stands in double quotes, and double quotes in it become single ones.
std::u16string AttributesText(const XMLNodePtr& node);

// Writes the document to a file, UTF-16 or by EncodeBytes (text_encoding.h). S_OK without a path,
// and nothing is written; E_UNEXPECTED for an empty text, which leaves an empty file.
HRESULT SaveFile(const XMLNodePtr& node, std::u16string_view path, bool unicode);

}  // namespace qdvm::XMLParse
