#pragma once

// What an input on the command line names.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/values.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qdvm::qdmix {

enum class InputKind { kFile, kUri, kTest, kCamera };

struct InputSpec {
    int number = 0;  // from 1
    std::string text;
    InputKind kind = InputKind::kFile;
    std::string locator;       // path, URI, pattern or device
    std::optional<Size> size;  // asked for with "?size="; test pictures and cameras
    std::optional<Rate> rate;

    // "input 2 (cam.mov)".
    std::string Subject() const;

    // Whether frames come by a clock of their own and are gone if nobody takes them.
    bool IsLive() const;
};

// Reads a name; nothing is opened. "test:" and "camera:" and URIs are told from files by their
// beginning ("./test:x" is a file).
std::optional<Failure> ParseInput(int number, const std::string& text, InputSpec& spec);

// The names of test pictures, with a sentence each, as lines for the user.
std::string TestPictureList(bool isJson);

}  // namespace qdvm::qdmix
