#include "platform/shared_data.h"

#include "platform/file.h"
#include "platform/module.h"
#include "platform/text.h"

#include <cstddef>
#include <cstdlib>

namespace qdvm {
namespace {

constexpr std::string_view kDataDirectory = "share/qdvideomixer/";

// A library may stand in lib/TRIPLET/gstreamer-1.0.
constexpr int kLevelsAbove = 4;

}  // namespace

std::u16string SharedDataPath(std::string_view name) {
    const std::u16string wanted = FromUtf8(name);
    if (const char* given = std::getenv("QDVIDEOMIXER_DATA"); given && *given != '\0') {
        const std::u16string path = FromUtf8(given) + u'/' + wanted;
        if (FileExists(path)) return path;
    }
    std::u16string directory = ModulePath();
    for (int i = 0; i <= kLevelsAbove; ++i) {
        const std::size_t slash = directory.rfind(u'/');
        if (slash == std::u16string::npos) break;
        directory.resize(slash);
        const std::u16string path = directory + u'/' + FromUtf8(kDataDirectory) + wanted;
        if (FileExists(path)) return path;
    }
    return FromUtf8(QDVM_DATA_DIR) + u'/' + wanted;
}

}  // namespace qdvm
