#include "platform/file.h"

#include "platform/files_at.h"
#include "platform/text.h"

namespace qdvm {

HRESULT ReadFile(std::u16string_view name, std::vector<std::uint8_t>& contents) {
    return ReadFileAt(ToUtf8(name), contents);
}

HRESULT WriteFile(std::u16string_view name, std::span<const std::uint8_t> contents) {
    return ReplaceFileAt(ToUtf8(name), contents);
}

std::u16string WorkingDirectory() {
    std::string path = WorkingDirectoryPath();
    if (path.size() > 1 && path.back() == '/') path.pop_back();
    return FromUtf8(path);
}

bool FileExists(std::u16string_view name) { return IsFileAt(ToUtf8(name)); }

}  // namespace qdvm
