#pragma once

// Files that come with the library and are the same for everybody.

#include <string>
#include <string_view>

namespace qdvm {

// The full path of a file such as "backgrounds/dusk.png" (UTF-8). It is looked for in the directory
// that the environment variable QDVIDEOMIXER_DATA names, then in share/qdvideomixer beside the
// library, in one of the directories above it, and where the library was to be installed. A file
// that is nowhere gets the last of these paths.
std::u16string SharedDataPath(std::string_view name);

}  // namespace qdvm
