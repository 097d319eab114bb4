#pragma once

// The texts made from the table of options.

#include <string>

namespace qdvm::qdmix {

std::string HelpText();

// For section 1, as roff.
std::string ManPage();

std::string BashCompletion();

}  // namespace qdvm::qdmix
