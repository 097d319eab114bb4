#pragma once

// How the command tells that something can't go on.

#include <string>

namespace qdvm::qdmix {

enum class ExitStatus : int {
    kDone = 0,
    kFailed = 1,
    kUsage = 2,
    kInput = 4,
    kOutput = 5,
    kInterrupted = 130,
    kTerminated = 143,
};

// One line for the user: "qdmix: subject: what: why". Empty parts are left out.
struct Failure {
    ExitStatus status = ExitStatus::kFailed;
    std::string subject;  // "input 2 (cam.mov)", "--rate 0"
    std::string what;     // what could not be done
    std::string why;
};

// The line without a line end. Line ends within the parts become spaces and other control
// characters question marks; a subject without end is cut.
std::string LineOf(const Failure& failure);

}  // namespace qdvm::qdmix
