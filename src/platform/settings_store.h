#pragma once

// A per-user store of named, typed values that outlives the process and can be edited by hand.

#include <qdvideomixer/object.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace qdvm {

// One key of the store, a place for values named by a path with backslashes such as
// u"Software\\Maker\\Product". Keys and value names are compared without regard to the case of
// their Latin letters.
//
// On this system a key is the text file <directory>/<path, lower case, with slashes>.settings with
// one value a line: "Name" = 42 or "Name" = "text". Lines that don't read so are kept as they are.
// The directory is that of the environment variable QDVM_SETTINGS_DIR, or else $XDG_CONFIG_HOME or
// ~/.config. Each read looks at the file as it is now; each write replaces it whole, so readers
// never see half of one, and writers of several processes take turns.
//
// Thread-safety: all operations can be called from any thread.
class SettingsKey {
public:
    // Opens the key, making an empty one if there is none. E_ACCESSDENIED, or another failure of
    // the file system, if it can't be opened for reading and writing.
    static HRESULT OpenOrCreate(std::u16string_view path, SettingsKey& key);

    // 0x80070002 if there is no such value, 0x8007000D if it is of another type or out of range;
    // the out parameter is then left alone.
    HRESULT ReadU32(std::u16string_view name, std::uint32_t& value) const;
    HRESULT ReadText(std::u16string_view name, std::u16string& value) const;

    // Writes a value, replacing one of that name of any type. Failures of the file system are given
    // back and leave the key as it was. E_UNEXPECTED if the key isn't open.
    HRESULT WriteU32(std::u16string_view name, std::uint32_t value);
    HRESULT WriteText(std::u16string_view name, std::u16string_view value);

private:
    HRESULT Write(std::u16string_view name, const std::string& literal);

    std::string fileName;  // UTF-8, empty if not open
};

}  // namespace qdvm
