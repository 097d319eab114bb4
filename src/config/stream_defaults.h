#pragma once

// The per-user start values of every stream.

#include <cstdint>

namespace qdvm {

// Taken over by a stream when it is made; not checked against any range.
struct StreamDefaults {
    std::int32_t maxWaitFrames = 8;  // frames a stream may miss before it counts as lost
    std::int32_t lostShow = 1;       // eVM_LostShow
    std::int32_t inputProcessing =
        1;                       // 0 nothing on the input's thread, 1 the alpha plane, else all
    std::int32_t argb32Mix = 1;  // a key plane goes into the fourth byte of an ARGB32 picture
    std::int32_t syncStart = 0;  // 2 or more: an empty tick counts as ready
};

// Reads the user's settings; what is missing there, or of another type, is written back with its
// default. Never fails: without a store the defaults hold. Any thread.
StreamDefaults LoadStreamDefaults();

}  // namespace qdvm
