#pragma once

// A strict walk over the tags of a document, as somebody's mistakes are found: what opens is
// closed, by its own name, and attributes are whole. The mixer's own reader makes the best of
// anything.

#include "hosts/qdmix/text_fault.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm::qdmix {

struct DocumentAttribute {
    std::string name;
    std::string value;  // entities resolved
    TextPlace place;
    TextPlace valuePlace;
};

struct DocumentElement {
    std::string name;
    TextPlace place;
    std::vector<DocumentAttribute> attributes;

    // By name in any case of letters, or null.
    const DocumentAttribute* Find(std::string_view attribute) const;
};

bool IsSameName(std::string_view one, std::string_view other);

struct DocumentVisitor {
    // `path`: the elements that the new one stands in, the outermost first.
    std::function<void(const DocumentElement& element, const std::vector<DocumentElement>& path)>
        onElement;
    // Text other than spaces between tags.
    std::function<void(TextPlace place)> onText;
};

// UTF-8. Faults of the form go to `faults`, and the walk goes on as well as it can.
void WalkDocument(std::string_view text, const DocumentVisitor& visitor,
                  std::vector<TextFault>& faults);

}  // namespace qdvm::qdmix
