#pragma once

// Looks hard at documents that somebody has written by hand: scenes, and whole setups.

#include "hosts/qdmix/text_fault.h"

#include <string_view>
#include <vector>

namespace qdvm::qdmix {

// UTF-8. Everything that the mixer would pass over or take for 0: names that nothing reads, values
// of another kind, scenes without a name, and the form of the document itself.
std::vector<TextFault> CheckDocument(std::string_view text);

}  // namespace qdvm::qdmix
