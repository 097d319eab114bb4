#pragma once

// How a tree describes itself. Any node may have a child "attributes_info", its list. The list's
// children tell of the node's attributes: help as text, and the attributes "type", "default",
// "values", "min", "max" and "select_from", the name of another one whose values serve this one
// too; their children are single values with a help of their own. A list at or above a node may
// also hold entries named after kinds of elements ("a.b", or "a" for all of them), whose children
// are then the descriptions; an entry goes on with the one that its string attribute "inherit"
// names. A list whose "inherit" is false doesn't go on with the list of the node's parent.
//
// A circle of entries is followed once round and ends there.
//
// The operations change nothing in the tree. Locks as in xml_node.h.

#include "config/objects_map.h"
#include "config/xml_node.h"

#include <qdvideomixer/object.h>
#include <qdvideomixer/props.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qdvm::XMLParse {

struct InfoName {
    std::u16string name;
    bool isDescribed = false;  // false: the node has the attribute, and no list tells of it
};

using InfoNames = ObjectsMap<InfoName>;
inline constexpr std::size_t kMostInfoNames = 0xFFFFFFF;

// The description of an attribute, with the list or entry that it stands in. Null if there is none.
XMLNodePtr FindInfo(const XMLNodePtr& node, std::u16string_view name, XMLNodePtr* list = nullptr);

// The description of one value of an attribute. Null if there is none.
XMLNodePtr FindOption(const XMLNodePtr& node, std::u16string_view name, std::u16string_view option);

// What is described of the node's attributes, the parent's list before the node's own in index
// order. `index` selects a list, and comes back as the place in it. `names` takes each name once,
// those of the node's own attributes too if there is a list. Null if there is none.
XMLNodePtr InfoList(const XMLNodePtr& node, std::size_t* count, std::size_t* index = nullptr,
                    InfoNames* names = nullptr);

// The name at an index of all that is described. E_INVALIDARG for a negative index, kNotFound
// directly behind the last, kBadIndex beyond and without a list.
HRESULT NameOfInfo(const XMLNodePtr& node, LONG index, std::u16string& name);

// One fact of an attribute's description; none if it isn't told. Values fall back on those of
// "select_from" and on the described single values, each of which is followed by "|".
std::optional<std::u16string> InfoText(const XMLNodePtr& node, std::u16string_view name,
                                       eQInfoType type);

// The help on one value, or another attribute of its description.
std::optional<std::u16string> OptionText(const XMLNodePtr& node, std::u16string_view name,
                                         std::u16string_view option, std::u16string_view infoName);

// The help on the element itself, or an attribute of its entry.
std::optional<std::u16string> ElementHelp(const XMLNodePtr& node, std::u16string_view infoName);

}  // namespace qdvm::XMLParse
