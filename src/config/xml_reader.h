#pragma once

// From text to the tree. The reader never rejects a document for being malformed: it takes the tags
// that it finds and skips what it can't place.
//
// - Names of elements are lowered; those of attributes stay as written. Attribute values stand for
//   themselves, without entities.
// - A closing tag that doesn't fit the innermost open element is ignored, and everything that is
//   open ends with the text. So a tag without a closing partner takes in all that follows it.
// - A tag without a name is skipped together with the text in front of it; at the very end of the
//   text it stays there as text.
// - Elements nest kMostNesting deep. Deeper ones are kept as empty elements of the innermost
//   possible one, and their contents become its own.
// - A text ends at its first zero character.
//
// Time and memory are linear in the text, and the depth of nesting takes no stack.

#include "config/xml_node.h"

#include <qdvideomixer/object.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace qdvm::XMLParse {

inline constexpr std::size_t kMostNesting = 1000;

// Replaces the node's name, attributes and children by the first element of the text, up to *end if
// given; *end is then the position behind what was read. E_INVALIDARG if no text is given, or if it
// has no tag at all, which leaves the node without contents.
HRESULT Parse(const XMLNodePtr& node, std::optional<std::u16string_view> text,
              std::size_t* end = nullptr);

// Reads pairs of a key, "=" and a value, quoted or not, separated by white space; bare words are
// dropped. With pathKeys each key is a path whose missing nodes are made, and values that exist are
// overwritten in every mode. True if at least one pair was read.
bool ParseAttributes(const XMLNodePtr& node, std::u16string_view text, AttrMode mode,
                     bool pathKeys);

// The bytes of a file in any encoding (text_encoding.h), without comments and processing
// instructions. The result of Parse.
HRESULT ParseBytes(const XMLNodePtr& node, std::span<const std::uint8_t> bytes);

// The same, or the failure of reading the file.
HRESULT ParseFile(const XMLNodePtr& node, std::u16string_view path);

// Takes the text for a file if it can be a path (file_path.h) and there is such a file; else for a
// document, and if it has no tag for attribute text: then 1 if pairs were read and 0 if none.
// E_INVALIDARG if no text is given.
HRESULT ParseAny(const XMLNodePtr& node, std::optional<std::u16string_view> textOrFile);

}  // namespace qdvm::XMLParse
