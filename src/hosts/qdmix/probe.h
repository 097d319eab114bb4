#pragma once

// What an input holds, found out before anything starts.

#include "hosts/qdmix/failure.h"
#include "hosts/qdmix/input_spec.h"

#include <cstdint>
#include <optional>
#include <string>

namespace qdvm::qdmix {

struct Probed {
    Size size;                // as the input delivers it
    Size evenSize;            // without an odd last column or row
    Rate rate;                // unknown for stills and streams without one
    std::int64_t length = 0;  // as the input tells, nanoseconds; 0: it doesn't
    bool isStill = false;     // one picture
    bool isSeekable = true;   // can begin again
    std::string cameraCaps;   // what a camera is asked for
};

// Opens the input, looks at its first frame and closes it. Takes at most about ten seconds.
std::optional<Failure> ProbeInput(const InputSpec& spec, Probed& probed);

}  // namespace qdvm::qdmix
