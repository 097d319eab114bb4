#pragma once

#include "support/temporary_directory.h"

#include <cstdlib>

namespace qdvm::test {

// Settings of the test's own from here on: the user's are none of a test's business. Set before any
// thread starts.
class OwnSettings {
public:
    OwnSettings() { (void)setenv("QDVM_SETTINGS_DIR", directory.Path().c_str(), 1); }

    const std::filesystem::path& Path() const { return directory.Path(); }

private:
    TemporaryDirectory directory;
};

}  // namespace qdvm::test
