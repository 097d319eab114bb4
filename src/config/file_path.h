#pragma once

// What a text looks like as the path of a file, on this system and on those with drive letters,
// since documents travel between them.

#include <string_view>

namespace qdvm {

// "/...", "scheme://...", "c:/...", "c:\..." and "\\server...".
bool IsAbsolutePath(std::u16string_view text);

// Whether a text may be the path of a file rather than a document or a list of values: it has no
// character that paths don't have, and is absolute, or has a separator or an extension. Whether
// there is such a file is another question.
bool IsFilePath(std::u16string_view text);

}  // namespace qdvm
