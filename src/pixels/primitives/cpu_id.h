#pragma once

// The one place that asks the processor what it is.

#include "pixels/primitives/cpu_level.h"

namespace qdvm {

// Level 0 with nothing set on processors without CPUID. The vendor's text lives as long as the
// process.
CpuId ReadCpuId();

}  // namespace qdvm
