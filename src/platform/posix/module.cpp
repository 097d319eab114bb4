#include "platform/module.h"

#include "platform/text.h"

#include <dlfcn.h>

#include <cstdlib>
#include <memory>

namespace qdvm {

std::u16string ModulePath() {
    static const char kAnchor = 0;
    Dl_info info{};
    if (dladdr(&kAnchor, &info) == 0 || info.dli_fname == nullptr) return {};
    const std::unique_ptr<char, decltype(&std::free)> full(realpath(info.dli_fname, nullptr),
                                                           &std::free);
    return FromUtf8(full ? full.get() : info.dli_fname);
}

}  // namespace qdvm
