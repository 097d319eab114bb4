#pragma once

// What a text looks like as the path of a file, on this system and on those with drive letters,
// since documents travel between them.

#include <string>
#include <string_view>

namespace qdvm {

// "/...", "scheme://...", "c:/...", "c:\..." and "\\server...".
bool IsAbsolutePath(std::u16string_view text);

// Whether a text may be the path of a file rather than a document or a list of values: it has no
// character that paths don't have, and is absolute, or has a separator or an extension. Whether
// there is such a file is another question.
bool IsFilePath(std::u16string_view text);

// A path as told from the directory of the file `base`: steps up in front ("../", "..\") are taken,
// and slashes in front are dropped. Where base has "/", backslashes in what is added become "/".
// The path as it was if base has no directory to tell it from, or less of them than steps.
std::u16string MakeAbsolutePath(std::u16string_view base, std::u16string_view path);

// How to get from the directory of the file `base` to `path`: a step up for each directory that
// only base has, with its own separator, then the rest of path. Letters compare with case. The path
// as it was if the two have no directory in common, or if the result would be read otherwise.
std::u16string MakeRelativePath(std::u16string_view base, std::u16string_view path);

// The same file by an absolute name, from the working directory of this moment and without "." and
// "..". An absolute name that doesn't begin with "/", and an empty one, stay as they are.
std::u16string AbsoluteFileName(std::u16string_view name);

// A path out of a document at `place` (empty: unknown), as a file of this system: told from the
// document's directory, unless there is a file by the path as it stands and none beside the
// document. Absolute paths, and all of them where the place is no absolute path, stay as they are.
std::u16string PathInDocument(std::u16string_view place, std::u16string_view path);

}  // namespace qdvm
