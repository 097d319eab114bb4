#pragma once

// The module that this library's code was loaded from.

#include <string>

namespace qdvm {

// Its full file name; empty if the system doesn't know it.
std::u16string ModulePath();

}  // namespace qdvm
