#pragma once

// What the command does when it mixes.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/options.h"

namespace qdvm::qdmix {

// Opens, plans, mixes and finishes; tells of it on standard error.
ExitStatus Mix(const CommandLine& line);

}  // namespace qdvm::qdmix
