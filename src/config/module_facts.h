#pragma once

// What the library tells of itself by name.

#include <optional>
#include <string>
#include <string_view>

namespace qdvm {

// "dll-version" and "dll-file-version" (four numbers), "dll-path" and "dll-date" (of the build), in
// any case. None for other names.
std::optional<std::u16string> FindModuleFact(std::u16string_view name);

}  // namespace qdvm
